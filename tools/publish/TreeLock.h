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

    /// Has a problem when it is not taken, which names the file and, where it can be read, who holds it, and a warning
    /// of a lock that had to give way and that somebody should know of.
    [[nodiscard]] TaskResult take();

private:
    bool replaceLeftOver(TaskResult *result);
    QString lockError() const;

    QLockFile lock_;
};

} // namespace velmo::publish
