#pragma once

#include <QString>

namespace velmo::publish {

class IncomingFile;
class ProgressMeter;

/// How many bytes are read at a time.
constexpr qsizetype digestBlock = qsizetype{256} * 1024;

/// What reading a file from end to end gave.
struct FileDigest {
    QString sha256;  ///< 64 digits in lower case
    qint64 size = 0; ///< bytes that were read
    QString problem; ///< a sentence that names the file; empty when the other fields hold
};

/// Reads \a path in blocks and hashes it; what is read goes to \a copy as well, if one is given. Counts the bytes on
/// \a meter. The copy's keep() has the last word on whether it is whole.
FileDigest digestFile(const QString &path, ProgressMeter &meter, IncomingFile *copy = nullptr);

/// The sentence on a file that could not be copied.
QString copyError(const QString &path, const QString &copy, const QString &reason);

} // namespace velmo::publish
