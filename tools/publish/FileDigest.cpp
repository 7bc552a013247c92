#include "publish/FileDigest.h"

#include "core/SaveFile.h"
#include "publish/ProgressMeter.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSaveFile>

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

FileDigest digestFile(const QString &path, ProgressMeter &meter, QSaveFile *copy)
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
        const QByteArray read = QByteArray::fromRawData(block.constData(), static_cast<qsizetype>(count));
        hash.addData(read);
        if (copy) {
            writeAll(*copy, read);
            if (copy->error() != QFileDevice::NoError) {
                return failed(u"copied to \"%1\""_s.arg(copy->fileName()), file, copy->errorString());
            }
        }
        digest.size += count;
        meter.addBytes(count);
    }
    digest.sha256 = QString::fromLatin1(hash.result().toHex());
    return digest;
}

} // namespace velmo::publish
