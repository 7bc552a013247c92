#pragma once

#include "publish/ContentTree.h"
#include "publish/ProgressMeter.h"
#include "publish/Remote.h"
#include "publish/TaskResult.h"
#include "publish/UnnamedContent.h"

#include <QDir>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace velmo::publish {

/// What is to be pushed, and where to.
struct PushOrder {
    RemoteAddress remote;
    QString tree;
    QString game;
    int transfers = 8;
    int pruneOlderThanDays = 0; ///< remove what no manifest has named for so long; 0 for nothing
    bool dryRun = false;        ///< only look
};

/// What was done, or in a dry run what would be.
struct PushResult : TaskResult {
    qsizetype files = 0; ///< that the tree's manifests name, each once
    qint64 bytes = 0;
    qsizetype uploaded = 0;
    qint64 uploadedBytes = 0;
    QStringList channels; ///< whose manifests were replaced
    qsizetype pruned = 0;
    qint64 prunedBytes = 0;
    qsizetype unnamed = 0; ///< files that wait to be pruned
};

/// Brings a content tree to where it is served from: the content files that are missing there, and when all are proved
/// to be there the manifests, so that whatever goes wrong leaves whole builds there.
class Push {
public:
    explicit Push(const PushOrder &order);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    PushResult run();

private:
    /// The steps in their order. Each gives the problems it met; the next begins only without any.
    QStringList readTree();
    QStringList readRemote();
    QStringList pushContent();
    QStringList pushManifests();
    QStringList prune();
    QStringList tidy();

    QStringList takeSnapshot(const QString &channel);
    QStringList addNamed(const ChannelManifest &channel);
    void warnOfOlder(const QString &channel);
    QHash<QString, QString> readRemoteManifests(const QString &folder);
    QStringList upload(const Remote::Contents &contents, bool replacing);
    QStringList proveContent();
    /// A file that becomes a channel's manifest, or the packed one beside it.
    struct Placed {
        QString path; ///< below the game's folder
        QString from; ///< the folder that it lies below
        bool isPacked = false;
    };
    QList<Placed> manifestsOf(const QString &channel) const;
    QList<Placed> manifestsThatDiffer() const;
    QStringList replace(const QList<Placed> &manifests);

    QString remember(const UnnamedContent &memory);

    PushOrder order_;
    ProgressCallback progress_;
    ContentTree tree_;
    Remote remote_;
    PushResult result_;
    QTemporaryDir work_;
    ContentTree snapshot_;                ///< the manifests that are pushed, as they stood at the beginning
    QDir packed_;                         ///< below it the packed ones, under the names of the plain ones
    QHash<ContentHash, qint64> contents_; ///< what they name
    RemoteListing there_;
    QSet<ContentHash> namedThere_;           ///< by any manifest of the remote
    QHash<QString, int> buildsThere_;        ///< of the manifests of the remote that can be read, by their paths
    QHash<QString, QString> remoteProblems_; ///< why namedThere_ may not be all, by the manifest's path
    QByteArray memoryThere_;
};

} // namespace velmo::publish
