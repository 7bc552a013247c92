#pragma once

#include "publish/ContentTree.h"
#include "publish/FileDigest.h"
#include "publish/ProgressMeter.h"
#include "publish/TaskResult.h"

#include <QHash>
#include <QStringList>

#include <functional>

namespace velmo::publish {

/// Has a problem for each manifest and each path that is not as it must be.
struct TreeCheckResult : TaskResult {
    qsizetype manifests = 0; ///< how many were read
    qsizetype files = 0;     ///< how many different files on disk they name
};

/// Proves a content tree: every manifest is one that the launcher takes, and every file is there with its size and
/// hash. Reads only, on a disk or from a server.
class TreeCheck {
public:
    /// Of \a tree, which outlives this, on \a jobs threads, at least 1. The channels are named, since a server does not
    /// list its folders.
    TreeCheck(const TreeSource &tree, const QStringList &channels, int jobs);
    /// Of all channels that stand in a folder.
    TreeCheck(const ContentTree &tree, int jobs);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    TreeCheckResult run();

private:
    QString addressOf(const ChannelManifest &channel, const ManifestFile &file) const;
    void collect(const QList<ChannelManifest> &channels);
    void digestAll();
    QString problemOf(const ChannelManifest &channel, const ManifestFile &file) const;

    const TreeSource &tree_;
    std::function<QList<ChannelManifest>()> read_;
    int jobs_;
    ProgressCallback progress_;
    QStringList addresses_; ///< each once
    QHash<QString, FileDigest> digests_;
};

} // namespace velmo::publish
