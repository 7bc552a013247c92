#pragma once

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QObject>

#include <algorithm>

namespace velmo::bench {

/// Watches this thread's event loop from now on for how long it does not come round.
class Turns {
public:
    Turns()
    {
        QAbstractEventDispatcher *loop = QAbstractEventDispatcher::instance();
        QObject::connect(loop, &QAbstractEventDispatcher::awake, &context_, [this] {
            note();
            clock_.start();
        });
        QObject::connect(loop, &QAbstractEventDispatcher::aboutToBlock, &context_, [this] {
            note();
            clock_.invalidate();
        });
    }

    /// Seconds of the longest turn.
    double longest() const { return longest_; }

private:
    void note()
    {
        if (clock_.isValid()) {
            longest_ = std::max(longest_, static_cast<double>(clock_.nsecsElapsed()) / 1e9);
        }
    }

    QObject context_;
    QElapsedTimer clock_; ///< since the loop last came round; invalid while it waits
    double longest_ = 0;
};

} // namespace velmo::bench
