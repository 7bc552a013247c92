#pragma once

#include <QString>

namespace velmo {

/// How every request of the launcher names itself: the program and its version.
QString userAgent();

} // namespace velmo
