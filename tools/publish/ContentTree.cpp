#include "publish/ContentTree.h"

#include "core/SaveFile.h"
#include "publish/ContentStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

Manifest parsedManifest(const QByteArray &json, QString *error)
{
    QJsonParseError failure;
    const QJsonDocument document = QJsonDocument::fromJson(json, &failure);
    if (failure.error != QJsonParseError::NoError) {
        *error = u"It is not valid JSON: %1."_s.arg(failure.errorString());
        return {};
    }
    return Manifest::fromJson(document.object(), error);
}

} // namespace

ContentTree::ContentTree(const QString &tree, const QString &game)
    : root_(QDir::cleanPath(QFileInfo(tree).absoluteFilePath()))
    , game_(game)
{}

bool ContentTree::isFolderName(const QString &name)
{
    static const QRegularExpression pattern(u"\\A[a-z0-9][a-z0-9-]*\\z"_s);
    return pattern.match(name).hasMatch();
}

QString ContentTree::contentFolderName()
{
    return u"files"_s;
}

QString ContentTree::contentUrl(const QString &sha256)
{
    return u"../"_s + contentFolderName() + u'/' + ContentStore::relativePath(sha256);
}

QString ContentTree::gameFolder() const
{
    return QDir(root_).filePath(game_);
}

QString ContentTree::contentFolder() const
{
    return QDir(gameFolder()).filePath(contentFolderName());
}

QString ContentTree::manifestPath(const QString &channel) const
{
    return QDir(gameFolder()).filePath(channel + u"/manifest.json"_s);
}

bool ContentTree::hasManifest(const QString &channel) const
{
    return QFileInfo::exists(manifestPath(channel));
}

ChannelManifest ContentTree::readManifest(const QString &channel) const
{
    ChannelManifest result{channel, manifestPath(channel), {}, {}};
    QFile file(result.path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.error = u"\"%1\" cannot be read: %2."_s.arg(result.path, file.errorString());
        return result;
    }
    QString reason;
    result.manifest = parsedManifest(file.readAll(), &reason);
    if (!result.manifest.valid) {
        result.error = u"\"%1\" is damaged. %2"_s.arg(result.path, reason);
    }
    return result;
}

QList<ChannelManifest> ContentTree::readManifests() const
{
    QList<ChannelManifest> manifests;
    const QDir game(gameFolder());
    for (const QString &channel : game.entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)) {
        if (hasManifest(channel)) {
            manifests.append(readManifest(channel));
        }
    }
    return manifests;
}

bool ContentTree::writeManifest(const Manifest &manifest, QString *error) const
{
    const QString path = manifestPath(manifest.channel);
    const QByteArray json = QJsonDocument(manifest.toJson()).toJson();
    QString reason;
    const Manifest readBack = parsedManifest(json, &reason);
    if (!readBack.valid || readBack.toJson() != manifest.toJson()) {
        *error =
            u"The launcher would not read the manifest for \"%1\" as it is meant. %2"_s.arg(path, reason).trimmed();
        return false;
    }
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder)) {
        *error = u"The folder \"%1\" cannot be made."_s.arg(folder);
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        *error = u"\"%1\" cannot be written: %2."_s.arg(path, file.errorString());
        return false;
    }
    writeAll(file, json);
    // Asked before the commit, which forgets why a write failed.
    if (file.error() != QFileDevice::NoError || !file.commit()) {
        *error = u"\"%1\" cannot be written: %2."_s.arg(path, file.errorString());
        return false;
    }
    return true;
}

} // namespace velmo::publish
