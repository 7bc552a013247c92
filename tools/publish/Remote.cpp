#include "publish/Remote.h"

#include "core/SaveFile.h"
#include "publish/Reason.h"
#include "publish/TreeLayout.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>
#include <QTemporaryFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr auto incomingName = ".incoming"_L1;
constexpr auto forGood = "public, max-age=31536000, immutable"_L1;
constexpr auto askAgain = "no-cache"_L1;
constexpr auto saysPacked = "Content-Encoding: gzip"_L1;

QString pathOf(const ContentHash &hash)
{
    return TreeLayout::contentName(hash.digits());
}

QStringList pathsOf(const Remote::Contents &contents)
{
    QStringList paths;
    paths.reserve(contents.size());
    for (const ContentHash &hash : contents) {
        paths.append(pathOf(hash));
    }
    return paths;
}

/// Nothing when \a path is not that of a content file: whatever else lies there is not ours.
ContentHash contentAt(const QString &path)
{
    static const QRegularExpression pattern(u"\\A([0-9a-f]{2})/(\\1[0-9a-f]{62})\\z"_s);
    const QRegularExpressionMatch match = pattern.match(path);
    return match.hasMatch() ? ContentHash(match.captured(2)) : ContentHash();
}

/// Whether a file can be asked for by a line of a list, and lands where its path says.
bool isPlainPath(const QString &path)
{
    const QStringList names = path.split(u'/');
    const auto isPlain = [](const QString &name) { return !name.isEmpty() && name != "."_L1 && name != ".."_L1; };
    const auto isControl = [](QChar c) { return c.category() == QChar::Other_Control; };
    return std::all_of(names.begin(), names.end(), isPlain) && std::none_of(path.begin(), path.end(), isControl);
}

/// Whether rclone may show a control character, or a byte that is no text, as \a character.
bool standsForAnother(QChar character)
{
    constexpr char16_t firstPicture = 0x2400;
    constexpr char16_t lastPicture = 0x2426;
    constexpr char16_t quote = 0x201b;
    return (character >= firstPicture && character <= lastPicture) || character == quote;
}

bool isManifestName(const QString &name)
{
    return name.compare("manifest.json"_L1, Qt::CaseInsensitive) == 0 ||
           name.compare("manifest.json.gz"_L1, Qt::CaseInsensitive) == 0;
}

/// A list of files for rclone, taken letter by letter. It is there as long as the object.
class FileList {
public:
    explicit FileList(const QStringList &paths)
    {
        if (file_.open()) {
            for (const QString &path : paths) {
                file_.write(path.toUtf8() + '\n');
            }
            file_.close();
        }
    }
    QString option() const { return u"--files-from-raw="_s + file_.fileName(); }

private:
    QTemporaryFile file_;
};

void addEntry(RemoteListing *listing, const QString &path, qint64 size)
{
    const QString content = TreeLayout::contentFolderName() + u'/';
    if (path.startsWith(content)) {
        if (const ContentHash hash = contentAt(path.sliced(content.size())); hash.isKnown()) {
            listing->content.insert(hash, size);
        }
    } else if (path.startsWith(incomingName + u'/')) {
        listing->hasIncoming = true;
    } else if (path == Remote::memoryPath()) {
        listing->hasMemory = true;
    } else if (isManifestName(path.section(u'/', -1))) {
        (isPlainPath(path) ? listing->manifests : listing->strange).append(path);
    }
}

} // namespace

Remote::Remote(const RemoteAddress &address, const QString &game, int transfers)
    : address_(address)
    , game_(game)
    , transfers_(transfers)
    , rclone_(address)
{}

QString Remote::memoryPath()
{
    return u".push/unnamed.json"_s;
}

QString Remote::open()
{
    if (const QString problem = rclone_.problem(); !problem.isEmpty()) {
        return problem;
    }
    QByteArray json;
    const auto take = [&json](const QByteArray &line) { json += line; };
    const RcloneRun run = rclone_.run({u"backend"_s, u"features"_s}, {address_.at({})}, take);
    const QJsonObject remote = QJsonDocument::fromJson(json).object();
    if (!run.isGood() || remote.isEmpty()) {
        return failure(u"open"_s, run);
    }
    const QJsonObject features = remote.value("Features"_L1).toObject();
    const auto can = [&features](QLatin1StringView feature) { return features.value(feature).toBool(); };
    root_ = remote.value("Root"_L1).toString();
    const bool isWritten = std::none_of(root_.begin(), root_.end(), standsForAnother);
    if (can("IsLocal"_L1) && isWritten && remote.value("Name"_L1).toString() == "local"_L1 &&
        QDir::isAbsolutePath(root_)) {
        placing_ = Placing::ByThisDrive;
        around_ = gameFolder() + u'/' + TreeLayout::contentFolderName(); // which may be a drive of its own
        while (!QFileInfo(around_).isDir() && !QFileInfo(around_).isRoot()) {
            around_ = QFileInfo(around_).path();
        }
        drive_.emplace(around_);
    } else if (!can("BucketBased"_L1) && can("Move"_L1) && !can("PartialUploads"_L1)) {
        placing_ = Placing::ByRename;
    }
    tellsOfPacking_ = placing_ == Placing::ByUpload &&
                      remote.value("MetadataInfo"_L1)["System"_L1].toObject().contains("content-encoding"_L1);
    return {};
}

RemoteListing Remote::list() const
{
    RemoteListing listing;
    bool hasEntries = false;
    const auto take = [&listing, &hasEntries](const QByteArray &line) {
        const qsizetype end = line.lastIndexOf('}');
        const QJsonObject entry = QJsonDocument::fromJson(line.first(end + 1)).object();
        if (!entry.isEmpty()) {
            hasEntries = true;
            addEntry(&listing, entry.value("Path"_L1).toString(), entry.value("Size"_L1).toInteger(-1));
        }
    };
    const QStringList options = {u"lsjson"_s, u"--recursive"_s, u"--files-only"_s, u"--no-mimetype"_s,
                                 u"--no-modtime"_s};
    const RcloneRun run = rclone_.run(options, {placeOf({})}, take);
    // A folder below that goes away ends the list early, by the same code.
    const bool isDone = run.isGood() || (run.exitCode == RcloneRun::nothingThere && !hasEntries);
    listing.problem = isDone ? QString() : failure(u"list"_s, run);
    return listing;
}

QString Remote::fetch(const QStringList &paths, const QString &folder) const
{
    if (paths.isEmpty()) {
        return {};
    }
    const FileList list(paths);
    const RcloneRun run = rclone_.run({u"copy"_s, list.option(), u"--no-check-dest"_s}, {placeOf({}), folder});
    if (!run.isGood()) {
        return failure(u"read the manifests of"_s, run);
    }
    for (const QString &path : paths) {
        if (!QFileInfo::exists(QDir(folder).filePath(path))) {
            return u"\"%1\" of \"%2\" went away while it was being read."_s.arg(path, address_.shown());
        }
    }
    return {};
}

QString Remote::upload(const Contents &contents, const QString &folder, bool replacing,
                       const Rclone::ProgressTaker &progress) const
{
    const QStringList paths = pathsOf(contents);
    const QString place = TreeLayout::contentFolderName();
    if (placing_ == Placing::ByUpload) {
        // rclone tries its whole list again when a file of it fails; what has arrived then is not uploaded once more.
        const QString option = replacing ? u"--ignore-times"_s : u"--size-only"_s;
        return run({paths, folder, placeOf(place), forGood, {option}}, progress);
    }
    // A file that is there in half has not got its time yet.
    const QString incoming = placeOf(incomingName + u'/' + place);
    const QString problem = run({paths, folder, incoming, forGood, {}}, progress);
    return problem.isEmpty() ? moveList(paths, incoming, placeOf(place)) : problem;
}

RemoteComparison Remote::compare(const Contents &contents, const QString &folder) const
{
    RemoteComparison found;
    if (contents.isEmpty()) {
        return found;
    }
    const FileList list(pathsOf(contents));
    qsizetype told = 0;
    const auto take = [&found, &told](const QByteArray &line) {
        // "= path" is as it must be; "- path", "+ path", "* path" and "! path" are not.
        const ContentHash hash = contentAt(QString::fromUtf8(line.mid(2)));
        told += hash.isKnown() ? 1 : 0;
        if (hash.isKnown() && !line.startsWith('=')) {
            found.wrong.append(hash);
        }
    };
    const QStringList options = {u"check"_s, u"--one-way"_s, u"--combined=-"_s, list.option(),
                                 u"--checkers=%1"_s.arg(transfers_)};
    const RcloneRun run = rclone_.run(options, {folder, placeOf(TreeLayout::contentFolderName())}, take);
    const bool isToldOfAll = told == contents.size();
    found.problem = isToldOfAll && (run.isGood() || !found.wrong.isEmpty()) ? QString() : failure(u"check"_s, run);
    return found;
}

/// rclone has no file forced onto a drive. One that the drive does not take goes: it would have the right size and, out
/// of memory, the right bytes for the next push, which the drive need not tell once more.
QString Remote::settle(const Contents &contents) const
{
    if (!drive_ || contents.isEmpty()) {
        return {};
    }
    QStringList paths;
    QSet<QString> folders{around_};
    for (const ContentHash &hash : contents) {
        paths.append(gameFolder() + u'/' + TreeLayout::contentFolderName() + u'/' + pathOf(hash));
        QString folder = QFileInfo(paths.constLast()).path();
        for (; !folders.contains(folder); folder = QFileInfo(folder).path()) {
            folders.insert(folder);
        }
    }
    paths += folders.values();
    const QList<DriveSync::Failure> failures =
        drive_->sync(paths.size(), [&paths](qsizetype index) { return paths.at(index); });
    for (const DriveSync::Failure &failure : failures) {
        if (failure.file < contents.size()) {
            QFile::remove(paths.at(failure.file));
        }
    }
    if (failures.isEmpty()) {
        return {};
    }
    return u"\"%1\" cannot be written: %2."_s.arg(paths.at(failures.constFirst().file),
                                                  reasonText(failures.constFirst().reason));
}

QString Remote::replace(const QString &path, const QString &folder, bool isPacked) const
{
    switch (placing_) {
    case Placing::ByThisDrive:
        return replaceOnThisDrive(path, folder);
    case Placing::ByRename: {
        const QString incoming = placeOf(incomingName);
        if (const QString problem = run({{path}, folder, incoming, askAgain, {u"--ignore-times"_s}}, {});
            !problem.isEmpty()) {
            return problem;
        }
        const RcloneRun rename =
            rclone_.run({u"moveto"_s, u"--ignore-times"_s}, {placeOf(incomingName + u'/' + path), placeOf(path)});
        return rename.isGood() ? QString() : failure(u"rename a file at"_s, rename);
    }
    case Placing::ByUpload:
        break;
    }
    QStringList options{u"--ignore-times"_s};
    if (isPacked) {
        options.append(u"--header-upload="_s + saysPacked);
    }
    return run({{path}, folder, placeOf({}), askAgain, options}, {});
}

QString Remote::proveTellingOfPacking(const QString &path, const QString &folder)
{
    if (!tellsOfPacking_) {
        return {};
    }
    const QString trial = placeOf(incomingName);
    const Upload upload{{path}, folder, trial, askAgain, {u"--ignore-times"_s, u"--header-upload="_s + saysPacked}};
    if (const QString problem = run(upload, {}); !problem.isEmpty()) {
        return problem;
    }
    QByteArray json;
    const auto take = [&json](const QByteArray &line) { json += line; };
    const QStringList options = {u"lsjson"_s, u"--stat"_s, u"--metadata"_s, u"--no-mimetype"_s, u"--no-modtime"_s};
    const RcloneRun look = rclone_.run(options, {placeOf(incomingName + u'/' + path)}, take);
    if (!look.isGood()) {
        return failure(u"look at a file at"_s, look);
    }
    const QJsonValue metadata = QJsonDocument::fromJson(json).object().value("Metadata"_L1);
    tellsOfPacking_ = metadata["content-encoding"_L1].toString() == "gzip"_L1;
    const RcloneRun clear = rclone_.run({u"purge"_s}, {trial});
    return clear.isGood() ? QString() : failure(u"clear"_s, clear);
}

QString Remote::remove(const Contents &contents) const
{
    if (contents.isEmpty()) {
        return {};
    }
    const FileList list(pathsOf(contents));
    const RcloneRun run = rclone_.run({u"delete"_s, list.option()}, {placeOf(TreeLayout::contentFolderName())});
    return run.isGood() ? QString() : failure(u"remove files from"_s, run);
}

QString Remote::clearIncoming(const RemoteListing &listing) const
{
    if (placing_ == Placing::ByUpload && !listing.hasIncoming) {
        return {};
    }
    const RcloneRun run = rclone_.run({u"purge"_s}, {placeOf(incomingName)});
    const bool isDone = run.isGood() || run.exitCode == RcloneRun::nothingThere;
    return isDone ? QString() : failure(u"clear"_s, run);
}

QString Remote::failure(const QString &task, const RcloneRun &run) const
{
    const QString reason = run.reason.isEmpty() ? u"it ended with the code %1"_s.arg(run.exitCode) : run.reason;
    return u"rclone could not %1 \"%2\": %3"_s.arg(task, address_.shown(), reason);
}

QString Remote::run(const Upload &upload, const Rclone::ProgressTaker &progress) const
{
    if (upload.paths.isEmpty()) {
        return {};
    }
    const FileList list(upload.paths);
    const QStringList options = {u"copy"_s, list.option(), u"--header-upload=Cache-Control: "_s + upload.cacheControl,
                                 u"--transfers=%1"_s.arg(transfers_), u"--checkers=%1"_s.arg(transfers_)};
    const RcloneRun run = rclone_.run(options + upload.options, {upload.from, upload.to}, {}, progress);
    return run.isGood() ? QString() : failure(u"upload to"_s, run);
}

QString Remote::moveList(const QStringList &paths, const QString &from, const QString &to) const
{
    const FileList list(paths);
    const RcloneRun run = rclone_.run({u"move"_s, list.option(), u"--ignore-times"_s,
                                       u"--transfers=%1"_s.arg(transfers_), u"--checkers=%1"_s.arg(transfers_)},
                                      {from, to});
    return run.isGood() ? QString() : failure(u"rename files at"_s, run);
}

/// rclone writes into a file itself or takes the old one away first; either would be seen.
QString Remote::replaceOnThisDrive(const QString &path, const QString &folder) const
{
    const QString target = gameFolder() + u'/' + path;
    QFile source(QDir(folder).filePath(path));
    QSaveFile file(target);
    if (!source.open(QIODevice::ReadOnly) || !QDir().mkpath(QFileInfo(target).path()) ||
        !file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return u"\"%1\" cannot be written: %2."_s.arg(target, file.errorString());
    }
    constexpr qint64 block = qint64{1024} * 1024;
    while (!source.atEnd()) {
        const QByteArray bytes = source.read(block);
        if (bytes.isEmpty()) {
            return u"\"%1\" cannot be read: %2."_s.arg(source.fileName(), source.errorString());
        }
        writeAll(file, bytes);
    }
    const QString reason = commitOnDrive(file);
    return reason.isEmpty() ? QString() : u"\"%1\" cannot be written: %2."_s.arg(target, reason);
}

} // namespace velmo::publish
