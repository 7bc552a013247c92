#pragma once

#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>

class QJsonObject;

namespace velmo {

/// One file of a build.
struct ManifestFile {
    QString path;    ///< relative, with forward slashes; obeys Manifest::isSafeManifestPath
    QString sha256;  ///< 64 hexadecimal digits in lower case
    qint64 size = 0; ///< bytes, at least 0
    QString url;     ///< absolute, or relative to the manifest's folder; when empty the path serves
    bool executable = false;
};

/// One build of the game as a list of its files. The same form is published per channel and kept on disk as the record
/// of what is installed. A plain value.
struct Manifest {
    bool valid = false; ///< true only on what came whole through fromJson
    QString version;
    int build = 0; ///< grows with every build; what isNewerThan compares
    QString channel = QStringLiteral("release");
    QString executable; ///< the game's program, a relative path; may be empty
    QDateTime released;
    QString notes;
    QList<ManifestFile> files; ///< in document order

    /// Reads a manifest. One bad entry rejects the document: the result is then invalid and the reason stands in
    /// \a error, which may be null.
    static Manifest fromJson(const QJsonObject &object, QString *error);
    QJsonObject toJson() const;

    /// Bytes of all files together.
    qint64 totalSize() const;
    /// By build number; any valid manifest is newer than an invalid one.
    bool isNewerThan(const Manifest &other) const;

    /// Whether \a path may become a file name below the install folder, on every platform that players use.
    static bool isSafeManifestPath(const QString &path);
};

/// Bytes of \a files together; holds at the largest number where a hostile list would run over it.
qint64 totalSize(const QList<ManifestFile> &files);

/// \a a plus \a b, neither negative, held at the largest number.
qint64 addSizes(qint64 a, qint64 b);

} // namespace velmo

Q_DECLARE_METATYPE(velmo::Manifest)
Q_DECLARE_METATYPE(velmo::ManifestFile)
