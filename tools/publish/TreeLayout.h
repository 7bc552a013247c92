#pragma once

#include <QString>

class QUrl;

namespace velmo {
struct ManifestFile;
}

namespace velmo::publish {

/// Where everything of one game lies in a content tree: addresses below the tree's root, with forward slashes, which
/// hold on a disk and on a server alike. Looks at neither.
class TreeLayout {
public:
    explicit TreeLayout(const QString &game);

    /// Whether \a name may be a game's or a channel's folder: letters a to z, digits and hyphens, no hyphen first,
    /// which would make it an option to many a program. Whether Windows reserves it is not looked at.
    static bool isFolderName(const QString &name);
    /// The name of the folder of content files, which no channel may take.
    static QString contentFolderName();
    /// A content file's place in the folder of content files: "ab/abcd...".
    static QString contentName(const QString &sha256);
    /// A content file's address as its manifests give it.
    static QString contentUrl(const QString &sha256);

    QString gameFolder() const { return game_; }
    QString contentFolder() const;
    QString manifest(const QString &channel) const;
    /// The same packed, for a server to hand out in its place.
    QString packedManifest(const QString &channel) const;
    /// The list that --trust-times keeps. It goes to no server, and no channel has a name like that of its folder.
    QString times(const QString &channel) const;
    /// What it keeps of the manifest, beside.
    QString provedPieces(const QString &channel) const;

    /// Where \a file of the manifest of \a channel lies, by the launcher's own rule for addresses, in the tree at
    /// \a root, which ends in a slash. Empty when it leads out of the tree.
    QString addressOf(const QUrl &root, const QString &channel, const ManifestFile &file) const;

private:
    QString game_;
};

} // namespace velmo::publish
