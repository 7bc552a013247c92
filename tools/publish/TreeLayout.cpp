#include "publish/TreeLayout.h"

#include "InsideFolder.h"
#include "data/Manifest.h"

#include <QDir>
#include <QRegularExpression>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

TreeLayout::TreeLayout(const QString &game)
    : game_(game)
{}

bool TreeLayout::isFolderName(const QString &name)
{
    static const QRegularExpression pattern(u"\\A[a-z0-9][a-z0-9-]*\\z"_s);
    return pattern.match(name).hasMatch();
}

QString TreeLayout::contentFolderName()
{
    return u"files"_s;
}

QString TreeLayout::contentName(const QString &sha256)
{
    return sha256.first(2) + u'/' + sha256;
}

QString TreeLayout::contentUrl(const QString &sha256)
{
    return u"../"_s + contentFolderName() + u'/' + contentName(sha256);
}

QString TreeLayout::contentFolder() const
{
    return game_ + u'/' + contentFolderName();
}

QString TreeLayout::manifest(const QString &channel) const
{
    return game_ + u'/' + channel + u"/manifest.json"_s;
}

QString TreeLayout::packedManifest(const QString &channel) const
{
    return manifest(channel) + u".gz"_s;
}

QString TreeLayout::times(const QString &channel) const
{
    return game_ + u"/.times/"_s + channel;
}

QString TreeLayout::provedPieces(const QString &channel) const
{
    return times(channel) + u".pieces"_s;
}

QString TreeLayout::addressOf(const QUrl &root, const QString &channel, const ManifestFile &file) const
{
    if (file.url == contentUrl(file.sha256)) {
        return contentFolder() + u'/' + contentName(file.sha256); // as in every manifest of our own
    }
    const QString rootPath = root.path(QUrl::FullyDecoded);
    QUrl base = root;
    base.setPath(rootPath + manifest(channel));
    const QUrl address = base.resolved(QUrl(file.url.isEmpty() ? file.path : file.url));
    const QString path = QDir::cleanPath(address.path(QUrl::FullyDecoded));
    const bool isWithin =
        address.scheme() == root.scheme() && address.authority() == root.authority() && isInside(path, rootPath);
    return isWithin ? path.sliced(rootPath.size()) : QString();
}

} // namespace velmo::publish
