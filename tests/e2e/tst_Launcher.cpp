#include "GameFixture.h"
#include "Hand.h"
#include "LauncherProcess.h"
#include "WindowTwin.h"

#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"

#include <QApplication>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

BuildFile content(const QString &path, qsizetype bytes, char fill)
{
    return {path, QByteArray(bytes, fill), false, {}};
}

const Build &firstBuild()
{
    static const Build build{u"1.0.0"_s,
                             100,
                             {gameProgramFile(), content(u"data/fen.pak"_s, 3'000'000, 'f'),
                              content(u"data/lantern.pak"_s, 40'000, 'l'), content(u"data/old.txt"_s, 90, 'o')},
                             u"bin/game"_s,
                             {}};
    return build;
}

const Build &secondBuild()
{
    static const Build build{u"1.1.0"_s,
                             110,
                             {gameProgramFile(), content(u"data/fen.pak"_s, 3'000'500, 'g'),
                              content(u"data/lantern.pak"_s, 40'000, 'l'), content(u"data/new.txt"_s, 120, 'n')},
                             u"bin/game"_s,
                             {}};
    return build;
}

} // namespace

/// The program that players get, from its first start on, in runs that build on each other: its real window by a real
/// mouse, its real trust in what the system trusts, and the whole log of each run.
class tst_Launcher : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void firstStartInstallsAndPlays();
    void nextStartFindsNothingToDo();
    void newBuildIsInstalled();
    void damageIsRepaired();
    void signInOpensToTheTray();
    void strangersCertificateIsNotTrusted();

private:
    bool open();
    bool click(QPoint inWindow) const { return demo::clickAt(launcher_->window().topLeft() + inWindow); }
    bool closeWindow();
    bool installedIs(const Build &build) const;
    QString installFolder() const { return home_.filePath(u"VelmoGames/Games/Harrowfen"_s); }

    QStringList startLines(const QString &settingsLine) const;
    QStringList checkLines(const QString &restingState) const;
    void compareLog(const QStringList &expected) const;

    QTemporaryDir home_;
    QTemporaryDir programs_;
    QTemporaryDir authorities_;
    std::unique_ptr<GameStudio> studio_;
    std::unique_ptr<LauncherProcess> launcher_;
    std::unique_ptr<WindowTwin> twin_;
};

void tst_Launcher::initTestCase()
{
    QVERIFY2(demo::handIsThere(), "this test needs an X display and xdotool");
    const LogCapture quiet;
    theme::Theme::apply();
    studio_ = std::make_unique<GameStudio>();
    const QString program = programs_.filePath(u"VelmoLauncher"_s);
    QVERIFY(QFile::copy(QStringLiteral(VELMO_LAUNCHER), program));
    QVERIFY(studio_->writeProfile(programs_.path()));
    QVERIFY(QFile::copy(u":/certificates/authority.pem"_s, authorities_.filePath(u"authority.pem"_s)));
    QCOMPARE(QProcess::execute(u"openssl"_s, {u"rehash"_s, authorities_.path()}), 0);
    launcher_ = std::make_unique<LauncherProcess>(program, home_.path(), authorities_.path());
}

void tst_Launcher::cleanupTestCase()
{
    launcher_.reset();
    twin_.reset();
    studio_.reset();
}

void tst_Launcher::firstStartInstallsAndPlays()
{
    studio_->publish(firstBuild());
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"State: \"Not installed\" - \"3.1 MB required\""_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(installedIs(firstBuild()));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Game exited"_s));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(closeWindow());
    compareLog(startLines(u"No existing configuration, starting from defaults:"_s) +
               checkLines(u"\"Not installed\" - \"Not installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    Update available: \"1.0.0\" build 100 - 4 files, * bytes"_s,
                   u"[INFO ] velmo.game      State: \"Not installed\" - \"3.1 MB required\""_s,
                   u"[INFO ] velmo.game      State: \"Downloading\" - \"3.1 MB to download\""_s,
                   u"[INFO ] velmo.download  Starting download of 4 files, * bytes into \"<folder>\""_s,
                   u"[INFO ] velmo.download  Downloading \"game\""_s,
                   u"[INFO ] velmo.download  Downloading \"fen.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"lantern.pak\""_s,
                   u"[INFO ] velmo.download  Downloading \"old.txt\""_s,
                   u"[INFO ] velmo.download  Download job complete"_s,
                   u"[INFO ] velmo.game      State: \"Installing\" - \"Finishing installation\""_s,
                   u"[INFO ] velmo.game      Recorded installed build \"1.0.0\" ( 100 )"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.0.0 installed\""_s,
                   u"[INFO ] velmo.game      State: \"Launching\" - \"Starting HARROWFEN\""_s,
                   u"[INFO ] velmo.game      Launching \"<folder>/bin/game\" QList()"_s,
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
    QCOMPARE((*studio_)->requests().size(), 1); // the manifest, and nothing else
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
    studio_->publish(secondBuild());
    QVERIFY(open());
    QVERIFY(launcher_->logs(u"State: \"Update available\""_s));
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"State: \"Installed\" - \"Version 1.1.0 installed\""_s));
    QVERIFY(installedIs(secondBuild()));
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
    QVERIFY(click(twin_->setting(u"Verify game files"_s)));
    QVERIFY(launcher_->logs(u"State: \"Installed\""_s));
    QVERIFY(installedIs(secondBuild()));
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

void tst_Launcher::signInOpensToTheTray()
{
    launcher_->start({u"--autostart"_s});
    QVERIFY(launcher_->logs(u"No update available"_s));
    const QPoint icon = LauncherProcess::trayIcon();
    QVERIFY(icon.x() > 0);
    QVERIFY(!launcher_->isWindowSeen());
    QVERIFY(demo::clickAt(icon));
    QVERIFY(launcher_->showsWindow());
    QVERIFY(click(twin_->primaryButton()));
    QVERIFY(launcher_->logs(u"Game exited"_s));
    QTRY_VERIFY(!launcher_->isWindowSeen()); // the game had the screen, and the window does not come back by itself
    const QSet<QString> windows = launcher_->visibleWindows();
    QVERIFY(demo::rightClickAt(icon));
    QTRY_VERIFY_WITH_TIMEOUT(!(launcher_->visibleWindows() - windows).isEmpty(), 30'000); // the menu
    QTest::qWait(300); // until it has the keyboard, which it tells nobody
    QVERIFY(demo::strike({u"Up"_s, u"Return"_s}));
    QCOMPARE(launcher_->waitForEnd(), 0);
    QStringList start = startLines(u"Loaded configuration from"_s);
    start.insert(start.size() - 1, u"[INFO ] velmo.ui        Tray icon active"_s);
    start.insert(start.size() - 1, u"[INFO ] velmo.app       Autostart: opening to the tray"_s);
    compareLog(start + checkLines(u"\"Installed\" - \"Version 1.1.0 installed\""_s) +
               QStringList{
                   u"[INFO ] velmo.update    No update available; on build 110"_s,
                   u"[INFO ] velmo.game      State: \"Launching\" - \"Starting HARROWFEN\""_s,
                   u"[INFO ] velmo.game      Launching \"<folder>/bin/game\" QList()"_s,
                   u"[INFO ] velmo.game      State: \"Running\" - \"HARROWFEN is running\""_s,
                   u"[INFO ] velmo.game      Game exited with code 0 (normal)"_s,
                   u"[INFO ] velmo.game      State: \"Installed\" - \"Version 1.1.0 installed\""_s,
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
    QVERIFY((*studio_)->requests().isEmpty());
    QStringList start = startLines(u"Loaded configuration from"_s);
    start.insert(start.size() - 1, u"[INFO ] velmo.ui        Tray icon active"_s);
    QStringList check = checkLines(u"\"Installed\" - \"Version 1.1.0 installed\""_s);
    check.removeLast();
    compareLog(start + check +
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
    (*studio_)->clearRequests();
    launcher_->start();
    if (!launcher_->showsWindow()) {
        return false;
    }
    if (!twin_) {
        const LogCapture quiet;
        twin_ = std::make_unique<WindowTwin>(launcher_->window().size());
    }
    return true;
}

bool tst_Launcher::closeWindow()
{
    return click(twin_->closeButton()) && launcher_->waitForEnd() == 0;
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
               u"[INFO ] velmo.app       Qt: "_s + QLatin1String(qVersion()) + u" TLS: available"_s,
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
        uR"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(DEBUG|INFO |WARN |ERROR)\] velmo\.[a-z ]{8}  \S)"_s);
    const QList<QByteArray> raw = launcher_->rawLog().trimmed().split('\n');
    for (const QByteArray &line : raw) {
        QVERIFY2(form.match(QString::fromUtf8(line)).hasMatch(), line.constData());
    }
    const QStringList lines = launcher_->lines();
    for (qsizetype i = 0; i < std::max(lines.size(), expected.size()); ++i) {
        QString pattern = expected.value(i);
        pattern.replace("<data>"_L1, launcher_->dataFolder());
        pattern.replace("<program>"_L1, programs_.path());
        pattern.replace("<folder>"_L1, installFolder());
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
