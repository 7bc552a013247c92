#pragma once

#include <QByteArray>
#include <QString>

namespace velmo::test {

/// The SHA-256 of \a bytes as a manifest has it.
QString sha256Of(const QByteArray &bytes);
/// What stands in \a path, and \a otherwise where nothing can be read, which is told from an empty file.
QByteArray readFile(const QString &path, const QByteArray &otherwise = QByteArrayLiteral("<unreadable>"));
/// Writes a file with the folders that it needs; ends the program when it cannot.
void writeFile(const QString &path, const QByteArray &bytes);

} // namespace velmo::test
