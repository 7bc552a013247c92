#pragma once

#include <QString>
#include <QStringList>

namespace velmo::demo {

// The builds of the game that the demo publishes, as plain folders.

/// Fills \a folder with the generated game: \a program and about 60 MB in about 200 files of mixed size, the same on
/// every run. False when something could not be written.
bool generateGame(const QString &folder, const QString &program);

/// Copies the files of \a source, with their permissions, into the new folder \a target.
bool copyFolder(const QString &source, const QString &target);

/// Makes the next build of \a folder: two of its files change, one goes and one comes. \a program, a path in the
/// folder, stays. Returns what it did, one line each; empty when it could not.
QStringList makeNextBuild(const QString &folder, const QString &program, const QString &version);

/// The paths of all files below \a folder, relative to it and sorted.
QStringList filesBelow(const QString &folder);
/// The same, the largest first.
QStringList largestFilesBelow(const QString &folder);

} // namespace velmo::demo
