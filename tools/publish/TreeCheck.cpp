#include "publish/TreeCheck.h"

#include "publish/ParallelFor.h"

#include <QSet>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

QString problemWith(const QString &location, const FileDigest &digest, const ManifestFile &file)
{
    if (!digest.problem.isEmpty()) {
        return digest.problem;
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

TreeCheck::TreeCheck(const TreeSource &tree, const QStringList &channels, int jobs)
    : tree_(tree)
    , jobs_(jobs)
{
    read_ = [&tree, channels] {
        QList<ChannelManifest> manifests;
        for (const QString &channel : channels) {
            manifests.append(tree.readManifest(channel));
        }
        return manifests;
    };
}

TreeCheck::TreeCheck(const ContentTree &tree, int jobs)
    : tree_(tree)
    , read_([&tree] { return tree.readManifests(); })
    , jobs_(jobs)
{}

TreeCheckResult TreeCheck::run()
{
    TreeCheckResult result;
    const QList<ChannelManifest> channels = read_();
    if (channels.isEmpty()) {
        result.problems.append(u"\"%1\" holds no manifest."_s.arg(tree_.nameOf(tree_.layout().gameFolder())));
        return result;
    }
    collect(channels);
    digestAll();
    for (const ChannelManifest &channel : channels) {
        if (!channel.problem.isEmpty()) {
            result.problems.append(channel.problem);
        } else {
            result.add(tree_.lookAtPacked(channel.channel));
        }
        for (const ManifestFile &file : channel.manifest.files) {
            const QString problem = problemOf(channel, file);
            if (!problem.isEmpty()) {
                result.problems.append(u"%1: \"%2\": %3"_s.arg(channel.channel, file.path, problem));
            }
        }
    }
    result.manifests = channels.size();
    result.files = addresses_.size();
    return result;
}

QString TreeCheck::addressOf(const ChannelManifest &channel, const ManifestFile &file) const
{
    return tree_.layout().addressOf(tree_.rootUrl(), channel.channel, file);
}

void TreeCheck::collect(const QList<ChannelManifest> &channels)
{
    QSet<QString> seen;
    for (const ChannelManifest &channel : channels) {
        for (const ManifestFile &file : channel.manifest.files) {
            const QString address = addressOf(channel, file);
            if (!address.isEmpty() && !seen.contains(address)) {
                seen.insert(address);
                addresses_.append(address);
            }
        }
    }
}

void TreeCheck::digestAll()
{
    qint64 bytes = 0;
    for (const QString &address : addresses_) {
        bytes = addSizes(bytes, tree_.sizeOf(address));
    }
    ProgressMeter meter(progress_);
    meter.begin(PublishStep::Check, addresses_.size(), bytes);
    QList<FileDigest> digests(addresses_.size());
    FileDigest *const results = digests.data(); // each index is written by one thread alone
    parallelFor(
        addresses_.size(), jobs_,
        [this, results, &meter](qsizetype index) {
            results[index] = tree_.digest(addresses_.at(index), meter);
            meter.addFile();
            return true;
        },
        [&meter] { meter.report(); });
    meter.finish();
    for (qsizetype index = 0; index < addresses_.size(); ++index) {
        digests_.insert(addresses_.at(index), digests.at(index));
    }
}

QString TreeCheck::problemOf(const ChannelManifest &channel, const ManifestFile &file) const
{
    const QString address = addressOf(channel, file);
    if (address.isEmpty()) {
        return u"The address \"%1\" leads out of the tree."_s.arg(file.url);
    }
    return problemWith(tree_.nameOf(address), digests_.value(address), file);
}

} // namespace velmo::publish
