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
constexpr qsizetype readAtOnce = qsizetype{256} * 1024;

template<typename Value>
QByteArray bytesOf(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

} // namespace

std::vector<PublishedTimes::Content> PublishedTimes::contentsIn(const QString &path)
{
    std::vector<Content> contents;
    PublishedTimes times(path);
    for (; !times.ended_; times.ended_ = !times.readEntry()) {
        contents.push_back({times.head_.hash, times.head_.size});
    }
    return contents;
}

PublishedTimes::PublishedTimes(const QString &path)
    : file_(path)
{
    quint64 begin = 0;
    if (file_.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && has(sizeof begin)) {
        std::memcpy(&begin, read_.constData(), sizeof begin);
        next_ = sizeof begin;
    }
    ended_ = begin != mark || !readEntry();
}

ContentHash PublishedTimes::hashOf(const BuildFile &file)
{
    const QByteArray path = file.path.toUtf8();
    while (!ended_ && path_ < path) {
        ended_ = !readEntry();
    }
    const bool stands = !ended_ && path_ == path && head_.size == file.size && head_.modified == file.modified &&
                        head_.changed == file.changed;
    known_ += stands ? 1 : 0;
    return stands ? head_.hash : ContentHash();
}

bool PublishedTimes::knowsJust(qsizetype files)
{
    return known_ == files && entries_ == files && next_ == read_.size() && file_.atEnd();
}

bool PublishedTimes::readEntry()
{
    constexpr auto headBytes = static_cast<qsizetype>(sizeof(Head));
    if (!has(headBytes)) {
        return false;
    }
    std::memcpy(&head_, read_.constData() + next_, sizeof head_);
    if (head_.pathBytes < 1 || head_.pathBytes > longestPath || !has(headBytes + head_.pathBytes)) {
        return false;
    }
    path_ = QByteArrayView(read_).sliced(next_ + headBytes, head_.pathBytes);
    next_ += headBytes + head_.pathBytes;
    ++entries_;
    return true;
}

/// Whether so many bytes come next; they are in read_ then.
bool PublishedTimes::has(qint64 bytes)
{
    if (read_.size() - next_ < bytes) {
        read_ = read_.sliced(next_) + file_.read(readAtOnce);
        next_ = 0;
    }
    return read_.size() - next_ >= bytes;
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
