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

/// By the system's calls: there are a million files to look at twice, and QFile and QFileInfo make several of each.
FileState stateAt(int folder, const QString &path, FileLook look)
{
    FileState state;
    struct stat info {};
    const QByteArray name = QFile::encodeName(path);
    // Asked for and not tried: to open and close a file takes twice as long as all else here.
    const bool mayBeRead = look != FileLook::Readable || faccessat(folder, name.constData(), R_OK, AT_EACCESS) == 0;
    if (!mayBeRead || fstatat(folder, name.constData(), &info, 0) != 0) {
        state.reason = qt_error_string(errno);
        return state;
    }
    state.isFile = S_ISREG(info.st_mode);
    state.size = info.st_size;
    state.modified = nanoseconds(info.st_mtim);
    state.changed = nanoseconds(info.st_ctim);
    state.executable = (info.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    return state;
}

} // namespace

FileState fileState(const QString &location, FileLook look)
{
    return stateAt(AT_FDCWD, location, look);
}

FileState FolderLook::stateOf(const QString &folder, const QString &name)
{
    if (folder != folder_ || descriptor_ < 0) {
        leave();
        folder_ = folder;
        descriptor_ = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    return descriptor_ < 0 ? stateAt(AT_FDCWD, folder + name, look_) : stateAt(descriptor_, name, look_);
}

void FolderLook::leave()
{
    if (descriptor_ >= 0) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

} // namespace velmo::publish
