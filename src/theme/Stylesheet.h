#pragma once

#include <QString>

class QColor;

namespace velmo::theme {

/// The application's stylesheet with its colours and families filled in; empty, with a warning, when the resource is
/// missing.
QString loadStylesheet();

/// The one-line style sheet that gives a label its colour.
QString colorRule(const QColor &labelColor);

/// \a text with every "@token" of a colour or a family replaced.
QString expandTokens(QString text);

} // namespace velmo::theme
