#include "publish/Push.h"

#include "publish/ContentStore.h"
#include "publish/ManifestFiles.h"
#include "publish/Reason.h"
#include "publish/TreeLock.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype mostNamed = 20; // of files in a list of problems

QStringList listOf(const QString &problem)
{
    return problem.isEmpty() ? QStringList() : QStringList{problem};
}

} // namespace

Push::Push(const PushOrder &order)
    : order_(order)
    , tree_(order.tree, order.game)
    , remote_(order.remote, order.game, order.transfers)
    , snapshot_(work_.filePath(u"tree"_s), order.game)
    , packed_(work_.filePath(u"packed"_s))
{}

PushResult Push::run()
{
    result_ = {};
    if (!QFileInfo(tree_.gameFolder()).isDir()) {
        result_.problems.append(u"\"%1\" is not a folder."_s.arg(tree_.gameFolder()));
        return result_;
    }
    TreeLock lock(tree_.gameFolder());
    result_.add(lock.take());
    if (!result_.isGood()) {
        return result_;
    }
    for (const auto step :
         {&Push::readTree, &Push::readRemote, &Push::pushContent, &Push::pushManifests, &Push::prune, &Push::tidy}) {
        result_.problems = (this->*step)();
        if (!result_.problems.isEmpty()) {
            break;
        }
    }
    return result_;
}

QStringList Push::readTree()
{
    QStringList problems = listOf(work_.isValid() ? QString() : work_.errorString());
    const QStringList folders = QDir(tree_.gameFolder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &channel : folders) {
        if (TreeLayout::isFolderName(channel) && tree_.hasManifest(channel)) {
            problems += takeSnapshot(channel);
        }
    }
    const QList<ChannelManifest> channels = snapshot_.readManifests();
    if (problems.isEmpty() && channels.isEmpty()) {
        problems.append(u"\"%1\" holds no manifest."_s.arg(tree_.gameFolder()));
    }
    for (const ChannelManifest &channel : channels) {
        problems += addNamed(channel);
    }
    result_.files = contents_.size();
    for (const qint64 size : std::as_const(contents_)) {
        result_.bytes = addSizes(result_.bytes, size);
    }
    return problems;
}

/// Later a manifest may stand in the tree whose files were not looked for.
QStringList Push::takeSnapshot(const QString &channel)
{
    const std::pair<QString, QString> copies[] = {
        {tree_.manifestPath(channel), snapshot_.manifestPath(channel)},
        {tree_.packedManifestPath(channel), snapshot_.packedManifestPath(channel)},
        {tree_.packedManifestPath(channel), packed_.filePath(channel + u"/manifest.json"_s)}};
    for (const auto &[path, copy] : copies) {
        QDir().mkpath(QFileInfo(copy).path());
        QFile file(path);
        if (file.exists() && !file.copy(copy)) {
            return {u"\"%1\" cannot be copied: %2."_s.arg(path, reasonText(file.errorString()))};
        }
    }
    // A server hands out either of the two, so they go up together or not at all.
    const TaskResult packed = snapshot_.lookAtPacked(channel);
    return (packed.problems + packed.warnings)
        .replaceInStrings(snapshot_.packedManifestPath(channel), tree_.packedManifestPath(channel));
}

QStringList Push::addNamed(const ChannelManifest &channel)
{
    if (!channel.problem.isEmpty()) {
        return {QString(channel.problem).replace(channel.path, tree_.manifestPath(channel.channel))};
    }
    const ContentStore store(tree_.contentFolder());
    QStringList problems;
    for (const ManifestFile &file : channel.manifest.files) {
        if (problems.size() == mostNamed) {
            break;
        }
        if (file.url != TreeLayout::contentUrl(file.sha256)) {
            problems.append(u"%1: \"%2\" does not lie where a published file lies, but at \"%3\"."_s.arg(
                channel.channel, file.path, file.url));
        } else if (!store.holds({file.sha256, file.size, {}})) {
            problems.append(u"%1: \"%2\": \"%3\" is missing or has another size than %4 bytes."_s.arg(
                channel.channel, file.path, store.filePath(file.sha256), QString::number(file.size)));
        } else {
            contents_.insert(ContentHash(file.sha256), file.size);
        }
    }
    return problems;
}

QStringList Push::readRemote()
{
    if (const QString problem = remote_.open(); !problem.isEmpty()) {
        return {problem};
    }
    if (there_ = remote_.list(); !there_.problem.isEmpty()) {
        return {there_.problem};
    }
    const QString folder = work_.filePath(u"remote"_s);
    QStringList paths = there_.manifests;
    if (there_.hasMemory) {
        paths.append(Remote::memoryPath());
    }
    if (const QString problem = remote_.fetch(paths, folder); !problem.isEmpty()) {
        return {problem};
    }
    memoryThere_ = bytesOf(QDir(folder).filePath(Remote::memoryPath()));
    remoteProblems_ = readRemoteManifests(folder);
    // The manifests of this tree are about to be replaced, so only the others can stand in the way.
    remoteProblems_.removeIf([this](const auto &problem) {
        return QFileInfo::exists(QDir(snapshot_.gameFolder()).filePath(problem.key()));
    });
    return order_.pruneOlderThanDays > 0 ? QStringList(remoteProblems_.values()) : QStringList();
}

/// Everything that may be named, and what keeps it from being all.
QHash<QString, QString> Push::readRemoteManifests(const QString &folder)
{
    QHash<QString, QString> problems;
    namedThere_.clear();
    buildsThere_.clear();
    for (const QString &path : std::as_const(there_.manifests)) {
        const QByteArray json = manifestText(bytesOf(QDir(folder).filePath(path)));
        namedThere_ += hashesIn(json);
        if (const auto [manifest, problem] = parsedManifest(json); manifest.valid) {
            buildsThere_.insert(path, manifest.build);
            for (const ManifestFile &file : manifest.files) {
                namedThere_.insert(ContentHash(file.sha256));
            }
        } else {
            const auto sentence =
                u"\"%1\" of \"%2\" is damaged. %3 What it names is not known, so nothing can be pruned."_s;
            problems.insert(path, sentence.arg(path, order_.remote.shown(), problem));
        }
    }
    for (const QString &path : std::as_const(there_.strange)) {
        const auto sentence =
            u"\"%1\" of \"%2\" has a name that cannot be asked for. What it names is not known, so nothing can be pruned."_s;
        problems.insert(path, sentence.arg(path, order_.remote.shown()));
    }
    return problems;
}

QStringList Push::pushContent()
{
    Remote::Contents lacking;
    for (auto content = contents_.cbegin(); content != contents_.cend(); ++content) {
        if (there_.content.value(content.key(), -1) != content.value()) {
            lacking.append(content.key());
            result_.uploadedBytes = addSizes(result_.uploadedBytes, content.value());
        }
    }
    result_.uploaded = lacking.size();
    if (order_.dryRun) {
        return {};
    }
    QStringList problems = lacking.isEmpty() ? QStringList() : upload(lacking, false);
    if (problems.isEmpty()) {
        problems = proveContent();
    }
    return problems;
}

QStringList Push::upload(const Remote::Contents &contents, bool replacing)
{
    qint64 bytes = 0;
    for (const ContentHash &hash : contents) {
        bytes = addSizes(bytes, contents_.value(hash));
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Upload, contents.size(), bytes);
    RcloneProgress shown;
    const auto show = [&](const RcloneProgress &now) {
        for (; shown.files < std::min(now.files, contents.size()); ++shown.files) {
            meter.addFile();
        }
        if (const qint64 more = std::min(now.bytes, bytes) - shown.bytes; more > 0) {
            meter.addBytes(more); // what fails is transferred again, and counted again
            shown.bytes += more;
        }
        meter.report();
    };
    if (const QString problem = remote_.upload(contents, tree_.contentFolder(), replacing, show); !problem.isEmpty()) {
        return {problem};
    }
    show({bytes, contents.size()});
    meter.finish();
    return {};
}

/// What a manifest of the remote names was proved before that one was pushed, so of it the size is enough.
QStringList Push::proveContent()
{
    Remote::Contents unproved;
    for (auto content = contents_.cbegin(); content != contents_.cend(); ++content) {
        if (!namedThere_.contains(content.key()) || there_.content.value(content.key(), -1) != content.value()) {
            unproved.append(content.key());
        }
    }
    RemoteComparison found = remote_.compare(unproved, tree_.contentFolder());
    if (found.problem.isEmpty() && !found.wrong.isEmpty()) {
        if (const QStringList problems = upload(found.wrong, true); !problems.isEmpty()) {
            return problems;
        }
        found = remote_.compare(found.wrong, tree_.contentFolder());
    }
    if (found.problem.isEmpty()) {
        found.problem = remote_.settle(unproved);
    }
    if (!found.problem.isEmpty()) {
        return {found.problem};
    }
    if (there_ = remote_.list(); !there_.problem.isEmpty()) {
        return {there_.problem};
    }
    QStringList problems;
    for (auto content = contents_.cbegin(); content != contents_.cend() && problems.size() < mostNamed; ++content) {
        if (found.wrong.contains(content.key()) || there_.content.value(content.key(), -1) != content.value()) {
            problems.append(u"\"%1\" did not arrive at \"%2\" as it is."_s.arg(
                TreeLayout::contentName(content.key().digits()), order_.remote.shown()));
        }
    }
    return problems;
}

/// Looks at all manifests of the remote as they stand now, also those of channels that this tree does not have.
QStringList Push::prune()
{
    if (!order_.dryRun) {
        const QString folder = work_.filePath(u"last"_s);
        if (there_ = remote_.list(); !there_.problem.isEmpty()) {
            return {there_.problem};
        }
        if (const QString problem = remote_.fetch(there_.manifests, folder); !problem.isEmpty()) {
            return {problem};
        }
        remoteProblems_ = readRemoteManifests(folder);
    }
    if (!remoteProblems_.isEmpty()) {
        if (order_.pruneOlderThanDays > 0) {
            return remoteProblems_.values();
        }
        result_.warnings += remoteProblems_.values();
        return {};
    }
    QSet<ContentHash> named = namedThere_;
    for (auto content = contents_.cbegin(); content != contents_.cend(); ++content) {
        named.insert(content.key());
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const UnnamedContent before(memoryThere_, now);
    UnnamedContent memory = before;
    memory.update(there_.content.keys(), named, now);
    const Remote::Contents old =
        order_.pruneOlderThanDays > 0 ? memory.olderThan(order_.pruneOlderThanDays, now) : Remote::Contents();
    result_.pruned = old.size();
    for (const ContentHash &hash : old) {
        result_.prunedBytes = addSizes(result_.prunedBytes, there_.content.value(hash));
    }
    result_.unnamed = memory.size() - old.size();
    if (order_.dryRun) {
        return {};
    }
    if (const QString problem = remote_.remove(old); !problem.isEmpty()) {
        return {problem};
    }
    memory.forget(old);
    return listOf(memory == before ? QString() : remember(memory));
}

QStringList Push::tidy()
{
    return listOf(order_.dryRun ? QString() : remote_.clearIncoming(there_));
}

QString Push::remember(const UnnamedContent &memory)
{
    const QDir folder(work_.filePath(u"memory"_s));
    QFile file(folder.filePath(Remote::memoryPath()));
    QDir().mkpath(QFileInfo(file).path());
    const QByteArray json = memory.json();
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.flush()) {
        return u"\"%1\" cannot be written: %2."_s.arg(file.fileName(), file.errorString());
    }
    file.close();
    return remote_.replace(Remote::memoryPath(), folder.path());
}

} // namespace velmo::publish
