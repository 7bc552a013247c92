#include "support/TestFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace velmo::test {

QString sha256Of(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

QByteArray readFile(const QString &path, const QByteArray &otherwise)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : otherwise;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(bytes) != bytes.size()) {
        qFatal("Cannot write %s: %s", qPrintable(path), qPrintable(file.errorString()));
    }
}

} // namespace velmo::test
