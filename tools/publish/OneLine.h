#pragma once

#include <QString>

namespace velmo::publish {

/// \a text for a terminal or a log: line breaks and control characters, which a file name may hold, stand as "\n",
/// "\x1b" or "\u2028", so that they neither start a line nor command the terminal.
QString onOneLine(const QString &text);

} // namespace velmo::publish
