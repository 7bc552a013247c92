#pragma once

#include <QMetaType>

namespace velmo {

/// The pages, by their place in the page stack.
enum class NavPage { Home, News, Community, Settings };

} // namespace velmo

Q_DECLARE_METATYPE(velmo::NavPage)
