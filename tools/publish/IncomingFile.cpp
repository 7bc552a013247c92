#include "publish/IncomingFile.h"

#include "publish/FileClone.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

IncomingFile::IncomingFile(const QString &path)
    : file_(path)
{}

IncomingFile::~IncomingFile()
{
    if (file_.isOpen()) {
        file_.close();
        file_.remove();
    } else if (!kept_ && file_.error() != QFileDevice::NoError) {
        file_.remove(); // closing it has failed
    }
}

QString IncomingFile::add(QByteArrayView bytes)
{
    if (!file_.isOpen() && first_.isEmpty()) {
        first_ = bytes.toByteArray();
        return {};
    }
    QString reason;
    if (!file_.isOpen()) {
        reason = write(first_);
        first_.clear();
    }
    return reason.isEmpty() ? write(bytes) : reason;
}

QString IncomingFile::keep()
{
    if (!file_.isOpen()) {
        if (const QString reason = write(first_); !reason.isEmpty()) {
            return reason;
        }
    }
    file_.close(); // a network drive may tell only now that it is full
    kept_ = file_.error() == QFileDevice::NoError;
    return kept_ ? QString() : file_.errorString();
}

bool IncomingFile::clone(const QString &source)
{
    return write({}).isEmpty() && cloneFile(source, file_);
}

/// Unbuffered, for what waits in a buffer fails where nobody looks.
QString IncomingFile::write(QByteArrayView bytes)
{
    if (!file_.isOpen() && !file_.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        return file_.errorString();
    }
    for (qsizetype written = 0; written < bytes.size();) {
        const qint64 count = file_.write(bytes.data() + written, bytes.size() - written);
        if (count <= 0) { // a short write is none: the next one tells why
            return count < 0 ? file_.errorString() : u"Nothing more can be written"_s;
        }
        written += static_cast<qsizetype>(count);
    }
    return {};
}

} // namespace velmo::publish
