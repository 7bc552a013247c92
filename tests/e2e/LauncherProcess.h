#pragma once

#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QSet>
#include <QString>
#include <QStringList>

namespace velmo::test {

class Machine;

/// The launcher's own program, run as its player would run it, time after time: its window is driven by the real mouse,
/// and what it did is read from the log files that it writes.
class LauncherProcess {
public:
    /// \a machine has the launcher installed and must outlive this; \a authorities is the folder of the certificate
    /// authorities that it trusts, as /etc/ssl/certs is.
    LauncherProcess(const Machine &machine, const QString &authorities);
    ~LauncherProcess();
    Q_DISABLE_COPY_MOVE(LauncherProcess)

    /// One run at a time.
    void start(const QStringList &arguments = {});
    /// From the next start on.
    void setAuthorities(const QString &folder) { authorities_ = folder; }
    /// Waits until the log of this run has a line that holds \a text, below the line that this function found last.
    bool logs(const QString &text);
    /// Waits until the window is seen, and remembers where.
    bool showsWindow();
    bool isWindowSeen() const { return !visibleWindow(u"HARROWFEN").isEmpty(); }
    /// Waits for another window of the launcher, which has exactly this title. Its place in global pixels.
    QRect otherWindow(const QString &title) const;
    bool isOtherWindowSeen(const QString &title) const { return !visibleWindow(title).isEmpty(); }
    /// The window system's numbers of all that is seen: the main window, a menu, a notice, the icon in the tray.
    QSet<QString> visibleWindows() const;
    /// Waits for a menu that is not among \a known. Its place in global pixels.
    QRect menuBeside(const QSet<QString> &known) const;
    /// The window's place when it was shown last, in global pixels.
    QRect window() const { return window_; }
    /// Waits until a tray shows one icon. Its middle, in global pixels; below zero when none comes.
    QPoint trayIcon() const;
    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    /// Waits for the end of this run. Its exit code, or -1 when it crashed or does not end.
    int waitForEnd();

    /// The log of this run, each line without its time and its end; empty when there is none yet. What the machine's
    /// system has to say is left out.
    QStringList lines() const;
    /// The log of this run as it lies on the disk.
    QByteArray rawLog() const;
    /// Whether a whole \a line of the log is the system's own word and none of the launcher's.
    bool isSystemsLine(const QString &line) const;

private:
    void kill();
    QString logFile() const;
    QString visibleWindow(QStringView title) const;

    const Machine &machine_;
    QString authorities_;
    QProcess process_;
    QStringList olderLogs_;
    qsizetype linesSeen_ = 0;
    QRect window_;
};

} // namespace velmo::test
