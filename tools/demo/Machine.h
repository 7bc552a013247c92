#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace velmo::demo {

/// The player's machine, with a launcher on it: this one with a program of this build, or, where VELMO_WINDOWS_SETUP
/// names the launcher's setup program, Windows as Wine plays it on the drive WINEPREFIX. All that a story may find
/// different there is in this one place. Paths are this machine's unless said otherwise.
class Machine {
public:
    /// \a folder is for the home and the program, where they are not Wine's.
    explicit Machine(const QString &folder);

    bool isWindows() const { return !setup_.isEmpty(); }
    /// Brings the launcher to where players have it; \a launcher is this build's.
    bool install(const QString &launcher);
    /// Leaves the launcher where it is; \a launcher is its program, with arguments.
    void use(const QStringList &launcher);

    /// The launcher's program, and its folder.
    QString program() const { return launcher_.first(); }
    QString programFolder() const;
    /// The user's home folder.
    QString home() const;
    /// Where the launcher keeps its settings and logs.
    QString dataFolder() const;
    /// How programs of the machine call the file \a path.
    QString nameOf(const QString &path) const;

    /// What starts the launcher.
    QStringList command() const;
    QProcessEnvironment environment() const;
    /// Waits until nothing runs there any more, not even what the system keeps for a while. A start before that could
    /// put its icon into a tray that is about to end, and would trust the authorities of the run before.
    void comeToRest() const;
    /// The command that starts at sign-in, as it is stored; empty when there is none or no place for one.
    QString signInCommand() const;
    bool setSignInCommand(const QString &command);

    /// The Qt that the installed launcher runs on.
    QString qtVersion() const;
    /// What ends a line of a text file.
    QByteArray lineEnd() const { return isWindows() ? "\r\n" : "\n"; }
    /// Whether \a line of a log is this system's own word and none of the launcher's.
    bool isSystemsLine(const QString &line) const;

private:
    QStringList runner() const;
    bool run(const QStringList &command, QByteArray *output = nullptr) const;

    QString setup_;
    QString folder_;
    QStringList launcher_;
};

} // namespace velmo::demo
