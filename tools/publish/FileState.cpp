#include "publish/FileState.h"

#include <algorithm>

namespace velmo::publish {

bool isSettled(qint64 modified, qint64 changed, std::chrono::system_clock::time_point seenAt)
{
    constexpr std::chrono::seconds coarsestTick(2); // of the clocks that drives keep
    const std::chrono::nanoseconds settledBefore = (seenAt - coarsestTick).time_since_epoch();
    return std::max(modified, changed) < settledBefore.count();
}

} // namespace velmo::publish
