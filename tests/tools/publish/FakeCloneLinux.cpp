#include "tools/publish/FakeClone.h"

#include <atomic>
#include <cstdarg>
#include <linux/fs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmo::test {

namespace {

const QByteArray *cloned = nullptr; // set while no other thread works
std::atomic<int> count = 0;

} // namespace

FakeClone::FakeClone(const QByteArray &bytes)
{
    static QByteArray kept;
    kept = bytes;
    count = 0;
    cloned = &kept;
}

FakeClone::~FakeClone()
{
    cloned = nullptr;
}

int FakeClone::clones()
{
    return count;
}

} // namespace velmo::test

/// In front of the system's.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    const unsigned long argument = va_arg(rest, unsigned long);
    va_end(rest);
    if (request != FICLONE || !velmo::test::cloned) {
        return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
    }
    ++velmo::test::count;
    const QByteArray &bytes = *velmo::test::cloned;
    return pwrite(descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size()), 0) == bytes.size() ? 0 : -1;
}
