#pragma once

#include "publish/BuildScanner.h"
#include "publish/ContentStore.h"
#include "publish/ContentTree.h"
#include "publish/FileState.h"
#include "publish/Incoming.h"
#include "publish/ProgressMeter.h"
#include "publish/PublishedTimes.h"
#include "publish/TaskResult.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <vector>

namespace velmo::publish {

/// What is to be published, and how.
struct PublishOrder {
    QString source; ///< the build folder
    QString tree;   ///< the content tree; made when it does not exist
    QString game;   ///< a folder name, see TreeLayout::isFolderName
    QString channel;
    QString version;
    int build = 0;
    QString executable; ///< the game's program, a path of the build; may be empty
    QString notes;
    bool prune = false;      ///< remove what no manifest names any longer
    bool allowOlder = false; ///< also over a build that is not older, or over a damaged manifest
    bool trustTimes = false; ///< do not read a file that has the size and the times of the last publishing
    int jobs = 1;            ///< threads, at least 1
};

struct PublishResult : TaskResult {
    Manifest manifest;    ///< what was put in place, but for its files; invalid when nothing was
    qsizetype files = 0;  ///< of the manifest
    qint64 bytes = 0;     ///< of all of them
    qsizetype copied = 0; ///< content files that the tree did not hold yet
    PruneResult pruned;
};

/// Brings one build into a content tree: refuses before it writes anything, then stores the files, and last of all puts
/// the manifest in place, so that whatever goes wrong leaves the published build as it was.
class Publisher {
public:
    explicit Publisher(const PublishOrder &order);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    PublishResult run();

private:
    /// The steps in their order. Each gives the problems it met; the next begins only without any.
    QStringList refusals();
    QStringList publishFiles();
    QStringList storeFiles();
    QStringList readFiles(Incoming &incoming);
    QStringList placeFiles(Incoming &incoming);
    QStringList putManifest();
    void remember(const ProvedPieces::Writer &proved);
    QStringList prune();

    QString placeRefusal() const;
    QStringList publishedRefusals();
    QStringList updateRefusals(const ChannelManifest &published) const;
    bool isPublishedAsSeen() const;
    bool lookAtPublished(ChannelManifest *published);
    QStringList pruneRefusals() const;
    void lookAtContents();
    void trustTimes();
    bool listsTheSame(ChannelManifest *published);
    std::vector<char> heldOf(const std::vector<PublishedTimes::Content> &contents) const;
    std::vector<char> heldFiles() const;
    bool isAsPublished() const { return isHeld_ && same_; }
    void beginReading(ProgressMeter &meter) const;
    bool isLikelyHeld(const BuildFile &file) const;
    Manifest header() const;
    ManifestFile listed(qsizetype index) const;
    QStringList changedFiles() const;

    PublishOrder order_;
    ProgressCallback progress_;
    ContentTree tree_;
    ContentStore store_;
    BuildScan scan_;
    std::chrono::system_clock::time_point scannedAt_;
    std::chrono::system_clock::time_point seenAt_; ///< when the channel's manifest was read
    FileState seen_;                               ///< the manifest, just before
    QList<ContentHash> hashes_;                    ///< of scan_'s files, index by index
    /// What the last publishing has taken down, if the tree holds all of it. Looked at before the build is walked.
    std::vector<PublishedTimes::Content> heldBefore_;
    bool isHeld_ = false;              ///< all of scan_'s files, by that look
    bool timesStand_ = false;          ///< the list of times knows just scan_'s files
    std::optional<ProvedPieces> same_; ///< of the channel's manifest, if that lists just scan_'s files
    /// The large files that the channel publishes, by path: a file of the same size is likely the same.
    QHash<QString, FileDigest> largeFilesBefore_;
    PublishResult result_;
};

} // namespace velmo::publish
