#include "data/GameProfile.h"

#include "core/Logging.h"
#include "data/JsonNumber.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

/// A field keeps its value unless the document gives a string with something in it.
void applyString(QString &field, const QJsonObject &object, const QString &key)
{
    const QString text = object.value(key).toString();
    if (!text.isEmpty()) {
        field = text;
    }
}

/// A channel list with anything in it replaces the standing one whole; channels are not merged by id.
void applyChannels(QList<GameChannel> &channels, const QJsonArray &array)
{
    if (array.isEmpty()) {
        return;
    }
    channels.clear();
    for (const auto &element : array) {
        const QJsonObject object = element.toObject();
        const GameChannel channel{object.value(u"id"_s).toString(), object.value(u"name"_s).toString(),
                                  object.value(u"description"_s).toString(), object.value(u"manifest"_s).toString()};
        if (!channel.id.isEmpty()) {
            channels.append(channel);
        }
    }
}

} // namespace

GameChannel GameProfile::channel(const QString &id) const
{
    for (const QString &wanted : {id, defaultChannel}) {
        for (const GameChannel &candidate : channels) {
            if (candidate.id == wanted) {
                return candidate;
            }
        }
    }
    return channels.isEmpty() ? GameChannel() : channels.first();
}

const GameProfile &gameProfile()
{
    static const GameProfile profile = loadGameProfile();
    return profile;
}

GameProfile loadGameProfile()
{
    GameProfile profile;
    QFile bundled(u":/data/game.json"_s);
    if (bundled.open(QIODevice::ReadOnly)) {
        applyProfileJson(profile, bundled.readAll());
    } else {
        qCWarning(lcApp) << "Bundled game profile missing; using built-in defaults";
    }
    QFile override(QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s));
    if (override.exists() && override.open(QIODevice::ReadOnly)) {
        qCInfo(lcApp) << "Applying game profile override from" << override.fileName();
        applyProfileJson(profile, override.readAll());
    }
    return profile;
}

void applyProfileJson(GameProfile &profile, const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        qCWarning(lcApp) << "Game profile is not valid JSON:" << error.errorString();
        return;
    }
    const QJsonObject root = document.object();
    applyString(profile.studio, root, u"studio"_s);
    applyString(profile.gameId, root, u"gameId"_s);
    applyString(profile.title, root, u"title"_s);
    applyString(profile.tagline, root, u"tagline"_s);
    applyString(profile.description, root, u"description"_s);
    applyString(profile.developmentStage, root, u"developmentStage"_s);
    applyString(profile.installFolderName, root, u"installFolderName"_s);
    applyString(profile.executable, root, u"executable"_s);
    const QJsonValue size = root.value(u"estimatedInstallSize"_s);
    if (size.isDouble()) {
        profile.estimatedInstallSize = truncatedToInt64(size.toDouble(0.0));
    }
    applyChannels(profile.channels, root.value(u"channels"_s).toArray());
    applyString(profile.defaultChannel, root, u"defaultChannel"_s);

    const QJsonObject endpoints = root.value(u"endpoints"_s).toObject();
    applyString(profile.newsEndpoint, endpoints, u"news"_s);
    applyString(profile.statusEndpoint, endpoints, u"status"_s);
    const QJsonObject links = root.value(u"links"_s).toObject();
    applyString(profile.discordUrl, links, u"discord"_s);
    applyString(profile.websiteUrl, links, u"website"_s);
    applyString(profile.supportUrl, links, u"support"_s);
    const QJsonObject artwork = root.value(u"artwork"_s).toObject();
    applyString(profile.heroImage, artwork, u"hero"_s);
    applyString(profile.studioLogo, artwork, u"studioLogo"_s);
    applyString(profile.gameLogo, artwork, u"gameLogo"_s);
}

} // namespace velmo
