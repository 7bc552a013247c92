#include "publish/PublishedTimes.h"

#include "core/SaveFile.h"
#include "publish/Reason.h"

#include <QDir>
#include <QFileInfo>

#include <cstring>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

// Says also how this machine orders the bytes of a number; a list of another one is of no use.
constexpr quint64 mark = 0x0001'7365'6d69'7476;
constexpr qint64 longestPath = 4096;                       // bytes; the launcher takes far less
constexpr qsizetype waitingAtMost = qsizetype{256} * 1024; // bytes

template<typename Value>
QByteArray bytesOf(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

} // namespace

PublishedTimes::PublishedTimes(const QString &path)
    : file_(path)
{
    quint64 begin = 0;
    ended_ = !file_.open(QIODevice::ReadOnly) ||
             file_.read(reinterpret_cast<char *>(&begin), sizeof begin) != sizeof begin || begin != mark ||
             !readEntry();
}

ContentHash PublishedTimes::hashOf(const BuildFile &file)
{
    const QByteArray path = file.path.toUtf8();
    while (!ended_ && path_ < path) {
        ended_ = !readEntry();
    }
    const bool stands = !ended_ && path_ == path && head_.size == file.size && head_.modified == file.modified &&
                        head_.changed == file.changed;
    return stands ? head_.hash : ContentHash();
}

bool PublishedTimes::readEntry()
{
    if (file_.read(reinterpret_cast<char *>(&head_), sizeof head_) != sizeof head_ || head_.pathBytes < 1 ||
        head_.pathBytes > longestPath) {
        return false;
    }
    path_ = file_.read(head_.pathBytes);
    return path_.size() == head_.pathBytes;
}

bool PublishedTimes::forget(const QString &path)
{
    return !QFileInfo::exists(path) || QFile::remove(path);
}

PublishedTimes::Writer::Writer(const QString &path, std::chrono::system_clock::time_point seenAt)
    : file_(path)
    , seenAt_(seenAt)
{
    QDir().mkpath(QFileInfo(path).path());
    if (file_.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        writeAll(file_, bytesOf(mark));
    }
}

void PublishedTimes::Writer::add(const BuildFile &file, const ContentHash &hash)
{
    if (!isSettled(file.modified, file.changed, seenAt_)) {
        return;
    }
    const QByteArray path = file.path.toUtf8();
    waiting_ += bytesOf(Head{file.size, file.modified, file.changed, hash, path.size()}) + path;
    if (waiting_.size() >= waitingAtMost) {
        writeAll(file_, std::exchange(waiting_, {}));
    }
}

QString PublishedTimes::Writer::finish()
{
    QString reason = file_.errorString();
    if (file_.isOpen()) {
        writeAll(file_, waiting_);
        reason = commitOnDrive(file_);
        if (reason.isEmpty()) {
            return {};
        }
    }
    forget(file_.fileName());
    return u"\"%1\" cannot be written: %2."_s.arg(file_.fileName(), reasonText(reason));
}

} // namespace velmo::publish
