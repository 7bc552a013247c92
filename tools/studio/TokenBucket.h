#pragma once

#include <QtGlobal>

namespace velmo::studio {

/// Meters bytes to a rate: what the passing time has earned may be spent, and only a little may be saved up.
class TokenBucket {
public:
    /// How many bytes may go out at \a nowNs, a time of a monotonic clock in nanoseconds.
    qint64 available(qint64 bytesPerSecond, qint64 nowNs);
    void spend(qint64 bytes);

private:
    double saved_ = 0;
    qint64 lastNs_ = -1;
};

} // namespace velmo::studio
