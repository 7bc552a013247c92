#pragma once

#include <QString>

#include <chrono>

namespace velmo::publish {

/// A file that can be read, as it stands on the drive at a moment.
struct FileState {
    qint64 size = 0;     ///< bytes
    qint64 modified = 0; ///< ns since the epoch, as its maker may set it
    qint64 changed = 0;  ///< ns since the epoch, as the drive keeps it at each change of bytes or attributes
    bool executable = false;
    bool isFile = false; ///< and not a folder or something else
    QString reason;      ///< why the file cannot be read; empty when the other fields hold
};

/// Whether a file with these times cannot have changed any more without another time, as it was seen at \a seenAt: a
/// change in the same tick of the drive's clock would bear the same.
bool isSettled(qint64 modified, qint64 changed, std::chrono::system_clock::time_point seenAt);

/// How closely to look: whether a file may be read is asked for by a call of its own.
enum class FileLook { Readable, Attributes };

FileState fileState(const QString &location, FileLook look);

/// Looks at files of which many lie in one folder: the way there is gone once for those that come one behind the other.
class FolderLook {
public:
    explicit FolderLook(FileLook look)
        : look_(look)
    {}
    ~FolderLook() { leave(); }
    Q_DISABLE_COPY_MOVE(FolderLook)

    /// The state of what is called \a name in \a folder, which ends in a slash.
    FileState stateOf(const QString &folder, const QString &name);

private:
    void leave();

    FileLook look_;
    QString folder_;
    int descriptor_ = -1; ///< of the folder; unused on Windows
};

} // namespace velmo::publish
