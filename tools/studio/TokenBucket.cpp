#include "studio/TokenBucket.h"

#include <algorithm>

namespace velmo::studio {

namespace {

constexpr double longestSavedSeconds = 0.1; // of the rate, so that a pause does not end in a burst

} // namespace

qint64 TokenBucket::available(qint64 bytesPerSecond, qint64 nowNs)
{
    const double rate = static_cast<double>(bytesPerSecond);
    if (lastNs_ >= 0) {
        saved_ += rate * static_cast<double>(nowNs - lastNs_) / 1e9;
    }
    lastNs_ = nowNs;
    saved_ = std::min(saved_, std::max(rate * longestSavedSeconds, 1.0));
    return static_cast<qint64>(saved_);
}

void TokenBucket::spend(qint64 bytes)
{
    saved_ -= static_cast<double>(bytes);
}

} // namespace velmo::studio
