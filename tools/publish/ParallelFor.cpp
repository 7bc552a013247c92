#include "publish/ParallelFor.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace velmo::publish {

namespace {

constexpr std::chrono::milliseconds tickTime{100};

} // namespace

/// By threads that are joined, not by QThreadPool, which goes on while what its threads hold for libraries is still
/// being given back; so a program that ended then would look as if it had lost that.
void parallelFor(qsizetype count, int jobs, const std::function<bool(qsizetype)> &work,
                 const std::function<void()> &tick)
{
    std::atomic<qsizetype> next = 0;
    std::atomic<bool> stopped = false;
    std::mutex mutex;
    std::condition_variable ended;
    int running = jobs;
    const auto workThrough = [&] {
        for (qsizetype index = next++; index < count && !stopped; index = next++) {
            if (!work(index)) {
                stopped = true;
            }
        }
        const std::lock_guard lock(mutex);
        --running;
        ended.notify_one();
    };
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(jobs));
    try {
        while (static_cast<int>(threads.size()) < jobs) {
            threads.emplace_back(workThrough);
        }
    } catch (const std::system_error &) { // where there is no room for more, fewer do the work, or this one
        const std::lock_guard lock(mutex);
        running -= jobs - static_cast<int>(threads.size());
    }
    if (threads.empty()) {
        ++running;
        workThrough();
    }
    const auto areAllDone = [&running] { return running == 0; };
    for (std::unique_lock lock(mutex); !ended.wait_for(lock, tickTime, areAllDone);) {
        lock.unlock();
        tick();
        lock.lock();
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

} // namespace velmo::publish
