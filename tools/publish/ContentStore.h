#pragma once

#include "publish/FileDigest.h"
#include "publish/FileState.h"
#include "publish/TaskResult.h"

#include <QSet>
#include <QString>
#include <QStringList>

namespace velmo::publish {

/// Has a problem for each file that could not be removed.
struct PruneResult : TaskResult {
    qsizetype files = 0;
    qint64 bytes = 0;
};

/// The files of all builds of one game, each once, named after the hash of what it holds.
class ContentStore {
public:
    /// \a folder need not exist yet.
    explicit ContentStore(const QString &folder);

    QString filePath(const QString &sha256) const;
    /// Where a copy lies until it has a name; see Incoming.
    QString incomingFolder() const;
    /// Whether the file is there with its size. Its bytes are not read: that is what checking the tree is for.
    bool holds(const FileDigest &digest) const;
    /// The same, by a look of which many follow each other in the order of their hashes.
    bool holds(const FileDigest &digest, FolderLook &look) const;

    /// Removes every file whose hash is not in \a keep, and what interrupted copies have left.
    PruneResult prune(const QSet<QString> &keep) const;

private:
    QString folder_;
};

} // namespace velmo::publish
