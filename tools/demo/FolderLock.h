#pragma once

#include <QString>

namespace velmo::demo {

/// Makes \a folder this process's own until it ends, whatever ends it. False when it is another's already.
bool lockFolder(const QString &folder);

} // namespace velmo::demo
