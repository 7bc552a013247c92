#pragma once

#include "Machine.h"
#include "Player.h"
#include "StoryStudio.h"

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace velmo::demo {

/// The launcher's main job, step by step, by real clicks on the real buttons of a launcher that runs on a machine:
/// builds are published, served over TLS on loopback, installed, played, updated, damaged, repaired, and exchanged for
/// another branch's. What goes otherwise than it should is a Problem.
class Story {
public:
    struct Options {
        QString work;      ///< emptied at the start; builds and tree lie here
        QString screens;   ///< emptied at the start; for the pictures
        QString game;      ///< a folder to take as the game; empty for the generated one
        QString program;   ///< the game's program in that folder; empty for the demo's own, put into it
        QString arguments; ///< for the game's program
        int patienceMs;    ///< how long the launcher may take for one thing
        std::function<void(const QString &)> tell; ///< gets what happens, line by line
    };
    struct Step {
        QString title;
        void (Story::*play)();
    };

    /// \a machine has the launcher, and must outlive this.
    Story(Options options, Machine &machine);

    /// They build on each other.
    static const QList<Step> &steps();
    /// Opens the launcher for a person, with a first build on the release branch and the next on beta, until it is
    /// closed.
    void open();

    /// Makes the build that comes after \a from and puts it on the branch.
    Build publishNext(const Build &from, const QString &version, int number, const QString &branch);
    /// Starts the launcher where it cannot reach the studio, or does not trust it.
    void startOffline();
    Player &player() { return player_; }
    StoryStudio &studio() { return studio_; }

private:
    void makeBuilds();
    void publishFirstBuild();
    void serve();
    void firstStart();
    void cancelInstall();
    void install() { player_.installOffer(); }
    void visitPages();
    QImage pageSeen();
    void readNews();
    void play() { player_.playGame(); }
    void hideToTray();
    void publishUpdate();
    void restart();
    void damage();
    void repair();
    void verifyAgain();
    void switchToBeta();
    void switchBack();
    void playOffline();
    void resetSettings();

    Build makeNext(const Build &from, const QString &version, int number) const;
    void publish(const Build &build, const QString &branch);

    Options options_;
    Machine &machine_;
    StoryStudio studio_;
    Player player_;
    Build first_;
    Build update_;
    Build beta_;
    QStringList damaged_; ///< one changed, one shortened, one deleted
};

} // namespace velmo::demo
