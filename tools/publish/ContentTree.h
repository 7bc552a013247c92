#pragma once

#include "data/Manifest.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <filesystem>

namespace velmo::publish {

/// A channel's manifest as it stands in a tree.
struct ChannelManifest {
    QString channel;
    QString path; ///< of manifest.json
    Manifest manifest;
    QString error; ///< a sentence that names the path; empty when the manifest is good
};

/// The content that the manifests of a tree name.
struct NamedContent {
    QSet<QString> hashes;
    QStringList problems; ///< a sentence for everything that keeps \a hashes from being all of them
};

/// The folder that the content server serves, seen from one game: where things lie, and the manifests.
class ContentTree {
public:
    ContentTree(const QString &tree, const QString &game);

    /// Whether \a name may be a game's or a channel's folder: letters a to z, digits and hyphens, no hyphen first,
    /// which would make it an option to many a program. Whether Windows reserves it is not looked at.
    static bool isFolderName(const QString &name);
    /// The name of the folder of content files, which no channel may take.
    static QString contentFolderName();
    /// A content file's address as its manifests give it.
    static QString contentUrl(const QString &sha256);

    QString root() const { return root_; }
    QString gameFolder() const;
    QString contentFolder() const;
    QString manifestPath(const QString &channel) const;

    /// Whether \a channel has a manifest, good or not, or may have one: only if none is certainly there, it has none.
    bool hasManifest(const QString &channel) const;
    ChannelManifest readManifest(const QString &channel) const;
    /// Every channel's manifest, by channel name. What may be a channel and cannot be looked into is there with an
    /// error, and so is the game's folder itself.
    QList<ChannelManifest> readManifests() const;
    /// What all manifests name together, among which that of \a channel must be.
    NamedContent namedContent(const QString &channel) const;
    /// Puts \a manifest in place of its channel's, atomically and only if the launcher reads it back as it was meant.
    [[nodiscard]] bool writeManifest(const Manifest &manifest, QString *error) const;

private:
    void readFolder(const std::filesystem::directory_entry &folder, QList<ChannelManifest> *manifests) const;

    QString root_;
    QString game_;
};

} // namespace velmo::publish
