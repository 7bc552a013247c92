#include "Scratch.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <sys/mount.h>
#include <sys/statvfs.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

constexpr qint64 wholeBytes = qint64{64} * 1024 * 1024;
constexpr qint64 driveBytes = qint64{32} * 1024 * 1024;

void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("Cannot write %s: %s", qPrintable(path), qPrintable(file.errorString()));
    }
}

qint64 freeBytes(const QString &folder)
{
    struct statvfs info {};
    statvfs(QFile::encodeName(folder).constData(), &info);
    return static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize);
}

} // namespace

Scratch::Scratch()
    : whole_(top_.path(), wholeBytes)
    , drive_(drive(), driveBytes)
{
    const QDir top(folder());
    for (const QString &name : {u"home/.config/VelmoGames"_s, u"home/.cache"_s, u"drive/games"_s, u"drive/other"_s,
                                u"programs"_s, u"tmp"_s, u"outside/empty"_s}) {
        top.mkpath(name);
    }
    put(outsideFile(), "kept");
    put(top.filePath(u"drive/other/saved.dat"_s), "kept too");
    put(home() + u"/.config/other.conf"_s, "of another program");
    QFile::link(u"../home"_s, top.filePath(u"outside/link"_s));
    QFile::link(u"nowhere"_s, top.filePath(u"drive/other/dangling"_s));
}

void Scratch::fill(const QString &folder, qint64 bytes)
{
    QFile file(filler(folder));
    const qint64 rest = freeBytes(folder) - bytes;
    if (rest > 0 && file.open(QIODevice::Append | QIODevice::Unbuffered)) {
        file.write(QByteArray(rest, 'f')); // whoever writes meanwhile may get there first
    }
}

void Scratch::makeRoom(const QString &folder)
{
    QFile::remove(filler(folder));
}

bool Scratch::setDriveReadOnly(bool readOnly) const
{
    const unsigned long flags = readOnly ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT;
    return mount("none", QFile::encodeName(drive()).constData(), nullptr, flags, nullptr) == 0;
}

} // namespace velmo::faults
