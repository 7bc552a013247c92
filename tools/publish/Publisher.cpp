#include "publish/Publisher.h"

#include "publish/ParallelFor.h"
#include "publish/PathRules.h"
#include "publish/TreeLock.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QSet>

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
    return path == folder || path.startsWith(folder.endsWith(u'/') ? folder : QString(folder + u'/'));
}

/// Of build files or of files of a manifest.
template<typename File>
QStringList pathsOf(const QList<File> &files)
{
    QStringList paths;
    paths.reserve(files.size());
    for (const File &file : files) {
        paths.append(file.path);
    }
    return paths;
}

/// Whole seconds, since that is what the manifest's text form keeps.
QDateTime currentSecondUtc()
{
    return QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch()).toUTC();
}

/// Problems that several workers meet.
class ProblemList {
public:
    void add(const QString &problem)
    {
        const QMutexLocker locker(&mutex_);
        problems_.append(problem);
    }
    QStringList sorted()
    {
        problems_.sort();
        return problems_;
    }

private:
    QMutex mutex_;
    QStringList problems_;
};

} // namespace

Publisher::Publisher(const PublishOrder &order)
    : order_(order)
    , tree_(order.tree, order.game)
    , store_(tree_.contentFolder())
{}

PublishResult Publisher::run()
{
    result_ = {};
    result_.problems = refusals();
    if (!result_.problems.isEmpty()) {
        return result_;
    }
    if (!QDir().mkpath(tree_.gameFolder())) {
        result_.problems.append(u"The folder \"%1\" cannot be made."_s.arg(tree_.gameFolder()));
        return result_;
    }
    TreeLock lock(tree_.gameFolder());
    if (!lock.take()) {
        result_.problems.append(lock.refusal());
        return result_;
    }
    if (!lock.warning().isEmpty()) {
        result_.warnings.append(lock.warning());
    }
    result_.problems = publishFiles();
    if (result_.problems.isEmpty() && order_.prune) {
        result_.problems = prune();
    }
    return result_;
}

QStringList Publisher::refusals()
{
    if (const QString refusal = placeRefusal(); !refusal.isEmpty()) {
        return {refusal};
    }
    // Seen before the walk, which takes its time; what is put in place meanwhile is for the second look.
    const std::optional<ChannelManifest> publishedBefore = published();
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Scan, 0, 0);
    const BuildScan scan = BuildScanner(order_.source, &meter).scan();
    if (scan.refusals.isEmpty()) {
        meter.finish();
    }
    files_ = scan.files;
    QStringList refusals = scan.refusals;
    const auto isProgram = [this](const BuildFile &file) { return file.path == order_.executable; };
    if (!order_.executable.isEmpty() && std::none_of(files_.cbegin(), files_.cend(), isProgram)) {
        refusals.append(u"The executable \"%1\" is not in the build."_s.arg(order_.executable));
    }
    return refusals + publishedRefusals(publishedBefore) + pruneRefusals();
}

QStringList Publisher::publishFiles()
{
    // Another publisher may have been faster since the refusals were looked for.
    QStringList problems = publishedRefusals(published());
    if (problems.isEmpty()) {
        problems = hashFiles();
    }
    if (problems.isEmpty()) {
        problems = copyFiles();
    }
    if (problems.isEmpty()) {
        problems = changedFiles();
    }
    if (problems.isEmpty()) {
        problems = putManifest();
    }
    return problems;
}

QStringList Publisher::hashFiles()
{
    qint64 bytes = 0;
    for (const BuildFile &file : files_) {
        bytes = addSizes(bytes, file.size);
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Hash, files_.size(), bytes);
    digests_ = QList<FileDigest>(files_.size());
    FileDigest *const results = digests_.data(); // each index is written by one thread alone
    ProblemList problems;
    const auto hash = [this, results, &meter, &problems](qsizetype index) {
        results[index] = digestFile(files_.at(index).location, meter);
        meter.addFile();
        const QString &error = results[index].error;
        if (!error.isEmpty()) {
            problems.add(error);
        }
        return error.isEmpty();
    };
    parallelFor(files_.size(), order_.jobs, hash, [&meter] { meter.report(); });
    const QStringList found = problems.sorted();
    if (found.isEmpty()) {
        meter.finish();
    }
    return found;
}

QStringList Publisher::copyFiles()
{
    const QList<qsizetype> indexes = filesToCopy();
    qint64 bytes = 0;
    for (const qsizetype index : indexes) {
        bytes = addSizes(bytes, digests_.at(index).size);
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Copy, indexes.size(), bytes);
    ProblemList problems;
    const auto copy = [this, &indexes, &meter, &problems](qsizetype position) {
        const qsizetype index = indexes.at(position);
        QString error;
        const bool added = store_.add(files_.at(index).location, digests_.at(index), meter, &error);
        meter.addFile();
        if (!added) {
            problems.add(error);
        }
        return added;
    };
    parallelFor(indexes.size(), order_.jobs, copy, [&meter] { meter.report(); });
    const QStringList found = problems.sorted();
    if (found.isEmpty()) {
        meter.finish();
        result_.copied = indexes.size();
    }
    return found;
}

QStringList Publisher::putManifest()
{
    const Manifest manifest = this->manifest();
    QString error;
    if (!tree_.writeManifest(manifest, &error)) {
        return {error};
    }
    result_.manifest = manifest;
    result_.manifest.valid = true;
    return {};
}

QStringList Publisher::prune()
{
    const NamedContent named = tree_.namedContent(order_.channel);
    if (!named.problems.isEmpty()) {
        return named.problems;
    }
    result_.pruned = store_.prune(named.hashes);
    return result_.pruned.problems;
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

/// The channel's manifest as it stands now, if it has one.
std::optional<ChannelManifest> Publisher::published() const
{
    return tree_.hasManifest(order_.channel) ? std::optional(tree_.readManifest(order_.channel)) : std::nullopt;
}

/// What keeps the build from following \a published. Nobody can install over clashing paths, so those have no option.
QStringList Publisher::publishedRefusals(const std::optional<ChannelManifest> &published) const
{
    if (!published) {
        return {};
    }
    if (!published->error.isEmpty()) {
        return order_.allowOlder ? QStringList()
                                 : QStringList{published->error + u" With --allow-older it is replaced."_s};
    }
    QStringList refusals;
    if (!order_.allowOlder && order_.build <= published->manifest.build) {
        refusals.append(u"Build %1 is not above build %2, which \"%3\" publishes. With --allow-older it is replaced."_s
                            .arg(order_.build)
                            .arg(published->manifest.build)
                            .arg(published->path));
    }
    return refusals + updateClashes(pathsOf(published->manifest.files), pathsOf(files_));
}

/// The channel's own manifest is about to be replaced, so only the others can stand in the way.
QStringList Publisher::pruneRefusals() const
{
    QStringList refusals;
    if (order_.prune) {
        for (const ChannelManifest &other : tree_.readManifests()) {
            if (!other.error.isEmpty() && other.channel != order_.channel) {
                refusals.append(other.error + u" What it names is not known, so nothing can be pruned."_s);
            }
        }
    }
    return refusals;
}

/// The build is walked once more: what has come meanwhile would be missing from what goes out.
QStringList Publisher::changedFiles() const
{
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Scan, 0, 0);
    const BuildScan now = BuildScanner(order_.source, &meter).scan();
    QStringList changed = now.refusals;
    const QStringList paths = pathsOf(files_);
    const QSet<QString> seen(paths.begin(), paths.end());
    for (const BuildFile &file : now.files) {
        if (!seen.contains(file.path)) {
            changed.append(u"\"%1\" appeared while the build was being published."_s.arg(file.location));
        }
    }
    for (const BuildFile &file : files_) {
        if (file.hasChanged()) {
            changed.append(u"\"%1\" changed while it was being published."_s.arg(file.location));
        }
    }
    return changed;
}

/// One index for each different content that the tree does not hold.
QList<qsizetype> Publisher::filesToCopy() const
{
    QSet<QString> planned;
    QList<qsizetype> indexes;
    for (qsizetype index = 0; index < files_.size(); ++index) {
        const FileDigest &digest = digests_.at(index);
        if (!planned.contains(digest.sha256) && !store_.holds(digest)) {
            planned.insert(digest.sha256);
            indexes.append(index);
        }
    }
    return indexes;
}

Manifest Publisher::manifest() const
{
    Manifest manifest;
    manifest.version = order_.version;
    manifest.build = order_.build;
    manifest.channel = order_.channel;
    manifest.executable = order_.executable;
    manifest.released = currentSecondUtc();
    manifest.notes = order_.notes;
    manifest.files.reserve(files_.size());
    for (qsizetype index = 0; index < files_.size(); ++index) {
        const BuildFile &file = files_.at(index);
        const FileDigest &digest = digests_.at(index);
        manifest.files.append({file.path, digest.sha256, digest.size, ContentTree::contentUrl(digest.sha256),
                               file.executable || file.path == order_.executable});
    }
    return manifest;
}

} // namespace velmo::publish
