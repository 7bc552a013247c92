// In front of the C library: what a program asks of the disk and of the clock goes by the plan of its environment, and
// into a journal of what it did. Loaded by LD_PRELOAD.

#include "Journal.h"
#include "Plan.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

using namespace velmo::faults;

namespace {

constexpr size_t pageBytes = 4096;

/// Never destroyed, since the program's last calls come late.
struct Shim {
    std::recursive_mutex mutex; ///< held from a verdict to its entry, so that the journal has the order of the deeds
    Plan plan;
    Journal journal;
    std::array<std::atomic<bool>, 4096> meant = {}; ///< by descriptor
};

Shim &shim()
{
    static Shim *const only = new Shim;
    return *only;
}

template<typename Function>
Function *system(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// The C library's own.
#define VELMO_SYSTEM(function) static auto *const next = system(&::function, #function)

/// What open() has behind its flags where a file may be made.
#define VELMO_MODE(flags)                                                                                              \
    mode_t mode = 0;                                                                                                   \
    if (((flags) & (O_CREAT | O_TMPFILE)) != 0) {                                                                      \
        va_list rest;                                                                                                  \
        va_start(rest, flags);                                                                                         \
        mode = va_arg(rest, mode_t);                                                                                   \
        va_end(rest);                                                                                                  \
    }

[[noreturn]] void die()
{
    syscall(SYS_kill, getpid(), SIGKILL);
    std::abort();
}

/// Whether the call may go on. Sets errno where it may not.
bool mayGoOn(Call call)
{
    const Verdict verdict = shim().plan.next(call);
    if (verdict.kills) {
        die();
    }
    errno = verdict.error;
    return verdict.error == 0;
}

bool isMeant(const char *path)
{
    return path && shim().plan.concerns(path);
}

bool isMeant(int descriptor)
{
    auto &meant = shim().meant;
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < meant.size() &&
           meant[static_cast<std::size_t>(descriptor)];
}

std::uint64_t numberOf(int descriptor)
{
    struct stat info {};
    fstat(descriptor, &info);
    return fileNumber(info.st_dev, info.st_ino);
}

bool stands(const char *path)
{
    struct stat info {};
    return lstat(path, &info) == 0;
}

int openFile(const char *path, int flags, mode_t mode)
{
    const auto ask = [=] { return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode)); };
    if (!isMeant(path)) {
        return ask();
    }
    const std::lock_guard lock(shim().mutex);
    const bool isFolder = (flags & O_DIRECTORY) != 0 && (flags & O_TMPFILE) != O_TMPFILE;
    const bool changes = (flags & O_ACCMODE) != O_RDONLY && !isFolder;
    if (changes && !mayGoOn(Call::Open)) {
        return -1;
    }
    const bool unnamed = (flags & O_TMPFILE) == O_TMPFILE;
    const bool isNew = !unnamed && (flags & O_CREAT) != 0 && !stands(path);
    const int descriptor = ask();
    if (descriptor < 0 || isFolder || static_cast<std::size_t>(descriptor) >= shim().meant.size()) {
        return descriptor;
    }
    shim().meant[static_cast<std::size_t>(descriptor)] = true;
    if (unnamed) {
        shim().journal.add(Deed::CreateUnnamed, numberOf(descriptor), 0);
    } else if (isNew) {
        shim().journal.add(Deed::Create, numberOf(descriptor), 0, path);
    } else if ((flags & O_TRUNC) != 0) {
        shim().journal.add(Deed::Resize, numberOf(descriptor), 0);
    }
    return descriptor;
}

int sync(int descriptor, int (*next)(int))
{
    if (!isMeant(descriptor)) {
        return next(descriptor);
    }
    const std::lock_guard lock(shim().mutex);
    const int result = mayGoOn(Call::Sync) ? next(descriptor) : -1;
    if (result == 0) {
        shim().journal.add(Deed::Sync, numberOf(descriptor), 0);
    }
    return result;
}

/// A call with a path that either does all of \a deed or nothing.
template<typename Ask>
int change(Call call, const char *path, const char *other, Ask ask, Deed deed, std::int64_t number = 0)
{
    if (!isMeant(path)) {
        return ask();
    }
    const std::lock_guard lock(shim().mutex);
    const int result = mayGoOn(call) ? ask() : -1;
    if (result == 0) {
        shim().journal.add(deed, 0, number, path, other ? other : "");
    }
    return result;
}

int resize(int descriptor, off_t size, int (*next)(int, off_t))
{
    if (!isMeant(descriptor)) {
        return next(descriptor, size);
    }
    const std::lock_guard lock(shim().mutex);
    const int result = mayGoOn(Call::Write) ? next(descriptor, size) : -1;
    if (result == 0) {
        shim().journal.add(Deed::Resize, numberOf(descriptor), size);
    }
    return result;
}

void shiftSeconds(time_t &seconds)
{
    seconds += shim().plan.clockError();
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    VELMO_MODE(flags);
    return openFile(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    VELMO_MODE(flags);
    return openFile(path, flags, mode);
}

int close(int descriptor)
{
    VELMO_SYSTEM(close);
    if (isMeant(descriptor)) {
        shim().meant[static_cast<std::size_t>(descriptor)] = false;
    }
    return next(descriptor);
}

ssize_t read(int descriptor, void *bytes, size_t size)
{
    VELMO_SYSTEM(read);
    if (isMeant(descriptor)) {
        const std::lock_guard lock(shim().mutex);
        if (!mayGoOn(Call::Read)) {
            return -1;
        }
    }
    return next(descriptor, bytes, size);
}

ssize_t write(int descriptor, const void *bytes, size_t size)
{
    VELMO_SYSTEM(write);
    if (!isMeant(descriptor)) {
        return next(descriptor, bytes, size);
    }
    const std::lock_guard lock(shim().mutex);
    const Verdict verdict = shim().plan.next(Call::Write);
    if (verdict.error != 0) {
        errno = verdict.error;
        return -1;
    }
    const bool appends = (fcntl(descriptor, F_GETFL) & O_APPEND) != 0;
    const off_t offset = lseek(descriptor, 0, appends ? SEEK_END : SEEK_CUR);
    size_t most = size;
    if (verdict.kills) {
        most = size / 2 / pageBytes * pageBytes; // a kill does not come amid a page
    } else if (verdict.writesLess) {
        most = (size + 1) / 2;
    }
    const ssize_t written = next(descriptor, bytes, most);
    if (written > 0) {
        shim().journal.add(Deed::Write, numberOf(descriptor), offset, {}, {},
                           {static_cast<const char *>(bytes), static_cast<size_t>(written)});
    }
    if (verdict.kills) {
        die();
    }
    return written;
}

int ftruncate(int descriptor, off_t size) noexcept
{
    VELMO_SYSTEM(ftruncate);
    return resize(descriptor, size, next);
}

int ftruncate64(int descriptor, off64_t size) noexcept
{
    VELMO_SYSTEM(ftruncate);
    return resize(descriptor, size, next);
}

int fsync(int descriptor)
{
    VELMO_SYSTEM(fsync);
    return sync(descriptor, next);
}

int fdatasync(int descriptor)
{
    VELMO_SYSTEM(fdatasync);
    return sync(descriptor, next);
}

int syncfs(int descriptor) noexcept
{
    VELMO_SYSTEM(syncfs);
    const std::lock_guard lock(shim().mutex);
    const int result = mayGoOn(Call::Sync) ? next(descriptor) : -1;
    if (result == 0) {
        shim().journal.add(Deed::SyncAll, 0, 0);
    }
    return result;
}

int rename(const char *from, const char *to) noexcept
{
    VELMO_SYSTEM(rename);
    return change(
        Call::Rename, from, to, [=] { return next(from, to); }, Deed::Rename);
}

int renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned int flags) noexcept
{
    VELMO_SYSTEM(renameat2);
    return change(
        Call::Rename, from, to, [=] { return next(fromFolder, from, toFolder, to, flags); }, Deed::Rename);
}

int linkat(int fromFolder, const char *from, int toFolder, const char *to, int flags) noexcept
{
    VELMO_SYSTEM(linkat);
    if (!isMeant(to)) {
        return next(fromFolder, from, toFolder, to, flags);
    }
    const std::lock_guard lock(shim().mutex);
    const int result = mayGoOn(Call::Rename) ? next(fromFolder, from, toFolder, to, flags) : -1;
    struct stat info {};
    if (result == 0 && lstat(to, &info) == 0) {
        shim().journal.add(Deed::Link, fileNumber(info.st_dev, info.st_ino), 0, to);
    }
    return result;
}

int link(const char *from, const char *to) noexcept
{
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int symlink(const char *target, const char *path) noexcept
{
    VELMO_SYSTEM(symlink);
    return change(
        Call::Open, path, target, [=] { return next(target, path); }, Deed::MakeLink);
}

int unlink(const char *path) noexcept
{
    VELMO_SYSTEM(unlink);
    return change(
        Call::Remove, path, nullptr, [=] { return next(path); }, Deed::Remove);
}

int rmdir(const char *path) noexcept
{
    VELMO_SYSTEM(rmdir);
    return change(
        Call::Remove, path, nullptr, [=] { return next(path); }, Deed::RemoveFolder);
}

int mkdir(const char *path, mode_t mode) noexcept
{
    VELMO_SYSTEM(mkdir);
    if (stands(path)) {
        return next(path, mode); // no change, which is how mkpath() asks
    }
    return change(
        Call::MakeFolder, path, nullptr, [=] { return next(path, mode); }, Deed::MakeFolder);
}

int chmod(const char *path, mode_t mode) noexcept
{
    VELMO_SYSTEM(chmod);
    return change(
        Call::Open, path, nullptr, [=] { return next(path, mode); }, Deed::SetMode, mode);
}

int clock_gettime(clockid_t clock, timespec *now) noexcept
{
    VELMO_SYSTEM(clock_gettime);
    const int result = next(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        shiftSeconds(now->tv_sec);
    }
    return result;
}

int gettimeofday(timeval *now, void *zone) noexcept
{
    VELMO_SYSTEM(gettimeofday);
    const int result = next(now, zone);
    if (result == 0) {
        shiftSeconds(now->tv_sec);
    }
    return result;
}

time_t time(time_t *result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"
