#pragma once

#include <QString>

namespace velmo {

// Starting the launcher when the user signs in: one entry of the platform, which holds the command to run.
// Main thread only.

/// Whether the platform has such an entry; the setting is not offered where it has none.
bool autostartSupported();
/// Whether an entry stands, be its path right or stale.
bool autostartEnabled();
/// The command of the entry; empty when there is none.
QString autostartCommand();
/// The command that the entry of this very program must have.
QString expectedAutostartCommand();
/// Writes or removes the entry. False, with a warning in the log, when the platform refused.
bool setAutostartEnabled(bool enabled);
/// Rewrites an entry that names another command than this program's, as after a move of its folder.
void refreshAutostartPath();

} // namespace velmo
