#pragma once

#include "publish/ContentHash.h"
#include "publish/DriveSync.h"
#include "publish/Rclone.h"

#include <QDir>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace velmo::publish {

/// What lies in a game's folder at a remote.
struct RemoteListing {
    QHash<ContentHash, qint64> content; ///< the sizes of the content files
    QStringList manifests;              ///< paths below the game's folder, of every channel that there is
    QStringList strange;                ///< paths of manifests that cannot be fetched for their names
    bool hasMemory = false;
    bool hasIncoming = false;
    QString problem; ///< why it is not known; empty when the other fields hold
};

/// How content files at a remote compare with those in a folder.
struct RemoteComparison {
    QList<ContentHash> wrong; ///< those that are missing or differ
    QString problem;          ///< why it is not known; empty when it is
};

/// The game's folder at a remote, as rclone sees it. Functions that return a QString return a sentence when they fail.
/// Content files are named by their hashes.
class Remote {
public:
    using Contents = QList<ContentHash>;

    Remote(const RemoteAddress &address, const QString &game, int transfers);

    /// Finds rclone, and what the remote is able to do. Before everything else.
    QString open();
    RemoteListing list() const;
    /// Brings the files at \a paths below the game's folder into \a folder.
    QString fetch(const QStringList &paths, const QString &folder) const;

    /// Uploads \a contents from the tree's folder of content files at \a folder, those too that are there with their
    /// sizes if \a replacing.
    QString upload(const Contents &contents, const QString &folder, bool replacing,
                   const Rclone::ProgressTaker &progress) const;
    /// Compares \a contents with those in \a folder, by their sizes and, where the remote has any, their hashes.
    RemoteComparison compare(const Contents &contents, const QString &folder) const;
    /// Has the drive take \a contents and their names, where that is one of this machine.
    QString settle(const Contents &contents) const;
    /// Puts the file at \a path below \a folder at the same path below the game's folder, in place of what stands
    /// there. Tells whoever asks for it that it \a isPacked.
    QString replace(const QString &path, const QString &folder, bool isPacked = false) const;
    /// Whether it can tell so. Such a place has one manifest for everybody, the packed one, since it does not choose
    /// between two files.
    bool tellsOfPacking() const { return tellsOfPacking_; }
    /// Tries that with the packed file at \a path below \a folder, where nobody asks for it: a store need not keep all
    /// that its kind can.
    QString proveTellingOfPacking(const QString &path, const QString &folder);
    /// Removes content files and nothing else.
    QString remove(const Contents &contents) const;
    /// Removes what uploads have left, where they leave anything or \a listing shows some.
    QString clearIncoming(const RemoteListing &listing) const;

    /// Where the remote keeps since when which content file is named no more.
    static QString memoryPath();

private:
    /// How a file gets to its place so that nobody sees half of it.
    enum class Placing {
        ByUpload,   ///< uploads appear whole
        ByRename,   ///< rclone writes into the file itself, so it is uploaded under another name and renamed
        ByThisDrive ///< a folder of this machine
    };

    QString placeOf(const QString &path) const { return address_.at(path.isEmpty() ? game_ : game_ + u'/' + path); }
    QString failure(const QString &task, const RcloneRun &run) const;
    struct Upload {
        QStringList paths;
        QString from;
        QString to;
        QString cacheControl;
        QStringList options;
    };

    QString run(const Upload &upload, const Rclone::ProgressTaker &progress) const;
    QString moveList(const QStringList &paths, const QString &from, const QString &to) const;
    QString gameFolder() const { return QDir(root_).filePath(game_); }
    QString replaceOnThisDrive(const QString &path, const QString &folder) const;

    RemoteAddress address_;
    QString game_;
    int transfers_;
    Rclone rclone_;
    Placing placing_ = Placing::ByUpload;
    bool tellsOfPacking_ = false;
    QString root_;                   ///< for ByThisDrive
    QString around_;                 ///< the same: a folder that is there, and the game's is or will be in it
    std::optional<DriveSync> drive_; ///< the same
};

} // namespace velmo::publish
