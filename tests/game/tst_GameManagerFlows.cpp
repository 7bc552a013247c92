#include "DriveSpace.h"
#include "GameFixture.h"

#include "core/Paths.h"
#include "game/InstallManager.h"
#include "game/UpdateManager.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QtTest>

#include <algorithm>
#include <optional>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;
using velmo::studio::Fault;

namespace {

const QString noManifestMessage =
    u"The launcher does not have a file list to verify against yet.\n\nConnect to the internet and check for updates "
    "first."_s;
const QString downloadFailed = u"A game file could not be downloaded. The launcher will try again."_s;

QString inRelease(const QString &path)
{
    return GameStudio::filePath(path);
}

/// The engine of \a t stands in the middle of the last file of \a build, which is a slowBuild(), with some of it on the
/// disk.
bool stopInTheMiddleOfTheLastFile(GameFixture &t, GameStudio &studio, const Build &build = slowBuild())
{
    studio.publish(build);
    studio.server().clearFaults();
    if (!t.startAndCheck()) {
        return false;
    }
    studio.server().addFault(inRelease(u"data/old.dat"_s), {.kind = Fault::Stall, .bytes = 250000, .lastAttempt = 1});
    t->primaryAction();
    const QString part = t.root() + u"/data/old.dat.part"_s;
    return QTest::qWaitFor([&part] { return QFileInfo(part).size() == 250000; }, waitMs);
}

QByteArray rangeOf(const studio::Request &request)
{
    return request.headers.value("range");
}

} // namespace

class tst_GameManagerFlows : public QObject {
    Q_OBJECT

    std::optional<GameStudio> studio_;

private slots:
    void initTestCase();
    void cleanupTestCase();

    void estimateOfTheProfileIsShownUntilTheServersManifestIsKnown();

    void firstPressOnlyChecksAndTheSecondStarts();
    void installBringsTheBuildToTheDisk();
    void installAsksForTheFilesOneByOneInManifestOrder();
    void installTakesTheAddressesThatTheManifestGives();
    void installWorksUnderAFolderWithBlanksAndForeignLetters();
    void defaultFolderIsInstalledToAndRepaired();
    void installWhoseProgramDoesNotArriveIsIncomplete();
    void updateFetchesWhatDiffersAndRemovesWhatIsGone();
    void commitKeepsThisOrder();
    void commitTakesTheManifestThatStandsWhenItHasBeenTold();
    void staleFilesAreThoseOfTheRecordThatWasReadLast_data();
    void staleFilesAreThoseOfTheRecordThatWasReadLast();
    void progressIsForwardedWithoutAChangeOfState();
    void jobIsNotDisturbedByARepair();
    void jobKeepsItsFilesWhereAListenerEmptiesTheOffer();
    void jobKeepsItsFolderOnTheServerWhereTheBranchIsSwitched_data();
    void jobKeepsItsFolderOnTheServerWhereTheBranchIsSwitched();
    void jobTakesTheBranchThatWasCheckedNotTheOneInTheSettings();
    void jobTakesFolderAndBranchThatStandWhenItHasBeenTold();
    void branchIsSwitchedUnderAPassWhoseStateHasFallen();

    void unusableFolderIsRefused_data();
    void unusableFolderIsRefused();
    void freeSpaceDecides_data();
    void freeSpaceDecides();
    void tooLittleSpaceIsToldInFull();
    void hugeBuildDoesNotFitOnTheRealDrive();
    void unknownFreeSpaceDoesNotBlock();

    void verifyingNeedsAManifest();
    void verifyingPrefersTheServersManifest();
    void verifyingKeepsItsManifestWhereACheckBringsAnother();
    void verifyingWantsTheRepairBeforeItIsTold();
    void verifyingOfflineUsesTheRecord();
    void serversManifestStaysTheReferenceAfterAnInstall();
    void fileInThePlaceOfTheRecordGivesWayToIt();
    void secondVerifyDuringAPassOnlyLogs();
    void passWithNothingWrongIsTold();
    void passWithNothingWrongLeavesAnUpdateOffered();
    void passForwardsItsProgress();
    void passWithoutRepairOffersTheDamage_data();
    void passWithoutRepairOffersTheDamage();
    void repairIsWantedForOnePassOnly();
    void repairThatAListenerAsksForIsStillWanted_data();
    void repairThatAListenerAsksForIsStillWanted();
    void repairStaysWantedAfterAPassWithoutDamage_data();
    void repairStaysWantedAfterAPassWithoutDamage();
    void cancelledPassDropsWhatItFound();

    void repairOfOneFile();
    void repairOfTwoFilesFetchesMissingOnesFirst();
    void repairBringsBackAMissingProgram();
    void repairOfAnOlderBuildIsAnUpdate();
    void repairAgainstTheRecordRecordsNothing();
    void offeredDamageIsSettledWithoutTheServersManifest();
    void repairOfflineFailsAndTriesAgainLater();
    void repairAsksNeitherForTheFolderNorForSpace();
    void cancelledRepairForgetsTheDamage();

    void cancelledInstallIsOfferedAgainAndResumes();
    void cancelledUpdateIsOfferedAgain();
    void closedLauncherLosesNothing();
    void stopIsSilent_data();
    void stopIsSilent();
    void interruptedUpdateOfflineStillPlaysTheOldVersion();

    void failedJobRecordsNothing();
    void failedJobIsOfferedAgain();
    void fullDriveEndsTheJobAndTheRestFollowsLater();
    void recordThatCannotBeCommittedLeavesTheOldOne();
    void recordThatCannotBeOpenedLeavesNone();

    void serverThatHangsUpEarlyIsAskedForTheRest();
    void serverThatIgnoresRangesSendsTheWholeFile();
    void serverThatSendsTheWrongRangeIsNotBelieved();
    void serverThatRefusesRangesEndsTheJob();
    void serverThatRedirectsToPlainHttpIsNotFollowed();
    void serverThatCorruptsOnceIsAskedAgain();
};

void tst_GameManagerFlows::initTestCase()
{
    QJsonObject profile = ownInstallFolder();
    profile.insert(u"estimatedInstallSize"_s, 5000000);
    studio_.emplace(profile);
}

void tst_GameManagerFlows::cleanupTestCase()
{
    studio_.reset();
}

void tst_GameManagerFlows::estimateOfTheProfileIsShownUntilTheServersManifestIsKnown()
{
    GameFixture t(*studio_);
    Build empty = firstBuild();
    empty.files.clear();
    studio_->publish(empty);
    t.start();
    QCOMPARE(t->detail(), u"5.0 MB required"_s);
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->detail(), u"Not installed"_s);
}

void tst_GameManagerFlows::firstPressOnlyChecksAndTheSecondStarts()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    t.presetSetting(u"launcher.autoCheckUpdates"_s, false);
    t.start();
    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->state(), GameState::NotInstalled);
    QVERIFY(studio_->requestedFiles().isEmpty());
    QVERIFY(!QFile::exists(t.root()));
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerFlows::installBringsTheBuildToTheDisk()
{
    GameFixture t(*studio_);
    const Build build = firstBuild();
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    bool folderPrepared = false;
    t.at(GameState::Downloading, [&] { folderPrepared = QFileInfo(t.root() + u"/.velmo"_s).isDir(); });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QString complete = u"INFO velmo.download: Download job complete"_s;
    QStringList expected = GameFixture::stateLines(u"Downloading"_s, u"1.0 KB to download"_s);
    expected << u"INFO velmo.download: Starting download of 3 files, 1000 bytes into \"%1\""_s.arg(t.root())
             << u"INFO velmo.download: Downloading \"game\""_s << u"INFO velmo.download: Downloading \"one.dat\""_s
             << u"INFO velmo.download: Downloading \"old.dat\""_s << complete;
    expected += GameFixture::stateLines(u"Installing"_s, u"Finishing installation"_s);
    expected << u"INFO velmo.game: Recorded installed build \"1.0.0\" ( 10 )"_s
             << u"setting game.installedVersion = 1.0.0"_s << u"setting game.installedBuild = 10"_s;
    expected += GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s);
    QCOMPARE(t.trace({u"velmo.download"_s}), expected);
    QVERIFY(folderPrepared);
    QVERIFY(t.holdsExactly(build)); // so neither ".part" files nor the write probe are left
#ifndef Q_OS_WIN
    QVERIFY(QFileInfo(t.root() + u"/bin/game"_s).isExecutable());
    QVERIFY(!QFileInfo(t.root() + u"/data/one.dat"_s).isExecutable());
#endif
    QCOMPARE(t.worker<InstallManager>()->loadInstalledManifest().toJson(), build.manifest().toJson());
    QCOMPARE(t->pendingDownloadBytes(), 0);
}

void tst_GameManagerFlows::installAsksForTheFilesOneByOneInManifestOrder()
{
    GameFixture t(*studio_);
    const Build build = firstBuild();
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QStringList expected;
    for (const BuildFile &file : build.files) {
        expected.append(inRelease(file.path));
    }
    QCOMPARE(studio_->requestedFiles(), expected);
}

void tst_GameManagerFlows::installTakesTheAddressesThatTheManifestGives()
{
    GameFixture t(*studio_);
    Build build = firstBuild();
    build.files[0].url = u"../store/program"_s;
    build.files[1].url = studio_->server().url(u"/store/one"_s).toString();
    studio_->server().setDocument(u"/store/program"_s, build.files.at(0).content);
    studio_->server().setDocument(u"/store/one"_s, build.files.at(1).content);
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(studio_->requestedFiles(),
             (QStringList{u"/store/program"_s, u"/store/one"_s, inRelease(u"data/old.dat"_s)}));
    QVERIFY(t.holdsExactly(build));
    studio_->server().removeDocument(u"/store/program"_s);
    studio_->server().removeDocument(u"/store/one"_s);
}

void tst_GameManagerFlows::installWorksUnderAFolderWithBlanksAndForeignLetters()
{
    GameFixture t(*studio_);
    t.setRoot(t.folder() + u"/Meine Spiele (alt)/Größe 火 #1 100%"_s);
    Build build = firstBuild();
    build.files[1].path = u"Daten & mehr/größte Karte 火.pak"_s;
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(build));
    t->verifyFiles();
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().filesChecked, 3);
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerFlows::defaultFolderIsInstalledToAndRepaired()
{
    GameFixture t(*studio_);
    const QString folder = QDir(defaultGamesRoot()).filePath(gameProfile().installFolderName);
    QVERIFY(!QFile::exists(folder));
    const auto cleanUp = qScopeGuard([folder] { QDir(folder).removeRecursively(); });
    studio_->publish(firstBuild());
    t.setRoot({}); // none is chosen
    t.open();
    t.setRoot(folder);
    QVERIFY(t.startAndCheck());
    t.writeFile(u".velmo"_s, "in the way");
    t->primaryAction();
    QCOMPARE(t.errors().last().second, u"prepare() failed for %1"_s.arg(folder));
    t.removeFile(u".velmo"_s);
    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));

    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
    t.writeFile(u"data/one.dat"_s, "damaged");
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Repairing));
    QVERIFY(t.steps().contains(GameFixture::Step(GameState::Repairing, u"Repairing 1 file"_s)));
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(t->installPath(), QString());
}

void tst_GameManagerFlows::installWhoseProgramDoesNotArriveIsIncomplete()
{
    GameFixture t(*studio_);
    Build build = firstBuild();
    build.executable = u"bin/other"_s;
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
}

void tst_GameManagerFlows::updateFetchesWhatDiffersAndRemovesWhatIsGone()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = secondBuild()});
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->detail(), u"650 B to download"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->detail(), u"Version 1.1.0 installed"_s);
    QCOMPARE(studio_->requestedFiles(), (QStringList{inRelease(u"data/new.dat"_s), inRelease(u"data/one.dat"_s)}));
    QVERIFY(t.holdsExactly(secondBuild()));
    QCOMPARE(t.worker<InstallManager>()->loadInstalledManifest().toJson(), secondBuild().manifest().toJson());
}

void tst_GameManagerFlows::commitKeepsThisOrder()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    const QByteArray oldRecord = t.record();
    studio_->publish(secondBuild());
    QVERIFY(t.startAndCheck());
    bool oldFileStands = false;
    QByteArray recordAtInstalling;
    qint64 pendingAtInstalling = 0;
    t.at(GameState::Installing, [&] {
        t.clearTrace();
        oldFileStands = t.hasFile(u"data/old.dat"_s);
        recordAtInstalling = t.record();
        pendingAtInstalling = t->pendingDownloadBytes();
    });
    qint64 pendingAtSetting = 0;
    connect(&t.settings(), &ConfigManager::changed, this, [&] { pendingAtSetting = t->pendingDownloadBytes(); });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(),
             (QStringList{u"INFO velmo.game: Removed file no longer in the build: \"data/old.dat\""_s,
                          u"INFO velmo.game: Recorded installed build \"1.1.0\" ( 11 )"_s,
                          u"setting game.installedVersion = 1.1.0"_s, u"setting game.installedBuild = 11"_s} +
              GameFixture::stateLines(u"Installed"_s, u"Version 1.1.0 installed"_s)));
    QVERIFY(oldFileStands);
    QCOMPARE(recordAtInstalling, oldRecord);
    QCOMPARE(pendingAtInstalling, 650);
    QCOMPARE(pendingAtSetting, 650);
    QCOMPARE(t->pendingDownloadBytes(), 0);
}

void tst_GameManagerFlows::commitTakesTheManifestThatStandsWhenItHasBeenTold()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.at(GameState::Installing, [&t] { emit t.worker<UpdateManager>()->upToDate(secondBuild().manifest()); });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->installedVersion(), u"1.1.0"_s);
}

void tst_GameManagerFlows::staleFilesAreThoseOfTheRecordThatWasReadLast_data()
{
    QTest::addColumn<bool>("evaluated");
    QTest::newRow("written and read") << true;
    QTest::newRow("written and not read") << false;
}

void tst_GameManagerFlows::staleFilesAreThoseOfTheRecordThatWasReadLast()
{
    QFETCH(const bool, evaluated);
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = secondBuild()});
    QVERIFY(t.startAndCheck());
    Build other = firstBuild();
    other.files[2].path = u"data/other.dat"_s;
    t.at(GameState::Installing, [&] {
        t.install(other);
        if (evaluated) {
            t->setInstallPath(t.root());
        }
    });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.hasFile(u"data/other.dat"_s), !evaluated);
    QCOMPARE(t.hasFile(u"data/old.dat"_s), evaluated);
}

void tst_GameManagerFlows::progressIsForwardedWithoutAChangeOfState()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    const QSignalSpy reported(t.worker<DownloadManager>(), &DownloadManager::progressChanged);
    studio_->server().setBytesPerSecond(3000);
    t->primaryAction();
    QVERIFY(QTest::qWaitFor([&t] { return t.progress().size() >= 2; }, waitMs));
    studio_->server().setBytesPerSecond(0);
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.progress().size(), reported.size());
    QCOMPARE(t.progress().last().bytesReceived, build.totalSize());
    QCOMPARE(t.progress().last().bytesTotal, build.totalSize());
    QCOMPARE(t.progress().last().filesDone, 3);
    QVERIFY(t.progress().first().bytesReceived < build.totalSize());
    const QList<GameFixture::Step> steps = t.steps();
    QCOMPARE(std::count_if(steps.begin(), steps.end(),
                           [](const auto &step) { return step.first == GameState::Downloading; }),
             1);
}

void tst_GameManagerFlows::jobIsNotDisturbedByARepair()
{
    GameFixture t(*studio_);
    QVERIFY(stopInTheMiddleOfTheLastFile(t, *studio_));
    t.clearTrace();
    t->verifyFiles();
    QTRY_COMPARE(t->state(), GameState::Downloading);
    QCOMPARE(
        t.trace({u"velmo.download"_s}),
        GameFixture::stateLines(u"Verifying files"_s, u"Checking game files"_s) +
            (QStringList{u"emit pass: complete"_s, u"WARN velmo.game: Verification found 1 files needing repair"_s} +
             GameFixture::stateLines(u"Repairing files"_s, u"Repairing 1 file"_s) +
             GameFixture::stateLines(u"Downloading"_s, u"400 KB to download"_s) +
             QStringList{u"WARN velmo.download: start() called while a download job is already running; "
                         "ignoring"_s}));
    QVERIFY(t.worker<DownloadManager>()->isRunning());
    t->cancelOperation();
    QCOMPARE(t->state(), GameState::NotInstalled);
}

void tst_GameManagerFlows::jobKeepsItsFilesWhereAListenerEmptiesTheOffer()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.at(GameState::Downloading, [&t] { emit t.worker<UpdateManager>()->upToDate(firstBuild().manifest()); });
    QString heard;
    connect(&t.game(), &GameManager::stateChanged, this, [&heard](GameState state, const QString &detail) {
        if (state == GameState::Downloading) {
            heard = detail;
        }
    });
    t->primaryAction();
    QCOMPARE(heard, u"1.0 KB to download"_s);
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerFlows::jobKeepsItsFolderOnTheServerWhereTheBranchIsSwitched_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<ServiceStatus>("status");
    QTest::addColumn<QString>("recorded"); // version; empty: none
    QTest::newRow("to one that offers a build") << u"beta"_s << ServiceStatus::Online << u"1.1.0"_s;
    QTest::newRow("to one that nobody serves") << u"nowhere"_s << ServiceStatus::Offline << QString();
}

/// The record is of the manifest that was accepted last, whatever the job had been begun with.
void tst_GameManagerFlows::jobKeepsItsFolderOnTheServerWhereTheBranchIsSwitched()
{
    QFETCH(const QString, channel);
    QFETCH(const ServiceStatus, status);
    QFETCH(const QString, recorded);
    GameFixture t(*studio_, {.offered = slowBuild()});
    studio_->publish(secondBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    studio_->server().setBytesPerSecond(1500);
    t->primaryAction();
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::NotInstalled);
    t->selectChannel(channel);
    QVERIFY(t.errors().isEmpty());
    QVERIFY(t.waitForStatus(status));
    QVERIFY(t.worker<DownloadManager>()->isRunning());

    studio_->server().setBytesPerSecond(0);
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(studio_->requestedFiles(),
             (QStringList{inRelease(u"bin/game"_s), inRelease(u"data/one.dat"_s), inRelease(u"data/old.dat"_s)}));
    QVERIFY(t.holdsExactly(slowBuild()));
    QCOMPARE(t->installedVersion(), recorded);
    QCOMPARE(t.record().isNull(), recorded.isEmpty());
    QCOMPARE(t->pendingDownloadBytes(), 0);
}

/// The settings go back to their defaults without the engine.
void tst_GameManagerFlows::jobTakesTheBranchThatWasCheckedNotTheOneInTheSettings()
{
    GameFixture t(*studio_);
    studio_->publish(secondBuild(), u"beta"_s);
    t.presetSetting(u"game.channel"_s, u"beta"_s);
    QVERIFY(t.startAndCheck());
    t.settings().setValue(u"game.channel"_s, QString());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(studio_->requestedFiles().first(), GameStudio::filePath(u"bin/game"_s, u"beta"_s));
    QVERIFY(t.holdsExactly(secondBuild()));
}

void tst_GameManagerFlows::jobTakesFolderAndBranchThatStandWhenItHasBeenTold()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    studio_->publish(firstBuild(), u"beta"_s);
    QVERIFY(t.startAndCheck());
    const QString elsewhere = t.folder() + u"/elsewhere"_s;
    t.at(GameState::Downloading, [&] {
        t->setInstallPath(elsewhere);
        t->selectChannel(u"beta"_s);
    });
    t->primaryAction();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    t.setRoot(elsewhere);
    QVERIFY(t.holdsExactly(firstBuild()));
    QCOMPARE(studio_->requestedFiles().first(), GameStudio::filePath(u"bin/game"_s, u"beta"_s));
}

void tst_GameManagerFlows::branchIsSwitchedUnderAPassWhoseStateHasFallen()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t->verifyFiles();
    t->setInstallPath(t.root());
    QCOMPARE(t->state(), GameState::Installed);
    t->selectChannel(u"blank"_s);
    QVERIFY(t.errors().isEmpty());
    QVERIFY(t.worker<VerificationManager>()->isRunning());
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().filesChecked, 3);
    QVERIFY(!t.log().contains(QtInfoMsg, u"velmo.verify"_s, u"Verification cancelled"_s));
}

void tst_GameManagerFlows::unusableFolderIsRefused_data()
{
    QTest::addColumn<QString>("blocker"); // a folder or file that stands in the way, relative to the root
    QTest::addColumn<bool>("isFolder");
    QTest::addColumn<QString>("message");
    QTest::newRow("cannot be made") << u".velmo"_s << false
                                    << u"The launcher could not create the installation folder. Choose a different "
                                       "location, or run the launcher from a folder you can write to."_s;
    QTest::newRow("cannot be written to") << u".velmo/write-test.tmp"_s << true
                                          << u"The launcher does not have permission to write to the installation "
                                             "folder."_s;
}

void tst_GameManagerFlows::unusableFolderIsRefused()
{
    QFETCH(const QString, blocker);
    QFETCH(const bool, isFolder);
    QFETCH(const QString, message);
    GameFixture t(*studio_, {.offered = firstBuild()});
    if (isFolder) {
        QVERIFY(QDir().mkpath(t.root() + u'/' + blocker));
    } else {
        t.writeFile(blocker, "in the way");
    }
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->primaryAction();
    QCOMPARE(t.trace().mid(1),
             GameFixture::stateLines(u"Something went wrong"_s, u"Installation folder is not usable"_s) +
                 QStringList{GameFixture::errorLine(message, u"prepare() failed for %1"_s.arg(t.root()))});
    QCOMPARE(t->state(), GameState::Error);
    QVERIFY(!t.worker<DownloadManager>()->isRunning());
    QCOMPARE(t->pendingDownloadBytes(), 1000);
    QVERIFY(studio_->requestedFiles().isEmpty());
}

void tst_GameManagerFlows::freeSpaceDecides_data()
{
    QTest::addColumn<qint64>("freeBytes");
    QTest::addColumn<bool>("fits");
    // 1000 bytes and the margin of 15 %
    QTest::newRow("exactly enough") << qint64(1150) << true;
    QTest::newRow("one byte less") << qint64(1149) << false;
    QTest::newRow("none") << qint64(0) << false;
}

void tst_GameManagerFlows::freeSpaceDecides()
{
    QFETCH(const qint64, freeBytes);
    QFETCH(const bool, fits);
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    {
        const DriveSpace space(freeBytes);
        t->primaryAction();
    }
    QCOMPARE(t->state(), fits ? GameState::Downloading : GameState::Error);
    QCOMPARE(t.worker<DownloadManager>()->isRunning(), fits);
    QCOMPARE(t.errors().isEmpty(), fits);
}

void tst_GameManagerFlows::tooLittleSpaceIsToldInFull()
{
    GameFixture t(*studio_);
    studio_->publish(slowBuild()); // 400700 bytes; with the margin just below 460805
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    {
        const DriveSpace space(12345);
        t->primaryAction();
    }
    QCOMPARE(t.trace(),
             GameFixture::stateLines(u"Something went wrong"_s, u"Not enough disk space"_s) +
                 QStringList{GameFixture::errorLine(
                     u"There is not enough free space to install HARROWFEN.\n\n461 KB is required and 12.3 KB is "
                     "available on that drive."_s,
                     u"Required 460804 bytes, available 12345 bytes at %1"_s.arg(t.root()))});
    // With room on the drive the same offer comes back, and goes through.
    QCOMPARE(t->pendingDownloadBytes(), 400700);
    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->state(), GameState::NotInstalled);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerFlows::hugeBuildDoesNotFitOnTheRealDrive()
{
    GameFixture t(*studio_);
    studio_->publishManifest(R"({"version":"1","build":1,"files":[{"path":"huge","size":4e18,"sha256":")" +
                             QByteArray(64, '0') + R"("}]})");
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Error);
    QCOMPARE(t->detail(), u"Not enough disk space"_s);
}

void tst_GameManagerFlows::unknownFreeSpaceDoesNotBlock()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    {
        const DriveSpace space(-1);
        t->primaryAction();
    }
    QCOMPARE(t.trace(), QStringList{u"WARN velmo.game: Could not determine free space for \"%1\""_s.arg(t.root())} +
                            GameFixture::stateLines(u"Downloading"_s, u"1.0 KB to download"_s));
    QVERIFY(t.waitForState(GameState::Installed));
}

void tst_GameManagerFlows::verifyingNeedsAManifest()
{
    GameFixture t(*studio_);
    t.presetSetting(u"launcher.autoCheckUpdates"_s, false);
    t.start();
    t.clearTrace();
    t->verifyFiles();
    QCOMPARE(t.trace({u"velmo.verify"_s}),
             QStringList{GameFixture::errorLine(noManifestMessage, u"No valid manifest available for verification"_s)});
    QCOMPARE(t->state(), GameState::NotInstalled);

    // An unreadable record is no file list either.
    t.install(firstBuild());
    t.writeRecord("{");
    t->setInstallPath(t.root());
    t.clearTrace();
    t->verifyFiles();
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerFlows::verifyingPrefersTheServersManifest()
{
    GameFixture t(*studio_);
    Build larger = firstBuild();
    larger.files.append({u"data/more.dat"_s, QByteArray(10, 'm'), false, {}});
    t.install(larger);
    Build record = firstBuild();
    t.writeRecord(QJsonDocument(record.manifest().toJson()).toJson());
    studio_->publish(larger);
    QVERIFY(t.startAndCheck());
    t->verifyFiles();
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().filesChecked, 4);
}

void tst_GameManagerFlows::verifyingKeepsItsManifestWhereACheckBringsAnother()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.at(GameState::Verifying, [&t] { emit t.worker<UpdateManager>()->upToDate(secondBuild().manifest()); });
    t->verifyFiles();
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().filesChecked, 3);
    QVERIFY(t.passes().first().filesNeedingRepair().isEmpty());
}

void tst_GameManagerFlows::verifyingWantsTheRepairBeforeItIsTold()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    VerificationResult result;
    result.missing = firstBuild().manifest().files.mid(2);
    t.at(GameState::Verifying, [&t, result] { emit t.worker<VerificationManager>()->finished(result); });
    t->verifyFiles();
    QVERIFY(t.passed(GameState::Repairing));
}

void tst_GameManagerFlows::verifyingOfflineUsesTheRecord()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.presetSetting(u"game.channel"_s, u"nowhere"_s);
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->verifyFiles();
    QCOMPARE(t->state(), GameState::Verifying);
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(), GameFixture::stateLines(u"Verifying files"_s, u"Checking game files"_s) +
                            (QStringList{u"emit pass: complete"_s, u"INFO velmo.game: Verification passed: 3 files"_s} +
                             GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s)));
}

void tst_GameManagerFlows::serversManifestStaysTheReferenceAfterAnInstall()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    t.removeFile(u".velmo/installed.json"_s);
    t->setInstallPath(t.root()); // the record is read again, and gone
    t->verifyFiles();
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().filesChecked, 3);
}

/// A server that has one of the game's files lie there can have it found broken, and that is all.
void tst_GameManagerFlows::fileInThePlaceOfTheRecordGivesWayToIt()
{
    GameFixture t(*studio_);
    Build build = firstBuild();
    build.files.append({u".velmo/installed.json"_s, "{\"version\":\"9.9\",\"build\":999}", false, {}});
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(QJsonDocument::fromJson(t.record()).object(), build.manifest().toJson());
    t->verifyFiles();
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().corrupt.size(), 1);
}

void tst_GameManagerFlows::secondVerifyDuringAPassOnlyLogs()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->verifyFiles();
    t->verifyFiles();
    QVERIFY(t.log().contains(QtWarningMsg, u"velmo.verify"_s,
                             u"verify() called while a pass is already running; ignoring"_s));
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.passes().size(), 1);
    QCOMPARE(t.steps().size(), 2);
}

void tst_GameManagerFlows::passWithNothingWrongIsTold()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace({u"velmo.verify"_s}),
             GameFixture::stateLines(u"Verifying files"_s, u"Checking game files"_s) +
                 (QStringList{u"INFO velmo.verify: Verifying 3 files in \"%1\""_s.arg(t.root()),
                              u"INFO velmo.verify: Verification finished: 3 checked, 0 missing, 0 corrupt"_s,
                              u"emit pass: complete"_s, u"INFO velmo.game: Verification passed: 3 files"_s} +
                  GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s)));
}

void tst_GameManagerFlows::passWithNothingWrongLeavesAnUpdateOffered()
{
    GameFixture t(*studio_, {.installed = secondBuild()});
    t.writeRecord(QJsonDocument(firstBuild().manifest().toJson()).toJson());
    studio_->publish(secondBuild());
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->detail(), u"650 B to download"_s);
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QVERIFY(t.log().contains(QtInfoMsg, u"velmo.game"_s, u"Verification passed: 3 files"_s));
    QCOMPARE(t->detail(), u"650 B to download"_s);
    QCOMPARE(t->pendingDownloadBytes(), 650);
}

void tst_GameManagerFlows::passForwardsItsProgress()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.removeFile(u"data/old.dat"_s);
    QSignalSpy progress(&t.game(), &GameManager::verificationProgressChanged);
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Verifying));
    QCOMPARE(progress.size(), 1);
    QCOMPARE(progress.first().at(0).toDouble(), 1.0);
    QCOMPARE(progress.first().at(1).toString(), u"data/old.dat"_s);
}

void tst_GameManagerFlows::passWithoutRepairOffersTheDamage_data()
{
    QTest::addColumn<QStringList>("damaged");
    QTest::addColumn<QString>("detail");
    QTest::addColumn<qint64>("pending");
    QTest::newRow("one") << QStringList{u"data/one.dat"_s} << u"1 file need repairing"_s << qint64(600);
    QTest::newRow("two") << QStringList{u"data/one.dat"_s, u"bin/game"_s} << u"2 files need repairing"_s << qint64(700);
}

void tst_GameManagerFlows::passWithoutRepairOffersTheDamage()
{
    QFETCH(const QStringList, damaged);
    QFETCH(const QString, detail);
    QFETCH(const qint64, pending);
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    for (const QString &path : damaged) {
        t.writeFile(path, "damaged");
    }
    t.clearTrace();
    t.worker<VerificationManager>()->verify(firstBuild().manifest(), t.root());
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t.trace(),
             (QStringList{u"emit pass: complete"_s,
                          u"WARN velmo.game: Verification found %1 files needing repair"_s.arg(damaged.size())} +
              GameFixture::stateLines(u"Update available"_s, detail)));
    QCOMPARE(t->pendingDownloadBytes(), pending);
    QVERIFY(!t.worker<DownloadManager>()->isRunning());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::repairIsWantedForOnePassOnly()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"data/one.dat"_s, "damaged");
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.holdsExactly(firstBuild()));
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.worker<VerificationManager>()->verify(firstBuild().manifest(), t.root());
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t->detail(), u"1 file need repairing"_s);
}

void tst_GameManagerFlows::repairThatAListenerAsksForIsStillWanted_data()
{
    QTest::addColumn<bool>("atTheEnd");
    QTest::newRow("at a pass's end") << true;
    QTest::newRow("at a repair's beginning") << false;
}

void tst_GameManagerFlows::repairThatAListenerAsksForIsStillWanted()
{
    QFETCH(const bool, atTheEnd);
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    VerificationResult result;
    result.missing = firstBuild().manifest().files.mid(2);
    if (atTheEnd) { // of a pass that wants none
        connect(&t.game(), &GameManager::verificationFinished, &t.game(), &GameManager::verifyFiles,
                Qt::SingleShotConnection);
    } else { // of another pass than the one that found the damage
        t.at(GameState::Verifying, [&] { emit t.worker<VerificationManager>()->finished(result); });
        t.at(GameState::Repairing, [&t] { t->verifyFiles(); });
        studio_->server().setBytesPerSecond(50);
        t->verifyFiles();
        QVERIFY(QTest::qWaitFor([&t] { return t.passes().size() == 2; }, waitMs));
        QVERIFY(t.passes().last().missing.isEmpty());
    }
    t.clearTrace();
    emit t.worker<VerificationManager>()->finished(result);
    QVERIFY(t.passed(GameState::Repairing));
    studio_->server().setBytesPerSecond(0);
    QVERIFY(QTest::qWaitFor(
        [&t] { return !t.worker<DownloadManager>()->isRunning() && !t.worker<VerificationManager>()->isRunning(); },
        waitMs));
}

void tst_GameManagerFlows::repairStaysWantedAfterAPassWithoutDamage_data()
{
    QTest::addColumn<bool>("cancelled");
    QTest::newRow("passed") << false;
    QTest::newRow("cancelled") << true;
}

void tst_GameManagerFlows::repairStaysWantedAfterAPassWithoutDamage()
{
    QFETCH(const bool, cancelled);
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Installed));
    if (cancelled) {
        VerificationResult result;
        result.cancelled = true;
        emit t.worker<VerificationManager>()->finished(result);
    }
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.worker<VerificationManager>()->verify(firstBuild().manifest(), t.root());
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.passed(GameState::Repairing));
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::cancelledPassDropsWhatItFound()
{
    GameFixture t(*studio_);
    const qint64 hugeBytes = 1024LL * 1024 * 1024;
    Build build = firstBuild();
    Manifest manifest = build.manifest();
    ManifestFile huge;
    huge.path = u"data/huge.dat"_s;
    huge.size = hugeBytes;
    huge.sha256 = QString(64, u'0');
    manifest.files.append(huge);
    t.install(build);
    t.writeRecord(QJsonDocument(manifest.toJson()).toJson());
    QFile file(t.root() + u"/data/huge.dat"_s);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(hugeBytes)); // takes no space, and long to read
    file.close();
    t.removeFile(u"data/old.dat"_s);
    t.presetSetting(u"game.channel"_s, u"nowhere"_s);
    QVERIFY(t.startAndCheck());
    t.clearTrace();
    QSignalSpy progress(&t.game(), &GameManager::verificationProgressChanged);
    t->verifyFiles();
    QVERIFY(progress.wait()); // the missing file has been seen
    t->cancelOperation();
    QCOMPARE(t->state(), GameState::Verifying);
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace({u"velmo.verify"_s}).mid(3),
             (QStringList{u"INFO velmo.verify: Verification cancelled"_s,
                          u"INFO velmo.verify: Verification stopped early"_s, u"emit pass: cancelled"_s} +
              GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s)));
    QCOMPARE(t.passes().first().missing.size(), 1);
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(!t.passed(GameState::Repairing));
}

void tst_GameManagerFlows::repairOfOneFile()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"data/one.dat"_s, QByteArray(600, 'x'));
    t.clearTrace();
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QStringList expected = GameFixture::stateLines(u"Verifying files"_s, u"Checking game files"_s);
    expected << u"emit pass: complete"_s << u"WARN velmo.game: Verification found 1 files needing repair"_s;
    expected += GameFixture::stateLines(u"Repairing files"_s, u"Repairing 1 file"_s);
    expected += GameFixture::stateLines(u"Downloading"_s, u"600 B to download"_s);
    expected += GameFixture::stateLines(u"Installing"_s, u"Finishing installation"_s);
    expected << u"INFO velmo.game: Recorded installed build \"1.0.0\" ( 10 )"_s
             << u"setting game.installedVersion = 1.0.0"_s << u"setting game.installedBuild = 10"_s;
    expected += GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s);
    QCOMPARE(t.trace(), expected);
    QCOMPARE(studio_->requestedFiles(), QStringList{inRelease(u"data/one.dat"_s)});
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::repairOfTwoFilesFetchesMissingOnesFirst()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"bin/game"_s, "damaged");
    t.removeFile(u"data/old.dat"_s);
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.steps().contains(GameFixture::Step(GameState::Repairing, u"Repairing 2 files"_s)));
    QCOMPARE(studio_->requestedFiles(), (QStringList{inRelease(u"data/old.dat"_s), inRelease(u"bin/game"_s)}));
    QVERIFY(t.holdsExactly(firstBuild()));
#ifndef Q_OS_WIN
    QVERIFY(QFileInfo(t.root() + u"/bin/game"_s).isExecutable());
#endif
}

void tst_GameManagerFlows::repairBringsBackAMissingProgram()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    t.removeFile(u"bin/game"_s);
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->detail(), u"Game files are incomplete"_s);
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::repairOfAnOlderBuildIsAnUpdate()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = secondBuild()});
    QVERIFY(t.startAndCheck());
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QVERIFY(t.steps().contains(GameFixture::Step(GameState::Repairing, u"Repairing 2 files"_s)));
    QCOMPARE(t->detail(), u"Version 1.1.0 installed"_s);
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(t.holdsExactly(secondBuild()));
}

void tst_GameManagerFlows::repairAgainstTheRecordRecordsNothing()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    studio_->server().addFault(GameStudio::manifestPath(), {.status = 404});
    const QByteArray record = t.record();
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.statuses().last().first, ServiceStatus::Degraded);
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.at(GameState::Installing, [&t] { t.clearTrace(); });
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t.trace(), GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s));
    QCOMPARE(t.record(), record);
    QCOMPARE(t.settings().stringValue(u"game.installedVersion"_s, u"none"_s), QString());
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::offeredDamageIsSettledWithoutTheServersManifest()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    studio_->server().addFault(GameStudio::manifestPath(), {.status = 404});
    const QByteArray record = t.record();
    QVERIFY(t.startAndCheck());
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.worker<VerificationManager>()->verify(firstBuild().manifest(), t.root());
    QVERIFY(t.waitForState(GameState::UpdateAvailable));
    QCOMPARE(t->pendingDownloadBytes(), 600);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QCOMPARE(t.record(), record);
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::repairOfflineFailsAndTriesAgainLater()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.writeFile(u"data/one.dat"_s, "damaged");
    t.presetSetting(u"game.channel"_s, u"blank"_s);
    QVERIFY(t.startAndCheck());
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Error));
    QCOMPARE(t->detail(), u"A game file could not be downloaded safely."_s);
    QCOMPARE(t.errors().size(), 1);
    t->primaryAction();
    QCOMPARE(t->state(), GameState::Installed);
}

void tst_GameManagerFlows::repairAsksNeitherForTheFolderNorForSpace()
{
    GameFixture t(*studio_, {.installed = firstBuild(), .offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"data/one.dat"_s, "damaged");
    QVERIFY(QDir().mkpath(t.root() + u"/.velmo/write-test.tmp"_s));
    const DriveSpace space(0);
    t->verifyFiles();
    QVERIFY(t.waitUntilPast(GameState::Installing));
    QCOMPARE(t->state(), GameState::Installed);
    QVERIFY(t.errors().isEmpty());
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::cancelledRepairForgetsTheDamage()
{
    GameFixture t(*studio_, {.installed = slowBuild(), .offered = slowBuild()});
    QVERIFY(t.startAndCheck());
    t.writeFile(u"data/old.dat"_s, "damaged");
    studio_->server().setBytesPerSecond(10000);
    t->verifyFiles();
    QVERIFY(t.waitForState(GameState::Downloading));
    t.clearTrace();
    t->cancelOperation();
    QCOMPARE(t.trace({u"velmo.download"_s}),
             (QStringList{u"INFO velmo.download: Download cancelled by the user"_s,
                          u"INFO velmo.game: Install cancelled; leaving partial files in place for resume"_s} +
              GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s)));
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QCOMPARE(t.readFile(u"data/old.dat"_s), "damaged");
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManagerFlows::cancelledInstallIsOfferedAgainAndResumes()
{
    GameFixture t(*studio_);
    QVERIFY(stopInTheMiddleOfTheLastFile(t, *studio_));
    t.clearTrace();
    t->cancelOperation();
    QCOMPARE(t.trace({u"velmo.download"_s}),
             (QStringList{u"INFO velmo.download: Download cancelled by the user"_s,
                          u"INFO velmo.game: Install cancelled; leaving partial files in place for resume"_s} +
              GameFixture::stateLines(u"Not installed"_s, u"401 KB required"_s)));
    QCOMPARE(t->pendingDownloadBytes(), 400700);
    QVERIFY(t.errors().isEmpty());
    QVERIFY(t.record().isNull());
    QCOMPARE(t.readFile(u"data/old.dat.part"_s).size(), 250000);

    studio_->server().clearRequests();
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(studio_->requestedFiles(),
             (QStringList{inRelease(u"bin/game"_s), inRelease(u"data/one.dat"_s), inRelease(u"data/old.dat"_s)}));
    QCOMPARE(rangeOf(studio_->server().requests(inRelease(u"bin/game"_s)).last()), QByteArray());
    QCOMPARE(rangeOf(studio_->server().requests(inRelease(u"data/old.dat"_s)).last()), "bytes=250000-");
    QVERIFY(t.holdsExactly(slowBuild()));
}

void tst_GameManagerFlows::cancelledUpdateIsOfferedAgain()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    const QByteArray record = t.record();
    QVERIFY(stopInTheMiddleOfTheLastFile(t, *studio_));
    t.clearTrace();
    t->cancelOperation();
    QCOMPARE(t.trace().mid(1), GameFixture::stateLines(u"Update available"_s, u"400 KB to download"_s));
    QCOMPARE(t.record(), record);
    QCOMPARE(t.readFile(u"data/old.dat"_s), firstBuild().content(u"data/old.dat"_s));
    QVERIFY(t.errors().isEmpty());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(slowBuild()));
}

void tst_GameManagerFlows::closedLauncherLosesNothing()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    t.close();
    const QByteArray record = t.record();
    Build next = slowBuild();
    next.version = u"1.1.0"_s;
    next.build = 11;
    QVERIFY(stopInTheMiddleOfTheLastFile(t, *studio_, next));
    t.close();
    QCOMPARE(t.record(), record);
    QCOMPARE(t.readFile(u"data/old.dat.part"_s).size(), 250000);
    t.clearTrace();
    studio_->server().clearRequests();

    QVERIFY(t.startAndCheck());
    QCOMPARE(t.settings().stringValue(u"game.installedVersion"_s, {}), u"1.0.0"_s);
    QCOMPARE(t.settings().intValue(u"game.installedBuild"_s, 0), 10);
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"400 KB to download"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(rangeOf(studio_->server().requests(inRelease(u"data/old.dat"_s)).last()), "bytes=250000-");
    QVERIFY(t.holdsExactly(next));
    QCOMPARE(t.settings().stringValue(u"game.installedVersion"_s, {}), u"1.1.0"_s);
    QCOMPARE(t.settings().intValue(u"game.installedBuild"_s, 0), 11);
}

void tst_GameManagerFlows::stopIsSilent_data()
{
    QTest::addColumn<bool>("job");
    QTest::newRow("under a job") << true;
    QTest::newRow("under a pass") << false;
}

/// What the stop ends is no failure that a player has to hear of.
void tst_GameManagerFlows::stopIsSilent()
{
    QFETCH(const bool, job);
    GameFixture t(*studio_);
    if (job) {
        QVERIFY(stopInTheMiddleOfTheLastFile(t, *studio_));
    } else {
        t.install(firstBuild());
        studio_->publish(firstBuild());
        QVERIFY(t.startAndCheck());
        t->verifyFiles();
    }
    t.clearTrace();
    t.close();
    QCOMPARE(t.trace(), QStringList());
    QVERIFY(t.passes().isEmpty());
    QVERIFY(t.progress().isEmpty());
}

void tst_GameManagerFlows::interruptedUpdateOfflineStillPlaysTheOldVersion()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    t.writeFile(u"data/one.dat"_s, secondBuild().content(u"data/one.dat"_s)); // one file of the new build has landed
    studio_->server().stop();
    QVERIFY(t.startAndCheck());
    QCOMPARE(t.statuses().last().first, ServiceStatus::Offline);
    QCOMPARE(t->state(), GameState::Installed);
    QCOMPARE(t->detail(), u"Version 1.0.0 installed"_s);
    t.worker<VerificationManager>()->verify(t.worker<InstallManager>()->loadInstalledManifest(), t.root());
    QTRY_COMPARE(t.passes().size(), 1);
    QCOMPARE(t.passes().first().corrupt.size(), 1);
    QCOMPARE(t.passes().first().corrupt.first().path, u"data/one.dat"_s);
}

void tst_GameManagerFlows::failedJobRecordsNothing()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    const QByteArray record = t.record();
    studio_->publish(secondBuild());
    studio_->server().addFault(inRelease(u"data/one.dat"_s), {.status = 404});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Error));
    QVERIFY(t.hasFile(u"data/new.dat"_s)); // all but the last file have landed
    QVERIFY(t.hasFile(u"data/old.dat"_s)); // and nothing of the old build is removed
    QCOMPARE(t.record(), record);
    QCOMPARE(t.settings().stringValue(u"game.installedVersion"_s, u"none"_s), QString());
    QVERIFY(!t.passed(GameState::Installing));
}

void tst_GameManagerFlows::failedJobIsOfferedAgain()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    studio_->server().addFault(inRelease(u"data/old.dat"_s), {.status = 404});
    QVERIFY(t.startAndCheck());
    QString detail;
    connect(t.worker<DownloadManager>(), &DownloadManager::failed, this,
            [&detail](const QString &, const QString &technical) { detail = technical; });
    t->primaryAction();
    t.clearTrace();
    QVERIFY(t.waitForState(GameState::Error));
    QCOMPARE(t.trace(), GameFixture::stateLines(u"Something went wrong"_s, downloadFailed) +
                            QStringList{GameFixture::errorLine(downloadFailed, detail)});
    QVERIFY(detail.contains("(HTTP 404)"_L1));
    QCOMPARE(t->pendingDownloadBytes(), 1000);
    QVERIFY(!t->canCancel());

    studio_->server().clearFaults();
    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    QCOMPARE(t->detail(), u"1.0 KB required"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QVERIFY(t.holdsExactly(firstBuild()));
}

void tst_GameManagerFlows::fullDriveEndsTheJobAndTheRestFollowsLater()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    QVERIFY(t.startAndCheck());
    const QString message = u"The launcher ran out of space, or could not write to the installation folder."_s;
    {
        const FullDrive full(200000);
        t->primaryAction();
        QVERIFY(t.waitForState(GameState::Error));
    }
    QCOMPARE(t->detail(), message);
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t.errors().first().first, message);
    QVERIFY(t.errors().first().second.startsWith(u"Short write to %1/data/old.dat.part: wrote "_s.arg(t.root())));
    const QByteArray kept = t.readFile(u"data/old.dat.part"_s);
#ifdef Q_OS_WIN
    QVERIFY(kept.size() <= 200000); // a write goes through whole or not at all
#else
    QCOMPARE(kept.size(), 200000);
#endif
    QVERIFY(build.content(u"data/old.dat"_s).startsWith(kept));
    QVERIFY(t.record().isNull());

    t->primaryAction();
    QVERIFY(t.waitForStatus(ServiceStatus::Online));
    studio_->server().clearRequests();
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QByteArray range = kept.isEmpty() ? QByteArray() : "bytes=" + QByteArray::number(kept.size()) + '-';
    QCOMPARE(rangeOf(studio_->server().requests(inRelease(u"data/old.dat"_s)).last()), range);
    QVERIFY(t.holdsExactly(build));
}

void tst_GameManagerFlows::recordThatCannotBeCommittedLeavesTheOldOne()
{
    GameFixture t(*studio_, {.installed = firstBuild()});
    const QByteArray record = t.record();
    Build wordy = secondBuild();
    wordy.notes = QString(200000, u'n'); // the record needs more room than each of the files
    studio_->publish(wordy);
    QVERIFY(t.startAndCheck());
    {
        const FullDrive full(100000);
        t.at(GameState::Installing, [&t] { t.clearTrace(); });
        t->primaryAction();
        QVERIFY(t.waitForState(GameState::Installed));
    }
    QCOMPARE(t.trace().size(), 6);
    QCOMPARE(t.trace().at(0), u"INFO velmo.game: Removed file no longer in the build: \"data/old.dat\""_s);
    QVERIFY(t.trace().at(1).startsWith("WARN velmo.game: Could not commit the installed manifest: "_L1));
    QCOMPARE(t.trace().mid(2),
             (QStringList{u"setting game.installedVersion = 1.1.0"_s, u"setting game.installedBuild = 11"_s} +
              GameFixture::stateLines(u"Installed"_s, u"Version 1.0.0 installed"_s)));
    QCOMPARE(t.record(), record);
    QCOMPARE(t->pendingDownloadBytes(), 0);
    QVERIFY(t.errors().isEmpty());

    // The next check offers the build again.
    t.close();
    QVERIFY(t.startAndCheck());
    QCOMPARE(t->state(), GameState::UpdateAvailable);
    QCOMPARE(t->detail(), u"650 B to download"_s);
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(t->detail(), u"Version 1.1.0 installed"_s);
}

void tst_GameManagerFlows::recordThatCannotBeOpenedLeavesNone()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    QVERIFY(t.startAndCheck());
    t.at(GameState::Installing, [&t] {
        t.clearTrace();
        QDir(t.root() + u"/.velmo"_s).removeRecursively();
        t.writeFile(u".velmo"_s, "a file where the folder was");
    });
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::NotInstalled));
    QVERIFY(t.trace().first().startsWith("WARN velmo.game: Could not record the installed manifest: "_L1));
    QVERIFY(t.record().isNull());
    QCOMPARE(t->pendingDownloadBytes(), 0);
}

void tst_GameManagerFlows::serverThatHangsUpEarlyIsAskedForTheRest()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    studio_->server().addFault(inRelease(u"data/old.dat"_s),
                               {.kind = Fault::CloseAfter, .bytes = 123456, .lastAttempt = 1});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QList<studio::Request> requests = studio_->server().requests(inRelease(u"data/old.dat"_s));
    QCOMPARE(requests.size(), 2);
    const QByteArray range = rangeOf(requests.last());
    QVERIFY(range.startsWith("bytes=") && range.endsWith('-'));
    const qsizetype kept = range.sliced(6, range.size() - 7).toLongLong();
    QVERIFY(kept >= 123456 - lostAtACut && kept <= 123456);
    QCOMPARE(requests.last().status, 206);
    QVERIFY(t.holdsExactly(build));
    QVERIFY(t.errors().isEmpty());
}

void tst_GameManagerFlows::serverThatIgnoresRangesSendsTheWholeFile()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    t.writeFile(u"data/old.dat.part"_s, QByteArray(5000, 'x'));
    studio_->server().addFault(inRelease(u"data/old.dat"_s), {.kind = Fault::IgnoreRange});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(studio_->server().requests(inRelease(u"data/old.dat"_s)).size(), 1);
    QVERIFY(t.log().contains(QtInfoMsg, u"velmo.download"_s,
                             u"Server ignored the range request; restarting the file from zero"_s));
    QVERIFY(t.holdsExactly(build));
}

void tst_GameManagerFlows::serverThatSendsTheWrongRangeIsNotBelieved()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    t.writeFile(u"data/old.dat.part"_s, build.content(u"data/old.dat"_s).first(5000));
    studio_->server().addFault(inRelease(u"data/old.dat"_s), {.kind = Fault::WrongRange});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    const QList<studio::Request> requests = studio_->server().requests(inRelease(u"data/old.dat"_s));
    QCOMPARE(rangeOf(requests.first()), "bytes=5000-");
    QCOMPARE(requests.first().status, 206);
    QCOMPARE(rangeOf(requests.last()), QByteArray());
    QVERIFY(t.holdsExactly(build));
}

void tst_GameManagerFlows::serverThatRefusesRangesEndsTheJob()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    const QByteArray part = build.content(u"data/old.dat"_s).first(5000);
    t.writeFile(u"data/old.dat.part"_s, part);
    studio_->server().addFault(inRelease(u"data/old.dat"_s), {.kind = Fault::RangeRefused});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Error));
    QCOMPARE(t->detail(), downloadFailed);
    QCOMPARE(studio_->server().requests(inRelease(u"data/old.dat"_s)).size(), 1);
    QVERIFY(t.errors().first().second.contains("(HTTP 416)"_L1));
    QCOMPARE(t.readFile(u"data/old.dat.part"_s), part);
    QVERIFY(t.record().isNull());
}

void tst_GameManagerFlows::serverThatRedirectsToPlainHttpIsNotFollowed()
{
    GameFixture t(*studio_, {.offered = firstBuild()});
    studio_->server().addFault(inRelease(u"data/old.dat"_s),
                               {.kind = Fault::Redirect, .location = u"http://127.0.0.1:1/data/old.dat"_s});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Error));
    QCOMPARE(t.errors().size(), 1);
    QCOMPARE(t.errors().first().first, downloadFailed);
    QCOMPARE(studio_->server().requests(inRelease(u"data/old.dat"_s)).size(), 1);
    QVERIFY(!t.hasFile(u"data/old.dat"_s));
    QVERIFY(t.record().isNull());
}

void tst_GameManagerFlows::serverThatCorruptsOnceIsAskedAgain()
{
    GameFixture t(*studio_);
    const Build build = slowBuild();
    studio_->publish(build);
    studio_->server().addFault(inRelease(u"data/old.dat"_s),
                               {.kind = Fault::Corrupt, .bytes = 300000, .lastAttempt = 1});
    QVERIFY(t.startAndCheck());
    t->primaryAction();
    QVERIFY(t.waitForState(GameState::Installed));
    QCOMPARE(studio_->server().requests(inRelease(u"data/old.dat"_s)).size(), 2);
    QVERIFY(t.log().contains(QtWarningMsg, u"velmo.download"_s,
                             u"Retrying \"data/old.dat\" in 1000 ms (attempt 2 of 4 )"_s));
    QVERIFY(t.holdsExactly(build));
    QVERIFY(t.errors().isEmpty());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_GameManagerFlows>(argc, argv);
}

#include "tst_GameManagerFlows.moc"
