#include "publish/DriveSync.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace velmo::publish {

DriveSync::DriveSync(const QString &folder)
    : folder_(open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{}

DriveSync::~DriveSync()
{
    if (folder_ >= 0) {
        close(folder_);
    }
}

bool DriveSync::syncsAll() const
{
#ifdef Q_OS_LINUX
    return folder_ >= 0 && syncfs(folder_) == 0;
#else
    return false;
#endif
}

int DriveSync::failureOf(const QString &path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    int failure = 0;
    do {
        failure = fsync(descriptor) == 0 ? 0 : errno;
    } while (failure == EINTR);
    close(descriptor);
    const bool cannotBeAsked = failure == EINVAL || failure == ENOSYS || failure == EOPNOTSUPP;
    return cannotBeAsked ? 0 : failure;
}

} // namespace velmo::publish
