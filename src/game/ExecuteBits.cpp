#include "game/ExecuteBits.h"

#include <QFile>
#include <QFileInfo>

namespace velmo {

void allowExecution([[maybe_unused]] const QString &path)
{
#ifdef Q_OS_UNIX
    const QFileInfo file(path);
    const QFileDevice::Permissions run = QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
    if (file.isFile() && !file.isSymLink() && !file.permissions().testFlags(run)) {
        QFile::setPermissions(path, file.permissions() | run);
    }
#endif
}

} // namespace velmo
