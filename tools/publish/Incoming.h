#pragma once

#include "publish/ContentHash.h"
#include "publish/ContentStore.h"
#include "publish/DriveSync.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>

#include <atomic>
#include <optional>

namespace velmo::publish {

/// What is on its way into a store of content files. Each file is copied under a name of our own, as it is hashed, and
/// takes the name of its hash once the drive has it: so no name in the store ever stands over bytes that a loss of
/// power could take, though the drive is asked once for all of them. Only when it has the names too, a manifest may
/// name them.
class Incoming {
public:
    /// Whether the store is thought to hold a file, so that it is read before it is copied.
    enum class Guess { New, Held };

    /// How much may be ready before it had better be placed: more is lost when the program is killed.
    struct Limits {
        qint64 bytes;
        qsizetype files;
    };

    explicit Incoming(const ContentStore &store, const Limits &limits = {qint64{1} << 30, qsizetype{1} << 18});
    /// What was not placed goes away.
    ~Incoming();
    Q_DISABLE_COPY_MOVE(Incoming)

    /// Makes the folder, without what an earlier run left in it when it was cut off. A sentence when that fails.
    [[nodiscard]] QString open();

    /// Reads \a source, which has about \a size bytes, and has a copy ready unless the store holds its content. May be
    /// called from any thread.
    FileDigest take(const QString &source, qint64 size, Guess guess, ProgressMeter &meter);

    bool isMuchReady() const { return bytesReady_ >= limits_.bytes || filesReady_ >= limits_.files; }
    /// Puts what is ready into the store, with the drive's word for it. A sentence for each file that fails. The meter,
    /// which may be null, counts them.
    QStringList place(ProgressMeter *meter);
    /// Has the drive keep the names that place() gave, and those of a run that was cut off before it came to that: a
    /// manifest that is on the drive does not bring the files' names along everywhere. A sentence for each folder that
    /// fails.
    QStringList settle();

    /// Of all that was taken and that the store did not hold.
    qsizetype files() const { return files_; }
    qint64 bytes() const { return bytes_; }

private:
    struct Copy {
        quint64 name = 0;
        qint64 size = 0;
        ContentHash hash;
    };

    FileDigest copy(const QString &source, qint64 size, ProgressMeter &meter);
    bool claim(const FileDigest &digest);
    void giveBack(const ContentHash &hash);
    QString pathOf(quint64 name) const;
    QList<Copy> takeReady();
    QString placeOne(const Copy &copy);
    QStringList foldersToSettle() const;

    ContentStore store_;
    Limits limits_;
    QString folder_;
    std::optional<DriveSync> drive_;
    QSet<QString> shelves_;              ///< that are certainly there
    QSet<QString> unsettled_;            ///< shelves with names that the drive may not have
    bool earlierMayBeUnsettled_ = false; ///< any shelf may have such names, of a run that was cut off

    std::atomic<quint64> names_ = 0;
    std::atomic<qsizetype> files_ = 0;
    std::atomic<qint64> bytes_ = 0;
    std::atomic<qsizetype> filesReady_ = 0;
    std::atomic<qint64> bytesReady_ = 0;
    QMutex mutex_;
    QSet<ContentHash> claimed_; ///< what is being copied or ready; equal files of a build are copied once
    QList<Copy> ready_;
};

} // namespace velmo::publish
