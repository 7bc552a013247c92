#include "publish/ManifestText.h"

#include "publish/ParallelFor.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype filesOfAPiece = 1000;
constexpr qsizetype bytesOfAPiece = qsizetype{512} * 1024; // about, when it is read
constexpr qsizetype bytesOfAnEntry = qsizetype{16} * 1024; // more than the longest path can make it

// No string of a text holds a quotation mark without a stroke before it, so these stand where they seem to.
constexpr QByteArrayView filesBegin = ",\"files\":[";
constexpr QByteArrayView filesEnd = "],\"notes\":";
constexpr QByteArrayView entryBegin = "{\"executable\":";
constexpr QByteArrayView between = "},{\"executable\":";

int threads()
{
    return std::max(1, QThread::idealThreadCount());
}

/// Without blanks and line breaks, since every launcher fetches it at every start. Qt's reader drops a byte order mark
/// that a text begins with, so such a mark is written as an escape.
QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact).replace("\"\xEF\xBB\xBF", "\"\\ufeff");
}

/// A string as compact() writes it.
QByteArray quoted(const QString &text)
{
    const auto isPlain = [](QChar c) {
        return c >= u' ' && c != u'"' && c != u'\\' && c != u'\x7f' && c != QChar::ByteOrderMark && !c.isSurrogate();
    };
    if (std::all_of(text.begin(), text.end(), isPlain)) {
        return '"' + text.toUtf8() + '"';
    }
    constexpr qsizetype before = QByteArrayView("{\"\":").size();
    constexpr qsizetype behind = QByteArrayView("}").size();
    const QByteArray object = compact({{QString(), text}});
    return object.sliced(before, object.size() - before - behind);
}

bool isSameFile(const ManifestFile &a, const ManifestFile &b)
{
    return a.path == b.path && a.sha256 == b.sha256 && a.size == b.size && a.url == b.url &&
           a.executable == b.executable;
}

/// A text in the form of ManifestText, and where its files stand in pieces.
struct Pieces {
    QByteArray head;
    QByteArray tail;
    std::vector<qint64> bounds; ///< one more than there are pieces
};

/// What stands around the files, if it is just what ManifestText writes there.
std::optional<Manifest> ourHeader(const Pieces &around)
{
    const Manifest header = parsedManifest(around.head + around.tail).manifest;
    const bool isOurs = header.valid && compact(header.toJson()) == around.head + around.tail;
    return isOurs ? std::optional(header) : std::nullopt;
}

/// Takes from the first or the last of the pieces of \a count what stands around its files.
void takeAround(QByteArray &piece, qsizetype number, qsizetype count, Pieces &around)
{
    const qsizetype begin = number == 0 ? piece.indexOf(filesBegin) : -1;
    if (begin >= 0) {
        around.head = piece.first(begin + filesBegin.size());
        piece.remove(0, around.head.size());
    }
    if (number == count - 1) {
        around.tail = piece.sliced(std::max<qsizetype>(0, piece.lastIndexOf(filesEnd)));
        piece.chop(around.tail.size());
    } else {
        piece.chop(1); // the comma
    }
}

/// Whether a list begins or ends in \a entries, apart from their strings. Then the files' own may end there.
bool holdsLists(QByteArrayView entries)
{
    bool isString = false;
    for (qsizetype index = 0; index < entries.size(); ++index) {
        const char c = entries.at(index);
        if (c == '"') {
            isString = !isString;
        } else if (isString && c == '\\') {
            ++index;
        } else if (!isString && (c == '[' || c == ']')) {
            return true;
        }
    }
    return false;
}

QByteArray bytesAt(QFile &file, qint64 from, qint64 to)
{
    return file.seek(from) ? file.read(to - from) : QByteArray();
}

std::optional<Pieces> piecesOf(QFile &file)
{
    const qint64 size = file.size();
    Pieces pieces;
    pieces.head = bytesAt(file, 0, std::min<qint64>(size, bytesOfAPiece));
    const qsizetype begin = pieces.head.indexOf(filesBegin);
    const qint64 tailFrom = std::max<qint64>(0, size - bytesOfAPiece);
    pieces.tail = bytesAt(file, tailFrom, size);
    const qsizetype end = pieces.tail.lastIndexOf(filesEnd);
    if (begin < 0 || end < 0) {
        return std::nullopt;
    }
    pieces.head.truncate(begin + filesBegin.size());
    pieces.tail.remove(0, end);
    if (!ourHeader(pieces)) {
        return std::nullopt;
    }
    const qint64 bodyEnd = tailFrom + end;
    pieces.bounds.push_back(pieces.head.size());
    while (bodyEnd - pieces.bounds.back() > 2 * bytesOfAPiece) {
        const qint64 near = pieces.bounds.back() + bytesOfAPiece;
        const qsizetype bound = bytesAt(file, near, near + bytesOfAnEntry).indexOf(between);
        if (bound < 0) {
            return std::nullopt;
        }
        pieces.bounds.push_back(near + bound + between.size() - entryBegin.size());
    }
    pieces.bounds.push_back(bodyEnd);
    return bodyEnd > pieces.bounds.front() ? std::optional(pieces) : std::nullopt;
}

Manifest parsedPiece(const QString &path, const Pieces &pieces, std::size_t number)
{
    QFile file(path);
    QByteArray body = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
                          ? bytesAt(file, pieces.bounds.at(number), pieces.bounds.at(number + 1))
                          : QByteArray();
    if (holdsLists(body)) {
        return {};
    }
    if (number + 2 < pieces.bounds.size()) {
        body.chop(1); // the comma
    }
    return parsedManifest(pieces.head + body + pieces.tail).manifest;
}

} // namespace

ManifestFiles ManifestFiles::of(const Manifest &manifest)
{
    return {manifest.files.size(), [&manifest](qsizetype index) { return manifest.files.at(index); }};
}

QList<ManifestFile> ManifestFiles::some(qsizetype from, qsizetype most) const
{
    QList<ManifestFile> files;
    files.reserve(most);
    for (qsizetype index = from; index < std::min(from + most, count); ++index) {
        files.append(at(index));
    }
    return files;
}

ManifestText::ManifestText(const Manifest &header, const ManifestFiles &files)
    : header_(header)
    , files_(files)
{
    header_.files.clear();
    tail_ = compact(header_.toJson());
    const qsizetype begin = tail_.indexOf(filesBegin) + filesBegin.size();
    head_ = tail_.first(begin);
    tail_.remove(0, begin);
}

qsizetype ManifestText::pieces() const
{
    return std::max<qsizetype>(1, (files_.count + filesOfAPiece - 1) / filesOfAPiece);
}

QByteArray ManifestText::piece(qsizetype number) const
{
    const bool isLast = number == pieces() - 1;
    return (number == 0 ? head_ : QByteArray()) + entries(number) + (isLast ? tail_ : QByteArray(","));
}

/// Without what stands around the list.
QByteArray ManifestText::entries(qsizetype number) const
{
    QByteArray text;
    for (const ManifestFile &file : files_.some(number * filesOfAPiece, filesOfAPiece)) {
        text += text.isEmpty() ? entryBegin : between;
        text += file.executable ? QByteArrayView("true") : QByteArrayView("false");
        text += ",\"path\":" + quoted(file.path) + ",\"sha256\":" + quoted(file.sha256) +
                ",\"size\":" + QByteArray::number(file.size) + ",\"url\":" + quoted(file.url);
    }
    return text.isEmpty() ? text : text + '}';
}

std::optional<QString> ManifestText::difference(const ProvedPieces *same) const
{
    QMutex mutex;
    std::optional<QString> found;
    const auto look = [this, same, &mutex, &found](qsizetype number) {
        if (same && holdsFilesAlone(number)) {
            return true;
        }
        const std::optional<QString> difference = differenceIn(number);
        const QMutexLocker locker(&mutex);
        found = found ? found : difference;
        return !difference;
    };
    parallelFor(pieces(), threads(), look, [] {});
    return found;
}

std::optional<Manifest> ManifestText::headerOf(const ProvedPieces &standing) const
{
    const qsizetype count = pieces();
    if (standing.count() != count) {
        return std::nullopt;
    }
    Pieces around; // its two ends are taken by one thread each
    std::atomic<bool> isSame = true;
    const auto look = [this, &standing, &around, &isSame, count](qsizetype number) {
        std::optional<QByteArray> piece = standing.text(number);
        if (piece) {
            takeAround(*piece, number, count, around);
        }
        if (!piece || *piece != entries(number)) {
            isSame = false;
        }
        return bool(isSame);
    };
    parallelFor(count, threads(), look, [] {});
    return isSame ? ourHeader(around) : std::nullopt;
}

std::optional<QString> ManifestText::differenceIn(qsizetype number) const
{
    auto [readBack, problem] = parsedManifest(head_ + entries(number) + tail_);
    const QList<ManifestFile> files = std::exchange(readBack.files, {});
    const QList<ManifestFile> meant = files_.some(number * filesOfAPiece, filesOfAPiece);
    const bool isSame = readBack.valid && readBack.toJson() == header_.toJson() &&
                        std::equal(files.begin(), files.end(), meant.begin(), meant.end(), isSameFile);
    return isSame ? std::nullopt : std::optional(problem);
}

bool readPieces(const QString &path, const PieceTaker &take)
{
    QFile file(path);
    const std::optional<Pieces> pieces =
        file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? piecesOf(file) : std::nullopt;
    if (!pieces) {
        return false;
    }
    const auto count = static_cast<qsizetype>(pieces->bounds.size()) - 1;
    std::atomic<bool> areGood = true;
    const auto read = [&path, &pieces, &take, &areGood, count](qsizetype number) {
        const Manifest piece = parsedPiece(path, *pieces, static_cast<std::size_t>(number));
        if (piece.valid) {
            take(count, number, piece);
        } else {
            areGood = false;
        }
        return piece.valid;
    };
    parallelFor(count, threads(), read, [] {});
    return areGood;
}

std::optional<Manifest> manifestInPieces(const QString &path)
{
    QMutex mutex;
    QList<Manifest> parts;
    const auto take = [&mutex, &parts](qsizetype pieces, qsizetype number, const Manifest &piece) {
        const QMutexLocker locker(&mutex);
        parts.resize(pieces);
        parts[number] = piece;
    };
    if (!readPieces(path, take)) {
        return std::nullopt;
    }
    Manifest whole = parts.takeFirst();
    for (const Manifest &part : parts) {
        whole.files += part.files;
    }
    return whole;
}

ParsedManifest parsedManifest(const QByteArray &json)
{
    ParsedManifest parsed;
    QJsonParseError failure;
    const QJsonDocument document = QJsonDocument::fromJson(json, &failure);
    if (failure.error != QJsonParseError::NoError) {
        parsed.problem = u"It is not valid JSON: %1."_s.arg(failure.errorString());
    } else {
        parsed.manifest = Manifest::fromJson(document.object(), &parsed.problem);
    }
    return parsed;
}

} // namespace velmo::publish
