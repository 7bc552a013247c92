#include "GameFixture.h"
#include "Hand.h"
#include "LauncherProcess.h"
#include "Machine.h"
#include "WindowTwin.h"

#include "core/Format.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScreen>
#include <QUuid>
#include <QtEndian>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

BuildFile content(const QString &path, qsizetype bytes, char fill)
{
    return {path, QByteArray(bytes, fill), false, {}};
}

Build build(const Machine &machine, const QString &version, int number, const QList<BuildFile> &files)
{
    return {version,
            number,
            QList<BuildFile>{{machine.gamePath(), machine.gameProgram(), true, {}}} + files,
            machine.gamePath(),
            {}};
}

Build firstBuild(const Machine &machine)
{
    return build(machine, u"1.0.0"_s, 100,
                 {content(u"data/fen.pak"_s, 3'000'000, 'f'), content(u"data/lantern.pak"_s, 40'000, 'l'),
                  content(u"data/old.txt"_s, 90, 'o')});
}

Build secondBuild(const Machine &machine)
{
    return build(machine, u"1.1.0"_s, 110,
                 {content(u"data/fen.pak"_s, 3'000'500, 'g'), content(u"data/lantern.pak"_s, 40'000, 'l'),
                  content(u"data/new.txt"_s, 120, 'n')});
}

Build thirdBuild(const Machine &machine)
{
    return build(machine, u"1.2.0"_s, 120,
                 {content(u"data/fen.pak"_s, 3'000'500, 'h'), content(u"data/lantern.pak"_s, 40'000, 'l'),
                  content(u"data/new.txt"_s, 120, 'n')});
}

/// Whether a program runs that was started with the argument \a mark.
bool isProcessThere(const QString &mark)
{
    const QStringList processes = QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs);
    return std::any_of(processes.begin(), processes.end(), [&mark](const QString &process) {
        QFile file(u"/proc/%1/cmdline"_s.arg(process));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(mark.toUtf8());
    });
}

} // namespace

/// The program that players get, from its first start on, in runs that build on each other: its real window by a real
/// mouse, its real trust in what the system trusts, and the whole log of each run. The same story holds on each machine
/// that Machine knows, and pictures of its stations stay in the folder "screens" beside this program.
class tst_Launcher : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void programNeedsNoConsole();
    void firstStartInstallsAndPlays();
    void nextStartFindsNothingToDo();
    void newBuildIsInstalled();
    void damageIsRepaired();
    void closingDuringADownloadAsks();
    void nextStartGoesOnWithTheDownload();
    void gameGetsItsArgumentsAndItsFolder();
    void closingTheLauncherEndsTheGame();
    void pagesAreShown();
    void signInIsSwitchedOnAndOff();
    void staleSignInCommandIsRewritten();
    void signInOpensToTheTray();
    void strangersCertificateIsNotTrusted();

private:
    bool open();
    bool click(QPoint inWindow) const { return demo::clickAt(launcher_->window().topLeft() + inWindow); }
    bool closeWindow();
    bool installedIs(const Build &build) const;
    QString installFolder() const { return machine_.home() + u"/VelmoGames/Games/Harrowfen"_s; }
    bool presetSetting(const QString &section, const QString &key, const QJsonValue &value) const;
    bool answerQuestion(const QString &button);
    /// Keeps a picture of the window as it is seen, once all that moves has come to rest.
    bool keepPicture(const QString &title);

    QString expectedSignInCommand() const;
    QDir pictureFolder() const;
    QStringList startLines(const QString &settingsLine) const;
    QStringList startLinesWithTray() const;
    QStringList checkLines(const QString &restingState) const;
    void compareLog(const QStringList &expected) const;

    Machine machine_;
    QTemporaryDir authorities_;
    int pictures_ = 0;
    std::unique_ptr<GameStudio> studio_;
    std::unique_ptr<LauncherProcess> launcher_;
    std::unique_ptr<WindowTwin> twin_;
};

void tst_Launcher::initTestCase()
{
    QVERIFY2(demo::handIsThere(), "this test needs an X display and xdotool");
    QVERIFY(pictureFolder().removeRecursively() && pictureFolder().mkpath(u"."_s));
    const LogCapture quiet;
    theme::Theme::apply();
    studio_ = std::make_unique<GameStudio>(
        QJsonObject{{u"executable"_s, machine_.gamePath()},
                    {u"endpoints"_s, QJsonObject{{u"news"_s, u"https://127.0.0.1:9/news"_s}}}});
    QVERIFY(machine_.install());
    studio_->writeProfile(machine_.programFolder());
    // Each file by its hash, and all in one: there are systems that look for the one and for the other.
    QVERIFY(QFile::copy(u":/certificates/authority.pem"_s, authorities_.filePath(u"authority.pem"_s)));
    QCOMPARE(QProcess::execute(u"openssl"_s, {u"rehash"_s, authorities_.path()}), 0);
    QVERIFY(QFile::copy(u":/certificates/authority.pem"_s, authorities_.filePath(u"ca-certificates.crt"_s)));
    launcher_ = std::make_unique<LauncherProcess>(machine_, authorities_.path());
}

void tst_Launcher::cleanupTestCase()
{
    launcher_.reset();
    twin_.reset();
    studio_.reset();
}

void tst_Launcher::programNeedsNoConsole()
{
    if (!machine_.isWindows()) {
        QSKIP("a console is a matter of Windows programs");
    }
    QFile file(machine_.program());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray program = file.read(4096);
    constexpr qsizetype headerOffsetPlace = 0x3C; // where the file says at which place its second header begins
    constexpr qsizetype subsystemPlace = 0x5C;    // of that header
    constexpr quint16 windowsWithoutConsole = 2;
    QVERIFY(program.startsWith("MZ"));
    const auto header = qsizetype(qFromLittleEndian<quint32>(program.constData() + headerOffsetPlace));
    QVERIFY(header + subsystemPlace + 2 <= program.size());
    QCOMPARE(program.sliced(header, 4), QByteArray("PE\0\0", 4));
    QCOMPARE(qFromLittleEndian<quint16>(program.constData() + header + subsystemPlace), windowsWithoutConsole);
}

void tst_Launcher::firstStartInstallsAndPlays()
{
    studio_->publish(firstBuild(machine_));
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"MB required"_s));
    QVERIFY(keepPicture(u"not installed"_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(installedIs(firstBuild(machine_)));
    QVERIFY(keepPicture(u"installed"_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Game exited"_s));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(closeWindow());
    compareLog(startLines(u"No existing configuration, starting from defaults:"_s) +
               checkLines(u"\"Not installed\" - \"Not installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    Update available: \"1.0.0\" build 100 - 4 files, * bytes"_s,
                   u"[INFO ] velmo.game      State: \"Not installed\" - \"<first size> required\""_s,
                   u"[INFO ] velmo.game      State: \"Downloading\" - \"<first size> to download\""_s,
                   u"[INFO ] velmo.download  Starting download of 4 files, * bytes into \"<folder>\""_s,
                   u"[INFO ] velmo.download  Downloading \"<game>\""_s,
                   u"[INFO ] velmo.download  Downloading \"fen.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"lantern.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"old.txt\""_s,
                   u"[INFO ] velmo.download  Download job complete"_s,
                   u"[INFO ] velmo.game      State: \"Installing\" - \"Finishing installation\""_s,
                   u"[INFO ] velmo.game      Recorded installed build \"1.0.0\" ( 100 )"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.0.0 installed\""_s,
                   u"[INFO ] velmo.game      State: \"Launching\" - \"Starting HARROWFEN\""_s,
                   u"[INFO ] velmo.game      Launching \"<folder>/bin/<game>\" QList()"_s,
                   u"[INFO ] velmo.game      State: \"Running\" - \"HARROWFEN is running\""_s,
                   u"[INFO ] velmo.game      Game exited with code 0 (normal)"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.0.0 installed\""_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::nextStartFindsNothingToDo()
{
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(closeWindow());
    QCOMPARE(studio_->server().requests().size(), 1); // the manifest, and nothing else
    compareLog(startLines(u"Loaded configuration from"_s) +
               checkLines(u"\"Installed\" - \"Version 1.0.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 100"_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::newBuildIsInstalled()
{
    studio_->publish(secondBuild(machine_));
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"State: \"Update available\""_s));
    QVERIFY(keepPicture(u"update available"_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Installed\" - \"Version 1.1.0 installed\""_s));
    QVERIFY(installedIs(secondBuild(machine_)));
    QVERIFY(closeWindow());
    compareLog(startLines(u"Loaded configuration from"_s) +
               checkLines(u"\"Installed\" - \"Version 1.0.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    Update available: \"1.1.0\" build 110 - 2 files, 3000620 bytes"_s,
                   u"[INFO ] velmo.game      State: \"Update available\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.game      State: \"Downloading\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.download  Starting download of 2 files, 3000620 bytes into \"<folder>\""_s,
                   u"[INFO ] velmo.download  Downloading \"fen.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"new.txt\""_s,
                   u"[INFO ] velmo.download  Download job complete"_s,
                   u"[INFO ] velmo.game      State: \"Installing\" - \"Finishing installation\""_s,
                   u"[INFO ] velmo.game      Removed file no longer in the build: \"data/old.txt\""_s,
                   u"[INFO ] velmo.game      Recorded installed build \"1.1.0\" ( 110 )"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.1.0 installed\""_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::damageIsRepaired()
{
    QFile damaged(installFolder() + u"/data/fen.pak"_s);
    QVERIFY(damaged.open(QIODevice::ReadWrite) && damaged.seek(1'000'000) && damaged.write("?") == 1);
    damaged.close();
    QVERIFY(QFile::remove(installFolder() + u"/data/lantern.pak"_s));
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(click(twin_->tab(u"Settings"_s)));
    QVERIFY(click(twin_->setting(u"Minimise to the system tray"_s)));
    QVERIFY(launcher_->logs(u"Tray icon active"_s));
    QVERIFY(keepPicture(u"settings"_s));
    // By the keyboard from the row above: texts break where the machine's fonts break them, and the button is small.
    QVERIFY(click(twin_->setting(u"Launch arguments"_s)));
    QVERIFY(demo::strike({u"Tab"_s, u"space"_s}));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(installedIs(secondBuild(machine_)));
    QVERIFY(closeWindow()); // with an icon in the tray, too, closing ends the program
    compareLog(startLines(u"Loaded configuration from"_s) +
               checkLines(u"\"Installed\" - \"Version 1.1.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 110"_s,
                   u"[INFO ] velmo.ui        Tray icon active"_s,
                   u"[INFO ] velmo.game      State: \"Verifying files\" - \"Checking game files\""_s,
                   u"[INFO ] velmo.verify    Verifying 4 files in \"<folder>\""_s,
                   u"[INFO ] velmo.verify    Verification finished: 3 checked, 1 missing, 1 corrupt"_s,
                   u"[WARN ] velmo.game      Verification found 2 files needing repair"_s,
                   u"[INFO ] velmo.game      State: \"Repairing files\" - \"Repairing 2 files\""_s,
                   u"[INFO ] velmo.game      State: \"Downloading\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.download  Starting download of 2 files, 3040500 bytes into \"<folder>\""_s,
                   u"[INFO ] velmo.download  Downloading \"lantern.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"fen.pak\""_s,
                   u"[INFO ] velmo.download  Download job complete"_s,
                   u"[INFO ] velmo.game      State: \"Installing\" - \"Finishing installation\""_s,
                   u"[INFO ] velmo.game      Recorded installed build \"1.1.0\" ( 110 )"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.1.0 installed\""_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::closingDuringADownloadAsks()
{
    studio_->publish(thirdBuild(machine_));
    studio_->server().setBytesPerSecond(
        30'000); // a hundred seconds for all of it, so that two dialogs fit in on any machine
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"State: \"Update available\""_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Downloading \"fen.pak\""_s));
    const QFile unfinished(installFolder() + u"/data/fen.pak.part"_s);
    QTRY_VERIFY(unfinished.size() > 0);
    QVERIFY(click(twin_->closeButton()));
    QVERIFY(answerQuestion(u"Cancel"_s));
    const qint64 before = unfinished.size();
    QTRY_VERIFY(unfinished.size() > before); // nothing has happened to the download
    QVERIFY(launcher_->isRunning());
    QVERIFY(click(twin_->closeButton()));
    QVERIFY(answerQuestion(u"Close anyway"_s));
    QCOMPARE(launcher_->waitForEnd(), 0);
    QVERIFY(unfinished.size() >= before);
    compareLog(startLinesWithTray() + checkLines(u"\"Installed\" - \"Version 1.1.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    Update available: \"1.2.0\" build 120 - 1 files, 3000500 bytes"_s,
                   u"[INFO ] velmo.game      State: \"Update available\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.game      State: \"Downloading\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.download  Starting download of 1 files, 3000500 bytes into \"<folder>\""_s,
                   u"[INFO ] velmo.download  Downloading \"fen.pak\""_s,
                   u"[INFO ] velmo.download  Download cancelled by the user"_s,
                   u"[INFO ] velmo.game      Install cancelled; leaving partial files in place for resume"_s,
                   u"[INFO ] velmo.game      State: \"Update available\" - \"3.0 MB to download\""_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::nextStartGoesOnWithTheDownload()
{
    const qint64 kept = QFile(installFolder() + u"/data/fen.pak.part"_s).size();
    studio_->server().setBytesPerSecond(0);
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"State: \"Update available\""_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Installed\" - \"Version 1.2.0 installed\""_s));
    QVERIFY(installedIs(thirdBuild(machine_)));
    const QList<studio::Request> requests = studio_->server().requests(GameStudio::filePath(u"data/fen.pak"_s));
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().headers.value("range"), "bytes=" + QByteArray::number(kept) + '-');
    QVERIFY(closeWindow());
}

void tst_Launcher::gameGetsItsArgumentsAndItsFolder()
{
    const QString record = installFolder() + u"/arguments of the game.txt"_s;
    const QString argument = u"record="_s + machine_.nameOf(record);
    QVERIFY(presetSetting(u"launcher"_s, u"minimizeToTray"_s, false)); // the window stays while the game runs
    QVERIFY(presetSetting(u"game"_s, u"launchArguments"_s, u"-windowed \"%1\" \"two words\" exit=7"_s.arg(argument)));
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Game exited with code 7 (normal)"_s));
    QVERIFY(closeWindow());
    QFile file(record);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    const QString folder = QFileInfo(installFolder() + u'/' + machine_.gamePath()).path();
    QCOMPARE(QString(lines.value(0)).replace(u'\\', u'/'), machine_.nameOf(folder));
    QCOMPARE(lines.sliced(1), QStringList({u"-windowed"_s, argument, u"two words"_s, u"exit=7"_s}));
    const QStringList log = launcher_->lines();
    QVERIFY(log.contains(
        u"[INFO ] velmo.game      Launching \"%1\" QList(\"-windowed\", \"%2\", \"two words\", \"exit=7\")"_s.arg(
            machine_.nameOf(installFolder() + u'/' + machine_.gamePath()), argument)));
}

void tst_Launcher::closingTheLauncherEndsTheGame()
{
    const QString mark = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QVERIFY(presetSetting(u"game"_s, u"launchArguments"_s, u"wait=600000 %1"_s.arg(mark)));
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Running\""_s));
    QTRY_VERIFY(isProcessThere(mark));
    QVERIFY(closeWindow()); // no question
    QTRY_VERIFY(!isProcessThere(mark));
    QVERIFY(presetSetting(u"game"_s, u"launchArguments"_s, QString()));
    QVERIFY(presetSetting(u"launcher"_s, u"minimizeToTray"_s, true));
}

void tst_Launcher::pagesAreShown()
{
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(click(twin_->tab(u"News"_s)));
    QVERIFY(launcher_->logs(u"Request failed"_s)); // the news are the ones that the launcher brings
    QVERIFY(keepPicture(u"news"_s));
    QVERIFY(click(twin_->tab(u"Community"_s)));
    QVERIFY(keepPicture(u"community"_s));
    QVERIFY(click(twin_->tab(u"Home"_s)));
    QVERIFY(keepPicture(u"home"_s));
    QVERIFY(closeWindow());
}

void tst_Launcher::signInIsSwitchedOnAndOff()
{
    if (!machine_.isWindows()) {
        QSKIP("this system has no place for a command at sign-in");
    }
    QVERIFY(machine_.signInCommand().isEmpty());
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(click(twin_->tab(u"Settings"_s)));
    const QPoint box = twin_->setting(u"Start with Windows"_s);
    QVERIFY(click(box));
    QVERIFY(launcher_->logs(u"Autostart enabled"_s));
    QCOMPARE(machine_.signInCommand(), expectedSignInCommand());
    QVERIFY(click(box));
    QVERIFY(launcher_->logs(u"Autostart disabled"_s));
    QVERIFY(machine_.signInCommand().isEmpty());
    QVERIFY(closeWindow());
    compareLog(startLinesWithTray() + checkLines(u"\"Installed\" - \"Version 1.2.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 120"_s,
                   u"[INFO ] velmo.app       Autostart enabled"_s,
                   u"[INFO ] velmo.app       Autostart disabled"_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::staleSignInCommandIsRewritten()
{
    if (!machine_.isWindows()) {
        QSKIP("this system has no place for a command at sign-in");
    }
    QVERIFY(machine_.setSignInCommand(uR"("C:\Old place\VelmoLauncher.exe" --autostart)"_s));
    QVERIFY(machine_.signInCommand() != expectedSignInCommand());
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"No update available"_s));
    QVERIFY(closeWindow());
    QCOMPARE(machine_.signInCommand(), expectedSignInCommand());
    QStringList start = startLinesWithTray();
    start.insert(start.size() - 2, u"[INFO ] velmo.app       Autostart entry points at a stale path, rewriting"_s);
    start.insert(start.size() - 2, u"[INFO ] velmo.app       Autostart enabled"_s);
    compareLog(start + checkLines(u"\"Installed\" - \"Version 1.2.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 120"_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::signInOpensToTheTray()
{
    launcher_->start({u"--autostart"_s});
    QVERIFY(launcher_->logs(u"No update available"_s));
    const QPoint icon = launcher_->trayIcon();
    QVERIFY(icon.x() > 0);
    QVERIFY(!launcher_->isWindowSeen());
    QVERIFY(demo::clickAt(icon));
    QVERIFY(launcher_->showsWindow());
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Game exited"_s));
    QTRY_VERIFY(!launcher_->isWindowSeen()); // the game had the screen, and the window does not come back by itself
    const QSet<QString> windows = launcher_->visibleWindows();
    QVERIFY(demo::rightClickAt(icon));
    constexpr int middleOfTheLastRow = 14; // above the bottom
    const QRect menu = launcher_->menuBeside(windows);
    if (menu.isEmpty()) {
        QGuiApplication::primaryScreen()->grabWindow(0).save(pictureFolder().filePath(u"no-tray-menu.png"_s));
    }
    QVERIFY(!menu.isEmpty());
    QVERIFY(demo::clickAt({menu.center().x(), menu.bottom() - middleOfTheLastRow}));
    QCOMPARE(launcher_->waitForEnd(), 0);
    QStringList start = startLinesWithTray();
    start.insert(start.size() - 1, u"[INFO ] velmo.app       Autostart: opening to the tray"_s);
    compareLog(start + checkLines(u"\"Installed\" - \"Version 1.2.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 120"_s,
                   u"[INFO ] velmo.game      State: \"Launching\" - \"Starting HARROWFEN\""_s,
                   u"[INFO ] velmo.game      Launching \"<folder>/bin/<game>\" QList()"_s,
                   u"[INFO ] velmo.game      State: \"Running\" - \"HARROWFEN is running\""_s,
                   u"[INFO ] velmo.game      Game exited with code 0 (normal)"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.2.0 installed\""_s,
                   u"[INFO ] velmo.app       Quit requested from the tray"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

void tst_Launcher::strangersCertificateIsNotTrusted()
{
    const QTemporaryDir nobody;
    launcher_->setAuthorities(nobody.path());
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"continuing in offline mode"_s));
    QVERIFY(closeWindow());
    QVERIFY(studio_->server().requests().isEmpty());
    QStringList check = checkLines(u"\"Installed\" - \"Version 1.2.0 installed\""_s);
    check.removeLast();
    compareLog(startLinesWithTray() + check +
               QStringList{
                   u"[WARN ] velmo.net       Request failed: *"_s,
                   u"[WARN ] velmo.update    Update check failed: *"_s,
                   u"[WARN ] velmo.game      Update check failed, continuing in offline mode: *"_s,
                   u"[INFO ] velmo.app       Launcher closing"_s,
                   u"[INFO ] velmo.app       Launcher stopped"_s,
               });
}

bool tst_Launcher::open()
{
    studio_->server().clearRequests();
    launcher_->start();
    if (!launcher_->showsWindow()) {
        return false;
    }
    if (!twin_) {
        const LogCapture quiet;
        twin_ = std::make_unique<WindowTwin>(launcher_->window().size(), machine_.isWindows());
    }
    return true;
}

bool tst_Launcher::closeWindow()
{
    return click(twin_->closeButton()) && launcher_->waitForEnd() == 0;
}

/// Of the question that is asked before a transfer is given up.
bool tst_Launcher::answerQuestion(const QString &button)
{
    const QString title = u"Close the launcher"_s;
    return launcher_->otherWindow(title).isValid() && keepPicture(u"question"_s) &&
           demo::clickAt(launcher_->otherWindow(title).topLeft() + WindowTwin::questionButton(button)) &&
           QTest::qWaitFor([&] { return !launcher_->isOtherWindowSeen(title); }, 30'000);
}

bool tst_Launcher::presetSetting(const QString &section, const QString &key, const QJsonValue &value) const
{
    QFile file(machine_.dataFolder() + u"/launcher.json"_s);
    if (!file.open(QIODevice::ReadWrite)) {
        return false;
    }
    QJsonObject settings = QJsonDocument::fromJson(file.readAll()).object();
    QJsonObject part = settings.value(section).toObject();
    part.insert(key, value);
    settings.insert(section, part);
    file.seek(0);
    file.resize(0);
    return file.write(QJsonDocument(settings).toJson()) > 0;
}

bool tst_Launcher::keepPicture(const QString &title)
{
    const auto look = [this] {
        const QRect place = launcher_->window();
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
            .toImage();
    };
    constexpr int glances = 10; // a transfer never comes to rest
    constexpr int pauseMs = 200;
    QImage picture = look();
    for (int i = 0; i < glances; ++i) {
        QTest::qWait(pauseMs);
        const QImage next = look();
        if (next == std::exchange(picture, next)) {
            break;
        }
    }
    const QString number = QString::number(++pictures_).rightJustified(2, u'0');
    return picture.save(u"%1/%2-%3.png"_s.arg(pictureFolder().path(), number, QString(title).replace(u' ', u'-')));
}

QDir tst_Launcher::pictureFolder() const
{
    return {QCoreApplication::applicationDirPath() +
            (machine_.isWindows() ? u"/screens/windows"_s : u"/screens/linux"_s)};
}

QString tst_Launcher::expectedSignInCommand() const
{
    return u'"' + machine_.nameOf(machine_.program()).replace(u'/', u'\\') + u"\" --autostart"_s;
}

bool tst_Launcher::installedIs(const Build &build) const
{
    return std::all_of(build.files.begin(), build.files.end(), [this](const BuildFile &expected) {
        QFile file(installFolder() + u'/' + expected.path);
        return file.open(QIODevice::ReadOnly) && file.readAll() == expected.content;
    });
}

/// From the first line to the window, with what is said of the settings.
QStringList tst_Launcher::startLines(const QString &settingsLine) const
{
    return QStringList{
               u"[INFO ] velmo.app       Velmo Games Launcher \"0.1.0\" starting"_s,
               u"[INFO ] velmo.app       Host: \"*\" \"*\""_s,
               u"[INFO ] velmo.app       Qt: %1 TLS: available"_s.arg(machine_.qtVersion()),
               u"[INFO ] velmo.app       Data directory: \"<data>\""_s,
               u"[INFO ] velmo.config    %1 \"<data>/launcher.json\""_s.arg(settingsLine),
           } +
           QStringList(8, u"[INFO ] velmo.ui        Loaded bundled font \"*\" QList(\"*\")"_s) +
           QStringList{
               u"[INFO ] velmo.ui        Type: \"Inter\" / \"Inter\" / \"Inter\" / \"JetBrains Mono\""_s,
               u"[INFO ] velmo.app       Applying game profile override from \"<program>/game.json\""_s,
               u"[INFO ] velmo.game      Update channel is \"release\" -> \"<manifest>\""_s,
               u"[INFO ] velmo.account   No account service is configured for this build"_s,
           };
}

QStringList tst_Launcher::startLinesWithTray() const
{
    QStringList lines = startLines(u"Loaded configuration from"_s);
    lines.insert(lines.size() - 1, u"[INFO ] velmo.ui        Tray icon active"_s);
    return lines;
}

/// From the first state to the manifest.
QStringList tst_Launcher::checkLines(const QString &restingState) const
{
    return {
        u"[INFO ] velmo.game      State: "_s + restingState,
        u"[INFO ] velmo.update    Checking for updates at \"<manifest>\""_s,
        u"[INFO ] velmo.net       GET \"<manifest>\""_s,
        u"[INFO ] velmo.app       Launcher ready. Game profile: \"HARROWFEN\""_s,
        u"[INFO ] velmo.net       OK \"<manifest>\" * bytes"_s,
    };
}

/// Line by line. A star stands for anything, a name in angle brackets for what differs from machine to machine.
void tst_Launcher::compareLog(const QStringList &expected) const
{
    static const QRegularExpression form(
        uR"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(DEBUG|INFO |WARN |ERROR)\] (velmo\.[a-z ]{8}|default {7})  \S)"_s);
    QList<QByteArray> raw = launcher_->rawLog().split('\n');
    QVERIFY(raw.takeLast().isEmpty()); // after the last line's end
    for (const QByteArray &line : raw) {
        const QString text = QString::fromUtf8(line);
        QVERIFY2(form.match(text).hasMatch() || launcher_->isSystemsLine(text), line.constData());
        QCOMPARE(line.endsWith('\r'), machine_.lineEnd() == "\r\n");
    }
    const QStringList lines = launcher_->lines();
    for (qsizetype i = 0; i < std::max(lines.size(), expected.size()); ++i) {
        QString pattern = expected.value(i);
        pattern.replace("<data>"_L1, machine_.nameOf(machine_.dataFolder()));
        pattern.replace("<program>"_L1, machine_.nameOf(machine_.programFolder()));
        pattern.replace("<folder>"_L1, machine_.nameOf(installFolder()));
        pattern.replace("<first size>"_L1, formatBytes(firstBuild(machine_).totalSize()));
        pattern.replace("<game>"_L1, QFileInfo(machine_.gamePath()).fileName());
        pattern.replace("<manifest>"_L1, studio_->manifestAddress(u"release"_s));
        const QString expression = QRegularExpression::escape(pattern).replace("\\*"_L1, ".*"_L1);
        const QRegularExpression whole(QRegularExpression::anchoredPattern(expression));
        const QString difference =
            u"line %1\nexpected: %2\nwritten:  %3\n"_s.arg(QString::number(i + 1), pattern, lines.value(i));
        QVERIFY2(whole.match(lines.value(i)).hasMatch(), qPrintable(difference));
    }
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Launcher, QApplication>(argc, argv);
}

#include "tst_Launcher.moc"
