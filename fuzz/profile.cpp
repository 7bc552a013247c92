// A game.json as it may lie beside the program.

#include "Target.h"
#include "data/GameProfile.h"

#include <QJsonDocument>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::GameChannel;
using velmo::GameProfile;
using velmo::fuzz::require;

namespace {

GameProfile shippedProfile()
{
    GameProfile profile;
    profile.executable = u"Harrowfen.exe"_s;
    profile.newsEndpoint = u"https://velmo.example/news"_s;
    profile.channels = {{u"release"_s, u"Release"_s, {}, u"https://velmo.example/release"_s},
                        {u"beta"_s, u"Beta"_s, {}, u"https://velmo.example/beta"_s}};
    return profile;
}

/// Every field, so that two profiles can be compared.
QStringList fieldsOf(const GameProfile &profile)
{
    QStringList fields = {profile.studio,
                          profile.gameId,
                          profile.title,
                          profile.tagline,
                          profile.description,
                          profile.developmentStage,
                          profile.installFolderName,
                          profile.executable,
                          profile.defaultChannel,
                          profile.newsEndpoint,
                          profile.statusEndpoint,
                          profile.discordUrl,
                          profile.websiteUrl,
                          profile.supportUrl,
                          profile.heroImage,
                          profile.studioLogo,
                          profile.gameLogo,
                          QString::number(profile.estimatedInstallSize)};
    for (const GameChannel &channel : profile.channels) {
        fields += {channel.id, channel.name, channel.description, channel.manifest};
    }
    return fields;
}

void checkChannels(const GameProfile &profile)
{
    for (const GameChannel &channel : profile.channels) {
        require(!channel.id.isEmpty(), "every branch has an id");
        require(profile.channel(channel.id).id == channel.id, "a branch is found by its id");
    }
    const QString unknown = u"a branch that nobody has"_s;
    const auto isDefault = [&profile](const GameChannel &channel) { return channel.id == profile.defaultChannel; };
    const bool hasDefault = std::any_of(profile.channels.begin(), profile.channels.end(), isDefault);
    const QString expected = profile.channels.isEmpty() ? QString()
                             : hasDefault               ? profile.defaultChannel
                                                        : profile.channels.first().id;
    if (!fieldsOf(profile).contains(unknown)) {
        require(profile.channel(unknown).id == expected, "an unknown branch falls back to the default, then the first");
    }
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    const GameProfile shipped = shippedProfile();
    GameProfile profile = shipped;
    applyProfileJson(profile, input);

    QJsonParseError error;
    const bool isObject = QJsonDocument::fromJson(input, &error).isObject() && error.error == QJsonParseError::NoError;
    require(warnings() == (isObject ? 0 : 1), "what is no profile is told in one line, and nothing else is");
    if (!isObject) {
        require(fieldsOf(profile) == fieldsOf(shipped), "what is no profile changes nothing");
    }
    for (const QString &field : {profile.studio, profile.gameId, profile.title, profile.installFolderName,
                                 profile.executable, profile.defaultChannel, profile.newsEndpoint}) {
        require(!field.isEmpty(), "no field can be emptied");
    }
    checkChannels(profile);

    GameProfile again = profile;
    applyProfileJson(again, input);
    require(fieldsOf(again) == fieldsOf(profile), "a profile that is applied twice says the same");
}
