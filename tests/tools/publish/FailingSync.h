#pragma once

#include <QString>

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

} // namespace velmo::test
