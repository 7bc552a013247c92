#pragma once

#include <QString>

namespace velmo {

/// Lets everybody run the file \a path, if it is a file of its own and not a link to somebody else's. Systems that ask
/// for no such permission, as Windows, have nothing to do here; that it fails shows when the game is started.
void allowExecution(const QString &path);

} // namespace velmo
