#include "Snapshot.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

bool isSameOrInside(const QString &path, const QString &folder)
{
    return path == folder || path.startsWith(folder + u'/');
}

QString hashOf(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? QString::fromLatin1(hash.result().toHex())
                                                                 : u"unreadable"_s;
}

QString targetOf(const QString &link)
{
    char target[4096];
    const ssize_t size = readlink(QFile::encodeName(link).constData(), target, sizeof target);
    return QFile::decodeName(QByteArray(target, static_cast<qsizetype>(std::max<ssize_t>(size, 0))));
}

QString changedAt(const struct stat &info)
{
    return u"%1.%2"_s.arg(info.st_mtim.tv_sec).arg(info.st_mtim.tv_nsec);
}

QString described(const QString &path, const struct stat &info, bool mayChange)
{
    const QString mode = QString::number(info.st_mode, 8);
    if (S_ISLNK(info.st_mode)) {
        return u"link to "_s + targetOf(path);
    }
    if (S_ISDIR(info.st_mode)) {
        return mayChange ? u"folder, mode "_s + mode : u"folder, mode %1, changed %2"_s.arg(mode, changedAt(info));
    }
    return u"file, mode %1, names %2, changed %3, %4"_s.arg(mode, QString::number(info.st_nlink), changedAt(info),
                                                            S_ISREG(info.st_mode) ? hashOf(path) : u"special"_s);
}

} // namespace

Snapshot::Snapshot(const QString &folder, const QStringList &exceptions)
{
    QStringList waiting{folder};
    while (!waiting.isEmpty()) {
        const QString path = waiting.takeLast();
        const auto holdsIt = [&path](const QString &exception) { return isSameOrInside(exception, path); };
        if (exceptions.contains(path)) {
            continue;
        }
        struct stat info {};
        lstat(QFile::encodeName(path).constData(), &info);
        entries_.insert(path, described(path, info, std::any_of(exceptions.begin(), exceptions.end(), holdsIt)));
        if (S_ISDIR(info.st_mode)) {
            const QStringList names =
                QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
            for (const QString &name : names) {
                waiting.append(path + u'/' + name);
            }
        }
    }
}

QStringList Snapshot::changesSince(const Snapshot &before) const
{
    QStringList changes;
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        const QString was = before.entries_.value(entry.key());
        if (was != entry.value()) {
            changes.append(u"outside, \"%1\" is %2; before: %3"_s.arg(entry.key(), entry.value(),
                                                                      was.isEmpty() ? u"nothing"_s : was));
        }
    }
    for (auto entry = before.entries_.begin(); entry != before.entries_.end(); ++entry) {
        if (!entries_.contains(entry.key())) {
            changes.append(u"outside, \"%1\" is gone"_s.arg(entry.key()));
        }
    }
    return changes;
}

} // namespace velmo::faults
