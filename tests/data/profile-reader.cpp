// Prints the profile that a program in this folder gets, as JSON, and the log lines of reading it to stderr.

#include "data/GameProfile.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    qSetMessagePattern(u"%{type} %{category}: %{message}"_s);
    const velmo::GameProfile &profile = velmo::gameProfile();
    QJsonArray channels;
    for (const velmo::GameChannel &channel : profile.channels) {
        channels.append(channel.id);
    }
    const QJsonObject printed{
        {u"studio"_s, profile.studio},
        {u"gameId"_s, profile.gameId},
        {u"title"_s, profile.title},
        {u"tagline"_s, profile.tagline},
        {u"installFolderName"_s, profile.installFolderName},
        {u"executable"_s, profile.executable},
        {u"estimatedInstallSize"_s, profile.estimatedInstallSize},
        {u"channels"_s, channels},
        {u"defaultChannel"_s, profile.defaultChannel},
        {u"newsEndpoint"_s, profile.newsEndpoint},
        {u"release"_s, profile.channel(u"release"_s).id},
        {u"read once"_s, &profile == &velmo::gameProfile()},
    };
    std::fputs(QJsonDocument(printed).toJson().constData(), stdout);
    return 0;
}
