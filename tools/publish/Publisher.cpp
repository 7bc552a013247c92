#include "publish/Publisher.h"

#include "publish/ParallelFor.h"
#include "publish/TreeLock.h"

#include <QDateTime>
#include <QDir>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <atomic>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

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

QStringList Publisher::prune()
{
    const NamedContent named = tree_.namedContent(order_.channel);
    if (!named.problems.isEmpty()) {
        return named.problems;
    }
    result_.pruned = store_.prune(named.hashes);
    return result_.pruned.problems;
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
