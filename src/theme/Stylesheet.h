#pragma once

#include <QString>

namespace velmo::theme {

/// The application's stylesheet with its colours and families filled in; empty, with a warning, when the resource is
/// missing.
QString loadStylesheet();

/// \a text with every "@token" of a colour or a family replaced.
QString expandTokens(QString text);

} // namespace velmo::theme
