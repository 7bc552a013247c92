#include "publish/Reason.h"

namespace velmo::publish {

QString reasonText(const QString &told)
{
    QString text = told.trimmed();
    while (text.endsWith(u'.')) {
        text.chop(1);
    }
    return text;
}

} // namespace velmo::publish
