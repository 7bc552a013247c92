#pragma once

#include "core/FileStamp.h"
#include "data/Manifest.h"

#include <QObject>

namespace velmo {

/// Keeps the install folder: whether it is usable, what it needs and has, where the game's program is, and the record
/// of the installed build in ".velmo/installed.json". Holds nothing but the root and looks at the disk for every
/// question; a sound record is parsed again only when its file has changed. Main thread only; synchronous.
class InstallManager : public QObject {
    Q_OBJECT

public:
    explicit InstallManager(QObject *parent = nullptr);

    /// Takes \a path, cleaned, without looking at it.
    void setInstallRoot(const QString &path);
    QString installRoot() const { return root_; }
    QString metadataDir() const;

    /// Makes the folder and proves that it can be written to. On failure \a error, which may be null, is for the user.
    bool prepare(QString *error);
    /// Free bytes on the root's drive, also before the root exists; -1 when unknown.
    qint64 availableBytes() const;
    /// Bytes that fetching \a files needs: their sizes and a margin of 15 %.
    static qint64 requiredBytes(const QList<ManifestFile> &files);

    /// Absolute path of the game's program by the installed manifest, else by the profile; empty when neither names
    /// one. Nothing says that the file exists.
    QString executablePath() const;

    /// Whether a record exists, readable or not.
    bool hasInstalledManifest() const;
    /// The record; invalid when there is none or it is damaged.
    Manifest loadInstalledManifest() const;
    /// Replaces the record atomically. False when it could not; the old record is then whole.
    bool commitInstalledManifest(const Manifest &manifest);
    /// Deletes the files of \a previous that \a next lacks, and returns how many went. Folders stay.
    int removeStaleFiles(const Manifest &previous, const Manifest &next);

private:
    QString installedManifestPath() const;

    /// A sound record, and the state of its file in which it was read.
    struct KnownRecord {
        FileStamp stamp;
        Manifest manifest;
    };

    QString root_; ///< cleaned absolute path; empty until set
    mutable KnownRecord known_;
};

} // namespace velmo
