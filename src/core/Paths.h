#pragma once

#include <QString>

namespace velmo {

// Where the launcher keeps its own files. Every path is absolute and has forward slashes.

/// The folder of everything that the launcher keeps for this user.
QString dataDirectory();
QString configFilePath();
QString logsDirectory();

/// The folder below which games are installed unless the player chose another.
QString defaultGamesRoot();

/// Whether \a path is a directory after the call; makes it and its parents when absent. An empty path gives false.
bool ensureDirectory(const QString &path);

} // namespace velmo
