#include "publish/Publisher.h"

#include "InsideFolder.h"
#include "publish/ParallelFor.h"
#include "publish/PathRules.h"
#include "publish/PublishedTimes.h"
#include "publish/TreeLock.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <atomic>

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

QString changed(const QString &location)
{
    return u"\"%1\" changed while it was being published."_s.arg(location);
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
    void add(const QStringList &problems)
    {
        for (const QString &problem : problems) {
            add(problem);
        }
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
    result_.add(lock.take());
    if (!result_.isGood()) {
        return result_;
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

QStringList Publisher::publishFiles()
{
    // Another publisher may have been faster since the refusals were looked for.
    QStringList problems = isPublishedAsSeen() ? QStringList() : publishedRefusals();
    if (problems.isEmpty()) {
        problems = storeFiles();
    }
    if (problems.isEmpty() && !isAsPublished()) { // else nothing was looked at, but the manifest, since the walk
        problems = changedFiles();
    }
    if (problems.isEmpty()) {
        problems = putManifest();
    }
    return problems;
}

QStringList Publisher::storeFiles()
{
    Incoming incoming(store_);
    if (const QString problem = incoming.open(); !problem.isEmpty()) {
        return {problem};
    }
    const QStringList problems = readFiles(incoming);
    if (problems.isEmpty()) {
        return placeFiles(incoming);
    }
    incoming.place(nullptr); // what was copied until then serves the next attempt
    incoming.settle();
    return problems;
}

QStringList Publisher::readFiles(Incoming &incoming)
{
    ProgressMeter meter(progress_);
    beginReading(meter);
    const std::vector<char> held = heldFiles();
    ContentHash *const hashes = hashes_.data(); // each index is written by one thread alone
    std::atomic<bool> isAnyRead = false;
    ProblemList problems;
    const auto read = [this, hashes, &held, &isAnyRead, &incoming, &meter, &problems](qsizetype index) {
        const BuildFile &file = scan_.files.at(index);
        if (held[static_cast<std::size_t>(index)]) {
            return true;
        }
        isAnyRead = true;
        const auto guess = isLikelyHeld(file) ? Incoming::Guess::Held : Incoming::Guess::New;
        const FileDigest digest = incoming.take(scan_.locationOf(file), file.size, guess, meter);
        meter.addFile();
        if (!digest.problem.isEmpty()) {
            problems.add(digest.problem);
        } else if (digest.size != file.size) {
            problems.add(changed(scan_.locationOf(file)));
        } else {
            hashes[index] = ContentHash(digest.sha256);
            return true;
        }
        return false;
    };
    const auto tick = [&meter, &incoming, &problems] {
        meter.report();
        if (incoming.isMuchReady()) {
            problems.add(incoming.place(nullptr));
        }
    };
    parallelFor(scan_.files.size(), order_.jobs, read, tick);
    if (isAnyRead) { // then the hashes may be others
        timesStand_ = false;
        same_.reset();
    }
    const QStringList found = problems.sorted();
    if (found.isEmpty()) {
        meter.finish();
    }
    return found;
}

/// Index by index, whether the tree holds it. By the order of the hashes, in which the store keeps them.
std::vector<char> Publisher::heldOf(const std::vector<PublishedTimes::Content> &contents) const
{
    constexpr qsizetype shelves = 256;
    std::vector<std::vector<std::size_t>> onShelf(shelves);
    for (std::size_t index = 0; index < contents.size(); ++index) {
        onShelf[contents[index].hash.firstByte()].push_back(index);
    }
    std::vector<char> held(contents.size(), 0);
    const auto lookAtShelf = [this, &contents, &onShelf, &held](qsizetype shelf) {
        FolderLook look(FileLook::Attributes);
        for (const std::size_t index : onShelf[static_cast<std::size_t>(shelf)]) {
            const PublishedTimes::Content &content = contents[index];
            const bool isHeld = content.hash.isKnown() && store_.holds({content.hash.digits(), content.size, {}}, look);
            held[index] = isHeld ? 1 : 0;
        }
        return true;
    };
    parallelFor(shelves, order_.jobs, lookAtShelf, [] {});
    return held;
}

/// Of each file of the build, whether its content is known and held.
std::vector<char> Publisher::heldFiles() const
{
    const auto count = static_cast<std::size_t>(scan_.files.size());
    if (!order_.trustTimes || isAsPublished()) {
        return std::vector<char>(count, isAsPublished() ? 1 : 0);
    }
    std::vector<PublishedTimes::Content> contents(count);
    for (std::size_t index = 0; index < count; ++index) {
        const auto file = static_cast<qsizetype>(index);
        contents[index] = {hashes_.at(file), scan_.files.at(file).size};
    }
    return heldOf(contents);
}

/// Begins the step with what there is to be read.
void Publisher::beginReading(ProgressMeter &meter) const
{
    qsizetype files = 0;
    qint64 bytes = 0;
    for (qsizetype index = 0; index < hashes_.size(); ++index) {
        if (!hashes_.at(index).isKnown()) {
            ++files;
            bytes = addSizes(bytes, scan_.files.at(index).size);
        }
    }
    meter.begin(PublishStep::Hash, files, bytes);
}

QStringList Publisher::placeFiles(Incoming &incoming)
{
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Copy, incoming.files(), incoming.bytes());
    QStringList problems = incoming.place(&meter);
    if (problems.isEmpty()) {
        problems = incoming.settle();
    }
    if (problems.isEmpty()) {
        meter.finish();
        result_.copied = incoming.files();
    }
    return problems;
}

QStringList Publisher::putManifest()
{
    const Manifest header = this->header();
    const auto fileAt = [this](qsizetype index) { return listed(index); };
    ProvedPieces::Writer proved(tree_.provedPaths(order_.channel).list);
    const ProvedPieces *const same = same_ ? &*same_ : nullptr;
    if (const QString problem =
            tree_.writeManifest(header, {scan_.files.size(), fileAt}, same, order_.trustTimes ? &proved : nullptr);
        !problem.isEmpty()) {
        return {problem};
    }
    remember(proved);
    result_.manifest = header;
    result_.manifest.valid = true;
    result_.files = scan_.files.size();
    for (const BuildFile &file : scan_.files) {
        result_.bytes = addSizes(result_.bytes, file.size);
    }
    return {};
}

/// A build that is out without them costs the next one some time, no more.
void Publisher::remember(const ProvedPieces::Writer &proved)
{
    const QString path = tree_.timesPath(order_.channel);
    if (!order_.trustTimes) {
        PublishedTimes::forget(path);
        PublishedTimes::forget(tree_.provedPaths(order_.channel).list);
        return;
    }
    if (const QString problem = proved.finish(); !problem.isEmpty()) {
        result_.warnings.append(problem);
    }
    if (timesStand_) {
        return;
    }
    PublishedTimes::Writer times(path, scannedAt_);
    for (qsizetype index = 0; index < scan_.files.size(); ++index) {
        times.add(scan_.files.at(index), hashes_.at(index));
    }
    if (const QString problem = times.finish(); !problem.isEmpty()) {
        result_.warnings.append(problem);
    }
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

/// Gives the files that stand as they were last published the hash that they had.
void Publisher::trustTimes()
{
    PublishedTimes times(tree_.timesPath(order_.channel));
    for (qsizetype index = 0; index < scan_.files.size(); ++index) {
        hashes_[index] = times.hashOf(scan_.files.at(index));
    }
    timesStand_ = times.knowsJust(scan_.files.size());
    const auto isSame = [](const PublishedTimes::Content &content, const ContentHash &hash) {
        return content.hash == hash; // so the sizes are the same too
    };
    isHeld_ = timesStand_ && std::equal(heldBefore_.begin(), heldBefore_.end(), hashes_.begin(), hashes_.end(), isSame);
    heldBefore_ = {};
}

/// Comes before the walk, so that where nothing has changed that is also the last look at the build.
void Publisher::lookAtContents()
{
    heldBefore_ = PublishedTimes::contentsIn(tree_.timesPath(order_.channel));
    const std::vector<char> held = heldOf(heldBefore_);
    if (!std::all_of(held.begin(), held.end(), [](char isHeld) { return isHeld != 0; })) {
        heldBefore_.clear();
    }
}

/// Whether the channel's manifest, as this program has put it there, lists just the files that are to be published; its
/// header goes to \a published then. Players can update from a build to the very same, so nothing else of it is needed.
bool Publisher::listsTheSame(ChannelManifest *published)
{
    if (!timesStand_) {
        return false;
    }
    const ProvedPieces standing(tree_.provedPaths(order_.channel));
    const auto fileAt = [this](qsizetype index) { return listed(index); };
    const ManifestText text(header(), {scan_.files.size(), fileAt});
    const std::optional<Manifest> header = text.headerOf(standing);
    if (!header) {
        return false;
    }
    *published = {order_.channel, tree_.manifestPath(order_.channel), *header, {}};
    same_ = standing;
    return true;
}

/// Whether to read a file before it is copied. Small ones are written only when their hash is known, anyway.
bool Publisher::isLikelyHeld(const BuildFile &file) const
{
    const auto before = largeFilesBefore_.constFind(file.path);
    return before != largeFilesBefore_.constEnd() && before->size == file.size && store_.holds(*before);
}

/// The next manifest, but for its files.
Manifest Publisher::header() const
{
    Manifest manifest;
    manifest.version = order_.version;
    manifest.build = order_.build;
    manifest.channel = order_.channel;
    manifest.executable = order_.executable;
    manifest.released = currentSecondUtc();
    manifest.notes = order_.notes;
    return manifest;
}

ManifestFile Publisher::listed(qsizetype index) const
{
    const BuildFile &file = scan_.files.at(index);
    const QString sha256 = hashes_.at(index).digits();
    return {file.path, sha256, file.size, TreeLayout::contentUrl(sha256),
            file.executable || file.path == order_.executable};
}

/// The build is walked once more: what has come meanwhile would be missing from what goes out.
QStringList Publisher::changedFiles() const
{
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Scan, 0, 0);
    if (BuildScanner(order_.source, &meter, order_.jobs).stillFinds(scan_)) {
        return {};
    }
    const BuildScan now = BuildScanner(order_.source).scan();
    QStringList appeared;
    QStringList different;
    auto file = now.files.begin(); // both lists are in one order
    const auto passNewOnes = [&now, &file, &appeared](const QString *before) {
        for (; file != now.files.end() && (!before || precedesByBytes(file->path, *before)); ++file) {
            appeared.append(u"\"%1\" appeared while the build was being published."_s.arg(now.locationOf(*file)));
        }
    };
    for (const BuildFile &before : scan_.files) {
        passNewOnes(&before.path);
        const bool stands = file != now.files.end() && file->path == before.path;
        if (!stands || !file->isAsBefore(before)) {
            different.append(changed(scan_.locationOf(before)));
        }
        file += stands ? 1 : 0;
    }
    passNewOnes(nullptr);
    return now.refusals + appeared + different;
}

} // namespace velmo::publish
