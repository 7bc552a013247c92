#include "FolderLock.h"

#include <QFile>

#ifndef Q_OS_WIN
#include <fcntl.h>
#include <sys/file.h>
#endif

namespace velmo::demo {

bool lockFolder(const QString &folder)
{
#ifdef Q_OS_WIN
    Q_UNUSED(folder) // a demo there is started by hand, and alone
    return true;
#else
    // Never closed. The system takes the lock back with the process, and no program that the demo starts inherits it.
    const int handle = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return handle >= 0 && ::flock(handle, LOCK_EX | LOCK_NB) == 0;
#endif
}

} // namespace velmo::demo
