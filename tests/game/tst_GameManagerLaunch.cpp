#include "GameFixture.h"

#include "game/UpdateManager.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

#include <optional>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#endif

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

const QString filesMissing =
    u"The game could not be started because its files are missing.\n\nVerify the game files from Settings to repair "
    "the installation."_s;
const QString notStarted =
    u"The game could not be started.\n\nIf this keeps happening, verify the game files from Settings."_s;

bool isRunning(qint64 processId)
{
#ifdef Q_OS_WIN
    const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(processId));
    const bool running = process && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    CloseHandle(process);
    return running;
#else
    return kill(static_cast<pid_t>(processId), 0) == 0 || errno != ESRCH;
#endif
}

QStringList installedLines()
{
    return GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s);
}

QStringList launchLines(const QString &program, const QString &arguments)
{
    return GameFixture::stateLines(u"Launching"_s, u"Starting HARROWFEN"_s) +
           QStringList{u"INFO velmo.game: Launching \"%1\" QList(%2)"_s.arg(program, arguments)};
}

QStringList runningLines()
{
    return GameFixture::stateLines(u"Running"_s, u"HARROWFEN is running"_s);
}

/// A whole run, which ends with \a exitCode.
QStringList runLines(const QString &program, const QString &arguments, int exitCode)
{
    return launchLines(program, arguments) + runningLines() +
           QStringList{u"INFO velmo.game: Game exited with code %1 (normal)"_s.arg(exitCode)} + installedLines();
}

/// A player with the game installed who checks for no updates; \a arguments as in the settings.
void prepare(GameFixture &t, const QString &arguments)
{
    t.install(playableBuild());
    t.presetSetting(u"launcher.autoCheckUpdates"_s, false);
    t.presetSetting(u"game.launchArguments"_s, arguments);
    t.start();
    t.clearTrace();
}

/// Starts a game that runs until endGame().
bool plays(GameFixture &t)
{
    prepare(t, u"until-input-ends"_s);
    t->primaryAction();
    return t.waitForState(GameState::Running);
}

/// Presses during the check of the start, which ends while the game runs with \a arguments.
bool playsThroughTheCheck(GameFixture &t, const QString &arguments)
{
    t.presetSetting(u"game.launchArguments"_s, arguments);
    t.start();
    t->primaryAction();
    return t.worker<QProcess>()->waitForStarted() && t->state() == GameState::Running &&
           t.waitForStatus(ServiceStatus::Online);
}

/// What follows the playable build, with \a content in one of its files.
Build nextBuild(const QByteArray &content = "changed")
{
    Build next = playableBuild(u"2.0.0"_s);
    next.files[1].content = content;
    return next;
}

QString program(const GameFixture &t)
{
    return t.root() + u"/bin/game"_s;
}

/// Lets a game end that waits for the end of its input.
void endGame(GameFixture &t)
{
    t.worker<QProcess>()->closeWriteChannel();
}

/// What the game wrote down: its working directory, then its arguments. The file comes into being whole, but Windows
/// opens it to nobody else until the game has done with giving it its name.
QStringList recorded(const QString &fileName)
{
    QFile file(fileName);
    if (!QTest::qWaitFor([&file] { return file.open(QIODevice::ReadOnly); }, waitMs)) {
        return {};
    }
    return QString::fromUtf8(file.readAll()).trimmed().split(u'\n');
}

} // namespace

class tst_GameManagerLaunch : public QObject {
    Q_OBJECT

    std::optional<GameStudio> studio_;

private slots:
    void initTestCase();
    void cleanupTestCase();

    void gameRunsAndItsExitCodeIsOnlyLogged_data();
    void gameRunsAndItsExitCodeIsOnlyLogged();
    void crashIsToldLikeAFailedStart();
    void programThatCannotBeExecutedFailsToStart_data();
    void programThatCannotBeExecutedFailsToStart();
    void failedStartCanBeTriedAgain();
    void missingProgramIsToldAndOffered();
    void missingProgramIsToldBeforePendingFiles();
    void pendingFilesRefuseTheLaunch();

    void argumentsAreSplit_data();
    void argumentsAreSplit();
    void argumentsAreReadAtEachLaunch();
    void argumentsAreReadWhenTheLaunchHasBeenTold();
    void programOfTheRecordIsStarted();
    void programOfTheProfileIsStartedWhereTheRecordNamesNone();
    void programUnderAFolderWithBlanksAndForeignLettersIsStarted();

    void processIsMadeAtTheFirstLaunchAndLeftPlain();
    void secondLaunchReusesTheProcess();
    void workingDirectoryIsThatOfTheFirstLaunch();
    void inputOfTheGameStaysOpen();
    void runningGameCannotBeCancelled();
    void endOfTheLauncherEndsTheGame();

    void filesCanBeVerifiedWhileTheGameRuns();
    void checkResultTakesTheStateOffRunning();
    void pressWhileTheGameStillRunsStaysLaunching();
    void gameThatEndsUnderAJobTakesTheStateOffDownloading_data();
    void gameThatEndsUnderAJobTakesTheStateOffDownloading();
};

void tst_GameManagerLaunch::initTestCase()
{
    studio_.emplace();
}

void tst_GameManagerLaunch::cleanupTestCase()
{
    studio_.reset();
}

void tst_GameManagerLaunch::gameRunsAndItsExitCodeIsOnlyLogged_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("success") << u"wait=1"_s << 0;
    QTest::newRow("another code") << u"exit=7"_s << 7;
}

void tst_GameManagerLaunch::gameRunsAndItsExitCodeIsOnlyLogged()
{
    QFETCH(const QString, argument);
    QFETCH(const int, exitCode);
    GameFixture t(*studio_);
    prepare(t, argument);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(), runLines(program(t), u'"' + argument + u'"', exitCode));
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManagerLaunch::crashIsToldLikeAFailedStart()
{
    GameFixture t(*studio_);
    prepare(t, u"crash"_s);
    t->primaryAction();
    QTRY_COMPARE(t.log().texts(u"velmo.game"_s).filter(u"Game exited"_s).size(), 1);
    const QString exitLine =
        u"INFO velmo.game: Game exited with code %1 (crashed)"_s.arg(QString::number(t.worker<QProcess>()->exitCode()));
    const QStringList told{u"ERROR velmo.game: Game process error: QProcess::Crashed \"Process crashed\""_s,
                           GameFixture::errorLine(notStarted, u"Process crashed"_s)};
    QCOMPARE(t.trace(), launchLines(program(t), u"\"crash\""_s) + runningLines() + told + installedLines() +
                            QStringList{exitLine});
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerLaunch::programThatCannotBeExecutedFailsToStart_data()
{
    QTest::addColumn<bool>("permitted");
    QTest::newRow("no permission to execute") << false;
    QTest::newRow("no program inside") << true;
}

void tst_GameManagerLaunch::programThatCannotBeExecutedFailsToStart()
{
    QFETCH(const bool, permitted);
    GameFixture t(*studio_);
    prepare(t, {});
    t.removeFile(u"bin/game"_s);
    t.writeFile(u"bin/game"_s, "\x7f"
                               "ELF but not really");
    if (permitted) {
        QVERIFY(QFile::setPermissions(program(t), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
    }
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QString error = t.worker<QProcess>()->errorString();
    QVERIFY(!error.isEmpty());
    const QStringList told{u"ERROR velmo.game: Game process error: QProcess::FailedToStart \"%1\""_s.arg(error),
                           GameFixture::errorLine(notStarted, error)};
    QCOMPARE(t.trace(), launchLines(program(t), {}) + told + installedLines());
}

void tst_GameManagerLaunch::failedStartCanBeTriedAgain()
{
    GameFixture t(*studio_);
    prepare(t, {});
    t.writeFile(u"bin/game"_s, "no program");
    t->primaryAction();
    QVERIFY(t.waitForError());
    QCOMPARE(t->state(), GameState::Installed);
    t.install(playableBuild());
    t.clearTrace();
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Running));
    QVERIFY(t.errors().isEmpty());
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerLaunch::missingProgramIsToldAndOffered()
{
    GameFixture t(*studio_);
    prepare(t, {});
    t.removeFile(u"bin/game"_s);
    t->primaryAction();
    QCOMPARE(t.trace(),
             GameFixture::stateLines(u"Update available"_s, u"Game files are incomplete"_s) +
                 QStringList{GameFixture::errorLine(filesMissing, u"Executable not found at %1"_s.arg(program(t)))});
    QVERIFY(!t.worker<QProcess>());
}

void tst_GameManagerLaunch::missingProgramIsToldBeforePendingFiles()
{
    GameFixture t(*studio_, {.installed = playableBuild(), .offered = nextBuild()});
    t.open();
    connect(&t.game(), &GameManager::serviceStatusChanged, this, [&t](ServiceStatus status) {
        if (status == ServiceStatus::Online) {
            t.removeFile(u"bin/game"_s);
            t->primaryAction();
        }
    });
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t.errors().first().first, filesMissing);
}

void tst_GameManagerLaunch::pendingFilesRefuseTheLaunch()
{
    GameFixture t(*studio_, {.installed = playableBuild(), .offered = nextBuild()});
    t.open();
    QStringList traced;
    // The badge changes before the state does: for that moment a press still means to play.
    connect(&t.game(), &GameManager::serviceStatusChanged, this, [&](ServiceStatus status) {
        if (status == ServiceStatus::Online) {
            QCOMPARE(t->state(), GameState::Installed);
            const qsizetype before = t.trace().size();
            t->primaryAction();
            traced = t.trace().mid(before);
            QCOMPARE(t->state(), GameState::Installed);
        }
    });
    QVERIFY(t.startAndCheck());
    QCOMPARE(traced, QStringList{u"WARN velmo.game: Refusing to launch with a pending update"_s});
    QVERIFY(!t.worker<QProcess>());
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManagerLaunch::argumentsAreSplit_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("logged");
    QTest::newRow("none") << QString() << QStringList() << QString();
    QTest::newRow("only blanks") << u"   "_s << QStringList() << QString();
    QTest::newRow("one") << u"-windowed"_s << QStringList{u"-windowed"_s} << u"\"-windowed\""_s;
    QTest::newRow("several, many blanks")
        << u"  -a   b  --c=d "_s << QStringList{u"-a"_s, u"b"_s, u"--c=d"_s} << u"\"-a\", \"b\", \"--c=d\""_s;
    QTest::newRow("a blank inside quotes")
        << u"\"two words\" three"_s << QStringList{u"two words"_s, u"three"_s} << u"\"two words\", \"three\""_s;
    QTest::newRow("quotes inside an argument")
        << u"-path=\"C:/My Games\""_s << QStringList{u"-path=C:/My Games"_s} << u"\"-path=C:/My Games\""_s;
    QTest::newRow("three quotes are one")
        << u"say \"\"\"hi\"\"\""_s << QStringList{u"say"_s, u"\"hi\""_s} << u"\"say\", \"\\\"hi\\\"\""_s;
    QTest::newRow("foreign letters") << u"größe 火"_s << QStringList{u"größe"_s, u"火"_s} << u"\"größe\", \"火\""_s;
}

void tst_GameManagerLaunch::argumentsAreSplit()
{
    QFETCH(const QString, setting);
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, logged);
    GameFixture t(*studio_);
    prepare(t, setting);
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Running));
    QCOMPARE(t.worker<QProcess>()->arguments(), arguments);
    QCOMPARE(t.trace().mid(0, 3), launchLines(program(t), logged));
}

void tst_GameManagerLaunch::argumentsAreReadAtEachLaunch()
{
    GameFixture t(*studio_);
    const QString first = t.folder() + u"/first run"_s;
    const QString second = t.folder() + u"/second run"_s;
    prepare(t, u"\"record=%1\" \"an argument\""_s.arg(first));
    t->primaryAction();
    QCOMPARE(recorded(first).mid(1), (QStringList{u"record=%1"_s.arg(first), u"an argument"_s}));
    QVERIFY(t.waitForState(GameState::Installed));
    t.settings().setValue(u"game.launchArguments"_s, u"\"record=%1\""_s.arg(second));
    t->primaryAction();
    QCOMPARE(recorded(second).mid(1), QStringList{u"record=%1"_s.arg(second)});
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerLaunch::argumentsAreReadWhenTheLaunchHasBeenTold()
{
    GameFixture t(*studio_);
    prepare(t, u"exit=1"_s);
    t.at(GameState::Launching, [&t] { t.settings().setValue(u"game.launchArguments"_s, u"exit=2"_s); });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.log().contains(QtInfoMsg, u"velmo.game"_s, u"Game exited with code 2 (normal)"_s));
}

void tst_GameManagerLaunch::programOfTheRecordIsStarted()
{
    GameFixture t(*studio_);
    Build build = playableBuild();
    build.files[0].path = u"other/place/start"_s;
    build.executable = build.files.at(0).path;
    t.install(build);
    const QString record = t.folder() + u"/record"_s;
    t.presetSetting(u"launcher.autoCheckUpdates"_s, false);
    t.presetSetting(u"game.launchArguments"_s, u"record=%1"_s.arg(record));
    t.start();
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Running));
    QCOMPARE(t.worker<QProcess>()->program(), t.root() + u"/other/place/start"_s);
    QCOMPARE(recorded(record).value(0), QFileInfo(t.root() + u"/other/place"_s).canonicalFilePath());
}

void tst_GameManagerLaunch::programOfTheProfileIsStartedWhereTheRecordNamesNone()
{
    GameFixture t(*studio_);
    Build build = playableBuild();
    build.executable.clear();
    t.install(build);
    t.presetSetting(u"launcher.autoCheckUpdates"_s, false);
    t.start();
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Running));
    QCOMPARE(t.worker<QProcess>()->program(), program(t));
}

void tst_GameManagerLaunch::programUnderAFolderWithBlanksAndForeignLettersIsStarted()
{
    GameFixture t(*studio_);
    t.setRoot(t.folder() + u"/Meine Spiele/Größe 火"_s);
    const QString record = t.folder() + u"/record"_s;
    prepare(t, u"record=%1"_s.arg(record));
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Running));
    QCOMPARE(recorded(record).value(0), QFileInfo(t.root() + u"/bin"_s).canonicalFilePath());
}

void tst_GameManagerLaunch::processIsMadeAtTheFirstLaunchAndLeftPlain()
{
    GameFixture t(*studio_);
    prepare(t, {});
    QVERIFY(!t.worker<QProcess>());
    t->primaryAction();
    const QProcess *const process = t.worker<QProcess>();
    QVERIFY(process);
    QCOMPARE(process->parent(), &t.game());
    QCOMPARE(process->workingDirectory(), t.root() + u"/bin"_s);
    QVERIFY(process->processEnvironment().isEmpty());
    QCOMPARE(process->processChannelMode(), QProcess::SeparateChannels);
    QVERIFY(t.waitUntilPast(GameState::Running));
}

void tst_GameManagerLaunch::secondLaunchReusesTheProcess()
{
    GameFixture t(*studio_);
    prepare(t, u"exit=3"_s);
    const QStringList oneRun = runLines(program(t), u"\"exit=3\""_s, 3);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QProcess *const process = t.worker<QProcess>();
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(), oneRun + oneRun);
    QCOMPARE(t.game().findChildren<QProcess *>(), QList<QProcess *>{const_cast<QProcess *>(process)});
}

void tst_GameManagerLaunch::workingDirectoryIsThatOfTheFirstLaunch()
{
    GameFixture t(*studio_);
    const QString record = t.folder() + u"/record"_s;
    prepare(t, u"record=%1"_s.arg(record));
    const QString firstFolder = QFileInfo(t.root() + u"/bin"_s).canonicalFilePath();
    t->primaryAction();
    QCOMPARE(recorded(record).value(0), firstFolder);
    QVERIFY(t.waitForState(GameState::Installed));

    QVERIFY(QFile::remove(record));
    t.setRoot(t.folder() + u"/elsewhere"_s);
    t.install(playableBuild());
    t->setInstallPath(t.root());
    t->primaryAction();
    QCOMPARE(recorded(record).value(0), firstFolder);
    QCOMPARE(t.worker<QProcess>()->program(), program(t));
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerLaunch::inputOfTheGameStaysOpen()
{
    GameFixture t(*studio_);
    QVERIFY(plays(t));
    QCOMPARE(t.worker<QProcess>()->openMode() & QIODevice::ReadWrite, QIODevice::ReadWrite);
    QCOMPARE(t.worker<QProcess>()->state(), QProcess::Running);
    endGame(t);
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerLaunch::runningGameCannotBeCancelled()
{
    GameFixture t(*studio_);
    QVERIFY(plays(t));
    QVERIFY(!t->canCancel());
    t->cancelOperation();
    QCOMPARE(t->state(), GameState::Running);
    QCOMPARE(t.worker<QProcess>()->state(), QProcess::Running);
    endGame(t);
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerLaunch::endOfTheLauncherEndsTheGame()
{
    GameFixture t(*studio_);
    QVERIFY(plays(t));
    const qint64 game = t.worker<QProcess>()->processId();
    QVERIFY(isRunning(game));
    t.clearTrace();
    t.close();
    QVERIFY(!isRunning(game));
    QCOMPARE(t.trace(), QStringList()); // it is told neither as the game's end nor as a failure
}

void tst_GameManagerLaunch::filesCanBeVerifiedWhileTheGameRuns()
{
    GameFixture t(*studio_);
    QVERIFY(plays(t));
    t->verifyFiles();
    QCOMPARE(t->state(), GameState::Verifying);
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.passes().size(), 1);
    QCOMPARE(t.worker<QProcess>()->state(), QProcess::Running);
    endGame(t);
    QTRY_COMPARE(t.worker<QProcess>()->state(), QProcess::NotRunning);
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerLaunch::checkResultTakesTheStateOffRunning()
{
    GameFixture t(*studio_, {.installed = playableBuild(), .offered = nextBuild()});
    QVERIFY(playsThroughTheCheck(t, u"until-input-ends"_s));
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t.worker<QProcess>()->state(), QProcess::Running);
    t.clearTrace();
    endGame(t);
    QTRY_COMPARE(t.worker<QProcess>()->state(), QProcess::NotRunning);
    QCOMPARE(t.trace(), QStringList{u"INFO velmo.game: Game exited with code 0 (normal)"_s});
    QCOMPARE(t->state(), GameState::UpdateAvailable);
}

void tst_GameManagerLaunch::pressWhileTheGameStillRunsStaysLaunching()
{
    GameFixture t(*studio_, {.installed = playableBuild(), .offered = playableBuild()});
    QVERIFY(playsThroughTheCheck(t, u"until-input-ends"_s));
    QCOMPARE(t->state(), GameState::Installed);

    const qint64 game = t.worker<QProcess>()->processId();
    t.clearTrace();
    t->primaryAction();
    const QStringList traced = t.trace({u"default"_s}); // Qt has its say on each step of a start
    QCOMPARE(traced.mid(0, 3), launchLines(program(t), u"\"until-input-ends\""_s));
    QCOMPARE(traced.last(), u"WARN default: QProcess::start: Process is already running"_s);
    QCOMPARE(t.trace().size(), 3);
    QCOMPARE(t->state(), GameState::Launching);
    QCOMPARE(t.worker<QProcess>()->processId(), game);
    QVERIFY(t.errors().isEmpty());

    t.clearTrace();
    endGame(t);
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(), QStringList{u"INFO velmo.game: Game exited with code 0 (normal)"_s} + installedLines());
}

void tst_GameManagerLaunch::gameThatEndsUnderAJobTakesTheStateOffDownloading_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QStringList>("told");
    QTest::newRow("in peace") << u"until-input-ends"_s
                              << QStringList{u"INFO velmo.game: Game exited with code 0 (normal)"_s};
    QTest::newRow("with a crash")
        << u"until-input-ends crash"_s
        << QStringList{u"ERROR velmo.game: Game process error: QProcess::Crashed \"Process crashed\""_s,
                       GameFixture::errorLine(notStarted, u"Process crashed"_s)};
}

void tst_GameManagerLaunch::gameThatEndsUnderAJobTakesTheStateOffDownloading()
{
    QFETCH(const QString, arguments);
    QFETCH(const QStringList, told);
    const Build next = nextBuild(QByteArray(5000, 'n'));
    GameFixture t(*studio_, {.installed = playableBuild(), .offered = next});
    QVERIFY(playsThroughTheCheck(t, arguments));
    studio_->server().setBytesPerSecond(100);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Downloading);
    t.clearTrace();
    endGame(t);
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t.trace().mid(0, told.size() + 2),
             told + GameFixture::stateLines(u"Update available"_s, u"5.0 KB to download"_s));
    QVERIFY(t.worker<DownloadManager>()->isRunning());

    studio_->server().setBytesPerSecond(0);
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(next));
    QCOMPARE(t->installedVersion(), u"2.0.0"_s);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_GameManagerLaunch>(argc, argv);
}

#include "tst_GameManagerLaunch.moc"
