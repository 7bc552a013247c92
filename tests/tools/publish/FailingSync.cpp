#include "tools/publish/FailingSync.h"

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmo::test {

namespace {

std::atomic<int> syncError = 0; // 0 when syncs go to the system

} // namespace

FailingSync::FailingSync(int error)
{
    syncError = error;
}

FailingSync::~FailingSync()
{
    syncError = 0;
}

} // namespace velmo::test

/// In front of the system's.
extern "C" int fsync(int descriptor)
{
    if (const int error = velmo::test::syncError; error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}
