#include "InsideFolder.h"
#include "publish/PathRules.h"
#include "publish/Publisher.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

/// The canonical form of a path that may not exist yet: that of its nearest folder which does, and the rest.
QString canonicalTarget(const QString &path)
{
    QString existing = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QStringList rest;
    while (QFileInfo(existing).canonicalFilePath().isEmpty() && !QFileInfo(existing).isRoot()) {
        rest.prepend(QFileInfo(existing).fileName());
        existing = QFileInfo(existing).path();
    }
    return QDir::cleanPath(QFileInfo(existing).canonicalFilePath() + u'/' + rest.join(u'/'));
}

bool isSameOrInside(const QString &path, const QString &folder)
{
    return path == folder || isInside(path, folder);
}

} // namespace

QStringList Publisher::refusals()
{
    if (const QString refusal = placeRefusal(); !refusal.isEmpty()) {
        return {refusal};
    }
    if (order_.trustTimes) {
        lookAtContents();
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Scan, 0, 0);
    scannedAt_ = std::chrono::system_clock::now();
    const BuildScan scan = BuildScanner(order_.source, &meter, order_.jobs).scan();
    scan_ = scan;
    hashes_ = QList<ContentHash>(scan_.files.size());
    if (order_.trustTimes && scan.refusals.isEmpty()) {
        trustTimes();
    }
    QStringList refusals = scan.refusals;
    const auto isProgram = [this](const BuildFile &file) { return file.path == order_.executable; };
    if (!order_.executable.isEmpty() && std::none_of(scan_.files.cbegin(), scan_.files.cend(), isProgram)) {
        refusals.append(u"The executable \"%1\" is not in the build."_s.arg(order_.executable));
    }
    refusals += publishedRefusals() + pruneRefusals();
    if (scan.refusals.isEmpty()) {
        meter.finish();
    }
    return refusals;
}

/// A tree inside the build would be published with it; a build inside the game's part of the tree could be pruned.
QString Publisher::placeRefusal() const
{
    const QString source = canonicalTarget(order_.source);
    if (isSameOrInside(canonicalTarget(order_.tree), source)) {
        return u"The tree \"%1\" lies in the build \"%2\"; it must lie outside."_s.arg(order_.tree, order_.source);
    }
    if (isSameOrInside(source, canonicalTarget(tree_.gameFolder()))) {
        return u"The build \"%1\" lies in the tree \"%2\"; it must lie outside."_s.arg(order_.source, order_.tree);
    }
    return {};
}

/// What keeps the build from following what the channel publishes now. Nobody can install over clashing paths, so those
/// have no option.
QStringList Publisher::publishedRefusals()
{
    largeFilesBefore_.clear();
    same_.reset();
    seenAt_ = std::chrono::system_clock::now();
    seen_ = fileState(tree_.manifestPath(order_.channel), FileLook::Attributes);
    if (!tree_.hasManifest(order_.channel)) {
        return {};
    }
    ChannelManifest published;
    const bool mayClash = !listsTheSame(&published) && lookAtPublished(&published);
    if (!published.problem.isEmpty()) {
        return order_.allowOlder ? QStringList()
                                 : QStringList{published.problem + u" With --allow-older it is replaced."_s};
    }
    QStringList refusals;
    if (!order_.allowOlder && order_.build <= published.manifest.build) {
        refusals.append(u"Build %1 is not above build %2, which \"%3\" publishes. With --allow-older it is replaced."_s
                            .arg(order_.build)
                            .arg(published.manifest.build)
                            .arg(published.path));
    }
    if (mayClash) {
        const ChannelManifest whole = tree_.readManifest(order_.channel);
        refusals += updateClashes(PathList(whole.manifest.files), PathList(scan_.files));
    }
    return refusals;
}

/// Whether the channel's manifest is certainly the one that publishedRefusals() has read. Not when it is so young that
/// another one might bear the same time.
bool Publisher::isPublishedAsSeen() const
{
    const FileState now = fileState(tree_.manifestPath(order_.channel), FileLook::Attributes);
    return seen_.reason.isEmpty() && now.reason.isEmpty() && now.size == seen_.size && now.modified == seen_.modified &&
           now.changed == seen_.changed && isSettled(now.modified, now.changed, seenAt_);
}

/// Reads the channel's manifest, where it can in pieces, of which no more is kept than the rest of this needs; so
/// \a published need not have its files. Whether players may be unable to update from it.
bool Publisher::lookAtPublished(ChannelManifest *published)
{
    UpdateLook look{PathList(scan_.files)};
    QMutex mutex;
    const auto take = [this, &look, &mutex](const Manifest &piece) {
        const QMutexLocker locker(&mutex);
        look.addPublished(PathList(piece.files));
        for (const ManifestFile &file : piece.files) {
            if (file.size > digestBlock) {
                largeFilesBefore_.insert(file.path, {file.sha256, file.size, {}});
            }
        }
    };
    *published = tree_.readManifestInPieces(order_.channel, take);
    return look.mayClash();
}

/// The channel's own manifest is about to be replaced, so only the others can stand in the way.
QStringList Publisher::pruneRefusals() const
{
    QStringList refusals;
    if (order_.prune) {
        for (const ChannelManifest &other : tree_.readManifests()) {
            if (other.channel == order_.channel) {
                continue;
            }
            QStringList errors = tree_.lookAtPacked(other.channel).problems;
            if (!other.problem.isEmpty()) {
                errors = QStringList{other.problem};
            }
            for (const QString &error : errors) {
                refusals.append(error + u" What it names is not known, so nothing can be pruned."_s);
            }
        }
    }
    return refusals;
}

} // namespace velmo::publish
