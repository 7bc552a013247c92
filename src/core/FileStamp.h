#pragma once

#include <QtGlobal>

#include <chrono>

class QFile;

namespace velmo {

/// What tells one state of a file from the next without reading it: which file it is, its size, and when it changed.
struct FileStamp {
    quint64 drive = 0;
    quint64 file = 0;     ///< the file's number on its drive
    qint64 size = 0;      ///< bytes
    qint64 changedAt = 0; ///< nanoseconds since 1970, as finely as the drive counts; 0 when nothing is known

    bool operator==(const FileStamp &) const = default;

    /// Whether a change at \a now or later would show: the last one is longer ago than the coarsest drive's clock
    /// takes for a tick, 2 s.
    bool isSettledAt(std::chrono::system_clock::time_point now) const;
};

/// The stamp of \a file, which is open.
FileStamp stampOf(const QFile &file);

} // namespace velmo
