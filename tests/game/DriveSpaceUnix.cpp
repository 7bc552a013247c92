#include "DriveSpace.h"

#include <cerrno>
#include <dlfcn.h>
#include <optional>
#include <sys/statfs.h>
#include <sys/statvfs.h>

namespace velmo::test {

namespace {

std::optional<qint64> pretendedBytes;

/// Qt asks by one of two functions of the C library, after its version; their answers name these fields alike.
template<typename Volume>
int answer(int (*systemFunction)(const char *, Volume *), const char *path, Volume *volume)
{
    if (pretendedBytes && *pretendedBytes < 0) {
        errno = EIO;
        return -1;
    }
    const int result = systemFunction(path, volume);
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
    using StatVfs = int (*)(const char *, struct statvfs64 *);
    static const auto systemFunction = reinterpret_cast<StatVfs>(dlsym(RTLD_NEXT, "statvfs64"));
    return velmo::test::answer(systemFunction, path, volume);
}

extern "C" int statfs64(const char *path, struct statfs64 *volume) noexcept
{
    using StatFs = int (*)(const char *, struct statfs64 *);
    static const auto systemFunction = reinterpret_cast<StatFs>(dlsym(RTLD_NEXT, "statfs64"));
    return velmo::test::answer(systemFunction, path, volume);
}
