#include "publish/TreeCheck.h"

#include "publish/ParallelFor.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

FileDigest digestStored(const QString &location, ProgressMeter &meter)
{
    const QFileInfo info(location);
    FileDigest digest;
    if (!info.exists()) {
        digest.error = u"\"%1\" is missing."_s.arg(location);
    } else if (!info.isFile()) {
        digest.error = u"\"%1\" is not a file."_s.arg(location);
    } else {
        digest = digestFile(location, meter);
    }
    return digest;
}

QString problemWith(const QString &location, const FileDigest &digest, const ManifestFile &file)
{
    if (!digest.error.isEmpty()) {
        return digest.error;
    }
    if (digest.size != file.size) {
        return u"\"%1\" has %2 bytes instead of %3."_s.arg(location, QString::number(digest.size),
                                                           QString::number(file.size));
    }
    if (digest.sha256 != file.sha256) {
        return u"\"%1\" has the hash %2 instead of %3."_s.arg(location, digest.sha256, file.sha256);
    }
    return {};
}

} // namespace

TreeCheck::TreeCheck(const ContentTree &tree, int jobs)
    : tree_(tree)
    , jobs_(jobs)
{}

TreeCheckResult TreeCheck::run()
{
    TreeCheckResult result;
    const QList<ChannelManifest> channels = tree_.readManifests();
    if (channels.isEmpty()) {
        result.problems.append(u"\"%1\" holds no manifest."_s.arg(tree_.gameFolder()));
        return result;
    }
    collect(channels);
    digestAll();
    for (const ChannelManifest &channel : channels) {
        if (!channel.error.isEmpty()) {
            result.problems.append(channel.error);
        }
        for (const ManifestFile &file : channel.manifest.files) {
            const QString problem = problemOf(channel, file);
            if (!problem.isEmpty()) {
                result.problems.append(u"%1: \"%2\": %3"_s.arg(channel.channel, file.path, problem));
            }
        }
    }
    result.manifests = channels.size();
    result.files = locations_.size();
    return result;
}

/// By the launcher's own rule for addresses, with the tree in the server's place; empty when it leads elsewhere.
QString TreeCheck::locationOf(const ChannelManifest &channel, const ManifestFile &file) const
{
    const QUrl base = QUrl::fromLocalFile(QFileInfo(channel.path).path() + u'/');
    const QUrl address = base.resolved(QUrl(file.url.isEmpty() ? file.path : file.url));
    const QString location = address.isLocalFile() ? QDir::cleanPath(address.toLocalFile()) : QString();
    const QString root = tree_.root();
    return location.startsWith(root.endsWith(u'/') ? root : QString(root + u'/')) ? location : QString();
}

void TreeCheck::collect(const QList<ChannelManifest> &channels)
{
    QSet<QString> seen;
    for (const ChannelManifest &channel : channels) {
        for (const ManifestFile &file : channel.manifest.files) {
            const QString location = locationOf(channel, file);
            if (!location.isEmpty() && !seen.contains(location)) {
                seen.insert(location);
                locations_.append(location);
            }
        }
    }
}

void TreeCheck::digestAll()
{
    qint64 bytes = 0;
    for (const QString &location : locations_) {
        bytes = addSizes(bytes, QFileInfo(location).size());
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Check, locations_.size(), bytes);
    QList<FileDigest> digests(locations_.size());
    FileDigest *const results = digests.data(); // each index is written by one thread alone
    parallelFor(
        locations_.size(), jobs_,
        [this, results, &meter](qsizetype index) {
            results[index] = digestStored(locations_.at(index), meter);
            meter.addFile();
            return true;
        },
        [&meter] { meter.report(); });
    meter.finish();
    for (qsizetype index = 0; index < locations_.size(); ++index) {
        digests_.insert(locations_.at(index), digests.at(index));
    }
}

QString TreeCheck::problemOf(const ChannelManifest &channel, const ManifestFile &file) const
{
    const QString location = locationOf(channel, file);
    if (location.isEmpty()) {
        return u"The address \"%1\" leads out of the tree."_s.arg(file.url);
    }
    return problemWith(location, digests_.value(location), file);
}

} // namespace velmo::publish
