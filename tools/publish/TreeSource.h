#pragma once

#include "data/Manifest.h"
#include "publish/FileDigest.h"
#include "publish/TaskResult.h"
#include "publish/TreeLayout.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace velmo::publish {

class ProgressMeter;

/// A channel's manifest as it stands in a tree.
struct ChannelManifest {
    QString channel;
    QString path; ///< of manifest.json
    Manifest manifest;
    QString problem; ///< a sentence that names the path; empty when the manifest is good
};

/// A content tree that can be read, wherever it lies. Addresses are those of its layout.
class TreeSource {
public:
    TreeSource() = default;
    virtual ~TreeSource() = default;

    virtual TreeLayout layout() const = 0;
    /// Where the tree begins; ends in a slash.
    virtual QUrl rootUrl() const = 0;
    /// What to call the file at \a address in a sentence.
    virtual QString nameOf(const QString &address) const = 0;

    virtual ChannelManifest readManifest(const QString &channel) const = 0;
    /// What is wrong with the packed manifest beside that of \a channel, which a server may hand out in its place: a
    /// problem if it does not hold the same, a warning if it is not there. Nothing where a source has no such file.
    virtual TaskResult lookAtPacked(const QString & /*channel*/) const { return {}; }
    /// The size of the file at \a address as far as it is told without reading it; for a show of progress.
    virtual qint64 sizeOf(const QString &address) const = 0;
    /// Reads the file at \a address from end to end. May be called from any thread.
    virtual FileDigest digest(const QString &address, ProgressMeter &meter) const = 0;

protected:
    TreeSource(const TreeSource &) = default;
    TreeSource(TreeSource &&) = default;
    TreeSource &operator=(const TreeSource &) = default;
    TreeSource &operator=(TreeSource &&) = default;
};

} // namespace velmo::publish
