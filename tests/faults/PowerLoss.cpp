#include "PowerLoss.h"

#include "shim/Journal.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace velmo::faults {

struct PowerLoss::Entry {
    JournalHead head;
    QString path;
    QString other;
    QByteArray data;
};

constexpr qsizetype pageBytes = 4096;

/// What of a file's unsynced content reached the disk: so many bytes of it, and zeros behind them or an end.
struct PowerLoss::Fate {
    qsizetype bytes = 0;
    bool zerosFollow = false;

    static Fate any(qsizetype unsynced, QRandomGenerator &random)
    {
        const int pages = static_cast<int>(unsynced / pageBytes); // of which drives write whole ones
        const qsizetype parts[] = {0, unsynced, random.bounded(pages + 1) * pageBytes};
        return {parts[random.bounded(3)], random.bounded(2) == 0};
    }
    QByteArray applied(const QByteArray &data)
    {
        const qsizetype kept = std::min(bytes, data.size());
        bytes -= kept;
        return data.first(kept) + QByteArray(zerosFollow ? data.size() - kept : 0, '\0');
    }
};

namespace {

constexpr quint64 wholeDrive = 0;

using namespace Qt::Literals::StringLiterals;

bool isLog(const QString &path)
{
    return path.endsWith(".log"_L1);
}

void resize(QByteArray &bytes, qsizetype size)
{
    const qsizetype before = bytes.size();
    bytes.resize(size);
    if (size > before) {
        std::memset(bytes.data() + before, 0, static_cast<size_t>(size - before));
    }
}

void write(QByteArray &bytes, qsizetype offset, const QByteArray &data)
{
    if (data.isEmpty()) {
        return;
    }
    if (bytes.size() < offset + data.size()) {
        resize(bytes, offset + data.size());
    }
    std::memcpy(bytes.data() + offset, data.constData(), static_cast<size_t>(data.size()));
}

} // namespace

PowerLoss::PowerLoss(const QStringList &folders)
    : tops_(folders)
{
    for (const QString &top : folders) {
        QDirIterator walk(top, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            takeDown(walk.next());
        }
    }
}

void PowerLoss::strike(const QString &journalFile, QRandomGenerator &random)
{
    const QList<Entry> entries = readJournal(journalFile);
    qsizetype certain = 0;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries.at(i).head.deed == Deed::Sync || entries.at(i).head.deed == Deed::SyncAll) {
            certain = i + 1;
        }
    }
    const qsizetype uncertain = entries.size() - certain;
    const qsizetype later[] = {0, uncertain, random.bounded(static_cast<int>(uncertain) + 1)};
    const qsizetype end = certain + later[random.bounded(3)];
    applyNames(entries, end);
    applyContents(entries, end, random);
    rebuild();
}

QList<PowerLoss::Entry> PowerLoss::readJournal(const QString &fileName)
{
    QFile file(fileName);
    QList<Entry> entries;
    if (!file.open(QIODevice::ReadOnly)) {
        return entries;
    }
    JournalHead head{};
    while (file.read(reinterpret_cast<char *>(&head), sizeof head) == sizeof head) {
        Entry entry{head, {}, {}, {}};
        entry.path = QFile::decodeName(file.read(head.pathBytes));
        entry.other = QFile::decodeName(file.read(head.otherBytes));
        entry.data = file.read(head.dataBytes);
        entries.append(entry);
    }
    return entries;
}

void PowerLoss::applyNames(const QList<Entry> &entries, qsizetype end)
{
    for (const Entry &entry : entries.first(end)) {
        switch (entry.head.deed) {
        case Deed::Create:
        case Deed::Link:
            files_.insert(entry.path, entry.head.file);
            modes_.insert(entry.path, 0644);
            break;
        case Deed::Rename:
            links_.remove(entry.other);
            files_.insert(entry.other, files_.take(entry.path));
            modes_.insert(entry.other, modes_.take(entry.path));
            break;
        case Deed::MakeLink:
            links_.insert(entry.path, entry.other);
            break;
        case Deed::Remove:
            files_.remove(entry.path);
            links_.remove(entry.path);
            break;
        case Deed::MakeFolder:
            folders_.append(entry.path);
            break;
        case Deed::RemoveFolder:
            folders_.removeAll(entry.path);
            break;
        case Deed::SetMode:
            modes_.insert(entry.path, static_cast<quint32>(entry.head.number));
            break;
        default:
            break;
        }
    }
}

void PowerLoss::applyContents(const QList<Entry> &entries, qsizetype end, QRandomGenerator &random)
{
    const auto isCertain = [synced = syncedUntil(entries)](qsizetype i, quint64 file) {
        return i < std::max(synced.value(wholeDrive, 0), synced.value(file, 0));
    };
    QHash<quint64, qsizetype> unsynced; // bytes
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries.at(i).head.deed == Deed::Write && !isCertain(i, entries.at(i).head.file)) {
            unsynced[entries.at(i).head.file] += entries.at(i).data.size();
        }
    }
    QHash<quint64, Fate> fates;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const Entry &entry = entries.at(i);
        const quint64 file = entry.head.file;
        const bool certain = isCertain(i, file);
        if (entry.head.deed == Deed::Create || entry.head.deed == Deed::CreateUnnamed) {
            contents_.insert(file, {});
            fates.remove(file);
        } else if (entry.head.deed == Deed::Resize) {
            if (certain || i < end) {
                resize(contents_[file], entry.head.number);
            } else {
                fates.insert(file, {0, false}); // what came behind it is gone with it
            }
        } else if (entry.head.deed == Deed::Write) {
            if (!certain && !fates.contains(file)) {
                fates.insert(file, Fate::any(unsynced.value(file), random));
            }
            write(contents_[file], entry.head.number, certain ? entry.data : fates[file].applied(entry.data));
        }
    }
}

/// The entry behind which nothing more of a file, or of the whole drive, is synced.
QHash<quint64, qsizetype> PowerLoss::syncedUntil(const QList<Entry> &entries)
{
    QHash<quint64, qsizetype> synced;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const JournalHead &head = entries.at(i).head;
        if (head.deed == Deed::Sync || head.deed == Deed::SyncAll) {
            synced.insert(head.deed == Deed::Sync ? head.file : wholeDrive, i);
        }
    }
    return synced;
}

void PowerLoss::takeDown(const QString &path)
{
    struct stat info {};
    lstat(QFile::encodeName(path).constData(), &info);
    if (S_ISLNK(info.st_mode)) {
        links_.insert(path, QFile::decodeName(std::filesystem::read_symlink(path.toStdString()).c_str()));
    } else if (S_ISDIR(info.st_mode)) {
        folders_.append(path);
    } else if (QFile file(path); !isLog(path) && file.open(QIODevice::ReadOnly)) {
        const quint64 number = fileNumber(info.st_dev, info.st_ino);
        files_.insert(path, number);
        modes_.insert(path, info.st_mode & 07777U);
        contents_.insert(number, file.readAll());
    }
}

void PowerLoss::rebuild() const
{
    clear();
    for (const QString &folder : folders_) {
        QDir().mkpath(folder);
    }
    for (auto link = links_.begin(); link != links_.end(); ++link) {
        QFile::link(link.value(), link.key());
    }
    for (auto entry = files_.begin(); entry != files_.end(); ++entry) {
        const QByteArray bytes = contents_.value(entry.value());
        QFile file(entry.key());
        if (!isWithin(entry.key())) {
            continue; // it stands where the program has left it
        }
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
            qFatal("Cannot write %s: %s", qPrintable(entry.key()), qPrintable(file.errorString()));
        }
        file.close();
        chmod(QFile::encodeName(entry.key()).constData(), modes_.value(entry.key(), 0644));
    }
}

/// Takes away all but the logs.
void PowerLoss::clear() const
{
    QStringList standing;
    for (const QString &top : tops_) {
        QDirIterator walk(top, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            standing.append(walk.next());
        }
    }
    for (const QString &path : standing) {
        if (!isLog(path)) {
            QFile::remove(path);
        }
    }
}

bool PowerLoss::isWithin(const QString &path) const
{
    return std::any_of(tops_.begin(), tops_.end(), [&path](const QString &top) { return path.startsWith(top + u'/'); });
}

} // namespace velmo::faults
