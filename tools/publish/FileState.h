#pragma once

#include <QString>

namespace velmo::publish {

/// A file that can be read, as it stands on the drive at a moment.
struct FileState {
    qint64 size = 0;     ///< bytes
    qint64 modified = 0; ///< ns since the epoch, as its maker may set it
    qint64 changed = 0;  ///< ns since the epoch, as the drive keeps it at each change of bytes or attributes
    bool executable = false;
    bool isFile = false; ///< and not a folder or something else
    QString error;       ///< why the file cannot be read; empty when the other fields hold
};

/// How closely to look: whether a file can be read is told only by opening it, which takes longer than all else.
enum class FileLook { Readable, Attributes };

FileState fileState(const QString &location, FileLook look);

} // namespace velmo::publish
