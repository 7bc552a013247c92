#include "DriveSpace.h"

#include <cerrno>
#include <dlfcn.h>
#include <optional>
#include <sys/statvfs.h>

namespace velmo::test {

namespace {

std::optional<qint64> pretendedBytes;

using StatVfs = int (*)(const char *, struct statvfs64 *);

StatVfs systemFunction()
{
    static const auto function = reinterpret_cast<StatVfs>(dlsym(RTLD_NEXT, "statvfs64"));
    return function;
}

int answer(const char *path, struct statvfs64 *volume)
{
    if (pretendedBytes && *pretendedBytes < 0) {
        errno = EIO;
        return -1;
    }
    const int result = systemFunction()(path, volume);
    if (result == 0 && pretendedBytes) {
        volume->f_frsize = 1;
        volume->f_bsize = 1;
        volume->f_bavail = static_cast<fsblkcnt64_t>(*pretendedBytes);
        volume->f_bfree = volume->f_bavail;
    }
    return result;
}

} // namespace

DriveSpace::DriveSpace(qint64 freeBytes)
{
    pretendedBytes = freeBytes;
}

DriveSpace::~DriveSpace()
{
    pretendedBytes.reset();
}

} // namespace velmo::test

extern "C" int statvfs64(const char *path, struct statvfs64 *volume) noexcept
{
    return velmo::test::answer(path, volume);
}
