#include "publish/ContentTree.h"

#include "core/SaveFile.h"
#include "publish/DecodedName.h"
#include "publish/Gzip.h"
#include "publish/ParallelFor.h"
#include "publish/Reason.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QSaveFile>
#include <QThread>

#include <algorithm>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

ChannelManifest unreadable(const QString &channel, const QString &path, const std::error_code &failure)
{
    const QString reason = QString::fromStdString(failure.message());
    return {channel, path, {}, u"\"%1\" cannot be read: %2."_s.arg(path, reasonText(reason))};
}

/// Whether something is at \a path, or cannot be told not to be.
bool mayBeThere(const QString &path)
{
    std::error_code failure;
    const std::filesystem::file_type type =
        std::filesystem::symlink_status(QFileInfo(path).filesystemFilePath(), failure).type();
    return type != std::filesystem::file_type::not_found;
}

QString notWritten(const QSaveFile &file, const QString &reason)
{
    return u"\"%1\" cannot be written: %2."_s.arg(file.fileName(), reasonText(reason));
}

struct Piece {
    QByteArray text;
    PackedPart packed;
    ProvedPiece proved;
};

/// Made, or from where it stands already.
Piece pieceOf(const ManifestText &text, qsizetype number, const ProvedPieces *same)
{
    if (same && text.holdsFilesAlone(number)) {
        const std::optional<QByteArray> standing = same->text(number);
        const std::optional<PackedPart> packed = same->packed(number);
        if (standing && packed) {
            return {*standing, *packed, same->piece(number)};
        }
    }
    Piece piece{text.piece(number), {}, {}};
    piece.packed = pack(piece.text);
    return piece;
}

/// Writes \a text as it is and packed, some pieces at a time.
void writeBoth(const ManifestText &text, QSaveFile &plain, QSaveFile &packed, const ProvedPieces *same,
               ProvedPieces::Writer *proved)
{
    const int threads = std::max(1, QThread::idealThreadCount());
    std::vector<Piece> pieces(4 * static_cast<std::size_t>(threads));
    const auto some = static_cast<qsizetype>(pieces.size());
    GzipFrame frame;
    writeAll(packed, GzipFrame::begin());
    for (qsizetype from = 0; from < text.pieces(); from += some) {
        const qsizetype count = std::min(some, text.pieces() - from);
        const auto make = [&text, &pieces, from, same, proved](qsizetype index) {
            Piece &piece = pieces.at(static_cast<std::size_t>(index));
            piece = pieceOf(text, from + index, same);
            if (proved && !piece.proved.text.isKnown()) {
                piece.proved = ProvedPiece::of(piece.text, piece.packed);
            }
            return true;
        };
        parallelFor(count, threads, make, [] {});
        for (qsizetype index = 0; index < count; ++index) {
            const Piece &piece = pieces.at(static_cast<std::size_t>(index));
            writeAll(plain, piece.text);
            writeAll(packed, piece.packed.bytes);
            frame.add(piece.packed);
            if (proved) {
                proved->add(piece.proved);
            }
        }
    }
    writeAll(packed, frame.end());
}

} // namespace

ContentTree::ContentTree(const QString &tree, const QString &game)
    : root_(QDir::cleanPath(QFileInfo(tree).absoluteFilePath()))
    , layout_(game)
{}

QString ContentTree::gameFolder() const
{
    return nameOf(layout_.gameFolder());
}

QString ContentTree::contentFolder() const
{
    return nameOf(layout_.contentFolder());
}

QString ContentTree::manifestPath(const QString &channel) const
{
    return nameOf(layout_.manifest(channel));
}

QString ContentTree::packedManifestPath(const QString &channel) const
{
    return nameOf(layout_.packedManifest(channel));
}

QString ContentTree::timesPath(const QString &channel) const
{
    return nameOf(layout_.times(channel));
}

ProvedPaths ContentTree::provedPaths(const QString &channel) const
{
    return {manifestPath(channel), packedManifestPath(channel), nameOf(layout_.provedPieces(channel))};
}

QUrl ContentTree::rootUrl() const
{
    return QUrl::fromLocalFile(root_.endsWith(u'/') ? root_ : QString(root_ + u'/'));
}

QString ContentTree::nameOf(const QString &address) const
{
    return QDir(root_).filePath(address);
}

qint64 ContentTree::sizeOf(const QString &address) const
{
    return QFileInfo(nameOf(address)).size();
}

FileDigest ContentTree::digest(const QString &address, ProgressMeter &meter) const
{
    const QString location = nameOf(address);
    const QFileInfo info(location);
    FileDigest digest;
    if (!info.exists()) {
        digest.problem = u"\"%1\" is missing."_s.arg(location);
    } else if (!info.isFile()) {
        digest.problem = u"\"%1\" is not a file."_s.arg(location);
    } else {
        digest = digestFile(location, meter);
    }
    return digest;
}

bool ContentTree::hasManifest(const QString &channel) const
{
    return mayBeThere(manifestPath(channel));
}

ChannelManifest ContentTree::readManifest(const QString &channel) const
{
    ChannelManifest result{channel, manifestPath(channel), {}, {}};
    QFile file(result.path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.problem = u"\"%1\" cannot be read: %2."_s.arg(result.path, reasonText(file.errorString()));
        return result;
    }
    if (const std::optional<Manifest> manifest = manifestInPieces(result.path)) {
        result.manifest = *manifest;
        return result;
    }
    const ParsedManifest parsed = parsedManifest(file.readAll());
    result.manifest = parsed.manifest;
    if (!result.manifest.valid) {
        result.problem = u"\"%1\" is damaged. %2"_s.arg(result.path, parsed.problem);
    }
    return result;
}

ChannelManifest ContentTree::readManifestInPieces(const QString &channel,
                                                  const std::function<void(const Manifest &)> &take) const
{
    ChannelManifest result{channel, manifestPath(channel), {}, {}};
    QMutex mutex;
    const auto takePiece = [&take, &mutex, &result](qsizetype, qsizetype number, const Manifest &piece) {
        take(piece);
        const QMutexLocker locker(&mutex);
        if (number == 0) {
            result.manifest = piece;
        }
    };
    if (!readPieces(result.path, takePiece)) {
        result = readManifest(channel);
        take(result.manifest);
    }
    result.manifest.files.clear();
    return result;
}

TaskResult ContentTree::lookAtPacked(const QString &channel) const
{
    TaskResult result;
    QFile packed(packedManifestPath(channel));
    QFile plain(manifestPath(channel));
    const bool opens = packed.open(QIODevice::ReadOnly | QIODevice::Unbuffered) &&
                       plain.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    if (!mayBeThere(packed.fileName())) {
        result.warnings.append(u"\"%1\" is missing, so that players fetch several times the bytes; publish the channel "
                               "once more."_s.arg(packed.fileName()));
    } else if (!opens || !holdsTheSame(packed, plain)) {
        result.problems.append(u"\"%1\" does not hold the manifest beside it; publish the channel once more, or delete "
                               "the file."_s.arg(packed.fileName()));
    }
    return result;
}

QList<ChannelManifest> ContentTree::readManifests() const
{
    QList<ChannelManifest> manifests;
    std::error_code failure;
    std::filesystem::directory_iterator entry(QFileInfo(gameFolder()).filesystemFilePath(), failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        readFolder(*entry, &manifests);
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        manifests.append(unreadable({}, gameFolder(), failure));
    }
    const auto precedes = [](const ChannelManifest &a, const ChannelManifest &b) { return a.channel < b.channel; };
    std::sort(manifests.begin(), manifests.end(), precedes);
    return manifests;
}

/// Not by QDir, which leaves out without a word what it cannot look into, such as a link to a drive that is not there.
void ContentTree::readFolder(const std::filesystem::directory_entry &folder, QList<ChannelManifest> *manifests) const
{
    const DecodedName name = decodedName(folder.path().filename().native());
    const QString path = QDir(gameFolder()).filePath(name.text);
    std::error_code failure;
    const std::filesystem::file_type type = folder.status(failure).type();
    std::error_code ignored;
    if (type == std::filesystem::file_type::none) {
        manifests->append(unreadable(name.text, path, failure));
    } else if (type == std::filesystem::file_type::not_found && folder.is_symlink(ignored)) {
        manifests->append({name.text, path, {}, u"\"%1\" is a symbolic link that leads nowhere."_s.arg(path)});
    } else if (type == std::filesystem::file_type::directory && !name.lossless) {
        manifests->append({name.text, path, {}, u"\"%1\" has a name that is not valid Unicode."_s.arg(path)});
    } else if (type == std::filesystem::file_type::directory &&
               (hasManifest(name.text) || mayBeThere(packedManifestPath(name.text)))) { // a server may hand out either
        manifests->append(readManifest(name.text));
    }
}

NamedContent ContentTree::namedContent(const QString &channel) const
{
    NamedContent named;
    bool seen = false;
    for (const ChannelManifest &manifest : readManifests()) {
        if (!manifest.problem.isEmpty()) {
            named.problems.append(manifest.problem);
        }
        named.problems += lookAtPacked(manifest.channel).problems; // players may be on the build that it tells of
        for (const ManifestFile &file : manifest.manifest.files) {
            named.hashes.insert(file.sha256);
        }
        seen = seen || manifest.channel.compare(channel, Qt::CaseInsensitive) == 0; // as some drives keep names
    }
    if (!seen) {
        named.problems.append(u"\"%1\" is not found in its folder."_s.arg(manifestPath(channel)));
    }
    return named;
}

QString ContentTree::writeManifest(const Manifest &manifest) const
{
    return writeManifest(manifest, ManifestFiles::of(manifest));
}

QString ContentTree::writeManifest(const Manifest &header, const ManifestFiles &files, const ProvedPieces *same,
                                   ProvedPieces::Writer *proved) const
{
    const QString path = manifestPath(header.channel);
    const ManifestText text(header, files);
    if (const std::optional<QString> difference = text.difference(same)) {
        return u"The launcher would not read the manifest for \"%1\" as it is meant. %2"_s.arg(path, *difference)
            .trimmed();
    }
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder)) {
        return u"The folder \"%1\" cannot be made."_s.arg(folder);
    }
    QSaveFile plain(path);
    QSaveFile packed(packedManifestPath(header.channel));
    for (QSaveFile *file : {&plain, &packed}) {
        if (!file->open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
            return notWritten(*file, file->errorString());
        }
    }
    writeBoth(text, plain, packed, same, proved);
    if (plain.error() != QFileDevice::NoError) {
        return notWritten(plain, plain.errorString());
    }
    if (const QString reason = commitOnDrive(packed); !reason.isEmpty()) {
        return notWritten(packed, reason);
    }
    if (const QString reason = commitOnDrive(plain); !reason.isEmpty()) {
        QFile::remove(packed.fileName()); // it tells of a build that is not published
        return notWritten(plain, reason);
    }
    return {};
}

} // namespace velmo::publish
