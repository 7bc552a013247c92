#pragma once

#include <QString>

namespace velmo::faults {

/// Whether \a message is one that the launcher has for its player when a check, an install, an update or a repair
/// fails.
bool isForThePlayer(const QString &message);

} // namespace velmo::faults
