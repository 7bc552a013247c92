#include "publish/ManifestFiles.h"

#include "publish/Gzip.h"

#include <QFile>

namespace velmo::publish {

namespace {

constexpr qint64 mostManifestBytes = qint64{256} * 1024 * 1024; // that the launcher takes

} // namespace

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray manifestText(const QByteArray &bytes)
{
    return isPacked(bytes) ? unpack(bytes, mostManifestBytes).value_or(bytes) : bytes;
}

} // namespace velmo::publish
