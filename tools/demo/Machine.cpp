#include "Machine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int patienceMs = 120 * 1000;

const QString runKey = uR"(HKCU\Software\Microsoft\Windows\CurrentVersion\Run)"_s;
const QString entryName = u"VelmoLauncher"_s;

/// What Qt says of services of Windows that Wine does not have: one for each new window, one for the picture in a
/// notice, one for the first connection.
constexpr std::array<QStringView, 3> wineLines = {
    u"[WARN ] default         EnableNonClientDpiScaling() failed",
    u"[ERROR] default         QPixmap::fromWinHICON(), failed to GetIconInfo()",
    u"[WARN ] qt.tlsbackend.schannel  Failed to enumerate ciphers",
};

QString drive()
{
    return qEnvironmentVariable("WINEPREFIX") + u"/drive_c"_s;
}

QString windowsUser()
{
    return QDir(drive() + u"/users"_s).entryList({qEnvironmentVariable("USER", u"root"_s)}).value(0);
}

} // namespace

Machine::Machine(const QString &folder)
    : setup_(qEnvironmentVariable("VELMO_WINDOWS_SETUP"))
    , folder_(folder)
{
    launcher_ = QStringList{isWindows() ? home() + u"/AppData/Local/Programs/VelmoLauncher/VelmoLauncher.exe"_s
                                        : QDir(folder_).filePath(u"program/VelmoLauncher"_s)};
}

bool Machine::install(const QString &launcher)
{
    if (isWindows()) {
        return run({setup_, u"/S"_s}) && QFile::exists(program());
    }
    return QDir().mkpath(home()) && QDir().mkpath(programFolder()) && QFile::copy(launcher, program());
}

void Machine::use(const QStringList &launcher)
{
    launcher_ = launcher;
}

QString Machine::programFolder() const
{
    return QFileInfo(program()).path();
}

QString Machine::home() const
{
    return isWindows() ? drive() + u"/users/"_s + windowsUser() : QDir(folder_).filePath(u"home"_s);
}

QString Machine::dataFolder() const
{
    return home() + (isWindows() ? u"/AppData/Local"_s : u"/.config"_s) + u"/VelmoGames/Launcher"_s;
}

QString Machine::nameOf(const QString &path) const
{
    return isWindows() ? u"C:"_s + path.sliced(drive().size()) : path;
}

QStringList Machine::command() const
{
    return runner() + launcher_;
}

QProcessEnvironment Machine::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (isWindows()) {
        // Where the drive's registry puts the user's local application data.
        environment.insert(u"VELMO_HOME"_s, uR"(C:\users\%1\AppData)"_s.arg(windowsUser()));
    } else {
        environment.insert(u"HOME"_s, home());
        environment.insert(u"XDG_CONFIG_HOME"_s, home() + u"/.config"_s);
    }
    return environment;
}

void Machine::comeToRest() const
{
    if (isWindows()) {
        QProcess waiting;
        waiting.start(u"wineserver"_s, {u"-w"_s});
        waiting.waitForFinished(patienceMs);
    }
}

QString Machine::signInCommand() const
{
    QByteArray answer;
    if (!isWindows() || !run({u"reg"_s, u"query"_s, runKey, u"/v"_s, entryName}, &answer)) {
        return {};
    }
    return QString::fromUtf8(answer).section(u"REG_SZ"_s, 1).trimmed();
}

bool Machine::setSignInCommand(const QString &command)
{
    return run({u"reg"_s, u"add"_s, runKey, u"/v"_s, entryName, u"/d"_s, command, u"/f"_s});
}

QString Machine::qtVersion() const
{
    if (!isWindows()) {
        return QString::fromLatin1(qVersion());
    }
    QFile library(programFolder() + u"/Qt6Core.dll"_s);
    const QByteArray bytes = library.open(QIODevice::ReadOnly) ? library.readAll() : QByteArray();
    static const QRegularExpression build(uR"(\bQt (\d+\.\d+\.\d+) \()"_s); // as QLibraryInfo::build() begins
    return build.match(QString::fromLatin1(bytes)).captured(1);
}

bool Machine::isSystemsLine(const QString &line) const
{
    return isWindows() && std::any_of(wineLines.begin(), wineLines.end(),
                                      [&line](QStringView known) { return line.startsWith(known); });
}

QStringList Machine::runner() const
{
    return isWindows() ? QStringList{u"wine"_s} : QStringList();
}

bool Machine::run(const QStringList &command, QByteArray *output) const
{
    const QStringList all = runner() + command;
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(all.first(), all.sliced(1));
    const bool ended = process.waitForFinished(patienceMs);
    if (output) {
        *output = process.readAllStandardOutput();
    }
    return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace velmo::demo
