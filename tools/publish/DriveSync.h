#pragma once

#include <QList>
#include <QString>

#include <functional>

namespace velmo::publish {

/// Brings what is written to a drive to where it outlasts a loss of power.
class DriveSync {
public:
    /// Below this many files each is synced by itself, which leaves what others have written to the drive alone.
    static constexpr qsizetype fewestForAll = 16;

    /// A file or folder that the drive did not take.
    struct Failure {
        qsizetype file; ///< its place among those that were to be synced
        QString reason;
    };

    /// For files in \a folder. Made before the first of them is written, since a failure that others have been told of
    /// by then is not told again.
    explicit DriveSync(const QString &folder);
    ~DriveSync();
    Q_DISABLE_COPY_MOVE(DriveSync)

    /// Syncs \a count files, which are closed, or folders, that is the names in them, which lie at \a pathAt. Gives
    /// those that the drive did not take.
    QList<Failure> sync(qsizetype count, const std::function<QString(qsizetype)> &pathAt) const;

private:
    // The system's part: 0, or why it fails. A drive that cannot be asked for a sync is none that fails.
    bool syncsAll() const;
    static int failureOf(const QString &path);

    int folder_ = -1; ///< a descriptor, on systems that sync a whole drive by one
};

} // namespace velmo::publish
