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
FileState fileState(const QString &location)
{
    FileState state;
    struct stat info {};
    const int descriptor = open(QFile::encodeName(location).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 || fstat(descriptor, &info) != 0) {
        state.error = qt_error_string(errno);
    } else {
        state.size = info.st_size;
        state.modified = nanoseconds(info.st_mtim);
        state.changed = nanoseconds(info.st_ctim);
        state.executable = (info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    return state;
}

} // namespace velmo::publish
