#pragma once

#include "publish/TaskResult.h"

#include <QLockFile>
#include <QString>

namespace velmo::publish {

/// Keeps a game's folder to one publisher at a time: two would race for the build number, and one would prune what the
/// other is about to name. A lock whose holder is gone for certain gives way. Given back at the end of its life.
class TreeLock {
public:
    /// \a gameFolder exists.
    explicit TreeLock(const QString &gameFolder);

    [[nodiscard]] bool take();
    /// Takes it and adds to \a result what there is to say of that.
    [[nodiscard]] bool takeFor(TaskResult *result);
    /// Why it was not taken, as a sentence that names the file and, where it can be read, who holds it.
    QString refusal() const { return refusal_; }
    /// A sentence on a lock that had to give way and that somebody should know of; otherwise empty.
    QString warning() const { return warning_; }

private:
    bool replaceLeftOver();
    QString lockError() const;

    QLockFile lock_;
    QString refusal_;
    QString warning_;
};

} // namespace velmo::publish
