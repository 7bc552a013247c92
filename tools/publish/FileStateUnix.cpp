#include "publish/FileState.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::publish {

namespace {

qint64 nanoseconds(const timespec &time)
{
    constexpr qint64 perSecond = 1'000'000'000;
    return time.tv_sec * perSecond + time.tv_nsec;
}

} // namespace

/// By the system's calls: there are a million files to look at twice, and QFile and QFileInfo make several of each.
FileState fileState(const QString &location, FileLook look)
{
    FileState state;
    struct stat info {};
    const QByteArray name = QFile::encodeName(location);
    const bool opens = look == FileLook::Readable;
    const int descriptor = opens ? open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    const bool isOpen = descriptor >= 0;
    if ((opens && !isOpen) || (isOpen ? fstat(descriptor, &info) : stat(name.constData(), &info)) != 0) {
        state.error = qt_error_string(errno);
    } else {
        state.isFile = S_ISREG(info.st_mode);
        state.size = info.st_size;
        state.modified = nanoseconds(info.st_mtim);
        state.changed = nanoseconds(info.st_ctim);
        state.executable = (info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    }
    if (isOpen) {
        close(descriptor);
    }
    return state;
}

} // namespace velmo::publish
