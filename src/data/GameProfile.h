#pragma once

#include <QList>
#include <QString>

class QByteArray;

namespace velmo {

/// One build branch of the game.
struct GameChannel {
    QString id;          ///< stable; what the settings store
    QString name;        ///< shown in the branch selector
    QString description; ///< one sentence, shown in the branch selector
    QString manifest;    ///< absolute HTTPS address of the branch's manifest
};

/// Which game this launcher is for: its names, folders, branches and addresses. A plain value.
struct GameProfile {
    QString studio = QStringLiteral("VELMO GAMES");
    QString gameId = QStringLiteral("harrowfen");
    QString title = QStringLiteral("HARROWFEN");
    QString tagline;
    QString description;
    QString developmentStage;
    QString installFolderName = QStringLiteral("Harrowfen"); ///< below the games root
    QString executable;              ///< the game's program, relative to the install root, with forward slashes
    qint64 estimatedInstallSize = 0; ///< bytes; 0 means unknown
    QList<GameChannel> channels;     ///< in the order of the branch selector
    QString defaultChannel = QStringLiteral("release");
    QString newsEndpoint;
    QString statusEndpoint; ///< held for later; nothing asks it
    QString discordUrl;
    QString websiteUrl;
    QString supportUrl;
    QString heroImage; ///< relative resource paths, as the other artwork
    QString studioLogo;
    QString gameLogo;

    /// The channel named \a id (case-sensitively), else the default one, else the first, else an empty one.
    GameChannel channel(const QString &id) const;
};

/// The profile of this process: the compiled-in document, with "game.json" beside the program applied on top.
/// Read on the first call, on the main thread; never changes afterwards.
const GameProfile &gameProfile();

/// Reads the profile anew; gameProfile() is what the program uses.
GameProfile loadGameProfile();

/// Applies the JSON document \a json to \a profile. What the document lacks, leaves empty or gives in a wrong type
/// stays as it was; a document that is no object changes nothing and warns.
void applyProfileJson(GameProfile &profile, const QByteArray &json);

} // namespace velmo
