#include "publish/TreeLock.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr int waitMs = 200;         // a lock that is just being made is empty for a moment
constexpr qint64 longestHours = 24; // for which a lock of another machine holds

struct Holder {
    bool known = false;
    qint64 process = 0;
    QString host;
    QString program;

    bool elsewhere = false; ///< on a machine whose processes nobody here can see
    QString description() const { return u"%1, process %2 on \"%3\""_s.arg(program, QString::number(process), host); }
};

/// What tells machines of one name apart, such as a container that was made anew; the fourth line of a lock.
QByteArray machineOf(const QLockFile &lock)
{
    QFile file(lock.fileName());
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n').value(3).trimmed() : QByteArray();
}

/// Decided as QLockFile does, which never takes the lock of another machine for left over.
bool isOfAnotherMachine(const QString &host, const QByteArray &machine)
{
    const QByteArray here = QSysInfo::machineUniqueId();
    if (!machine.isEmpty() && !here.isEmpty()) {
        return machine != here;
    }
    return !host.isEmpty() && host != QSysInfo::machineHostName();
}

Holder holderOf(const QLockFile &lock)
{
    Holder holder;
    holder.known = lock.getLockInfo(&holder.process, &holder.host, &holder.program);
    holder.elsewhere = isOfAnotherMachine(holder.host, machineOf(lock));
    return holder;
}

qint64 hoursSinceMade(const QLockFile &lock)
{
    constexpr qint64 msPerHour = qint64{60} * 60 * 1000;
    return QFileInfo(lock.fileName()).lastModified().msecsTo(QDateTime::currentDateTime()) / msPerHour;
}

} // namespace

TreeLock::TreeLock(const QString &gameFolder)
    : lock_(QDir(gameFolder).filePath(u".publish.lock"_s))
{
    lock_.setStaleLockTime(0); // a large build takes its time; here only a process that is gone loses its lock
}

TaskResult TreeLock::take()
{
    TaskResult result;
    if (!lock_.tryLock(waitMs) && (lock_.error() != QLockFile::LockFailedError || !replaceLeftOver(&result))) {
        result.problems.append(lockError());
    }
    return result;
}

/// What QLockFile itself never takes for left over: a lock that a crash or a full drive left without its text, and one
/// of a machine, such as a container, that is no more.
bool TreeLock::replaceLeftOver(TaskResult *result)
{
    const Holder holder = holderOf(lock_);
    const qint64 hours = hoursSinceMade(lock_);
    if (holder.known && (!holder.elsewhere || hours < longestHours)) {
        return false;
    }
    if (!lock_.removeStaleLockFile() || !lock_.tryLock()) {
        return false;
    }
    if (holder.known) {
        result->warnings.append(
            u"The lock \"%1\" of %2 is %3 hours old; it was taken for left over and replaced."_s.arg(
                lock_.fileName(), holder.description(), QString::number(hours)));
    }
    return true;
}

QString TreeLock::lockError() const
{
    if (lock_.error() == QLockFile::PermissionError) {
        return u"The lock \"%1\" cannot be written: Permission denied."_s.arg(lock_.fileName());
    }
    if (lock_.error() != QLockFile::LockFailedError) {
        return u"The lock \"%1\" cannot be written; the drive may be full."_s.arg(lock_.fileName());
    }
    const Holder holder = holderOf(lock_);
    if (!holder.known) {
        return u"The lock \"%1\" names no holder and cannot be replaced. Delete it if nobody is publishing."_s.arg(
            lock_.fileName());
    }
    const QString held = u"Another build is being published: the lock \"%1\" is held by %2."_s.arg(
        lock_.fileName(), holder.description());
    return holder.elsewhere ? held + u" If that machine is gone, delete the lock."_s : held;
}

} // namespace velmo::publish
