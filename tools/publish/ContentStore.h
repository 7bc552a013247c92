#pragma once

#include "publish/FileDigest.h"

#include <QSet>
#include <QString>
#include <QStringList>

namespace velmo::publish {

class ProgressMeter;

struct PruneResult {
    qsizetype files = 0;
    qint64 bytes = 0;
    QStringList problems; ///< a sentence for each file that could not be removed
};

/// The files of all builds of one game, each once, named after the hash of what it holds.
class ContentStore {
public:
    /// \a folder need not exist yet.
    explicit ContentStore(const QString &folder);

    /// Where a file lies below the store's folder: "ab/abcd...".
    static QString relativePath(const QString &sha256);
    QString filePath(const QString &sha256) const;
    /// Whether the file is there with its size. Its bytes are not read: that is what checking the tree is for.
    bool holds(const FileDigest &digest) const;

    /// Copies \a source in. False with a sentence in \a error when that fails, or when what was copied is not what
    /// \a expected says. The file appears whole or not at all; several threads may add different files.
    [[nodiscard]] bool add(const QString &source, const FileDigest &expected, ProgressMeter &meter,
                           QString *error) const;

    /// Removes every file whose hash is not in \a keep, and what interrupted copies have left.
    PruneResult prune(const QSet<QString> &keep) const;

private:
    QString folder_;
};

} // namespace velmo::publish
