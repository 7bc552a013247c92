#include "publish/FileDigest.h"

#include "publish/ProgressMeter.h"

#include <QCryptographicHash>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype blockSize = qsizetype{1024} * 1024; // bytes

FileDigest failed(const QString &what, const QFile &file, const QString &reason)
{
    FileDigest digest;
    digest.error = u"\"%1\" cannot be %2: %3."_s.arg(file.fileName(), what, reason);
    return digest;
}

} // namespace

FileDigest digestFile(const QString &path, ProgressMeter &meter, QIODevice *copy)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return failed(u"read"_s, file, file.errorString());
    }
    QByteArray block(blockSize, Qt::Uninitialized);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    FileDigest digest;
    while (true) {
        const qint64 count = file.read(block.data(), block.size());
        if (count < 0) {
            return failed(u"read"_s, file, file.errorString());
        }
        if (count == 0) {
            break;
        }
        const QByteArrayView read(block.constData(), static_cast<qsizetype>(count));
        hash.addData(read);
        if (copy && copy->write(read.data(), count) != count) {
            return failed(u"copied"_s, file, copy->errorString());
        }
        digest.size += count;
        meter.addBytes(count);
    }
    digest.sha256 = QString::fromLatin1(hash.result().toHex());
    return digest;
}

} // namespace velmo::publish
