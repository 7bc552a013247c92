#pragma once

#include <QString>

namespace velmo::theme {

/// Whether \a path leads to another host, as //host/share does on Windows, or to a name that only the system knows.
bool isNetworkPath(const QString &path);

/// Where \a relative, such as "images/hero.jpg", lies: beside the program, in its "resources" folder, in the source
/// tree of a development build, or compiled in. The first that exists; empty when none does, and for a network
/// path, which is not looked for.
QString resolveResourcePath(const QString &relative);

} // namespace velmo::theme
