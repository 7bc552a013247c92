#pragma once

#include <QString>

#include <functional>

namespace velmo::test {

/// While it lives, every sync of this program fails with \a error, as that of a network drive which is full: it took
/// all that was written and has no place for it.
class FailingSync {
public:
    explicit FailingSync(int error);
    /// A sync of the whole drive fails, but of single files only that of \a file.
    FailingSync(int error, const QString &file);
    ~FailingSync();
    Q_DISABLE_COPY_MOVE(FailingSync)
};

/// How often this program has asked for a sync since the count began.
class SyncCount {
public:
    SyncCount();

    static int ofAll(); ///< of a whole drive
    static int ofFiles();
};

/// While it lives, \a look is called before each sync of this program, which fails with the error that it gives unless
/// that is 0. For one thread that syncs.
class SyncLook {
public:
    explicit SyncLook(const std::function<int()> &look);
    ~SyncLook();
    Q_DISABLE_COPY_MOVE(SyncLook)
};

} // namespace velmo::test
