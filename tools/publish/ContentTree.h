#pragma once

#include "publish/ManifestText.h"
#include "publish/TreeSource.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <filesystem>

namespace velmo::publish {

/// The content that the manifests of a tree name.
struct NamedContent {
    QSet<QString> hashes;
    QStringList problems; ///< a sentence for everything that keeps \a hashes from being all of them
};

/// The folder that the content server serves, seen from one game: what lies there, and the manifests.
class ContentTree : public TreeSource {
public:
    ContentTree(const QString &tree, const QString &game);

    QString root() const { return root_; }
    QString gameFolder() const;
    QString contentFolder() const;
    QString manifestPath(const QString &channel) const;
    QString packedManifestPath(const QString &channel) const;
    QString timesPath(const QString &channel) const;
    ProvedPaths provedPaths(const QString &channel) const;

    TreeLayout layout() const override { return layout_; }
    QUrl rootUrl() const override;
    QString nameOf(const QString &address) const override;
    ChannelManifest readManifest(const QString &channel) const override;
    /// Hands the files of \a channel's manifest to \a take, in any number of manifests with the header and some of the
    /// files each, in no order and on any thread. Where it is not good, what was taken does not count. The result has
    /// no files.
    ChannelManifest readManifestInPieces(const QString &channel,
                                         const std::function<void(const Manifest &)> &take) const;
    TaskResult lookAtPacked(const QString &channel) const override;
    qint64 sizeOf(const QString &address) const override;
    FileDigest digest(const QString &address, ProgressMeter &meter) const override;

    /// Whether \a channel has a manifest, good or not, or may have one: only if none is certainly there, it has none.
    bool hasManifest(const QString &channel) const;
    /// Every channel's manifest, by channel name. What may be a channel and cannot be looked into is there with an
    /// error, and so is the game's folder itself.
    QList<ChannelManifest> readManifests() const;
    /// What all manifests name together, among which that of \a channel must be.
    NamedContent namedContent(const QString &channel) const;
    /// Puts \a manifest in place of its channel's, atomically and only if the launcher reads it back as it was meant.
    /// The packed one goes first: whoever is cut off between the two has left the old build's number standing, so that
    /// publishing once more is not refused, and both name files that are there. A sentence when that fails.
    [[nodiscard]] QString writeManifest(const Manifest &manifest) const;
    /// The same of \a files, with all else from \a header. If \a same is there, it lists just these
    /// files, and its pieces serve once more. If \a proved is there, it is told of the pieces that are put in place.
    [[nodiscard]] QString writeManifest(const Manifest &header, const ManifestFiles &files,
                                        const ProvedPieces *same = nullptr,
                                        ProvedPieces::Writer *proved = nullptr) const;

private:
    void readFolder(const std::filesystem::directory_entry &folder, QList<ChannelManifest> *manifests) const;

    QString root_;
    TreeLayout layout_;
};

} // namespace velmo::publish
