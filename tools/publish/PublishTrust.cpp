#include "publish/ParallelFor.h"
#include "publish/Publisher.h"

#include <algorithm>

namespace velmo::publish {

/// Comes before the walk, so that where nothing has changed that is also the last look at the build.
void Publisher::lookAtContents()
{
    heldBefore_ = PublishedTimes::contentsIn(tree_.timesPath(order_.channel));
    const std::vector<char> held = heldOf(heldBefore_);
    if (!std::all_of(held.begin(), held.end(), [](char isHeld) { return isHeld != 0; })) {
        heldBefore_.clear();
    }
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

} // namespace velmo::publish
