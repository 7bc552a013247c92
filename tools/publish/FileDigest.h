#pragma once

#include <QString>

class QSaveFile;

namespace velmo::publish {

class ProgressMeter;

/// What reading a file from end to end gave.
struct FileDigest {
    QString sha256;  ///< 64 digits in lower case
    qint64 size = 0; ///< bytes that were read
    QString error;   ///< a sentence that names the file; empty when the other fields hold
};

/// Reads \a path in blocks and hashes it; what is read goes to \a copy as well, if one is given. Counts the bytes on
/// \a meter. The copy is open Unbuffered, see writeAll, and its commit() has the last word on whether it is whole.
FileDigest digestFile(const QString &path, ProgressMeter &meter, QSaveFile *copy = nullptr);

} // namespace velmo::publish
