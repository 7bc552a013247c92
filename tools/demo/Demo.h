#pragma once

#include "Album.h"
#include "LauncherSession.h"
#include "studio/StudioServer.h"

#include <QString>

#include <functional>
#include <memory>

namespace velmo::demo {

/// One of the studio's branches, as the profile tells of it.
struct Branch {
    QStringView id;
    QStringView name;
    QStringView description;
};

/// The launcher's window against a studio in the same process, for a person to use or as a story that plays itself by
/// real clicks on the real buttons: builds are published, served over TLS on loopback, installed, played, updated,
/// damaged, repaired, and exchanged for another branch's.
class Demo {
public:
    struct Options {
        QString work;      ///< emptied at the start; everything that the demo writes but its pictures lies here
        QString screens;   ///< emptied at the start; for the pictures
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
    bool hideToTray();
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
    bool playOffline();
    bool resetSettings();

    bool publish(const QString &folder, const QString &channel, const QString &version, int build);
    bool writeProfile() const;
    bool startServer(quint16 port);
    bool startLauncher(GameState resting, ServiceStatus service = ServiceStatus::Online);
    bool press(const QString &caption);
    bool openPage(const QString &tab);
    bool verifyFiles();
    bool clickSetting(const QWidget *control);
    bool clickButton(const QWidget &window, const QString &caption);
    bool chooseBranch(const QString &name);
    bool waitFor(const std::function<bool()> &condition)
    {
        return launcher_->run([] {}, condition, stepTimeoutMs);
    }
    void watchWindow();
    void keepWindow(const QString &title);
    bool windowShows(const QString &text) const;
    bool installPending(const QString &version);
    bool selectBranch(const Branch &branch);
    bool settlesAt(const std::function<void()> &action, GameState resting);
    bool passedExactly(const QList<GameState> &expected) const;
    bool installedFilesAreThoseOf(const QString &folder) const;
    QString buildFolder(const QString &version) const;
    QString installFolder() const;

    static constexpr int stepTimeoutMs = 20 * 60 * 1000; // a real game may be large
    static constexpr int windowTimeoutMs = 60 * 1000;    // for what the window does by itself

    Options options_;
    Album album_;
    studio::StudioServer studio_;
    std::unique_ptr<LauncherSession> launcher_;
    bool windowDeviated_ = false; ///< the window showed something else than the state that it was told
};

} // namespace velmo::demo
