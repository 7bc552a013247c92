#include "publish/ContentTree.h"

#include "core/SaveFile.h"
#include "publish/ContentStore.h"
#include "publish/DecodedName.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>

#include <algorithm>

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

ChannelManifest unreadable(const QString &channel, const QString &path, const std::error_code &failure)
{
    const QString reason = QString::fromStdString(failure.message());
    return {channel, path, {}, u"\"%1\" cannot be read: %2."_s.arg(path, reason)};
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
    std::error_code failure;
    const std::filesystem::path path = QFileInfo(manifestPath(channel)).filesystemFilePath();
    return std::filesystem::symlink_status(path, failure).type() != std::filesystem::file_type::not_found;
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
    std::error_code failure;
    std::filesystem::directory_iterator entry(QFileInfo(gameFolder()).filesystemFilePath(), failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        readFolder(*entry, &manifests);
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        manifests.append(unreadable({}, gameFolder(), failure));
    }
    const auto precedes = [](const ChannelManifest &a, const ChannelManifest &b) { return a.channel < b.channel; };
    std::sort(manifests.begin(), manifests.end(), precedes);
    return manifests;
}

/// Not by QDir, which leaves out without a word what it cannot look into, such as a link to a drive that is not there.
void ContentTree::readFolder(const std::filesystem::directory_entry &folder, QList<ChannelManifest> *manifests) const
{
    const DecodedName name = decodedName(folder.path().filename());
    const QString path = QDir(gameFolder()).filePath(name.text);
    std::error_code failure;
    const std::filesystem::file_type type = folder.status(failure).type();
    std::error_code ignored;
    if (type == std::filesystem::file_type::none) {
        manifests->append(unreadable(name.text, path, failure));
    } else if (type == std::filesystem::file_type::not_found && folder.is_symlink(ignored)) {
        manifests->append({name.text, path, {}, u"\"%1\" is a symbolic link that leads nowhere."_s.arg(path)});
    } else if (type == std::filesystem::file_type::directory && !name.lossless) {
        manifests->append({name.text, path, {}, u"\"%1\" has a name that is not valid Unicode."_s.arg(path)});
    } else if (type == std::filesystem::file_type::directory && hasManifest(name.text)) {
        manifests->append(readManifest(name.text));
    }
}

NamedContent ContentTree::namedContent(const QString &channel) const
{
    NamedContent named;
    bool seen = false;
    for (const ChannelManifest &manifest : readManifests()) {
        if (!manifest.error.isEmpty()) {
            named.problems.append(manifest.error);
        }
        for (const ManifestFile &file : manifest.manifest.files) {
            named.hashes.insert(file.sha256);
        }
        seen = seen || manifest.channel.compare(channel, Qt::CaseInsensitive) == 0; // as some drives keep names
    }
    if (!seen) {
        named.problems.append(u"\"%1\" is not found in its folder."_s.arg(manifestPath(channel)));
    }
    return named;
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
    if (reason = commitOnDrive(file); !reason.isEmpty()) {
        *error = u"\"%1\" cannot be written: %2."_s.arg(path, reason);
        return false;
    }
    return true;
}

} // namespace velmo::publish
