#include "publish/FileClone.h"

#include <QtGlobal>

namespace velmo::publish {

bool cloneFile(const QString &source, const QFile &copy)
{
    Q_UNUSED(source)
    Q_UNUSED(copy)
    return false;
}

} // namespace velmo::publish
