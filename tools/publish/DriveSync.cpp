#include "publish/DriveSync.h"

namespace velmo::publish {

/// A failure on the drive may be that of anybody's file, and is not told by name; so then each is asked.
QList<DriveSync::Failure> DriveSync::sync(qsizetype count, const std::function<QString(qsizetype)> &pathAt) const
{
    QList<Failure> failures;
    if (count >= fewestForAll && syncsAll()) {
        return failures;
    }
    for (qsizetype index = 0; index < count; ++index) {
        if (const int failure = failureOf(pathAt(index)); failure != 0) {
            failures.append({index, qt_error_string(failure)});
        }
    }
    return failures;
}

} // namespace velmo::publish
