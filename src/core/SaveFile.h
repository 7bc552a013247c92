#pragma once

class QByteArray;
class QSaveFile;

namespace velmo {

/// Writes all of \a bytes, so that a disk that fills up on the way is what the file's commit() then reports. Open the
/// file Unbuffered: what waits in a buffer fails too late for commit() to see.
void writeAll(QSaveFile &file, const QByteArray &bytes);

} // namespace velmo
