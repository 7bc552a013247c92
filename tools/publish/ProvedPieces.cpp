#include "publish/ProvedPieces.h"

#include "core/SaveFile.h"
#include "publish/PublishedTimes.h"
#include "publish/Reason.h"
#include "publish/Sha256.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cstring>
#include <type_traits>
#include <zlib.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype hashBytes = sizeof(ContentHash);
constexpr qint64 longestMark = 256; // with what stands behind the pieces

ContentHash hashOf(QByteArrayView bytes)
{
    Sha256 hash;
    hash.add(bytes);
    return ContentHash(hash.take());
}

QByteArray bytesOf(const ContentHash &hash)
{
    return {reinterpret_cast<const char *>(&hash), hashBytes};
}

/// Begins every list. Another program may read a text otherwise or write another one, and another zlib pack it
/// otherwise.
QByteArray mark()
{
    return "velmo-publish " VELMO_VERSION " pieces 1, " + QByteArray(qVersion()) + ", " + zlibVersion() + '\n';
}

/// What stands at \a path; nothing when it is not what it was.
std::optional<QByteArray> bytesAt(const QString &path, qint64 begin, qint64 size, const ContentHash &hash)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !file.seek(begin)) {
        return std::nullopt;
    }
    const QByteArray bytes = file.read(size);
    return bytes.size() == size && hashOf(bytes) == hash ? std::optional(bytes) : std::nullopt;
}

} // namespace

ProvedPieces::ProvedPieces(const ProvedPaths &paths)
    : paths_(paths)
{
    QFile file(paths.list);
    // Each piece takes many times as much in the manifest, so a longer list belongs to another one.
    if (file.open(QIODevice::ReadOnly) && file.size() <= QFileInfo(paths.manifest).size() + longestMark) {
        read(file.readAll());
    }
}

void ProvedPieces::read(const QByteArray &list)
{
    static_assert(std::is_trivially_copyable_v<ProvedPiece>);
    const QByteArray begin = mark();
    const qsizetype bytes = list.size() - begin.size() - hashBytes;
    if (bytes < 0 || bytes % static_cast<qsizetype>(sizeof(ProvedPiece)) != 0 || !list.startsWith(begin) ||
        bytesOf(hashOf(list.chopped(hashBytes))) != list.last(hashBytes)) {
        return;
    }
    pieces_.resize(static_cast<std::size_t>(bytes) / sizeof(ProvedPiece));
    std::memcpy(pieces_.data(), list.constData() + begin.size(), static_cast<std::size_t>(bytes));
    const qint64 most = QFileInfo(paths_.manifest).size();
    const qint64 mostPacked = QFileInfo(paths_.packed).size();
    qint64 size = 0;
    qint64 packedSize = GzipFrame::begin().size();
    for (const ProvedPiece &piece : pieces_) {
        if (piece.size <= 0 || piece.size > most - size || piece.packedSize <= 0 ||
            piece.packedSize > mostPacked - packedSize) {
            pieces_.clear();
            return;
        }
        begins_.push_back(size);
        packedBegins_.push_back(packedSize);
        size += piece.size;
        packedSize += piece.packedSize;
    }
    if (most != size) {
        pieces_.clear();
    }
}

std::optional<QByteArray> ProvedPieces::text(qsizetype number) const
{
    const auto index = static_cast<std::size_t>(number);
    const ProvedPiece &piece = pieces_.at(index);
    return bytesAt(paths_.manifest, begins_.at(index), piece.size, piece.text);
}

std::optional<PackedPart> ProvedPieces::packed(qsizetype number) const
{
    const auto index = static_cast<std::size_t>(number);
    const ProvedPiece &piece = pieces_.at(index);
    const std::optional<QByteArray> bytes =
        bytesAt(paths_.packed, packedBegins_.at(index), piece.packedSize, piece.packed);
    return bytes ? std::optional(PackedPart{*bytes, piece.size, static_cast<quint32>(piece.checksum)}) : std::nullopt;
}

ProvedPiece ProvedPiece::of(QByteArrayView text, const PackedPart &part)
{
    return {hashOf(text), hashOf(part.bytes), text.size(), part.bytes.size(), part.checksum};
}

void ProvedPieces::Writer::add(const ProvedPiece &piece)
{
    bytes_.append(reinterpret_cast<const char *>(&piece), sizeof piece);
}

QString ProvedPieces::Writer::finish() const
{
    QDir().mkpath(QFileInfo(path_).path());
    QSaveFile file(path_);
    QString reason;
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        const QByteArray list = mark() + bytes_;
        writeAll(file, list + bytesOf(hashOf(list)));
        reason = commitOnDrive(file);
    } else {
        reason = file.errorString();
    }
    if (reason.isEmpty()) {
        return {};
    }
    PublishedTimes::forget(path_);
    return u"\"%1\" cannot be written: %2."_s.arg(path_, reasonText(reason));
}

} // namespace velmo::publish
