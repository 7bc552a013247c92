#pragma once

#include <QSizeF>

class QPainter;

namespace velmo {

/// Paints the generated scene over \a size logical pixels: a dusk sky with a glow, three ridges of conifers with mist
/// between them, motes and a vignette. The same size always gives the same picture.
void paintDuskScene(QPainter &painter, QSizeF size);

} // namespace velmo
