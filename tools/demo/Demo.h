#pragma once

#include "Album.h"
#include "LauncherSession.h"
#include "studio/StudioServer.h"

#include <QString>

#include <functional>
#include <memory>

namespace velmo::demo {

/// The launcher's window against a studio in the same process, for a person to use or as a story that plays itself by
/// real clicks on the real buttons: builds are published, served over TLS on loopback, installed, played, updated,
/// damaged, repaired, and exchanged for another branch's.
class Demo {
public:
    struct Options {
        QString work;      ///< emptied at the start; everything that the demo writes lies here
        QString game;      ///< a folder to take as the game; empty for the generated one
        QString program;   ///< the game's program in that folder; empty for the demo's own, put into it
        QString arguments; ///< for the game's program
    };

    explicit Demo(Options options);

    /// Plays the story. False at the first step that does not end where it should; why has then been printed.
    bool play();
    /// Opens the window for a person, with a first build on the release branch and the next on beta, until it is
    /// closed.
    bool open();

private:
    bool makeBuilds();
    bool publishFirstBuild();
    bool serve();
    bool firstStart();
    bool cancelInstall();
    bool install();
    bool playGame();
    bool publishUpdate();
    bool restart();
    bool update();
    bool visitPages();
    bool readNews();
    bool damage();
    bool repair();
    bool verifyAgain();
    bool switchToBeta();
    bool switchBack();

    bool publish(const QString &folder, const QString &channel, const QString &version, int build);
    bool writeProfile() const;
    bool startLauncher(GameState resting);
    bool press(const QString &caption);
    bool openPage(const QString &tab);
    bool pressVerify();
    bool chooseBranch(const QString &id);
    void watchWindow();
    bool windowShows(const QString &text) const;
    bool installPending(const QString &version);
    bool selectChannel(const QString &id);
    bool settlesAt(const std::function<void()> &action, GameState resting);
    bool passedExactly(const QList<GameState> &expected) const;
    bool installedFilesAreThoseOf(const QString &folder) const;
    QString buildFolder(const QString &version) const;
    QString installFolder() const;

    Options options_;
    Album album_;
    studio::StudioServer studio_;
    std::unique_ptr<LauncherSession> launcher_;
    bool windowDeviated_ = false; ///< the window showed something else than the state that it was told
};

} // namespace velmo::demo
