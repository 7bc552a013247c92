#pragma once

#include "publish/ContentTree.h"
#include "publish/FileDigest.h"
#include "publish/ProgressMeter.h"

#include <QHash>
#include <QStringList>

namespace velmo::publish {

struct TreeCheckResult {
    QStringList problems;    ///< a sentence for each manifest and each path that is not as it must be
    qsizetype manifests = 0; ///< how many were read
    qsizetype files = 0;     ///< how many different files on disk they name
};

/// Proves a content tree: every manifest is one that the launcher takes, and every file is there with its size and
/// hash. Reads only.
class TreeCheck {
public:
    /// \a jobs is the number of threads, at least 1.
    TreeCheck(const ContentTree &tree, int jobs);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    TreeCheckResult run();

private:
    QString locationOf(const ChannelManifest &channel, const ManifestFile &file) const;
    void collect(const QList<ChannelManifest> &channels);
    void digestAll();
    QString problemOf(const ChannelManifest &channel, const ManifestFile &file) const;

    ContentTree tree_;
    int jobs_;
    ProgressCallback progress_;
    QStringList locations_; ///< each once
    QHash<QString, FileDigest> digests_;
};

} // namespace velmo::publish
