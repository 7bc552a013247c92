#include "tools/publish/FailingSync.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmo::test {

namespace {

std::atomic<int> syncError = 0; // 0 when syncs go to the system
std::atomic<int> syncsOfAll = 0;
std::atomic<int> syncsOfFiles = 0;
std::atomic<ino_t> failingFile = 0; // 0 for all
std::function<int()> lookAtSync;

int errorOfLook()
{
    return lookAtSync ? lookAtSync() : 0;
}

} // namespace

FailingSync::FailingSync(int error)
{
    syncError = error;
}

FailingSync::FailingSync(int error, const QString &file)
{
    struct stat info {};
    stat(QFile::encodeName(file).constData(), &info);
    failingFile = info.st_ino;
    syncError = error;
}

FailingSync::~FailingSync()
{
    syncError = 0;
    failingFile = 0;
}

SyncCount::SyncCount()
{
    syncsOfAll = 0;
    syncsOfFiles = 0;
}

int SyncCount::ofAll()
{
    return syncsOfAll;
}

int SyncCount::ofFiles()
{
    return syncsOfFiles;
}

SyncLook::SyncLook(const std::function<int()> &look)
{
    lookAtSync = look;
}

SyncLook::~SyncLook()
{
    lookAtSync = {};
}

} // namespace velmo::test

// In front of the system's.

extern "C" int fsync(int descriptor)
{
    ++velmo::test::syncsOfFiles;
    if (const int error = velmo::test::errorOfLook(); error != 0) {
        errno = error;
        return -1;
    }
    struct stat info {};
    fstat(descriptor, &info);
    const ino_t failing = velmo::test::failingFile;
    if (const int error = velmo::test::syncError; error != 0 && (failing == 0 || failing == info.st_ino)) {
        errno = error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int syncfs(int descriptor) noexcept
{
    ++velmo::test::syncsOfAll;
    if (const int error = velmo::test::errorOfLook(); error != 0) {
        errno = error;
        return -1;
    }
    if (const int error = velmo::test::syncError; error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_syncfs, descriptor));
}
