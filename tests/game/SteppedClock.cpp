#include "game/SteppedClock.h"

#ifdef Q_OS_LINUX

#include <ctime>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local constinit std::optional<timespec> standing;

} // namespace

/// Stands before the system's own for every library of this program.
extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock == CLOCK_MONOTONIC && standing) {
        *time = *standing;
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

namespace velmo::test {

SteppedClock::SteppedClock()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    standing = now;
}

SteppedClock::~SteppedClock()
{
    standing.reset();
}

void SteppedClock::step(qint64 ms)
{
    constexpr qint64 second = 1'000'000'000;
    const qint64 nanoseconds = standing->tv_nsec + ms * 1'000'000;
    standing->tv_sec += nanoseconds / second;
    standing->tv_nsec = nanoseconds % second;
}

} // namespace velmo::test

#else

namespace velmo::test {

SteppedClock::SteppedClock()
{
    qFatal("The clock cannot be stopped here");
}

SteppedClock::~SteppedClock() = default;

void SteppedClock::step(qint64 /*ms*/) {}

} // namespace velmo::test

#endif
