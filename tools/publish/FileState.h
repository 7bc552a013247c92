#pragma once

#include <QString>

namespace velmo::publish {

/// A file that can be read, as it stands on the drive at a moment.
struct FileState {
    qint64 size = 0;     ///< bytes
    qint64 modified = 0; ///< ns since the epoch, as its maker may set it
    qint64 changed = 0;  ///< ns since the epoch, as the drive keeps it at each change of bytes or attributes
    bool executable = false;
    QString error; ///< why the file cannot be read; empty when the other fields hold
};

/// Opens the file at \a location to see whether it can be read.
FileState fileState(const QString &location);

} // namespace velmo::publish
