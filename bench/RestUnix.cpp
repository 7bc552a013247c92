#include "Rest.h"

#include <QCoreApplication>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

namespace velmo::bench {

namespace {

double processorMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

long wakeUps()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

} // namespace

void watchRest(int seconds)
{
    constexpr int settleMs = 3000;
    QTimer::singleShot(settleMs, [seconds] {
        const double cpuBefore = processorMs();
        const long wakeUpsBefore = wakeUps();
        QTimer::singleShot(seconds * 1000, [=] {
            const double used = processorMs() - cpuBefore;
            std::printf("rest %d s: %.2f ms of processor time, %.4f %%, %ld wake-ups of the main thread\n", seconds,
                        used, used / (seconds * 10.0), wakeUps() - wakeUpsBefore);
            std::fflush(stdout);
            QCoreApplication::quit();
        });
    });
}

} // namespace velmo::bench
