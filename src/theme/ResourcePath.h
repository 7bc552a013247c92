#pragma once

#include <QString>

namespace velmo::theme {

/// Where \a relative, such as "images/hero.jpg", lies: beside the program, in its "resources" folder, in the source
/// tree of a development build, or compiled in. The first that exists; empty when none does.
QString resolveResourcePath(const QString &relative);

} // namespace velmo::theme
