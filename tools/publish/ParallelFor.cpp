#include "publish/ParallelFor.h"

#include <QThreadPool>

#include <atomic>

namespace velmo::publish {

namespace {

constexpr int tickMs = 100;

} // namespace

void parallelFor(qsizetype count, int jobs, const std::function<bool(qsizetype)> &work,
                 const std::function<void()> &tick)
{
    std::atomic<qsizetype> next = 0;
    std::atomic<bool> stopped = false;
    const auto workThrough = [count, &work, &next, &stopped] {
        for (qsizetype index = next++; index < count && !stopped; index = next++) {
            if (!work(index)) {
                stopped = true;
            }
        }
    };
    QThreadPool pool;
    pool.setMaxThreadCount(jobs);
    for (int job = 0; job < jobs; ++job) {
        pool.start(workThrough);
    }
    while (!pool.waitForDone(tickMs)) {
        tick();
    }
}

} // namespace velmo::publish
