#pragma once

#include "Album.h"
#include "LauncherProcess.h"
#include "Machine.h"
#include "WindowTwin.h"

#include <QHash>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace velmo::demo {

/// One build of the game: what the studio calls it, and the folder that it was made from.
struct Build {
    QString version;
    int number = 0;
    QString folder;
};

/// Who plays the story: presses what is to be seen in the launcher's window, and knows beforehand, line by line, what
/// the launcher will log. Whatever goes otherwise is a Problem.
class Player {
public:
    struct Options {
        QString screens;                                         ///< emptied at the start; for the pictures
        QString program;                                         ///< the game's, a path in a build
        QString arguments;                                       ///< for it
        int patienceMs;                                          ///< how long the launcher may take for one thing
        std::function<void(const QString &)> tell;               ///< gets what happens, line by line
        std::function<QString(const QString &)> manifestAddress; ///< of a branch
    };

    /// \a machine has the launcher, and must outlive this.
    Player(Options options, Machine &machine);

    /// Starts the launcher and follows its log to the end of its check for updates.
    void start();
    /// Starts it without a word of what it will log; its window comes unless it \a opensToTheTray.
    void launch(const QStringList &arguments = {}, bool opensToTheTray = false);
    /// Closes it by the button in its window.
    void close();
    /// Waits for its end. There is nothing more in the log.
    void waitForEnd();

    // Each of these is done by the mouse, or by keys.
    void click(QPoint inWindow) const;
    void openPage(const QString &tab);
    /// Clicks on the control of a row at the top of the settings page.
    void clickSetting(const QString &label);
    /// Presses keys while the window is seen. Whether that could be done.
    bool strikeKeys(const QStringList &keys);
    void answer(const WindowTwin::Question &question, const QString &button);
    void verifyFiles();
    void selectBranch(const QString &id, const QString &name);
    void installOffer();
    void playGame();

    void keepPicture(const QString &title);
    void keepScreen(const QString &title);
    /// Changes a setting of a launcher that does not run.
    void presetSetting(const QString &section, const QString &key, const QJsonValue &value) const;
    QJsonValue setting(const QString &section, const QString &key) const;
    /// The files of the installed build lie in the install folder and nothing else, each with its bytes.
    void expectInstalled() const;

    /// From now on a check for updates finds \a build on the branch.
    void setOffer(const QString &branch, const Build &build) { offers_.insert(branch, build); }
    const Build &offer() const { return *offers_.constFind(branch_); }
    const Build &installed() const { return installed_; }
    QString installFolder() const { return machine_.home() + QStringLiteral("/VelmoGames/Games/Harrowfen"); }
    LauncherProcess &launcher() { return launcher_; }
    WindowTwin &twin() { return *twin_; }

    /// Follows the log: the next lines are these. A star stands for anything, a name in angle brackets for what differs
    /// from machine to machine.
    void expectLog(const QStringList &lines);
    /// Follows the log of the transfer to the line \a text, over those of any number of files.
    void expectAfterFiles(const QString &text);
    /// The next line of the log, whatever it is; null when none comes.
    QString nextLine(int timeoutMs);

    /// A line of the log as it is expected.
    static QString line(const QString &category, const QString &text, const QString &level = QStringLiteral("INFO "));
    static QString stateLine(const QString &state, const QString &detail);
    /// To the window.
    QStringList startLines() const;
    /// From the first state to the manifest.
    QStringList checkLines() const;
    /// What the check finds.
    QStringList offerLines() const;
    /// Of a transfer, to the moment when all has come.
    QStringList downloadLines(const QStringList &files, qint64 bytes) const;
    /// Of an install after it.
    QStringList recordLines(const QStringList &removed) const;
    QStringList playLines(const QString &arguments, const QString &code) const;
    static QStringList closingLines();

private:
    QString restingState() const;
    bool matches(const QString &pattern, const QString &line) const;
    QString settingsFile() const { return machine_.dataFolder() + QStringLiteral("/launcher.json"); }

    Options options_;
    Machine &machine_;
    Album album_;
    LauncherProcess launcher_;
    std::unique_ptr<WindowTwin> twin_;
    QString branch_ = QStringLiteral("release");
    Build installed_;
    QHash<QString, Build> offers_;
    bool hadSettings_ = false; ///< when the launcher was started
};

} // namespace velmo::demo
