#pragma once

#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

namespace velmo::demo {

class Machine;

/// Lets the event loop run until \a condition holds or \a timeoutMs are over. Whether it holds.
bool waitFor(const std::function<bool()> &condition, int timeoutMs);

/// The launcher's own program, run as its player would run it, time after time: its window is driven by the real mouse,
/// and what it did is read from the log files that it writes. Places are global logical pixels.
class LauncherProcess {
public:
    /// \a machine has the launcher and must outlive this.
    explicit LauncherProcess(const Machine &machine);
    ~LauncherProcess();
    Q_DISABLE_COPY_MOVE(LauncherProcess)

    /// One run at a time.
    void start(const QStringList &arguments = {});
    /// What begins the command line, from the next start on.
    void setPrefix(const QStringList &prefix) { prefix_ = prefix; }
    /// Waits for the next line of this run's log and returns it without its time and its end; null when none comes.
    /// What the machine's system has to say is left out.
    QString nextLine(int timeoutMs);
    /// The first line of the log as it lies on the disk that is not as a line must be; empty when there is none.
    QString malformedLine() const;

    /// Waits until the window is seen, and remembers where.
    bool showsWindow();
    bool isWindowSeen() const { return !visibleWindow(u"HARROWFEN").isEmpty(); }
    /// Gives the window, which is seen, another size, as its player could.
    bool resizeWindow(QSize size);
    /// Lets keys go to the window, which is seen. Nothing else does that where no window manager has a say.
    void takeKeys() const;
    /// The window's place when it was shown last.
    QRect window() const { return window_; }
    /// The window as it is seen, once all that moves in it has come to rest; something else on the screen where
    /// \a place is not null.
    QImage picture(const QRect &place = {}) const;
    /// Waits for another window of the launcher, which has exactly this title. Its place.
    QRect otherWindow(const QString &title) const;
    bool isOtherWindowSeen(const QString &title) const { return !visibleWindow(title).isEmpty(); }
    /// The window system's numbers of all that is seen: the main window, a menu, a notice, the icon in the tray.
    QSet<QString> visibleWindows() const;
    /// Waits for a menu that is not among \a known. Its place.
    QRect menuBeside(const QSet<QString> &known) const;
    /// Waits until a tray shows one icon. Its middle; below zero when none comes.
    QPoint trayIcon() const;

    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    /// Asks the programs that the launcher has started to end.
    void endChildren() const;
    /// Waits for the end of this run. Its exit code, or -1 when it crashed or does not end.
    int waitForEnd(int timeoutMs);

private:
    void kill();
    QByteArray rawLog() const;
    QString logFile() const;
    QString visibleWindow(QStringView title) const;

    const Machine &machine_;
    QStringList prefix_;
    QProcess process_;
    QStringList olderLogs_;
    qsizetype linesSeen_ = 0;
    QRect window_;
};

} // namespace velmo::demo
