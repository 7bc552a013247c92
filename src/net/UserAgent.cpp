#include "net/UserAgent.h"

#include <QCoreApplication>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

QString userAgent()
{
    return u"VelmoLauncher/%1"_s.arg(QCoreApplication::applicationVersion());
}

} // namespace velmo
