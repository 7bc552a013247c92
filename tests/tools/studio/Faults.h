#pragma once

#include "studio/StudioServer.h"

#include <QString>

#include <limits>

namespace velmo::test {

/// Of a kind that takes bytes or nothing, for every attempt.
studio::Fault fault(studio::Fault::Kind kind, qint64 bytes = 0);
studio::Fault statusFault(int status, int firstAttempt = 1, int lastAttempt = std::numeric_limits<int>::max());
studio::Fault redirectFault(const QString &location);

} // namespace velmo::test
