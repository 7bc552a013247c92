#pragma once

class QByteArray;
class QJsonObject;
class QSaveFile;
class QString;

namespace velmo {

/// Writes all of \a bytes, so that a disk that fills up on the way is what the file's commit() then reports. Open the
/// file Unbuffered: what waits in a buffer fails too late for commit() to see.
void writeAll(QSaveFile &file, const QByteArray &bytes);

/// What a file that keeps \a object holds, indented. Qt's reader drops a byte order mark that a text begins with, so
/// such a mark is written as an escape, and every text comes back whole.
QByteArray jsonForFile(const QJsonObject &object);

/// Puts \a file in place as commit() does, but only once the drive has taken all of it: network drives and those with a
/// quota tell that they are full no earlier than that. Why it is not in place; empty when it is.
[[nodiscard]] QString commitOnDrive(QSaveFile &file);

} // namespace velmo
