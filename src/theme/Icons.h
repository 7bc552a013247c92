#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

namespace velmo::theme {

/// The line icon \a name, tinted, of \a size logical pixels and exact for \a devicePixelRatio. A \a strokeWidth above 0
/// replaces the icon's own. Cached; null when there is no such icon, which is logged once. GUI thread only.
QPixmap iconPixmap(const QString &name, int size, const QColor &color, double devicePixelRatio, double strokeWidth);

} // namespace velmo::theme
