#include "GameFixture.h"

#include "core/Paths.h"
#include "game/InstallManager.h"
#include "game/UpdateManager.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QMetaEnum>
#include <QScopeGuard>
#include <QtTest>

#include <optional>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

const QString contacting = u"Contacting the Velmo Games servers"_s;
const QString connected = u"Connected to the Velmo Games servers"_s;
const QList<std::pair<QString, QVariant>> withoutChecks{{u"launcher.autoCheckUpdates"_s, false}};

/// What \a action adds to the trace.
QStringList tracedDuring(const GameFixture &fixture, const std::function<void()> &action)
{
    const qsizetype before = fixture.trace().size();
    action();
    return fixture.trace().mid(before);
}

} // namespace

class tst_GameManager : public QObject {
    Q_OBJECT

    std::optional<GameStudio> studio_;

private slots:
    void initTestCase();
    void cleanupTestCase();

    void labelsOfStates_data();
    void labelsOfStates();
    void valuesOutsideTheStatesHaveNoLabel();
    void statesAreKnownToTheMetaTypeSystem();

    void beginsInCheckingInstallationAndSaysNothing();
    void startUsesTheChosenFolder();
    void startUsesTheDefaultFolderAndDoesNotStoreIt();
    void firstTimeUserSeesTheseStepsInOrder();
    void withoutAutomaticChecksTheBadgeWaitsForTheUser();
    void pressAfterAStartWithoutChecksContactsTheServers();

    void restingStateFollowsTheDisk_data();
    void restingStateFollowsTheDisk();
    void recordIsReadAgainAtEveryEvaluation();
    void requiredSizeComesFromTheServersManifest_data();
    void requiredSizeComesFromTheServersManifest();
    void pendingFilesShowAsAnUpdate();
    void pendingFilesShowAsAnUpdateOverAnUnreadableRecord();
    void rejectedRecordIsReadAsNone();

    void sameStateAndTextAreToldOnce();
    void sameStateWithAnotherTextIsTold();
    void stateStandsBeforeItIsTold();
    void laterListenersHearStateAndTextThatBelongTogether();
    void laterListenersHearTheChannelThatWasSelected();

    void checkThatFindsAnUpdate();
    void checkThatFindsNothingNew();
    void manifestOfAnUpToDateBuildIsKept();
    void checkThatFailsLeavesTheGamePlayable_data();
    void checkThatFailsLeavesTheGamePlayable();
    void failedCheckKeepsWhatAnEarlierOneFound();
    void higherBuildOfTheSameFilesLeavesNothingPending();
    void checkResultEndsABusyState();
    void badgeChangesBeforeTheCheckBegins();
    void checkComparesWithTheRecordOfItsBeginning();
    void resultStandsBeforeTheBadgeChanges_data();
    void resultStandsBeforeTheBadgeChanges();
    void checkResultDuringAJobIsTaken_data();
    void checkResultDuringAJobIsTaken();
    void checkThatTheStopCutsOffIsTold();

    void primaryActionIsIgnoredInBusyStates_data();
    void primaryActionIsIgnoredInBusyStates();
    void primaryActionWithNothingPendingOnlyChecks_data();
    void primaryActionWithNothingPendingOnlyChecks();
    void primaryActionStartsWhatIsPending_data();
    void primaryActionStartsWhatIsPending();
    void primaryActionPlaysAnInstalledGame();
    void primaryActionTriesAgainAfterAnError();

    void cancelIsOfferedInTheseStatesOnly();
    void cancelWithNothingRunningDoesNothing();
    void cancelStopsTheJobAndThenThePass();
    void cancelStopsAJobWhoseStateHasFallen();

    void channelIsTheDefaultOneWhileNoneIsChosen();
    void selectingTheCurrentChannelIsSilent_data();
    void selectingTheCurrentChannelIsSilent();
    void selectingAChannelAnnouncesAndChecks();
    void selectingAChannelForgetsTheOldOnesManifest();
    void selectingAChannelLeavesTheFilesAlone();
    void lowerBuildOfAnotherChannelIsOffered();
    void channelIsNotSwitchedWhileFilesAreWrittenOrChecked_data();
    void channelIsNotSwitchedWhileFilesAreWrittenOrChecked();
    void channelIsSwitchedWhileTheGameStartsOrRuns_data();
    void channelIsSwitchedWhileTheGameStartsOrRuns();
    void selectingAChannelEndsAnError();
    void unknownChannelIsKeptAndServedByTheFallback();
    void noPasswordOfABranchReachesTheLog();
    void switchDuringACheckTakesTheOldBranchsReply();

    void installPathIsCleanedStoredAndTold();
    void installPathIsTakenAsItIs();
    void installPathOfAnotherInstallShowsThatInstall();
    void pendingFilesSurviveANewInstallPath();
    void installPathDuringAJobRecordsInTheNewFolder();

    void versionIsThatOfTheRecord();
};

void tst_GameManager::initTestCase()
{
    studio_.emplace(ownInstallFolder());
}

void tst_GameManager::cleanupTestCase()
{
    studio_.reset();
}

void tst_GameManager::labelsOfStates_data()
{
    QTest::addColumn<GameState>("state");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("label");
    QTest::newRow("checking") << GameState::CheckingInstallation << 0 << u"Checking installation"_s;
    QTest::newRow("not installed") << GameState::NotInstalled << 1 << u"Not installed"_s;
    QTest::newRow("installed") << GameState::Installed << 2 << u"Installed"_s;
    QTest::newRow("update") << GameState::UpdateAvailable << 3 << u"Update available"_s;
    QTest::newRow("downloading") << GameState::Downloading << 4 << u"Downloading"_s;
    QTest::newRow("installing") << GameState::Installing << 5 << u"Installing"_s;
    QTest::newRow("verifying") << GameState::Verifying << 6 << u"Verifying files"_s;
    QTest::newRow("repairing") << GameState::Repairing << 7 << u"Repairing files"_s;
    QTest::newRow("launching") << GameState::Launching << 8 << u"Launching"_s;
    QTest::newRow("running") << GameState::Running << 9 << u"Running"_s;
    QTest::newRow("error") << GameState::Error << 10 << u"Something went wrong"_s;
}

void tst_GameManager::labelsOfStates()
{
    QFETCH(const GameState, state);
    QFETCH(const int, value);
    QFETCH(const QString, label);
    QCOMPARE(static_cast<int>(state), value);
    QCOMPARE(GameManager::stateLabel(state), label);
}

void tst_GameManager::valuesOutsideTheStatesHaveNoLabel()
{
    QVERIFY(GameManager::stateLabel(static_cast<GameState>(11)).isEmpty());
    QVERIFY(GameManager::stateLabel(static_cast<GameState>(-1)).isEmpty());
}

void tst_GameManager::statesAreKnownToTheMetaTypeSystem()
{
    QCOMPARE(QMetaType::fromName("velmo::GameState"), QMetaType::fromType<GameState>());
    QCOMPARE(static_cast<int>(ServiceStatus::Connecting), 0);
    QCOMPARE(static_cast<int>(ServiceStatus::Online), 1);
    QCOMPARE(static_cast<int>(ServiceStatus::Offline), 2);
    QCOMPARE(static_cast<int>(ServiceStatus::Maintenance), 3);
    QCOMPARE(static_cast<int>(ServiceStatus::Degraded), 4);
}

void tst_GameManager::beginsInCheckingInstallationAndSaysNothing()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.open();
    QCOMPARE(t->state(), GameState::CheckingInstallation);
    QCOMPARE(t->detail(), QString());
    QCOMPARE(t->installedVersion(), QString());
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(t.steps().isEmpty());
    QVERIFY(t.statuses().isEmpty());
    QCOMPARE(t.trace(), QStringList{u"INFO velmo.game: Update channel is \"release\" -> \"%1\""_s.arg(
                            studio_->manifestAddress(u"release"_s))});
}

void tst_GameManager::startUsesTheChosenFolder()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.start();
    QCOMPARE(t->state(), GameState::Installed);
    QCOMPARE(t->detail(), u"Version 1.0.0 installed"_s);
    QCOMPARE(t->installPath(), t.root());
}

void tst_GameManager::startUsesTheDefaultFolderAndDoesNotStoreIt()
{
    const QString folder = QDir(defaultGamesRoot()).filePath(gameProfile().installFolderName);
    QVERIFY(!QFile::exists(folder));
    const auto cleanUp = qScopeGuard([folder] { QDir(folder).removeRecursively(); });
    GameFixture t(*studio_, {.settings = withoutChecks});
    t.setRoot(folder);
    t.install(firstBuild());
    t.setRoot({});
    t.start();
    QCOMPARE(t->state(), GameState::Installed);
    QCOMPARE(t.worker<InstallManager>()->installRoot(), folder);
    QCOMPARE(t->installPath(), QString());
    QCOMPARE(t.settings().stringValue(u"game.installPath"_s, u"none"_s), QString());
}

void tst_GameManager::firstTimeUserSeesTheseStepsInOrder()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QStringList expected =
        QStringList{
            u"INFO velmo.game: Update channel is \"release\" -> \"%1\""_s.arg(studio_->manifestAddress(u"release"_s))} +
        GameFixture::stateLines(u"Not installed"_s, u"Not installed"_s) +
        QStringList{GameFixture::statusLine(u"Connecting"_s, contacting),
                    GameFixture::statusLine(u"Online"_s, connected)} +
        GameFixture::stateLines(u"Not installed"_s, u"1.0 KB required"_s) +
        GameFixture::stateLines(u"Downloading"_s, u"1.0 KB to download"_s) +
        GameFixture::stateLines(u"Installing"_s, u"Finishing installation"_s) +
        QStringList{u"INFO velmo.game: Recorded installed build \"1.0.0\" ( 10 )"_s,
                    u"setting game.installedVersion = 1.0.0"_s, u"setting game.installedBuild = 10"_s} +
        GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s);
    QCOMPARE(t.trace(), expected);
}

void tst_GameManager::withoutAutomaticChecksTheBadgeWaitsForTheUser()
{
    GameFixture t(*studio_, {.offered = firstBuild(), .settings = withoutChecks});
    t.open();
    t.clearTrace();
    t.start();
    QCOMPARE(t.trace(), GameFixture::stateLines(u"Not installed"_s, u"Not installed"_s) +
                            QStringList{GameFixture::statusLine(u"Connecting"_s, u"Update checking is turned off"_s)});
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(t.log().lines(u"velmo.update"_s).isEmpty());
    QCOMPARE(studio_->checkCount(), 0);
}

void tst_GameManager::pressAfterAStartWithoutChecksContactsTheServers()
{
    GameFixture t(*studio_, {.offered = firstBuild(), .settings = withoutChecks});
    t.start();
    t->primaryAction();
    QCOMPARE(t.statuses().last(), qMakePair(ServiceStatus::Connecting, contacting));
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->detail(), u"1.0 KB required"_s);
}

void tst_GameManager::restingStateFollowsTheDisk_data()
{
    QTest::addColumn<QByteArray>("record"); // null: none
    QTest::addColumn<QString>("program");   // of the files on the disk; null: none
    QTest::addColumn<GameState>("state");
    QTest::addColumn<QString>("detail");
    const QByteArray named = R"({"version":"2.5","build":3,"executable":"run/me","files":[]})";
    const QByteArray unnamed = R"({"version":"2.5","build":3,"files":[]})";
    QTest::newRow("nothing") << QByteArray() << QString() << GameState::NotInstalled << u"Not installed"_s;
    QTest::newRow("no record, program present")
        << QByteArray() << u"bin/game"_s << GameState::NotInstalled << u"Not installed"_s;
    QTest::newRow("record names the program")
        << named << u"run/me"_s << GameState::Installed << u"Version 2.5 installed"_s;
    QTest::newRow("the program that the record names is absent")
        << named << u"bin/game"_s << GameState::UpdateAvailable << u"Game files are incomplete"_s;
    QTest::newRow("the profile names the program")
        << unnamed << u"bin/game"_s << GameState::Installed << u"Version 2.5 installed"_s;
    QTest::newRow("the profile's program is absent")
        << unnamed << u"run/me"_s << GameState::UpdateAvailable << u"Game files are incomplete"_s;
    QTest::newRow("unreadable record, the profile's program present")
        << QByteArray("{") << u"bin/game"_s << GameState::Installed << u"Installed"_s;
    QTest::newRow("unreadable record, no program")
        << QByteArray("{") << QString() << GameState::UpdateAvailable << u"Game files are incomplete"_s;
    QTest::newRow("empty record, the profile's program present")
        << QByteArray("") << u"bin/game"_s << GameState::Installed << u"Installed"_s;
}

void tst_GameManager::restingStateFollowsTheDisk()
{
    QFETCH(const QByteArray, record);
    QFETCH(const QString, program);
    QFETCH(const GameState, state);
    QFETCH(const QString, detail);
    GameFixture t(*studio_, {.settings = withoutChecks});
    if (!record.isNull()) {
        t.writeRecord(record);
    }
    if (!program.isNull()) {
        t.writeFile(program, "program");
    }
    t.start();
    QCOMPARE(t->state(), state);
    QCOMPARE(t->detail(), detail);
}

void tst_GameManager::recordIsReadAgainAtEveryEvaluation()
{
    GameFixture t(*studio_, {.settings = withoutChecks});
    t.start();
    QCOMPARE(t->state(), GameState::NotInstalled);
    t.install(firstBuild());
    t->setInstallPath(t.root());
    QCOMPARE(t->detail(), u"Version 1.0.0 installed"_s);
    t.install(patchedBuild());
    t->setInstallPath(t.root());
    QCOMPARE(t->detail(), u"Version 1.1.0 installed"_s);
    t.removeFile(u"bin/game"_s);
    t->setInstallPath(t.root());
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
    t.removeFile(u".velmo/installed.json"_s);
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::NotInstalled);
    QCOMPARE(t->installedVersion(), QString());
}

void tst_GameManager::requiredSizeComesFromTheServersManifest_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<QString>("detail");
    QTest::newRow("no bytes at all") << qsizetype(0) << u"Not installed"_s;
    QTest::newRow("one byte") << qsizetype(1) << u"1 B required"_s;
    QTest::newRow("kilobytes") << qsizetype(2500) << u"2.5 KB required"_s;
}

void tst_GameManager::requiredSizeComesFromTheServersManifest()
{
    QFETCH(const qsizetype, size);
    QFETCH(const QString, detail);
    GameFixture t(*studio_);
    studio_->publish({u"1.0.0"_s, 1, {{u"bin/game"_s, QByteArray(size, 'x'), true, {}}}, u"bin/game"_s, {}});
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->state(), GameState::NotInstalled);
    QCOMPARE(t->detail(), detail);
}

void tst_GameManager::pendingFilesShowAsAnUpdate()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"250 B to download"_s);
    QCOMPARE(t->pendingDownloadBytes(), 250);
    QCOMPARE(t->installedVersion(), u"1.0.0"_s);
}

void tst_GameManager::pendingFilesShowAsAnUpdateOverAnUnreadableRecord()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.writeRecord("not json");
    studio_->publish(firstBuild());
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.steps().first(), GameFixture::Step(GameState::Installed, u"Installed"_s));
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"1.0 KB to download"_s);
    QCOMPARE(t->installedVersion(), QString());
}

void tst_GameManager::rejectedRecordIsReadAsNone()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.writeRecord(R"({"version":"9","build":9,"files":[{"path":"../outside","sha256":"","size":1}]})");
    t.start();
    QCOMPARE(t->state(), GameState::Installed);
    QCOMPARE(t->detail(), u"Installed"_s);
    QCOMPARE(t->installedVersion(), QString());
}

void tst_GameManager::sameStateAndTextAreToldOnce()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.start();
    QCOMPARE(t.steps().size(), 1);
    const QStringList traced = tracedDuring(t, [&t] { t->setInstallPath(t.root()); });
    QCOMPARE(traced, (QStringList{u"INFO velmo.game: Installation folder set to \"%1\""_s.arg(t.root()),
                                  u"emit path: %1"_s.arg(t.root())}));
    QCOMPARE(t.steps().size(), 1);
}

void tst_GameManager::sameStateWithAnotherTextIsTold()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.start();
    t.install(patchedBuild());
    t.clearTrace();
    t->setInstallPath(t.root());
    QCOMPARE(t.trace().mid(2), GameFixture::stateLines(u"Installed"_s, u"Version 1.1.0 installed"_s));
}

void tst_GameManager::stateStandsBeforeItIsTold()
{
    GameFixture t(*studio_, {.settings = withoutChecks});
    t.open();
    GameState seen = GameState::Error;
    QString seenDetail;
    QString lastLine;
    connect(&t.game(), &GameManager::stateChanged, this, [&] {
        seen = t->state();
        seenDetail = t->detail();
        lastLine = t.log().texts(u"velmo.game"_s).last();
    });
    t.start();
    QCOMPARE(seen, GameState::NotInstalled);
    QCOMPARE(seenDetail, u"Not installed"_s);
    QCOMPARE(lastLine, u"INFO velmo.game: State: \"Not installed\" - \"Not installed\""_s);
}

void tst_GameManager::laterListenersHearStateAndTextThatBelongTogether()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.open();
    t.at(GameState::Installed, [&t] { t->setInstallPath(t.folder() + u"/elsewhere"_s); });
    QList<GameFixture::Step> heard;
    connect(&t.game(), &GameManager::stateChanged, this, [&heard](GameState state, const QString &detail) {
        heard.append({state, detail});
    });
    t.start();
    QCOMPARE(heard, (QList<GameFixture::Step>{{GameState::NotInstalled, u"Not installed"_s},
                                              {GameState::Installed, u"Version 1.0.0 installed"_s}}));
    QCOMPARE(t->state(), GameState::NotInstalled);
}

void tst_GameManager::laterListenersHearTheChannelThatWasSelected()
{
    GameFixture t(*studio_, {.settings = withoutChecks});
    t.start();
    QString id = u"blank"_s; // as a list would hold it that is filled anew for each branch
    connect(&t.settings(), &ConfigManager::changed, this, [&id] { id = u"of another entry"_s; });
    t.clearTrace();
    t->selectChannel(id);
    QCOMPARE(t.trace().filter(u"blank"_s),
             (QStringList{u"INFO velmo.game: Switching branch from \"release\" to \"blank\""_s,
                          u"setting game.channel = blank"_s, u"INFO velmo.game: Update channel is \"blank\" -> \"\""_s,
                          u"emit channel: blank"_s}));
    QCOMPARE(id, u"of another entry"_s);
}

void tst_GameManager::checkThatFindsAnUpdate()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
    t.open();
    t.clearTrace();
    qint64 pendingAtSignal = -1;
    connect(&t.game(), &GameManager::serviceStatusChanged, this, [&](ServiceStatus status) {
        pendingAtSignal = status == ServiceStatus::Online ? t->pendingDownloadBytes() : -1;
    });
    QVERIFY(t.startAndCheck());
    const QStringList expected = GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s) +
                                 QStringList{GameFixture::statusLine(u"Connecting"_s, contacting),
                                             GameFixture::statusLine(u"Online"_s, connected)} +
                                 GameFixture::stateLines(u"Update available"_s, u"250 B to download"_s);
    QCOMPARE(t.trace(), expected);
    QCOMPARE(pendingAtSignal, 250);
}

void tst_GameManager::checkThatFindsNothingNew()
{
    GameFixture t(*studio_, {.installed = patchedBuild(), .offered = patchedBuild()});
    studio_->publish(firstBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.statuses().last(), qMakePair(ServiceStatus::Online, connected));
    QCOMPARE(studio_->checkCount(), 1);
    QCOMPARE(t.steps(),
             QList<GameFixture::Step>{GameFixture::Step(GameState::Installed, u"Version 1.1.0 installed"_s)});

    // What an earlier check had found is given up.
    t->selectChannel(u"beta"_s);
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    studio_->publish(patchedBuild(), u"beta"_s);
    t.install(patchedBuild());
    t.writeFile(u"blocked"_s, "a file where a folder is wanted");
    t->setInstallPath(t.root() + u"/blocked"_s);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Error);
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QVERIFY(t->pendingDownloadBytes() > 0);
    emit t.worker<UpdateManager>()->upToDate(patchedBuild().manifest());
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManager::manifestOfAnUpToDateBuildIsKept()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.removeFile(u".velmo/installed.json"_s);
    t->setInstallPath(t.root());
    QCOMPARE(t->detail(), u"1.0 KB required"_s);
}

void tst_GameManager::checkThatFailsLeavesTheGamePlayable_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<int>("httpStatus");
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("message");
    QTest::newRow("nothing listens") << u"nowhere"_s << 0 << QByteArray("{}") << u"Offline"_s
                                     << u"Unable to connect to the Velmo Games servers. Check your internet "
                                        "connection and try again."_s;
    QTest::newRow("no address") << u"blank"_s << 0 << QByteArray("{}") << u"Offline"_s
                                << u"No Velmo Games service address is configured for this build."_s;
    QTest::newRow("insecure address") << u"plain"_s << 0 << QByteArray("{}") << u"Degraded"_s
                                      << u"The launcher refused to contact an insecure service address."_s;
    QTest::newRow("not found") << u"release"_s << 404 << QByteArray("{}") << u"Degraded"_s
                               << u"The requested Velmo Games service could not be found. The launcher may need "
                                  "updating."_s;
    QTest::newRow("server trouble") << u"release"_s << 503 << QByteArray("{}") << u"Degraded"_s
                                    << u"The Velmo Games servers are not responding correctly right now. Please try "
                                       "again shortly."_s;
    QTest::newRow("no JSON") << u"release"_s << 0 << QByteArray("<html>") << u"Degraded"_s
                             << u"The Velmo Games servers returned an unexpected response."_s;
    QTest::newRow("no manifest") << u"release"_s << 0 << QByteArray("{}") << u"Degraded"_s
                                 << u"The update information from the Velmo Games servers could not be read."_s;
}

void tst_GameManager::checkThatFailsLeavesTheGamePlayable()
{
    QFETCH(const QString, channel);
    QFETCH(const int, httpStatus);
    QFETCH(const QByteArray, manifest);
    QFETCH(const QString, status);
    QFETCH(const QString, message);
    GameFixture t(*studio_, {.installed = firstBuild()});
    studio_->publishManifest(manifest);
    if (httpStatus != 0) {
        studio_->server().addFault(GameStudio::manifestPath(), {.status = httpStatus});
    }
    t.presetSetting(u"game.channel"_s, channel);
    t.open();
    t.clearTrace();
    QString detail;
    connect(t.worker<UpdateManager>(), &UpdateManager::checkFailed, this,
            [&detail](const QString &, const QString &technical) { detail = technical; });
    QVERIFY(t.startAndCheck());
    QVERIFY(!detail.isEmpty());
    const QStringList expected =
        GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s) +
        QStringList{GameFixture::statusLine(u"Connecting"_s, contacting), GameFixture::statusLine(status, message),
                    u"WARN velmo.game: Update check failed, continuing in offline mode: \"%1\""_s.arg(detail)};
    QCOMPARE(t.trace(), expected);
    QCOMPARE(t->state(), GameState::Installed);
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManager::failedCheckKeepsWhatAnEarlierOneFound()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
    QVERIFY(t.startAndCheck());
    emit t.worker<UpdateManager>()->checkFailed(u"message"_s, u"detail"_s, true);
    QCOMPARE(t.statuses().last(), qMakePair(ServiceStatus::Offline, u"message"_s));
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->pendingDownloadBytes(), 250);
}

void tst_GameManager::higherBuildOfTheSameFilesLeavesNothingPending()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    Build renumbered = firstBuild();
    renumbered.build = 99;
    renumbered.version = u"9.9"_s;
    studio_->publish(renumbered);
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.statuses().last().first, ServiceStatus::Online);
    QCOMPARE(t->state(), GameState::Installed);
    QCOMPARE(t->detail(), u"Version 1.0.0 installed"_s);
}

void tst_GameManager::checkResultEndsABusyState()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    studio_->server().setBytesPerSecond(2000);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Downloading);
    const QStringList traced =
        tracedDuring(t, [&t] { emit t.worker<UpdateManager>()->checkFailed(u"message"_s, u"detail"_s, true); });
    QCOMPARE(traced, (QStringList{GameFixture::statusLine(u"Offline"_s, u"message"_s),
                                  u"WARN velmo.game: Update check failed, continuing in offline mode: \"detail\""_s} +
                      GameFixture::stateLines(u"Not installed"_s, u"1.0 KB required"_s)));
    QVERIFY(t.worker<DownloadManager>()->isRunning());
    studio_->server().setBytesPerSecond(0);
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.passed(GameState::Installing));
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManager::badgeChangesBeforeTheCheckBegins()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.start();
    QCOMPARE(t.trace({u"velmo.update"_s}).last(),
             u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(studio_->manifestAddress(u"release"_s)));
    QCOMPARE(t.trace().last(), GameFixture::statusLine(u"Connecting"_s, contacting));
}

void tst_GameManager::checkComparesWithTheRecordOfItsBeginning()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    t.open();
    connect(
        &t.game(), &GameManager::serviceStatusChanged, this,
        [&t] {
            t.install(firstBuild());
            t->setInstallPath(t.root());
        },
        Qt::SingleShotConnection);
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManager::resultStandsBeforeTheBadgeChanges_data()
{
    QTest::addColumn<bool>("update");
    QTest::addColumn<qint64>("pending");
    QTest::newRow("update") << true << qint64(250);
    QTest::newRow("up to date") << false << qint64(0);
}

void tst_GameManager::resultStandsBeforeTheBadgeChanges()
{
    QFETCH(const bool, update);
    QFETCH(const qint64, pending);
    GameFixture t(*studio_, {.settings = withoutChecks});
    const Manifest first = firstBuild().manifest();
    const Manifest second = patchedBuild().manifest();
    t.install(firstBuild());
    t.start();
    UpdateManager *const worker = t.worker<UpdateManager>();
    emit worker->updateAvailable(first, first.files);
    QCOMPARE(t->detail(), u"1.0 KB to download"_s);
    QString detailAtSignal;
    qint64 pendingAtSignal = -1;
    QString requiredElsewhere;
    connect(&t.game(), &GameManager::serviceStatusChanged, this, [&] {
        detailAtSignal = t->detail();
        pendingAtSignal = t->pendingDownloadBytes();
        t->setInstallPath(t.folder() + u"/elsewhere"_s);
        requiredElsewhere = t->detail();
    });
    if (update) {
        emit worker->updateAvailable(second, second.files.mid(2));
    } else {
        emit worker->upToDate(second);
    }
    QCOMPARE(detailAtSignal, u"1.0 KB to download"_s); // the state follows the badge
    QCOMPARE(pendingAtSignal, pending);
    QCOMPARE(requiredElsewhere, u"950 B required"_s);
}

void tst_GameManager::checkResultDuringAJobIsTaken_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<qint64>("pending");
    QTest::addColumn<QString>("version"); // that is recorded at the job's end
    QTest::newRow("update") << u"update"_s << qint64(250) << u"1.1.0"_s;
    QTest::newRow("up to date") << u"up to date"_s << qint64(0) << u"1.1.0"_s;
    QTest::newRow("failed") << u"failed"_s << qint64(1000) << u"1.0.0"_s;
}

void tst_GameManager::checkResultDuringAJobIsTaken()
{
    QFETCH(const QString, outcome);
    QFETCH(const qint64, pending);
    QFETCH(const QString, version);
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    studio_->server().setBytesPerSecond(200);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Downloading);
    UpdateManager *const update = t.worker<UpdateManager>();
    const Manifest latest = patchedBuild().manifest();
    if (outcome == "update"_L1) {
        emit update->updateAvailable(latest, latest.files.mid(2));
    } else if (outcome == "up to date"_L1) {
        emit update->upToDate(latest);
    } else {
        emit update->checkFailed(u"message"_s, u"detail"_s, false);
    }
    QCOMPARE(t->pendingDownloadBytes(), pending);
    QCOMPARE(t->detail(), outcome == "failed"_L1 ? u"1.0 KB required"_s : u"950 B required"_s);
    QVERIFY(t.worker<DownloadManager>()->isRunning());

    studio_->server().setBytesPerSecond(0);
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(t->installedVersion(), version);
    QCOMPARE(t->pendingDownloadBytes(), 0);
}

void tst_GameManager::checkThatTheStopCutsOffIsTold()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.start();
    t.clearTrace();
    t.close();
    QCOMPARE(t.trace().size(), 2);
    QCOMPARE(t.trace().first(), GameFixture::statusLine(u"Offline"_s, u"Unable to reach the Velmo Games servers."_s));
    QVERIFY(t.trace().last().startsWith(
        "WARN velmo.game: Update check failed, continuing in offline mode: \"Operation canceled"_L1));
}

namespace {

/// Takes a player's launcher through a repair of one file and a start of the game: every busy state comes up once. What
/// is wrong with that; empty when nothing is.
QString driveThroughBusyStates(GameFixture &t, GameStudio &studio)
{
    const Build build = playableBuild();
    studio.publish(build);
    t.install(build);
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.presetSetting(u"game.launchArguments"_s, u"wait=20"_s);
    if (!t.startAndCheck()) {
        return u"the check does not end"_s;
    }
    t->verifyFiles();
    if (!t.waitUntilPast(GameState::Installing)) {
        return u"the repair does not end"_s;
    }
    t->primaryAction();
    if (!t.waitUntilPast(GameState::Launching)) {
        return u"the game does not start"_s;
    }
    const auto hasEnded = [&t] {
        return t.log().texts(u"velmo.game"_s).last().contains(u"Game exited"_s) || t->state() == GameState::Installed;
    };
    return QTest::qWaitFor(hasEnded, waitMs) ? QString() : u"the game does not end"_s;
}

} // namespace

void tst_GameManager::primaryActionIsIgnoredInBusyStates_data()
{
    QTest::addColumn<GameState>("state");
    QTest::newRow("downloading") << GameState::Downloading;
    QTest::newRow("installing") << GameState::Installing;
    QTest::newRow("verifying") << GameState::Verifying;
    QTest::newRow("repairing") << GameState::Repairing;
    QTest::newRow("launching") << GameState::Launching;
    QTest::newRow("running") << GameState::Running;
    QTest::newRow("checking") << GameState::CheckingInstallation;
}

void tst_GameManager::primaryActionIsIgnoredInBusyStates()
{
    QFETCH(const GameState, state);
    GameFixture t(*studio_);
    QStringList traced;
    const auto press = [&] { traced = tracedDuring(t, [&t] { t->primaryAction(); }); };
    if (state == GameState::CheckingInstallation) {
        t.open();
        press();
        QCOMPARE(t->state(), GameState::CheckingInstallation);
    } else {
        t.at(state, press);
        QCOMPARE(driveThroughBusyStates(t, *studio_), QString());
    }
    QCOMPARE(traced, QStringList{u"INFO velmo.game: Primary action ignored in state \"%1\""_s.arg(
                         GameManager::stateLabel(state))});
}

void tst_GameManager::primaryActionWithNothingPendingOnlyChecks_data()
{
    QTest::addColumn<bool>("installed");
    QTest::newRow("not installed") << false;
    QTest::newRow("files incomplete") << true;
}

void tst_GameManager::primaryActionWithNothingPendingOnlyChecks()
{
    QFETCH(const bool, installed);
    GameFixture t(*studio_, {.offered = firstBuild(), .settings = withoutChecks});
    if (installed) {
        t.install(firstBuild());
        t.removeFile(u"bin/game"_s);
    }
    t.start();
    const GameState before = t->state();
    QCOMPARE(before, installed ? GameState::UpdateAvailable : GameState::NotInstalled);
    const QStringList traced = tracedDuring(t, [&t] { t->primaryAction(); });
    QCOMPARE(traced, QStringList{GameFixture::statusLine(u"Connecting"_s, contacting)});
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->state(), before);
    QCOMPARE(studio_->checkCount(), 1);
    QVERIFY(studio_->requestedFiles().isEmpty());
    QVERIFY(!t.worker<DownloadManager>()->isRunning());
}

void tst_GameManager::primaryActionStartsWhatIsPending_data()
{
    QTest::addColumn<bool>("installed");
    QTest::addColumn<QString>("detail");
    QTest::newRow("install") << false << u"1.0 KB to download"_s;
    QTest::newRow("update") << true << u"250 B to download"_s;
}

void tst_GameManager::primaryActionStartsWhatIsPending()
{
    QFETCH(const bool, installed);
    QFETCH(const QString, detail);
    GameFixture t(*studio_);
    if (installed) {
        t.install(firstBuild());
    }
    studio_->publish(installed ? patchedBuild() : firstBuild());
    QVERIFY(t.startAndCheck());
    const QStringList traced = tracedDuring(t, [&t] { t->primaryAction(); });
    QCOMPARE(traced, GameFixture::stateLines(u"Downloading"_s, detail));
    QVERIFY(t.worker<DownloadManager>()->isRunning());
    QCOMPARE(studio_->checkCount(), 1);
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManager::primaryActionPlaysAnInstalledGame()
{
    GameFixture t(*studio_, {.installed = playableBuild(), .settings = withoutChecks});
    t.start();
    t->primaryAction();
    QVERIFY(t.passed(GameState::Launching));
    QVERIFY(t.waitUntilPast(GameState::Running));
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManager::primaryActionTriesAgainAfterAnError()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"blocked"_s, "a file where a folder is wanted");
    t->setInstallPath(t.root() + u"/blocked"_s);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Error);
    t.clearTrace();
    t->primaryAction();
    QCOMPARE(t.trace(), GameFixture::stateLines(u"Checking installation"_s, u"Checking installation"_s) +
                            GameFixture::stateLines(u"Not installed"_s, u"1.0 KB required"_s) +
                            QStringList{GameFixture::statusLine(u"Connecting"_s, contacting)});
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(studio_->checkCount(), 2);
}

void tst_GameManager::cancelIsOfferedInTheseStatesOnly()
{
    QMap<GameState, bool> offered;
    const auto watch = [this, &offered](GameFixture &t) {
        t.open();
        offered.insert(t->state(), t->canCancel());
        connect(&t.game(), &GameManager::stateChanged, this,
                [&t, &offered](GameState state) { offered.insert(state, t->canCancel()); });
    };
    {
        GameFixture t(*studio_);
        t.presetSetting(u"game.launchArguments"_s, u"wait=20"_s);
        watch(t);
        QCOMPARE(driveThroughBusyStates(t, *studio_), QString());
    }
    {
        GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
        watch(t);
        QVERIFY(t.startAndCheck());
        t->setInstallPath(t.root() + u"/bin/game"_s);
        t->primaryAction();
        QCOMPARE(t->state(), GameState::Error);
    }
    const QMap<GameState, bool> expected{{GameState::CheckingInstallation, false},
                                         {GameState::NotInstalled, false},
                                         {GameState::Installed, false},
                                         {GameState::UpdateAvailable, false},
                                         {GameState::Downloading, true},
                                         {GameState::Installing, false},
                                         {GameState::Verifying, true},
                                         {GameState::Repairing, true},
                                         {GameState::Launching, false},
                                         {GameState::Running, false},
                                         {GameState::Error, false}};
    QCOMPARE(offered, expected);
}

void tst_GameManager::cancelWithNothingRunningDoesNothing()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    const qsizetype before = t.log().lines().size();
    t->cancelOperation();
    QCOMPARE(t.log().lines().size(), before);
    QCOMPARE(t->state(), GameState::NotInstalled);
}

void tst_GameManager::cancelStopsTheJobAndThenThePass()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    studio_->server().setBytesPerSecond(100);
    t->primaryAction();
    t->verifyFiles();
    QCOMPARE(t->state(), GameState::Verifying);
    QVERIFY(t.worker<DownloadManager>()->isRunning());
    QVERIFY(t.worker<VerificationManager>()->isRunning());
    t.clearTrace();
    t->cancelOperation();
    QCOMPARE(t.trace({u"velmo.download"_s, u"velmo.verify"_s}).mid(0, 5),
             (QStringList{u"INFO velmo.download: Download cancelled by the user"_s,
                          u"INFO velmo.game: Install cancelled; leaving partial files in place for resume"_s} +
              GameFixture::stateLines(u"Not installed"_s, u"1.0 KB required"_s) +
              QStringList{u"INFO velmo.verify: Verification cancelled"_s}));
    QVERIFY(!t.worker<DownloadManager>()->isRunning());
    QTRY_COMPARE(t.passes().size(), 1);
}

void tst_GameManager::cancelStopsAJobWhoseStateHasFallen()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    studio_->server().setBytesPerSecond(100);
    t->primaryAction();
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::NotInstalled);
    QVERIFY(!t->canCancel());
    t->cancelOperation();
    QVERIFY(!t.worker<DownloadManager>()->isRunning());
    QVERIFY(t.log().contains(QtInfoMsg, u"velmo.game"_s,
                             u"Install cancelled; leaving partial files in place for resume"_s));
}

void tst_GameManager::channelIsTheDefaultOneWhileNoneIsChosen()
{
    GameFixture t(*studio_);
    t.open();
    QCOMPARE(t.settings().stringValue(u"game.channel"_s, u"none"_s), QString());
    QCOMPARE(t->currentChannelId(), u"release"_s);
    QCOMPARE(t->currentChannel().manifest, studio_->manifestAddress(u"release"_s));
    t.settings().setValue(u"game.channel"_s, u"beta"_s);
    QCOMPARE(t->currentChannelId(), u"beta"_s);
    QCOMPARE(t->currentChannel().manifest, studio_->manifestAddress(u"beta"_s));
}

void tst_GameManager::selectingTheCurrentChannelIsSilent_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QString>("id");
    QTest::newRow("the default one, never chosen") << QString() << u"release"_s;
    QTest::newRow("the chosen one") << u"beta"_s << u"beta"_s;
}

void tst_GameManager::selectingTheCurrentChannelIsSilent()
{
    QFETCH(const QString, setting);
    QFETCH(const QString, id);
    GameFixture t(*studio_, {.offered = firstBuild(), .settings = withoutChecks});
    t.presetSetting(u"game.channel"_s, setting);
    t.start();
    QCOMPARE(tracedDuring(t, [&] { t->selectChannel(id); }), QStringList());
    QCOMPARE(t.settings().stringValue(u"game.channel"_s, u"none"_s), setting);
    QVERIFY(t.log().lines(u"velmo.update"_s).isEmpty());
}

void tst_GameManager::selectingAChannelAnnouncesAndChecks()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    studio_->publish(patchedBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->selectChannel(u"beta"_s);
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t.trace(),
             (QStringList{
                  u"INFO velmo.game: Switching branch from \"release\" to \"beta\""_s, u"setting game.channel = beta"_s,
                  u"INFO velmo.game: Update channel is \"beta\" -> \"%1\""_s.arg(studio_->manifestAddress(u"beta"_s)),
                  u"emit channel: beta"_s, GameFixture::statusLine(u"Connecting"_s, contacting),
                  GameFixture::statusLine(u"Online"_s, connected)} +
              GameFixture::stateLines(u"Update available"_s, u"250 B to download"_s)));
    QCOMPARE(studio_->checkCount(u"beta"_s), 1);
    QCOMPARE(t->currentChannelId(), u"beta"_s);
}

void tst_GameManager::selectingAChannelForgetsTheOldOnesManifest()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->pendingDownloadBytes(), 1000);
    qint64 pendingAtSignal = -1;
    connect(&t.game(), &GameManager::channelChanged, this, [&] { pendingAtSignal = t->pendingDownloadBytes(); });
    t.clearTrace();
    t->selectChannel(u"nowhere"_s);
    QCOMPARE(pendingAtSignal, 0);
    QCOMPARE(t->detail(), u"Not installed"_s);
    // The state is settled before the check begins.
    QCOMPARE(t.trace().mid(4), GameFixture::stateLines(u"Not installed"_s, u"Not installed"_s) +
                                   QStringList{GameFixture::statusLine(u"Connecting"_s, contacting)});
    QVERIFY(t.waitForStatus(ServiceStatus::Offline));
    t->verifyFiles();
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t.errors().first().second, u"No valid manifest available for verification"_s);
}

void tst_GameManager::selectingAChannelLeavesTheFilesAlone()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    const QByteArray record = t.record();
    studio_->publish(firstBuild());
    studio_->publish(patchedBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    t->selectChannel(u"beta"_s);
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t.record(), record);
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(t->installedVersion(), u"1.0.0"_s);
}

void tst_GameManager::lowerBuildOfAnotherChannelIsOffered()
{
    GameFixture t(*studio_, {.installed = patchedBuild(), .offered = patchedBuild()});
    studio_->publish(firstBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->state(), GameState::Installed);
    t->selectChannel(u"beta"_s);
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t->detail(), u"300 B to download"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->installedVersion(), u"1.0.0"_s);
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManager::channelIsNotSwitchedWhileFilesAreWrittenOrChecked_data()
{
    QTest::addColumn<GameState>("state");
    QTest::newRow("Downloading") << GameState::Downloading;
    QTest::newRow("Installing") << GameState::Installing;
    QTest::newRow("Verifying files") << GameState::Verifying;
    QTest::newRow("Repairing files") << GameState::Repairing;
}

void tst_GameManager::channelIsNotSwitchedWhileFilesAreWrittenOrChecked()
{
    QFETCH(const GameState, state);
    GameFixture t(*studio_);
    QStringList current;
    QStringList other;
    t.at(state, [&] {
        current = tracedDuring(t, [&t] { t->selectChannel(u"release"_s); });
        other = tracedDuring(t, [&t] { t->selectChannel(u"beta"_s); });
    });
    QCOMPARE(driveThroughBusyStates(t, *studio_), QString());
    QCOMPARE(current, QStringList());
    QCOMPARE(other,
             QStringList{GameFixture::errorLine(
                 u"Finish or cancel the current download before switching branch."_s,
                 u"Channel switch refused while in state %1"_s.arg(QString::fromUtf8(QTest::currentDataTag())))});
    QCOMPARE(t->currentChannelId(), u"release"_s);
    QCOMPARE(t.settings().stringValue(u"game.channel"_s, u"none"_s), QString());
    QCOMPARE(studio_->checkCount(u"beta"_s), 0);
}

void tst_GameManager::channelIsSwitchedWhileTheGameStartsOrRuns_data()
{
    QTest::addColumn<GameState>("state");
    QTest::newRow("launching") << GameState::Launching;
    QTest::newRow("running") << GameState::Running;
}

void tst_GameManager::channelIsSwitchedWhileTheGameStartsOrRuns()
{
    QFETCH(const GameState, state);
    GameFixture t(*studio_);
    QStringList traced;
    t.at(state, [&] { traced = tracedDuring(t, [&t] { t->selectChannel(u"beta"_s); }); });
    QCOMPARE(driveThroughBusyStates(t, *studio_), QString());
    QCOMPARE(traced.value(0), u"INFO velmo.game: Switching branch from \"release\" to \"beta\""_s);
    QCOMPARE(t->currentChannelId(), u"beta"_s);
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManager::selectingAChannelEndsAnError()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u".velmo"_s, "a file where a folder is wanted");
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Error);
    t->selectChannel(u"beta"_s);
    QCOMPARE(t->state(), GameState::NotInstalled);
    QCOMPARE(t->currentChannelId(), u"beta"_s);
    QCOMPARE(t.errors().size(), 1);
}

void tst_GameManager::noPasswordOfABranchReachesTheLog()
{
    GameFixture t(*studio_, {.settings = withoutChecks});
    t.start();
    t.clearTrace();
    t->selectChannel(u"locked"_s);
    QVERIFY(t.waitForStatus(ServiceStatus::Offline));
    QVERIFY(t->currentChannel().manifest.contains(u"secret"_s));
    const QString told = t.trace().join(u'\n');
    QVERIFY2(!told.contains(u"player"_s) && !told.contains(u"secret"_s), qPrintable(told));
    QVERIFY(t.trace().contains(
        u"INFO velmo.game: Update channel is \"locked\" -> \"https://127.0.0.1:1/manifest.json\""_s));
}

void tst_GameManager::unknownChannelIsKeptAndServedByTheFallback()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    studio_->publish(patchedBuild(), u"beta"_s);
    t.presetSetting(u"game.channel"_s, u"beta"_s);
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->selectChannel(u"gone"_s);
    QCOMPARE(t.trace().mid(0, 4), (QStringList{u"INFO velmo.game: Switching branch from \"beta\" to \"gone\""_s,
                                               u"setting game.channel = gone"_s,
                                               u"INFO velmo.game: Update channel is \"release\" -> \"%1\""_s.arg(
                                                   studio_->manifestAddress(u"release"_s)),
                                               u"emit channel: gone"_s}));
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->currentChannelId(), u"gone"_s);
    QCOMPARE(t->currentChannel().id, u"release"_s);
    QCOMPARE(t.settings().stringValue(u"game.channel"_s, QString()), u"gone"_s);
    QCOMPARE(t->pendingDownloadBytes(), 1000);
}

void tst_GameManager::switchDuringACheckTakesTheOldBranchsReply()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    studio_->publish(patchedBuild(), u"beta"_s);
    t.start();
    t->selectChannel(u"beta"_s);
    QVERIFY(t.log().contains(QtInfoMsg, u"velmo.update"_s, u"Update check already in progress"_s));
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->currentChannelId(), u"beta"_s);
    QCOMPARE(t->detail(), u"1.0 KB required"_s);
    QCOMPARE(t->pendingDownloadBytes(), 1000);
    QCOMPARE(studio_->checkCount(u"release"_s), 1);
    QCOMPARE(studio_->checkCount(u"beta"_s), 0);
}

void tst_GameManager::installPathIsCleanedStoredAndTold()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.start();
    t.clearTrace();
    QString rootAtSetting;
    connect(&t.settings(), &ConfigManager::changed, this,
            [&] { rootAtSetting = t.worker<InstallManager>()->installRoot(); });
    const QString clean = t.folder() + u"/elsewhere"_s;
    t->setInstallPath(t.folder() + u"/a/..//elsewhere/"_s);
    QCOMPARE(t.trace(), (QStringList{u"setting game.installPath = %1"_s.arg(clean),
                                     u"INFO velmo.game: Installation folder set to \"%1\""_s.arg(clean),
                                     u"emit path: %1"_s.arg(clean)} +
                         GameFixture::stateLines(u"Not installed"_s, u"Not installed"_s)));
    QCOMPARE(t->installPath(), clean);
    QCOMPARE(t.worker<InstallManager>()->installRoot(), clean);
    QCOMPARE(rootAtSetting, t.root()); // the choice is kept before it is used
}

void tst_GameManager::installPathIsTakenAsItIs()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    const QString elsewhere = t.folder() + u"/elsewhere"_s;
    t->setInstallPath(elsewhere);
    QVERIFY(!QFile::exists(elsewhere));
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(t.statuses().size(), 2);
    QCOMPARE(t.log().count(QtInfoMsg, u"velmo.update"_s,
                           u"Checking for updates at \"%1\""_s.arg(studio_->manifestAddress(u"release"_s))),
             1);
}

void tst_GameManager::installPathOfAnotherInstallShowsThatInstall()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .settings = withoutChecks});
    t.start();
    t.setRoot(t.folder() + u"/elsewhere"_s);
    t.install(patchedBuild());
    t->setInstallPath(t.root());
    QCOMPARE(t->detail(), u"Version 1.1.0 installed"_s);
    QCOMPARE(t->installedVersion(), u"1.1.0"_s);
}

void tst_GameManager::pendingFilesSurviveANewInstallPath()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
    QVERIFY(t.startAndCheck());
    t.setRoot(t.folder() + u"/elsewhere"_s);
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::NotInstalled);
    QCOMPARE(t->detail(), u"%1 required"_s.arg(u"950 B"_s));
    QCOMPARE(t->pendingDownloadBytes(), 250);
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(t.filesOnDisk(), QStringList{u"data/old.dat"_s});
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
}

void tst_GameManager::installPathDuringAJobRecordsInTheNewFolder()
{
    GameFixture t(*studio_);
    const Build build = firstBuild();
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Downloading);
    const QString oldRoot = t.root();
    const QString newRoot = t.folder() + u"/elsewhere"_s;
    t->setInstallPath(newRoot);
    QCOMPARE(t->state(), GameState::NotInstalled);
    QVERIFY(t.worker<DownloadManager>()->isRunning());
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.holdsExactly(build));
    QVERIFY(t.record().isEmpty());
    t.setRoot(newRoot);
    QVERIFY(!t.record().isEmpty());
    QVERIFY(t.filesOnDisk().isEmpty());
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
    QVERIFY(QDir(oldRoot).exists());
}

void tst_GameManager::versionIsThatOfTheRecord()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = patchedBuild()});
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->installedVersion(), u"1.0.0"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->installedVersion(), u"1.1.0"_s);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_GameManager>(argc, argv);
}

#include "tst_GameManager.moc"
