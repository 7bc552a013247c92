#pragma once

#include "data/Manifest.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace velmo::test {

inline QStringList pathsOf(const QList<ManifestFile> &files)
{
    QStringList paths;
    for (const ManifestFile &file : files) {
        paths.append(file.path);
    }
    return paths;
}

/// One file of a build, with its bytes.
struct BuildFile {
    QString path;
    QByteArray content;
    bool executable = false;
    QString url; ///< as in the manifest; empty when the path serves
};

/// One build of the game as a studio would make it.
struct Build {
    QString version;
    int build = 0;
    QList<BuildFile> files;
    QString executable = QStringLiteral("bin/game");
    QString notes;

    Manifest manifest() const;
    qint64 totalSize() const { return manifest().totalSize(); }
    QByteArray content(const QString &path) const;
};

/// Where the small program that stands for the game lies.
QString gameProgram();
/// That program as a build's "bin/game".
BuildFile gameProgramFile();

/// A build of three small files: "bin/game" of 100 bytes, "data/old.dat" of 300 and "data/one.dat" of 600.
Build firstBuild();
/// The first build with a changed file, an added one and without "data/old.dat"; 650 bytes to fetch.
Build secondBuild();
/// The first build with one of its files changed, of 250 bytes.
Build patchedBuild();
/// The first build with a program that runs.
Build playableBuild(const QString &version = QStringLiteral("1.0.0"));
/// A build whose last file takes a while at a limited rate, and lies in its ".part" file meanwhile.
Build slowBuild();

} // namespace velmo::test
