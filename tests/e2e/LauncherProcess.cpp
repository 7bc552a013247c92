#include "LauncherProcess.h"

#include "Machine.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QtTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

constexpr int patienceMs = 30 * 1000;
constexpr qsizetype timeLength = 24; // "2026-08-31 14:25:30.042 "

QStringList logFiles(const QString &folder)
{
    return QDir(folder + u"/logs"_s).entryList({u"launcher-*.log"_s}, QDir::Files, QDir::Name);
}

QString outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QRect geometryOf(const QString &window)
{
    const QStringList values = outputOf(u"xdotool"_s, {u"getwindowgeometry"_s, u"--shell"_s, window}).split(u'\n');
    const auto value = [&values](const QString &key) {
        const QStringList found = values.filter(QRegularExpression(u"^%1="_s.arg(key)));
        return found.value(0).section(u'=', 1).toInt();
    };
    return {value(u"X"_s), value(u"Y"_s), value(u"WIDTH"_s), value(u"HEIGHT"_s)};
}

constexpr int narrowestIcon = 8; // a tray without an icon is as thin as a line

QRect trayGeometry()
{
    return geometryOf(outputOf(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"^trayer$"_s}));
}

/// Wine's own program puts the icons of the others into the tray.
QRect iconInWineTray()
{
    const QRect tray = trayGeometry();
    const QStringList windows =
        outputOf(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"^explorer.exe$"_s})
            .split(u'\n', Qt::SkipEmptyParts);
    for (const QString &window : windows) {
        const QRect place = geometryOf(window);
        if (place.width() < tray.width() && tray.contains(place)) {
            return place;
        }
    }
    return {};
}

} // namespace

LauncherProcess::LauncherProcess(const Machine &machine, const QString &authorities)
    : machine_(machine)
    , authorities_(authorities)
{
    process_.setProcessEnvironment(machine.environment());
    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.setStandardOutputFile(QProcess::nullDevice());
}

LauncherProcess::~LauncherProcess()
{
    kill();
}

void LauncherProcess::start(const QStringList &arguments)
{
    kill(); // a run that a failed test has left
    machine_.comeToRest();
    olderLogs_ = logFiles(machine_.dataFolder());
    // A log is named after the second of its start; each run shall have its own.
    const auto nextName = [] {
        return u"launcher-%1.log"_s.arg(QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss"_s));
    };
    while (olderLogs_.contains(nextName())) {
        QTest::qWait(20);
    }
    linesSeen_ = 0;
    process_.start(QStringLiteral(VELMO_WITH_AUTHORITIES),
                   QStringList{authorities_} + machine_.runner() + QStringList{machine_.program()} + arguments);
}

bool LauncherProcess::logs(const QString &text)
{
    return QTest::qWaitFor(
        [&] {
            const QStringList all = lines();
            for (qsizetype i = linesSeen_; i < all.size(); ++i) {
                if (all.at(i).contains(text)) {
                    linesSeen_ = i + 1;
                    return true;
                }
            }
            return false;
        },
        patienceMs);
}

bool LauncherProcess::showsWindow()
{
    if (!QTest::qWaitFor([this] { return isWindowSeen(); }, patienceMs)) {
        return false;
    }
    window_ = geometryOf(visibleWindow(u"HARROWFEN"));
    return window_.width() > 0;
}

QRect LauncherProcess::otherWindow(const QString &title) const
{
    const bool seen = QTest::qWaitFor([this, &title] { return isOtherWindowSeen(title); }, patienceMs);
    return seen ? geometryOf(visibleWindow(title)) : QRect();
}

QSet<QString> LauncherProcess::visibleWindows() const
{
    const QString windows =
        outputOf(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--pid"_s, QString::number(process_.processId())});
    const QStringList numbers = windows.split(u'\n', Qt::SkipEmptyParts);
    return {numbers.begin(), numbers.end()};
}

QRect LauncherProcess::menuBeside(const QSet<QString> &known) const
{
    constexpr int higherThanAnyToolTip = 60;
    QRect menu;
    const auto isSeen = [&] {
        const QSet<QString> others = visibleWindows() - known;
        return std::any_of(others.begin(), others.end(), [&menu](const QString &window) {
            menu = geometryOf(window);
            return menu.height() > higherThanAnyToolTip;
        });
    };
    return QTest::qWaitFor(isSeen, patienceMs) ? menu : QRect();
}

QPoint LauncherProcess::trayIcon() const
{
    QRect icon;
    const bool found = QTest::qWaitFor(
        [this, &icon] {
            icon = machine_.isWindows() ? iconInWineTray() : trayGeometry();
            return icon.width() >= narrowestIcon;
        },
        patienceMs);
    return found ? icon.center() : QPoint(-1, -1);
}

int LauncherProcess::waitForEnd()
{
    const bool ended = QTest::qWaitFor([this] { return process_.state() == QProcess::NotRunning; }, patienceMs);
    return ended && process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

void LauncherProcess::kill()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

QStringList LauncherProcess::lines() const
{
    QStringList lines;
    const QStringList all =
        QString::fromUtf8(rawLog()).split(QLatin1StringView(machine_.lineEnd()), Qt::SkipEmptyParts);
    for (const QString &line : all) {
        if (!isSystemsLine(line)) {
            lines.append(line.sliced(std::min(timeLength, line.size())));
        }
    }
    return lines;
}

bool LauncherProcess::isSystemsLine(const QString &line) const
{
    return machine_.isSystemsLine(line.sliced(std::min(timeLength, line.size())));
}

QByteArray LauncherProcess::rawLog() const
{
    const QString name = logFile();
    QFile file(name);
    return !name.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The newest one, unless it was there before this run.
QString LauncherProcess::logFile() const
{
    const QString folder = machine_.dataFolder();
    const QStringList files = logFiles(folder);
    return files.isEmpty() || olderLogs_.contains(files.last()) ? QString() : folder + u"/logs/"_s + files.last();
}

/// The window system's number of the window \a title while it is seen; the main window's title may go on with a state.
QString LauncherProcess::visibleWindow(QStringView title) const
{
    return outputOf(u"xdotool"_s, {u"search"_s, u"--all"_s, u"--onlyvisible"_s, u"--pid"_s,
                                   QString::number(process_.processId()), u"--name"_s, u"^%1( - .*)?$"_s.arg(title)})
        .section(u'\n', 0, 0);
}

} // namespace velmo::test
