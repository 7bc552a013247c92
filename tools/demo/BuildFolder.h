#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace velmo::demo {

// The builds of the game that the demo publishes, as plain folders.

/// Fills \a folder with the generated game: \a program and about 60 MB in about 200 files of mixed size, the same on
/// every run.
void generateGame(const QString &folder, const QString &program);

/// Copies the files of \a source, with their permissions, into the new folder \a target.
void copyFolder(const QString &source, const QString &target);

/// Makes the next build of \a folder: two of its files change, one goes and one comes. \a program, a path in the
/// folder, stays. Returns what it did, one line each.
QStringList makeNextBuild(const QString &folder, const QString &program, const QString &version);

/// Damages a build that is installed in \a folder: flips a byte of the largest file, shortens the next and deletes the
/// third, \a program left aside. Returns the three paths.
QStringList damageBuild(const QString &folder, const QString &program);

/// What leads from one build to another: paths, sorted.
struct Difference {
    QStringList fetched;
    QStringList removed;
    qint64 bytes = 0; ///< of what is fetched
};
/// \a from may be empty, for no build.
Difference differenceOf(const QString &from, const QString &to);

/// The paths of all files below \a folder, relative to it and sorted.
QStringList filesBelow(const QString &folder);

/// Empty when it cannot be read.
QByteArray contentOf(const QString &path);
/// With the folders that it needs.
void writeFile(const QString &path, const QByteArray &bytes);

} // namespace velmo::demo
