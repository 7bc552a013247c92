#pragma once

#include <QtGlobal>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <ctime>
#endif

namespace velmo::test {

/// Milliseconds of a processor that this thread has taken so far: what it costs, however busy its neighbours are.
inline double threadMs()
{
#ifdef Q_OS_WIN
    FILETIME begin;
    FILETIME end;
    FILETIME kernel;
    FILETIME user;
    GetThreadTimes(GetCurrentThread(), &begin, &end, &kernel, &user);
    const auto ticks = [](const FILETIME &time) {
        return static_cast<double>(ULARGE_INTEGER{{time.dwLowDateTime, time.dwHighDateTime}}.QuadPart);
    };
    return (ticks(kernel) + ticks(user)) / 1e4; // of 100 ns
#else
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
#endif
}

} // namespace velmo::test
