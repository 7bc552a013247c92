#pragma once

#include <QtGlobal>

namespace velmo::test {

/// While it lives, time stands still for the thread that made it, and goes on by step() alone: what fires after a time
/// fires at exactly that time, however busy the machine is. Whatever waits for a time to pass on that thread waits for
/// a step. One at a time; Linux alone.
class SteppedClock {
public:
    SteppedClock();
    ~SteppedClock();
    Q_DISABLE_COPY_MOVE(SteppedClock)

    void step(qint64 ms);
};

} // namespace velmo::test
