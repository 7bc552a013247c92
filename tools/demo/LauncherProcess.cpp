#include "LauncherProcess.h"

#include "Machine.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QRegularExpression>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int patienceMs = 60 * 1000; // for what the window does by itself
constexpr qsizetype timeLength = 24;  // "2026-08-31 14:25:30.042 "

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

/// In logical pixels.
QRect geometryOf(const QString &window)
{
    const QStringList values = outputOf(u"xdotool"_s, {u"getwindowgeometry"_s, u"--shell"_s, window}).split(u'\n');
    const auto value = [&values](const QString &key) {
        const QStringList found = values.filter(QRegularExpression(u"^%1="_s.arg(key)));
        return qRound(found.value(0).section(u'=', 1).toInt() / qApp->devicePixelRatio());
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

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    constexpr int pauseMs = 20;
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(pauseMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

LauncherProcess::LauncherProcess(const Machine &machine)
    : machine_(machine)
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
    waitFor([&] { return !olderLogs_.contains(nextName()); }, patienceMs);
    linesSeen_ = 0;
    const QStringList command = prefix_ + machine_.command() + arguments;
    process_.start(command.first(), command.sliced(1));
}

QString LauncherProcess::nextLine(int timeoutMs)
{
    QString next;
    const auto comes = [&] {
        const bool wasRunning = isRunning(); // before the look, so that the last lines are not missed
        const QStringList all =
            QString::fromUtf8(rawLog()).split(QLatin1StringView(machine_.lineEnd()), Qt::KeepEmptyParts);
        // What stands after the last end of a line is not yet a whole one.
        while (next.isNull() && linesSeen_ < all.size() - 1) {
            const QString &line = all.at(linesSeen_++);
            const QString text = line.sliced(std::min(timeLength, line.size()));
            next = machine_.isSystemsLine(text) ? QString() : text;
        }
        return !next.isNull() || !wasRunning;
    };
    waitFor(comes, timeoutMs);
    return next;
}

QString LauncherProcess::malformedLine() const
{
    static const QRegularExpression form(
        uR"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(DEBUG|INFO |WARN |ERROR)\] (velmo\.[a-z ]{8}|default {7})  \S)"_s);
    QList<QByteArray> raw = rawLog().split('\n');
    const QByteArray last = raw.takeLast(); // after the last line's end
    if (!last.isEmpty()) {
        return QString::fromUtf8(last);
    }
    const auto isWrong = [this](const QByteArray &line) {
        const QString text = QString::fromUtf8(line);
        return line.endsWith('\r') != (machine_.lineEnd() == "\r\n") ||
               !(form.match(text).hasMatch() || machine_.isSystemsLine(text.sliced(std::min(timeLength, text.size()))));
    };
    const auto wrong = std::find_if(raw.cbegin(), raw.cend(), isWrong);
    return wrong == raw.cend() ? QString() : QString::fromUtf8(*wrong);
}

bool LauncherProcess::showsWindow()
{
    if (!waitFor([this] { return isWindowSeen(); }, patienceMs)) {
        return false;
    }
    window_ = geometryOf(visibleWindow(u"HARROWFEN"));
    return window_.width() > 0;
}

void LauncherProcess::takeKeys() const
{
    outputOf(u"xdotool"_s, {u"windowfocus"_s, u"--sync"_s, visibleWindow(u"HARROWFEN")});
}

bool LauncherProcess::resizeWindow(QSize size)
{
    const QString window = visibleWindow(u"HARROWFEN");
    const QSize pixels = size * qApp->devicePixelRatio();
    outputOf(u"xdotool"_s,
             {u"windowsize"_s, window, QString::number(pixels.width()), QString::number(pixels.height())});
    return waitFor([&] { return geometryOf(window).size() == size; }, patienceMs) && showsWindow();
}

QImage LauncherProcess::picture(const QRect &place) const
{
    const QRect spot = place.isNull() ? window_ : place;
    const auto look = [&spot] {
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, spot.x(), spot.y(), spot.width(), spot.height())
            .toImage();
    };
    constexpr int mostMs = 2000; // a transfer never comes to rest
    constexpr int pauseMs = 200;
    QImage picture = look();
    const QDeadlineTimer end(mostMs);
    const auto rests = [&] {
        waitFor([] { return false; }, pauseMs);
        const QImage next = look();
        return next == std::exchange(picture, next);
    };
    while (!rests() && !end.hasExpired()) {
    }
    return picture;
}

QRect LauncherProcess::otherWindow(const QString &title) const
{
    const bool seen = waitFor([this, &title] { return isOtherWindowSeen(title); }, patienceMs);
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
    return waitFor(isSeen, patienceMs) ? menu : QRect();
}

QPoint LauncherProcess::trayIcon() const
{
    QRect icon;
    const bool found = waitFor(
        [this, &icon] {
            const QRect before = icon; // it comes somewhere, and then moves to its place
            icon = machine_.isWindows() ? iconInWineTray() : trayGeometry();
            return icon == before && icon.width() >= narrowestIcon;
        },
        patienceMs);
    return found ? icon.center() : QPoint(-1, -1);
}

void LauncherProcess::endChildren() const
{
    QFile children(u"/proc/%1/task/%1/children"_s.arg(process_.processId()));
    if (children.open(QIODevice::ReadOnly)) {
        QProcess::execute(u"sh"_s, {u"-c"_s, u"kill "_s + QString::fromUtf8(children.readAll())});
    }
}

int LauncherProcess::waitForEnd(int timeoutMs)
{
    const bool ended = waitFor([this] { return !isRunning(); }, timeoutMs);
    return ended && process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

void LauncherProcess::kill()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
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

} // namespace velmo::demo
