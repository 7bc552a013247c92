#include "tools/publish/SmallDrive.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

bool writeTo(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) == text.size();
}

/// A user other than root may mount in a user namespace of its own, where it is root.
bool becomeRootInside()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    return unshare(CLONE_NEWUSER) == 0 && writeTo("/proc/self/setgroups", "deny") &&
           writeTo("/proc/self/uid_map", "0 " + user + " 1") && writeTo("/proc/self/gid_map", "0 " + group + " 1");
}

bool mountTmpfs(const QString &folder, qint64 bytes)
{
    QDir().mkpath(folder);
    const QByteArray options = "mode=755,size=" + QByteArray::number(bytes);
    return mount("none", QFile::encodeName(folder).constData(), "tmpfs", 0, options.constData()) == 0;
}

} // namespace

bool SmallDrive::prepare()
{
    const bool prepared = (geteuid() == 0 || becomeRootInside()) && unshare(CLONE_NEWNS) == 0 &&
                          mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    if (!prepared) {
        std::perror("no file systems of our own");
    }
    return prepared;
}

SmallDrive::SmallDrive(const QString &folder, qint64 bytes)
    : folder_(folder)
    , mounted_(mountTmpfs(folder, bytes))
{}

SmallDrive::~SmallDrive()
{
    if (mounted_) {
        umount2(QFile::encodeName(folder_).constData(), MNT_DETACH);
    }
}

qint64 SmallDrive::freeBytes() const
{
    struct statvfs info {};
    return statvfs(QFile::encodeName(folder_).constData(), &info) == 0
               ? static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize)
               : -1;
}

bool SmallDrive::fillUpTo(qint64 bytes) const
{
    QFile filler(fillerPath());
    const QByteArray rest(freeBytes() - bytes, 'f');
    return filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && filler.write(rest) == rest.size() &&
           freeBytes() == bytes;
}

void SmallDrive::makeRoom() const
{
    QFile::remove(fillerPath());
}

QString SmallDrive::fillerPath() const
{
    return QDir(folder_).filePath(u"filler"_s);
}

} // namespace velmo::test
