#include "publish/Incoming.h"

#include "publish/IncomingFile.h"
#include "publish/ProgressMeter.h"
#include "publish/Reason.h"

#include <QDir>
#include <QFileInfo>
#include <QMutexLocker>
#include <QRegularExpression>

#include <filesystem>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

/// Over what is there already, which QFile does not do.
QString moved(const QString &from, const QString &to)
{
    std::error_code failure;
    std::filesystem::rename(QFileInfo(from).filesystemFilePath(), QFileInfo(to).filesystemFilePath(), failure);
    return failure ? QString::fromStdString(failure.message()) : QString();
}

} // namespace

Incoming::Incoming(const ContentStore &store, const Limits &limits)
    : store_(store)
    , limits_(limits)
    , folder_(store.incomingFolder())
{}

Incoming::~Incoming()
{
    for (const Copy &copy : ready_) {
        QFile::remove(pathOf(copy.name));
    }
    if (unsettled_.isEmpty() && !earlierMayBeUnsettled_) {
        QDir().rmdir(folder_);
    }
}

QString Incoming::open()
{
    static const QRegularExpression ours(u"\\A[0-9]+\\z"_s);
    const QDir folder(folder_);
    earlierMayBeUnsettled_ = folder.exists();
    for (const QString &name : folder.entryList(QDir::Files | QDir::System).filter(ours)) {
        QFile::remove(folder.filePath(name));
    }
    if (!QDir().mkpath(folder_)) {
        return u"The folder \"%1\" cannot be made."_s.arg(folder_);
    }
    drive_.emplace(folder_);
    return {};
}

FileDigest Incoming::take(const QString &source, qint64 size, Guess guess, ProgressMeter &meter)
{
    if (guess == Guess::New) {
        return copy(source, size, meter);
    }
    const FileDigest digest = digestFile(source, meter);
    if (!digest.problem.isEmpty() || store_.holds(digest)) {
        return digest;
    }
    ProgressMeter uncounted({});
    FileDigest again = copy(source, size, uncounted);
    if (again.problem.isEmpty() && again.sha256 != digest.sha256) {
        again.problem = u"\"%1\" changed while it was being published."_s.arg(source);
    }
    return again;
}

/// A copy that shares the source's bytes is hashed itself: what the store then holds is what was hashed.
FileDigest Incoming::copy(const QString &source, qint64 size, ProgressMeter &meter)
{
    const quint64 name = names_++;
    IncomingFile file(pathOf(name));
    FileDigest digest =
        size > digestBlock && file.clone(source) ? digestFile(file.path(), meter) : digestFile(source, meter, &file);
    if (!digest.problem.isEmpty() || !claim(digest)) {
        return digest;
    }
    const ContentHash hash(digest.sha256);
    if (const QString reason = file.keep(); !reason.isEmpty()) {
        giveBack(hash);
        digest.problem = copyError(source, file.path(), reason);
        return digest;
    }
    ++files_;
    bytes_ += digest.size;
    ++filesReady_;
    bytesReady_ += digest.size;
    const QMutexLocker locker(&mutex_);
    ready_.append({name, digest.size, hash});
    return digest;
}

/// Whether the content is new to the store, and nobody else copies it.
bool Incoming::claim(const FileDigest &digest)
{
    if (store_.holds(digest)) {
        return false;
    }
    const QMutexLocker locker(&mutex_);
    if (claimed_.contains(ContentHash(digest.sha256)) || store_.holds(digest)) { // it may just have been placed
        return false;
    }
    claimed_.insert(ContentHash(digest.sha256));
    return true;
}

void Incoming::giveBack(const ContentHash &hash)
{
    const QMutexLocker locker(&mutex_);
    claimed_.remove(hash);
}

QString Incoming::pathOf(quint64 name) const
{
    return folder_ + u'/' + QString::number(name);
}

QStringList Incoming::place(ProgressMeter *meter)
{
    const QList<Copy> copies = takeReady();
    const auto pathAt = [this, &copies](qsizetype index) { return pathOf(copies.at(index).name); };
    QHash<qsizetype, QString> reasons;
    for (const DriveSync::Failure &failure : drive_->sync(copies.size(), pathAt)) {
        reasons.insert(failure.file, failure.reason);
    }
    QStringList problems;
    for (qsizetype index = 0; index < copies.size(); ++index) {
        const Copy &copy = copies.at(index);
        const QString reason = reasons.value(index);
        const QString problem =
            reason.isEmpty()
                ? placeOne(copy)
                : u"\"%1\" cannot be written: %2."_s.arg(store_.filePath(copy.hash.digits()), reasonText(reason));
        if (!problem.isEmpty()) {
            problems.append(problem);
            QFile::remove(pathAt(index));
        }
        giveBack(copy.hash);
        if (meter) {
            meter->addFile();
            meter->addBytes(copy.size);
        }
    }
    return problems;
}

QList<Incoming::Copy> Incoming::takeReady()
{
    const QMutexLocker locker(&mutex_);
    filesReady_ = 0;
    bytesReady_ = 0;
    return std::exchange(ready_, {});
}

QString Incoming::placeOne(const Copy &copy)
{
    const QString target = store_.filePath(copy.hash.digits());
    const QString shelf = QFileInfo(target).path();
    if (!shelves_.contains(shelf)) {
        if (!QDir().mkpath(shelf)) {
            return u"The folder \"%1\" cannot be made."_s.arg(shelf);
        }
        shelves_.insert(shelf);
    }
    if (const QString reason = moved(pathOf(copy.name), target); !reason.isEmpty()) {
        return u"\"%1\" cannot be written: %2."_s.arg(target, reasonText(reason));
    }
    unsettled_.insert(shelf);
    return {};
}

QStringList Incoming::settle()
{
    const QStringList folders = foldersToSettle();
    QStringList problems;
    for (const DriveSync::Failure &failure :
         drive_->sync(folders.size(), [&folders](qsizetype index) { return folders.at(index); })) {
        problems.append(u"\"%1\" cannot be written: %2."_s.arg(folders.at(failure.file), reasonText(failure.reason)));
    }
    if (problems.isEmpty()) {
        unsettled_.clear();
        earlierMayBeUnsettled_ = false;
    }
    return problems;
}

/// The shelves, and what they stand in, where they may be new themselves.
QStringList Incoming::foldersToSettle() const
{
    const QString store = QFileInfo(folder_).path();
    QSet<QString> folders = unsettled_;
    if (earlierMayBeUnsettled_) {
        for (const QString &shelf : QDir(store).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            folders.insert(QDir(store).filePath(shelf));
        }
    }
    if (!folders.isEmpty()) {
        folders += {store, QFileInfo(store).path()};
    }
    QStringList sorted(folders.begin(), folders.end());
    sorted.sort();
    return sorted;
}

} // namespace velmo::publish
