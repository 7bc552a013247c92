#pragma once

#include "publish/BuildScanner.h"
#include "publish/ContentStore.h"
#include "publish/ContentTree.h"
#include "publish/ProgressMeter.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace velmo::publish {

/// What is to be published, and how.
struct PublishOrder {
    QString source; ///< the build folder
    QString tree;   ///< the content tree; made when it does not exist
    QString game;   ///< a folder name, see ContentTree::isFolderName
    QString channel;
    QString version;
    int build = 0;
    QString executable; ///< the game's program, a path of the build; may be empty
    QString notes;
    bool prune = false;      ///< remove what no manifest names any longer
    bool allowOlder = false; ///< also over a build that is not older, or over a damaged manifest
    int jobs = 1;            ///< threads, at least 1
};

struct PublishResult {
    QStringList problems; ///< sentences that name the path; empty when all was done
    QStringList warnings; ///< sentences on what somebody should look at, though it did not keep the build back
    Manifest manifest;    ///< what was put in place; invalid when nothing was
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
    QStringList hashFiles();
    QStringList copyFiles();
    QStringList putManifest();
    QStringList prune();

    QString placeRefusal() const;
    std::optional<ChannelManifest> published() const;
    QStringList publishedRefusals(const std::optional<ChannelManifest> &published) const;
    QStringList pruneRefusals() const;
    QStringList changedFiles() const;
    QList<qsizetype> filesToCopy() const;
    Manifest manifest() const;

    PublishOrder order_;
    ProgressCallback progress_;
    ContentTree tree_;
    ContentStore store_;
    QList<BuildFile> files_;
    QList<FileDigest> digests_; ///< of files_, index by index
    PublishResult result_;
};

} // namespace velmo::publish
