#include "publish/Publisher.h"
#include "publish/TreeCheck.h"
#include "support/TestEnvironment.h"
#include "tools/publish/FailingSync.h"
#include "tools/publish/FakeClone.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QSet>

#include <cerrno>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::publish::Publisher;
using velmo::publish::PublishOrder;
using velmo::publish::PublishProgress;
using velmo::publish::PublishResult;
using velmo::publish::PublishStep;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;
using velmo::test::writeFile;

class tst_Publisher : public QObject {
    Q_OBJECT

private slots:
    void buildComesOutAsManifestAndContentFiles();
    void manifestIsReadBackWhole();
    void filesAreListedByTheBytesOfTheirPaths();
    void namedProgramAndRunBitMakeExecutables();
    void unusualNamesAndEmptyFilesArePublished();
    void thousandSmallFilesArePublished_data();
    void thousandSmallFilesArePublished();
    void equalFilesOfOneBuildAreStoredOnce();
    void secondBuildStoresOnlyWhatIsNew();
    void channelsShareTheirFiles();
    void otherGameHasItsOwnFolder();
    void heldFileOfTheRightSizeIsKept();
    void heldFileOfAnotherSizeIsReplaced();
    void unchangedLargeFileIsNotCopiedOnceMore();
    void largeFileThatChangedAndKeptItsSizeIsCopied();
    void progressGoesFromScanningToCopyingAndALastLook();

    void badBuildIsRefusedBeforeAnythingIsWritten();
    void missingExecutableIsRefused();
    void executableIsMatchedToTheLetter();
    void placesThatLieInEachOtherAreRefused_data();
    void placesThatLieInEachOtherAreRefused();
    void buildBesideTheGameInTheSameFolderIsPublished();
    void buildThatIsNotAboveTheLastIsRefused_data();
    void buildThatIsNotAboveTheLastIsRefused();
    void olderBuildOfAnotherChannelIsPublished();
    void damagedManifestIsRefused();
    void allowOlderReplacesADamagedManifest();
    void allReasonsAreGivenTogether();
    void buildThatPlayersCannotUpdateToIsRefused_data();
    void buildThatPlayersCannotUpdateToIsRefused();
    void buildBetweenLetsTheNameChange();
    void otherChannelsNamesAreNotCompared();
    void buildPublishedDuringTheWalkIsSeenAtTheSecondLook_data();
    void buildPublishedDuringTheWalkIsSeenAtTheSecondLook();
    void buildPublishedOverASettledOneIsSeenAtTheSecondLook();
    void secondPublisherIsRefused();
    void lockIsGoneAfterwards();
    void treeThatCannotBeMadeIsNamed();

    void oldManifestStandsWhileFilesAreCopied();
    void oldManifestStandsWhenCopyingFails();
    void driveHasTheNamesBeforeTheManifest_data();
    void driveHasTheNamesBeforeTheManifest();
    void noManifestStandsOverNamesThatTheDriveDoesNotTake();
    void whatWasCopiedBeforeAFailureServesTheNextAttempt();
    void fileThatChangesAfterHashingIsNoticed();
    void fileThatChangesToTheSameSizeAndTimeIsNoticed();
    void fileThatVanishesWhileHashingIsNoticed();
    void fileThatAppearsIsNoticed();
    void whatAppearsAndCannotBePublishedIsNoticed();
    void fileThatGoesAfterCopyingIsNoticed();
    void manifestThatCannotBePutInPlaceIsNamed();

    void pruneRemovesWhatOnlyTheOldBuildNamed();
    void withoutPruneOldFilesStay();
    void pruneKeepsWhatAnotherChannelNames();
    void pruneIsRefusedWhileAManifestIsDamaged();
    void pruneIsRefusedWhileAPackedManifestTellsOfAnotherBuild();
    void pruneIsRefusedWhileAChannelCannotBeSeen_data();
    void pruneIsRefusedWhileAChannelCannotBeSeen();
    void pruneWithAllowOlderReplacesItsOwnDamagedManifest();
    void pruneRemovesNothingWhenAManifestIsDamagedMeanwhile();
    void pruneRemovesNothingWhenAChannelIsOutOfSightMeanwhile();
};

namespace {

PublishOrder secondOrder(const PublishFixture &fixture)
{
    PublishOrder order = fixture.order();
    order.version = u"2.0"_s;
    order.build = 2;
    return order;
}

QString manifestPath(const PublishFixture &fixture, const QString &channel = u"release"_s)
{
    return fixture.contentTree().manifestPath(channel);
}

/// Content files in the tree.
QStringList stored(const PublishFixture &fixture)
{
    return PublishFixture::filesBelow(fixture.contentTree().contentFolder());
}

/// Writes \a bytes to \a path, which then looks as if that had been long ago.
void writeAsOf1970(const QString &path, const QByteArray &bytes)
{
    writeFile(path, bytes);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(1000), QFile::FileModificationTime));
}

/// Runs \a order and calls \a action at the first report that is \a wanted.
PublishResult runWithAction(const PublishOrder &order, const std::function<bool(const PublishProgress &)> &wanted,
                            const std::function<void()> &action)
{
    Publisher publisher(order);
    bool acted = false;
    publisher.setProgress([&wanted, &action, &acted](const PublishProgress &progress) {
        if (!acted && wanted(progress)) {
            acted = true;
            action();
        }
    });
    return publisher.run();
}

/// Runs \a order and calls \a action when the step begins.
PublishResult runWithActionAt(PublishStep step, const PublishOrder &order, const std::function<void()> &action)
{
    return runWithAction(
        order, [step](const PublishProgress &progress) { return progress.step == step; }, action);
}

/// Runs \a order and calls \a action when the step is done.
PublishResult runWithActionAfter(PublishStep step, const PublishOrder &order, const std::function<void()> &action)
{
    return runWithAction(
        order, [step](const PublishProgress &progress) { return progress.step == step && progress.finished; }, action);
}

} // namespace

void tst_Publisher::buildComesOutAsManifestAndContentFiles()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a.pak"_s, "first");
    fixture.write(u"b"_s, "second");
    const PublishResult result = fixture.publish();
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.copied, 2);
    QStringList expected = {u"harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256Of("first")),
                            u"harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256Of("second")),
                            u"harrowfen/release/manifest.json"_s, u"harrowfen/release/manifest.json.gz"_s};
    expected.sort();
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), expected);
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("first")), "first");
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("second")), "second");
}

void tst_Publisher::manifestIsReadBackWhole()
{
    const PublishFixture fixture;
    fixture.write(u"Bin/game"_s, "program");
    fixture.write(u"Data/a.pak"_s, "first");
    PublishOrder order = fixture.order();
    order.version = u"1.2.0"_s;
    order.build = 120;
    order.executable = u"Bin/game"_s;
    order.notes = u"A quieter fen — and \"warmer\" lanterns.\n"_s;
    const QDateTime before = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch()).toUTC();
    const PublishResult result = Publisher(order).run();
    QCOMPARE(result.problems, QStringList());

    QString error;
    const QByteArray json = velmo::test::contentOf(manifestPath(fixture));
    const Manifest manifest = Manifest::fromJson(QJsonDocument::fromJson(json).object(), &error);
    QVERIFY2(manifest.valid, qUtf8Printable(error));
    QCOMPARE(manifest.version, u"1.2.0"_s);
    QCOMPARE(manifest.build, 120);
    QCOMPARE(manifest.channel, u"release"_s);
    QCOMPARE(manifest.executable, u"Bin/game"_s);
    QCOMPARE(manifest.notes, order.notes);
    QCOMPARE(manifest.released.timeSpec(), Qt::UTC);
    QVERIFY(manifest.released >= before && manifest.released <= QDateTime::currentDateTimeUtc());
    QCOMPARE(manifest.files.size(), 2);
    const velmo::ManifestFile &file = manifest.files.at(1);
    QCOMPARE(file.path, u"Data/a.pak"_s);
    QCOMPARE(file.sha256, sha256Of("first"));
    QCOMPARE(file.size, 5);
    QCOMPARE(file.url, u"../files/%1/%2"_s.arg(sha256Of("first").first(2), sha256Of("first")));
    QVERIFY(result.manifest.valid);
    Manifest header = manifest;
    header.files.clear();
    QCOMPARE(result.manifest.toJson(), header.toJson());
    QCOMPARE(result.files, 2);
    QCOMPARE(result.bytes, 12);
}

void tst_Publisher::filesAreListedByTheBytesOfTheirPaths()
{
    const PublishFixture fixture;
    for (const QString &path : {u"b"_s, u"a/z"_s, u"a-b"_s, u"C"_s, u"ä"_s}) {
        fixture.write(path, "x");
    }
    QCOMPARE(fixture.publish().problems, QStringList());
    QStringList paths;
    for (const velmo::ManifestFile &file : fixture.manifest().files) {
        paths.append(file.path);
    }
    QCOMPARE(paths, QStringList({u"C"_s, u"a-b"_s, u"a/z"_s, u"b"_s, u"ä"_s}));
}

void tst_Publisher::namedProgramAndRunBitMakeExecutables()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    fixture.write(u"game.exe"_s, "x");
    fixture.write(u"server"_s, "x");
    QVERIFY(velmo::test::setMode(fixture.build() + u"/server"_s, 0755));
    PublishOrder order = fixture.order();
    order.executable = u"game.exe"_s;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    const QList<velmo::ManifestFile> files = fixture.manifest().files;
    QCOMPARE(files.size(), 3);
    QVERIFY(!files.at(0).executable);
    QVERIFY(files.at(1).executable);
    QVERIFY(files.at(2).executable);
}

void tst_Publisher::unusualNamesAndEmptyFilesArePublished()
{
    const PublishFixture fixture;
    fixture.write(u"Füße/地 図.bin"_s, "map");
    fixture.write(u"100% #1 &?.txt"_s.remove(u'?'), "percent");
    fixture.write(u"empty"_s, "");
    const PublishResult result = fixture.publish();
    QCOMPARE(result.problems, QStringList());
    const QList<velmo::ManifestFile> files = fixture.manifest().files;
    QCOMPARE(files.size(), 3);
    QCOMPARE(files.at(0).path, u"100% #1 &.txt"_s);
    QCOMPARE(files.at(1).path, u"Füße/地 図.bin"_s);
    QCOMPARE(files.at(2).path, u"empty"_s);
    QCOMPARE(files.at(2).size, 0);
    QCOMPARE(files.at(2).sha256, sha256Of(""));
    QVERIFY(QFile::exists(fixture.storedPath("")));
    QCOMPARE(velmo::publish::TreeCheck(fixture.contentTree(), 2).run().problems, QStringList());
}

void tst_Publisher::thousandSmallFilesArePublished_data()
{
    QTest::addColumn<int>("jobs");
    QTest::newRow("one job") << 1;
    QTest::newRow("eight jobs") << 8;
}

void tst_Publisher::thousandSmallFilesArePublished()
{
    QFETCH(int, jobs);
    const PublishFixture fixture;
    for (int number = 0; number < 1000; ++number) {
        fixture.write(u"Data/%1/%2"_s.arg(number % 10).arg(number), QByteArray::number(number));
    }
    PublishOrder order = fixture.order();
    order.jobs = jobs;
    const PublishResult result = Publisher(order).run();
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.copied, 1000);
    const Manifest manifest = fixture.manifest();
    QCOMPARE(manifest.files.size(), 1000);
    for (const velmo::ManifestFile &file : manifest.files) {
        const QByteArray bytes = file.path.section(u'/', 2).toLatin1();
        QCOMPARE(file.sha256, sha256Of(bytes));
        QCOMPARE(file.size, bytes.size());
    }
    QCOMPARE(velmo::publish::TreeCheck(fixture.contentTree(), jobs).run().problems, QStringList());
}

void tst_Publisher::equalFilesOfOneBuildAreStoredOnce()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "same");
    fixture.write(u"b"_s, "same");
    const PublishResult result = fixture.publish();
    QCOMPARE(result.copied, 1);
    QCOMPARE(stored(fixture).size(), 1);
    QCOMPARE(fixture.manifest().files.size(), 2);
}

void tst_Publisher::secondBuildStoresOnlyWhatIsNew()
{
    const PublishFixture fixture;
    fixture.write(u"same"_s, "same");
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().copied, 2);
    fixture.write(u"data"_s, "new");
    const PublishResult second = Publisher(secondOrder(fixture)).run();
    QCOMPARE(second.problems, QStringList());
    QCOMPARE(second.copied, 1);
    QCOMPARE(stored(fixture).size(), 3);
    QCOMPARE(fixture.manifest().build, 2);
}

void tst_Publisher::channelsShareTheirFiles()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "same");
    QCOMPARE(fixture.publish().copied, 1);
    PublishOrder beta = fixture.order();
    beta.channel = u"beta"_s;
    QCOMPARE(Publisher(beta).run().copied, 0);
    QCOMPARE(stored(fixture).size(), 1);
    QCOMPARE(fixture.manifest(u"beta"_s).channel, u"beta"_s);
    QCOMPARE(fixture.manifest(u"beta"_s).files.first().url, fixture.manifest().files.first().url);
}

void tst_Publisher::otherGameHasItsOwnFolder()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    PublishOrder order = fixture.order();
    order.game = u"other"_s;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    QVERIFY(QFile::exists(fixture.tree() + u"/other/release/manifest.json"_s));
    QVERIFY(!QFile::exists(fixture.tree() + u"/harrowfen"_s));
}

void tst_Publisher::heldFileOfTheRightSizeIsKept()
{
    // The size decides; reading every held file would make each publish as long as a check of the tree.
    const PublishFixture fixture;
    fixture.write(u"data"_s, "data");
    writeFile(fixture.storedPath("data"), "DATA");
    QCOMPARE(fixture.publish().copied, 0);
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("data")), "DATA");
}

void tst_Publisher::heldFileOfAnotherSizeIsReplaced()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "data");
    writeFile(fixture.storedPath("data"), "da");
    QCOMPARE(fixture.publish().copied, 1);
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("data")), "data");
}

void tst_Publisher::unchangedLargeFileIsNotCopiedOnceMore()
{
    const PublishFixture fixture;
    const QByteArray bytes(2 * velmo::publish::digestBlock, 'l');
    fixture.write(u"large"_s, bytes);
    const velmo::test::FakeClone copies(bytes); // tells when one is begun
    QCOMPARE(fixture.publish().copied, 1);
    QCOMPARE(copies.clones(), 1);
    QCOMPARE(Publisher(secondOrder(fixture)).run().copied, 0);
    QCOMPARE(copies.clones(), 1);
    PublishOrder order = secondOrder(fixture);
    order.build = 3;
    QVERIFY(QFile::remove(fixture.storedPath(bytes)));
    QCOMPARE(Publisher(order).run().copied, 1);
    QCOMPARE(copies.clones(), 2);
}

void tst_Publisher::largeFileThatChangedAndKeptItsSizeIsCopied()
{
    const PublishFixture fixture;
    fixture.write(u"large"_s, QByteArray(2 * velmo::publish::digestBlock, 'o'));
    QCOMPARE(fixture.publish().problems, QStringList());
    const QByteArray later(2 * velmo::publish::digestBlock, 'n');
    fixture.write(u"large"_s, later);
    const PublishResult result = Publisher(secondOrder(fixture)).run();
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.copied, 1);
    QVERIFY(velmo::test::contentOf(fixture.storedPath(later)) == later);
    QCOMPARE(fixture.manifest().files.first().sha256, sha256Of(later));
}

void tst_Publisher::progressGoesFromScanningToCopyingAndALastLook()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "same");
    fixture.write(u"b"_s, "same");
    QList<PublishProgress> reports;
    Publisher publisher(fixture.order());
    publisher.setProgress([&reports](const PublishProgress &progress) { reports.append(progress); });
    QCOMPARE(publisher.run().problems, QStringList());
    QList<PublishStep> begun;
    QList<PublishProgress> finished;
    for (const PublishProgress &progress : reports) {
        if (begun.isEmpty() || begun.last() != progress.step) {
            QCOMPARE(progress.filesDone, 0);
            begun.append(progress.step);
        }
        if (progress.finished) {
            finished.append(progress);
        }
    }
    QCOMPARE(begun, QList({PublishStep::Scan, PublishStep::Hash, PublishStep::Copy, PublishStep::Scan}));
    QCOMPARE(finished.size(), 3);
    QCOMPARE(finished.at(0).step, PublishStep::Scan);
    QCOMPARE(finished.at(0).filesDone, 2);
    QCOMPARE(finished.at(0).bytesDone, 8);
    QCOMPARE(finished.at(1).step, PublishStep::Hash);
    QCOMPARE(finished.at(1).files, 2);
    QCOMPARE(finished.at(1).bytes, 8);
    QCOMPARE(finished.at(2).step, PublishStep::Copy);
    QCOMPARE(finished.at(2).files, 1);
    QCOMPARE(finished.at(2).filesDone, 1);
    QCOMPARE(finished.at(2).bytesDone, 4);
}

void tst_Publisher::badBuildIsRefusedBeforeAnythingIsWritten()
{
    const PublishFixture fixture;
    fixture.write(u"good"_s, "x");
    fixture.write(u"Data/nul"_s, "x");
    const PublishResult result = fixture.publish();
    QCOMPARE(result.problems, QStringList{u"\"Data/nul\" holds a name that Windows reserves for a device."_s});
    QVERIFY(!result.manifest.valid);
    QVERIFY(!QFile::exists(fixture.tree()));
}

void tst_Publisher::missingExecutableIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    PublishOrder order = fixture.order();
    order.executable = u"Bin/game.exe"_s;
    QCOMPARE(Publisher(order).run().problems, QStringList{u"The executable \"Bin/game.exe\" is not in the build."_s});
    QVERIFY(!QFile::exists(fixture.tree()));
}

void tst_Publisher::executableIsMatchedToTheLetter()
{
    const PublishFixture fixture;
    fixture.write(u"Game.exe"_s, "x");
    PublishOrder order = fixture.order();
    order.executable = u"game.exe"_s;
    QCOMPARE(Publisher(order).run().problems, QStringList{u"The executable \"game.exe\" is not in the build."_s});
}

void tst_Publisher::placesThatLieInEachOtherAreRefused_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QString>("sentence");
    const QString treeInside = u"The tree \"%2\" lies in the build \"%1\"; it must lie outside."_s;
    const QString buildInside = u"The build \"%1\" lies in the tree \"%2\"; it must lie outside."_s;
    QTest::newRow("the same") << u"build"_s << u"build"_s << treeInside;
    QTest::newRow("the same, written otherwise") << u"build"_s << u"build/../build/"_s << treeInside;
    QTest::newRow("tree in build") << u"build"_s << u"build/deep/tree"_s << treeInside;
    QTest::newRow("tree in build through a link") << u"build"_s << u"alias/tree"_s << treeInside;
    QTest::newRow("build is the content folder") << u"tree/harrowfen/files"_s << u"tree"_s << buildInside;
    QTest::newRow("build is the game's folder") << u"tree/harrowfen"_s << u"tree"_s << buildInside;
}

void tst_Publisher::placesThatLieInEachOtherAreRefused()
{
    QFETCH(QString, source);
    QFETCH(QString, tree);
    QFETCH(QString, sentence);
    const PublishFixture fixture;
    QVERIFY(QFile::link(fixture.build(), fixture.folder() + u"/alias"_s));
    PublishOrder order = fixture.order();
    order.source = fixture.folder() + u'/' + source;
    order.tree = fixture.folder() + u'/' + tree;
    writeFile(order.source + u"/data"_s, "x");
    const QStringList before = PublishFixture::filesBelow(fixture.folder());
    QCOMPARE(Publisher(order).run().problems, QStringList{sentence.arg(order.source, order.tree)});
    QCOMPARE(PublishFixture::filesBelow(fixture.folder()), before);
}

void tst_Publisher::buildBesideTheGameInTheSameFolderIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    PublishOrder order = fixture.order();
    order.tree = fixture.folder();
    QCOMPARE(Publisher(order).run().problems, QStringList());
    order.build = 2;
    order.tree = fixture.build() + u"-tree"_s; // begins with the build's name, but lies beside it
    QCOMPARE(Publisher(order).run().problems, QStringList());
}

void tst_Publisher::buildThatIsNotAboveTheLastIsRefused_data()
{
    QTest::addColumn<int>("build");
    QTest::newRow("older") << 6;
    QTest::newRow("equal") << 7;
}

void tst_Publisher::buildThatIsNotAboveTheLastIsRefused()
{
    QFETCH(int, build);
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    PublishOrder order = fixture.order();
    order.build = 7;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    const QStringList before = PublishFixture::filesBelow(fixture.tree());
    fixture.write(u"data"_s, "new");
    order.build = build;
    QCOMPARE(Publisher(order).run().problems,
             QStringList{u"Build %1 is not above build 7, which \"%2\" publishes. With --allow-older it is replaced."_s
                             .arg(build)
                             .arg(manifestPath(fixture))});
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), before);
    QCOMPARE(fixture.manifest().files.first().sha256, sha256Of("old"));

    order.allowOlder = true;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    QCOMPARE(fixture.manifest().build, build);
    QCOMPARE(fixture.manifest().files.first().sha256, sha256Of("new"));
}

void tst_Publisher::olderBuildOfAnotherChannelIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    PublishOrder order = fixture.order();
    order.build = 7;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    order.channel = u"beta"_s;
    order.build = 3;
    QCOMPARE(Publisher(order).run().problems, QStringList());
}

void tst_Publisher::damagedManifestIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(manifestPath(fixture), "{}");
    QCOMPARE(fixture.publish().problems,
             QStringList{u"\"%1\" is damaged. Manifest is missing a version. With --allow-older it is replaced."_s.arg(
                 manifestPath(fixture))});
    QCOMPARE(velmo::test::contentOf(manifestPath(fixture)), "{}");
    QCOMPARE(stored(fixture), QStringList());
}

void tst_Publisher::allowOlderReplacesADamagedManifest()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(manifestPath(fixture), "{}");
    PublishOrder order = fixture.order();
    order.allowOlder = true;
    QCOMPARE(Publisher(order).run().problems, QStringList());
    QVERIFY(fixture.manifest().valid);
}

void tst_Publisher::allReasonsAreGivenTogether()
{
    const PublishFixture fixture;
    fixture.write(u"nul"_s, "x");
    writeFile(manifestPath(fixture), "{}");
    PublishOrder order = fixture.order();
    order.executable = u"game"_s;
    QCOMPARE(Publisher(order).run().problems.size(), 3);
}

void tst_Publisher::buildThatPlayersCannotUpdateToIsRefused_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("beginning");
    QTest::addColumn<bool>("allowOlder");
    for (const bool allowOlder : {false, true}) {
        const char *how = allowOlder ? ", rolled back" : "";
        QTest::addRow("other case%s", how)
            << u"Data/A.pak"_s << u"data/a.pak"_s << u"\"data/a.pak\" is \"Data/A.pak\" in the published build"_s
            << allowOlder;
        QTest::addRow("file to folder%s", how)
            << u"Data"_s << u"Data/a.pak"_s << u"The folder \"Data\" is the file \"Data\""_s << allowOlder;
        QTest::addRow("folder to file%s", how)
            << u"Data/a.pak"_s << u"Data"_s << u"The file \"Data\" is the folder \"Data\""_s << allowOlder;
    }
}

void tst_Publisher::buildThatPlayersCannotUpdateToIsRefused()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(QString, beginning);
    QFETCH(bool, allowOlder);
    const PublishFixture fixture;
    fixture.write(before, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    const QByteArray published = velmo::test::contentOf(manifestPath(fixture));
    QVERIFY(QDir(fixture.build()).removeRecursively());
    fixture.write(after, "y");
    PublishOrder order = secondOrder(fixture);
    order.allowOlder = allowOlder;
    const QStringList problems = Publisher(order).run().problems;
    QCOMPARE(problems.size(), 1);
    QVERIFY2(problems.first().startsWith(beginning), qUtf8Printable(problems.first()));
    QCOMPARE(velmo::test::contentOf(manifestPath(fixture)), published);
    QVERIFY2(!QFile::exists(fixture.storedPath("y")), "refused before anything is written");
}

void tst_Publisher::buildBetweenLetsTheNameChange()
{
    const PublishFixture fixture;
    fixture.write(u"always"_s, "x");
    fixture.write(u"Data/A.pak"_s, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    QVERIFY(QFile::remove(fixture.build() + u"/Data/A.pak"_s));
    QVERIFY(QDir(fixture.build()).rmdir(u"Data"_s));
    PublishOrder order = secondOrder(fixture);
    QCOMPARE(Publisher(order).run().problems, QStringList());
    fixture.write(u"data/a.pak"_s, "x");
    order.build = 3;
    QCOMPARE(Publisher(order).run().problems, QStringList());
}

void tst_Publisher::otherChannelsNamesAreNotCompared()
{
    const PublishFixture fixture;
    fixture.write(u"Data/A.pak"_s, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    QVERIFY(QDir(fixture.build()).removeRecursively());
    fixture.write(u"data/a.pak"_s, "x");
    PublishOrder beta = fixture.order();
    beta.channel = u"beta"_s;
    QCOMPARE(Publisher(beta).run().problems, QStringList());
}

void tst_Publisher::buildPublishedDuringTheWalkIsSeenAtTheSecondLook_data()
{
    QTest::addColumn<int>("build");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("part");
    QTest::newRow("by its number") << 2 << u"other"_s << u"Build 2 is not above build 2"_s;
    QTest::newRow("by its names") << 1 << u"DATA"_s << u"\"data\" is \"DATA\" in the published build"_s;
}

void tst_Publisher::buildPublishedDuringTheWalkIsSeenAtTheSecondLook()
{
    QFETCH(int, build);
    QFETCH(QString, path);
    QFETCH(QString, part);
    const PublishFixture fixture;
    fixture.write(u"data"_s, "mine");
    PublishOrder faster = secondOrder(fixture);
    faster.build = build;
    faster.source = fixture.folder() + u"/faster"_s;
    writeFile(faster.source + u'/' + path, "theirs");
    const PublishResult result = runWithActionAfter(PublishStep::Scan, secondOrder(fixture), [&faster] {
        QCOMPARE(Publisher(faster).run().problems, QStringList());
    });
    QCOMPARE(result.problems.size(), 1);
    QVERIFY2(result.problems.first().startsWith(part), qUtf8Printable(result.problems.first()));
    QCOMPARE(fixture.manifest().files.first().path, path);
    QVERIFY2(!QFile::exists(fixture.storedPath("mine")), "nothing was copied");
}

void tst_Publisher::buildPublishedOverASettledOneIsSeenAtTheSecondLook()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "mine");
    QCOMPARE(fixture.publish().problems, QStringList());
    const QDateTime settled = QFileInfo(manifestPath(fixture)).metadataChangeTime().addSecs(3);
    QTRY_VERIFY_WITH_TIMEOUT(QDateTime::currentDateTime() > settled, 60000);
    const PublishResult result = runWithActionAfter(PublishStep::Scan, secondOrder(fixture), [&fixture] {
        QCOMPARE(Publisher(secondOrder(fixture)).run().problems, QStringList());
    });
    QCOMPARE(result.problems.size(), 1);
    QVERIFY2(result.problems.first().startsWith("Build 2 is not above build 2"_L1),
             qUtf8Printable(result.problems.first()));
}

void tst_Publisher::secondPublisherIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    const QString game = fixture.contentTree().gameFolder();
    QVERIFY(QDir().mkpath(game));
    QLockFile first(game + u"/.publish.lock"_s);
    QVERIFY(first.lock());
    const QStringList problems = fixture.publish().problems;
    QCOMPARE(problems.size(), 1);
    QVERIFY(problems.first().startsWith(
        u"Another build is being published: the lock \"%1\" is held by "_s.arg(first.fileName())));
    first.unlock();
    QCOMPARE(fixture.publish().problems, QStringList());
}

void tst_Publisher::lockIsGoneAfterwards()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    bool locked = false;
    const QString lock = fixture.contentTree().gameFolder() + u"/.publish.lock"_s;
    runWithActionAt(PublishStep::Copy, fixture.order(), [&locked, &lock] { locked = QFile::exists(lock); });
    QVERIFY(locked);
    QVERIFY(!QFile::exists(lock));
}

void tst_Publisher::treeThatCannotBeMadeIsNamed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(fixture.tree(), "in the way");
    QCOMPARE(fixture.publish().problems,
             QStringList{u"The folder \"%1/harrowfen\" cannot be made."_s.arg(fixture.tree())});
}

void tst_Publisher::oldManifestStandsWhileFilesAreCopied()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "new");
    Publisher publisher(secondOrder(fixture));
    QSet<int> builds;
    bool copied = false;
    publisher.setProgress([&fixture, &builds, &copied](const PublishProgress &progress) {
        builds.insert(fixture.manifest().build);
        copied = copied || (progress.step == PublishStep::Copy && progress.finished);
    });
    QCOMPARE(publisher.run().problems, QStringList());
    QVERIFY(copied);
    QCOMPARE(builds, QSet<int>{1});
    QCOMPARE(fixture.manifest().build, 2);
}

void tst_Publisher::oldManifestStandsWhenCopyingFails()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().problems, QStringList());
    const QByteArray before = velmo::test::contentOf(manifestPath(fixture));
    fixture.write(u"a"_s, "good");
    fixture.write(u"data"_s, "new");
    const QString inTheWay = fixture.storedPath("new");
    QVERIFY(QDir().mkpath(inTheWay));

    const PublishResult result = Publisher(secondOrder(fixture)).run();
    QCOMPARE(result.problems.size(), 1);
    QVERIFY(result.problems.first().startsWith(u"\"%1\" cannot be written: "_s.arg(inTheWay)));
    QVERIFY(!result.manifest.valid);
    QCOMPARE(velmo::test::contentOf(manifestPath(fixture)), before);
    QCOMPARE(velmo::publish::TreeCheck(fixture.contentTree(), 2).run().problems, QStringList());

    QVERIFY(QDir().rmdir(inTheWay));
    QCOMPARE(Publisher(secondOrder(fixture)).run().problems, QStringList());
    QCOMPARE(fixture.manifest().build, 2);
}

void tst_Publisher::whatWasCopiedBeforeAFailureServesTheNextAttempt()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "first");
    fixture.write(u"b"_s, "second");
    PublishOrder order = fixture.order();
    order.jobs = 1;
    const QString gone = QFileInfo(fixture.build() + u"/b"_s).canonicalFilePath();
    const PublishResult result = runWithActionAt(PublishStep::Hash, order, [&gone] { QVERIFY(QFile::remove(gone)); });
    QCOMPARE(result.problems.size(), 1);
    QCOMPARE(stored(fixture), QStringList{velmo::publish::TreeLayout::contentName(sha256Of("first"))});
    fixture.write(u"b"_s, "second");
    QCOMPARE(Publisher(order).run().copied, 1);
}

void tst_Publisher::fileThatChangesAfterHashingIsNoticed()
{
    // The tree holds the content already, so the file is not read a second time.
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    const PublishResult result =
        runWithActionAt(PublishStep::Copy, secondOrder(fixture), [&fixture] { fixture.write(u"data"_s, "longer"); });
    QCOMPARE(result.problems, QStringList{u"\"%1/data\" changed while it was being published."_s.arg(
                                  QFileInfo(fixture.build()).canonicalFilePath())});
    QCOMPARE(fixture.manifest().build, 1);
}

void tst_Publisher::fileThatChangesToTheSameSizeAndTimeIsNoticed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    const QString path = fixture.build() + u"/data"_s;
    writeAsOf1970(path, "old");
    const auto changeOf = [](const QString &file) {
        return velmo::publish::fileState(file, velmo::publish::FileLook::Attributes).changed;
    };
    const qint64 changed = changeOf(path);
    const PublishResult result = runWithActionAt(PublishStep::Copy, fixture.order(), [&path, &changeOf, changed] {
        QDeadlineTimer patience(30000);
        do { // until the drive's clock has moved on
            QVERIFY(!patience.hasExpired());
            writeAsOf1970(path, "new");
        } while (changeOf(path) == changed);
    });
    QCOMPARE(result.problems,
             QStringList{u"\"%1\" changed while it was being published."_s.arg(QFileInfo(path).canonicalFilePath())});
    QVERIFY(!QFile::exists(manifestPath(fixture)));
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("old")), "old");
    QVERIFY(!QFile::exists(fixture.storedPath("new")));
}

void tst_Publisher::fileThatVanishesWhileHashingIsNoticed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    const QString path = QFileInfo(fixture.build() + u"/data"_s).canonicalFilePath();
    const PublishResult result =
        runWithActionAt(PublishStep::Hash, fixture.order(), [&path] { QVERIFY(QFile::remove(path)); });
    QCOMPARE(result.problems, QStringList{u"\"%1\" cannot be read: %2."_s.arg(path, velmo::test::noSuchFile())});
    QVERIFY(!QFile::exists(manifestPath(fixture)));
}

void tst_Publisher::fileThatAppearsIsNoticed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "newer");
    const PublishResult result =
        runWithActionAfter(PublishStep::Copy, secondOrder(fixture), [&fixture] { fixture.write(u"Maps/late"_s, "x"); });
    QCOMPARE(result.problems, QStringList{u"\"%1/Maps/late\" appeared while the build was being published."_s.arg(
                                  QFileInfo(fixture.build()).canonicalFilePath())});
    QCOMPARE(fixture.manifest().build, 1);
}

void tst_Publisher::whatAppearsAndCannotBePublishedIsNoticed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    const PublishResult result =
        runWithActionAfter(PublishStep::Copy, fixture.order(), [&fixture] { fixture.link(u"nothing"_s, u"late"_s); });
    QCOMPARE(result.problems, QStringList{u"\"late\" is a symbolic link that leads nowhere."_s});
    QVERIFY(!QFile::exists(manifestPath(fixture)));
}

void tst_Publisher::fileThatGoesAfterCopyingIsNoticed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    fixture.write(u"gone"_s, "y");
    const QString path = QFileInfo(fixture.build() + u"/gone"_s).canonicalFilePath();
    const PublishResult result =
        runWithActionAfter(PublishStep::Copy, fixture.order(), [&path] { QVERIFY(QFile::remove(path)); });
    QCOMPARE(result.problems, QStringList{u"\"%1\" changed while it was being published."_s.arg(path)});
    QVERIFY(!QFile::exists(manifestPath(fixture)));
}

void tst_Publisher::driveHasTheNamesBeforeTheManifest_data()
{
    QTest::addColumn<int>("files");
    QTest::newRow("one by one") << 3;
    QTest::newRow("all at once") << 2 * int{velmo::publish::DriveSync::fewestForAll};
}

void tst_Publisher::driveHasTheNamesBeforeTheManifest()
{
    QFETCH(int, files);
    const PublishFixture fixture;
    for (int number = 0; number < files; ++number) {
        fixture.write(QString::number(number), QByteArray::number(number));
    }
    QStringList order; // what stands when the drive is asked, wherever that differs from the time before
    const velmo::test::SyncLook look([&fixture, &order, files] {
        const QStringList tree = PublishFixture::filesBelow(fixture.tree());
        const auto count = [&tree](const QString &word) { return tree.filter(word).size(); };
        const auto incoming = count(u"files/.incoming/"_s);
        const bool placed = count(u"/files/"_s) - incoming == files;
        const bool written = QFileInfo::exists(QFileInfo(manifestPath(fixture)).path()); // made for the manifest
        const QString state = incoming == files ? u"copied"_s : QString(placed ? u"placed"_s : u"neither"_s);
        if (const QString all = state + (written ? " and listed"_L1 : ""_L1); order.isEmpty() || order.last() != all) {
            order.append(all);
        }
        return 0;
    });
    QCOMPARE(fixture.publish().problems, QStringList());
    QCOMPARE(order, QStringList({u"copied"_s, u"placed"_s, u"placed and listed"_s}));
}

void tst_Publisher::noManifestStandsOverNamesThatTheDriveDoesNotTake()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    const QString stored = fixture.storedPath("x");
    const QString shelf = QFileInfo(stored).path();
    {
        const velmo::test::SyncLook look([&stored] { return QFile::exists(stored) ? EIO : 0; });
        const PublishResult result = fixture.publish();
        QVERIFY2(result.problems.contains(u"\"%1\" cannot be written: Input/output error."_s.arg(shelf)),
                 qUtf8Printable(result.problems.join(u'\n')));
        QVERIFY(!QFile::exists(manifestPath(fixture)));
    }
    QCOMPARE(fixture.publish().problems, QStringList());
    QVERIFY(QFile::exists(manifestPath(fixture)));
}

void tst_Publisher::manifestThatCannotBePutInPlaceIsNamed()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    const QString folder = fixture.contentTree().gameFolder() + u"/release"_s;
    writeFile(folder, "in the way");
    const PublishResult result = fixture.publish();
    QCOMPARE(result.problems, QStringList{u"The folder \"%1\" cannot be made."_s.arg(folder)});
    QVERIFY(!result.manifest.valid);
}

void tst_Publisher::pruneRemovesWhatOnlyTheOldBuildNamed()
{
    const PublishFixture fixture;
    fixture.write(u"same"_s, "same");
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "newer");
    PublishOrder order = secondOrder(fixture);
    order.prune = true;
    const PublishResult result = Publisher(order).run();
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.pruned.files, 1);
    QCOMPARE(result.pruned.bytes, 3);
    QVERIFY(!QFile::exists(fixture.storedPath("old")));
    QCOMPARE(velmo::publish::TreeCheck(fixture.contentTree(), 2).run().problems, QStringList());
}

void tst_Publisher::withoutPruneOldFilesStay()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "new");
    QCOMPARE(Publisher(secondOrder(fixture)).run().problems, QStringList());
    QVERIFY(QFile::exists(fixture.storedPath("old")));
}

void tst_Publisher::pruneKeepsWhatAnotherChannelNames()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    PublishOrder beta = fixture.order();
    beta.channel = u"beta"_s;
    QCOMPARE(Publisher(beta).run().problems, QStringList());
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "new");
    PublishOrder order = secondOrder(fixture);
    order.prune = true;
    QCOMPARE(Publisher(order).run().pruned.files, 0);
    QVERIFY(QFile::exists(fixture.storedPath("old")));
}

void tst_Publisher::pruneIsRefusedWhileAManifestIsDamaged()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "old");
    QCOMPARE(fixture.publish().problems, QStringList());
    fixture.write(u"data"_s, "new");
    writeFile(manifestPath(fixture, u"beta"_s), "{}");
    const QStringList before = PublishFixture::filesBelow(fixture.tree());
    PublishOrder order = secondOrder(fixture);
    order.prune = true;
    QCOMPARE(Publisher(order).run().problems,
             QStringList{u"\"%1\" is damaged. Manifest is missing a version. What it names is not known, so nothing "
                         "can be pruned."_s.arg(manifestPath(fixture, u"beta"_s))});
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), before);
    QCOMPARE(fixture.manifest().build, 1);
}

/// As a kill leaves it, between the two: players of beta are on a build that its manifest does not tell of.
void tst_Publisher::pruneIsRefusedWhileAPackedManifestTellsOfAnotherBuild()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    fixture.write(u"data"_s, "old");
    PublishOrder beta = fixture.order();
    beta.channel = u"beta"_s;
    QCOMPARE(Publisher(beta).run().problems, QStringList());
    const QByteArray manifest = velmo::test::contentOf(tree.manifestPath(u"beta"_s));
    fixture.write(u"data"_s, "killed");
    beta.build = 2;
    QCOMPARE(Publisher(beta).run().problems, QStringList());
    writeFile(tree.manifestPath(u"beta"_s), manifest);

    fixture.write(u"data"_s, "new");
    PublishOrder order = fixture.order();
    order.prune = true;
    QCOMPARE(Publisher(order).run().problems, QStringList{tree.lookAtPacked(u"beta"_s).problems.value(0) +
                                                          u" What it names is not known, so nothing can be pruned."_s});
    QVERIFY(QFile::exists(fixture.storedPath("killed")));

    fixture.write(u"data"_s, "killed");
    beta.prune = true;
    QCOMPARE(Publisher(beta).run().problems, QStringList()); // build 2 is not there yet, by the manifest
    QCOMPARE(tree.lookAtPacked(u"beta"_s).problems, QStringList());
    QVERIFY(!QFile::exists(fixture.storedPath("old")));
}

void tst_Publisher::pruneIsRefusedWhileAChannelCannotBeSeen_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("problem");
    QTest::newRow("folder on a drive that is not there")
        << u"beta"_s << u"\"%1/beta\" is a symbolic link that leads nowhere."_s;
    QTest::newRow("manifest on a drive that is not there")
        << u"beta/manifest.json"_s << u"\"%1/beta/manifest.json\" cannot be read: No such file or directory."_s;
}

void tst_Publisher::pruneIsRefusedWhileAChannelCannotBeSeen()
{
    QFETCH(QString, link);
    QFETCH(QString, problem);
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    QCOMPARE(fixture.publish().problems, QStringList());
    writeFile(fixture.storedPath("of beta"), "of beta");
    fixture.link(u"/not/mounted"_s, QDir(fixture.contentTree().gameFolder()).filePath(link));
    PublishOrder order = secondOrder(fixture);
    order.prune = true;
    QCOMPARE(Publisher(order).run().problems, QStringList{problem.arg(fixture.contentTree().gameFolder()) +
                                                          u" What it names is not known, so nothing can be pruned."_s});
    QVERIFY(QFile::exists(fixture.storedPath("of beta")));
    QCOMPARE(fixture.manifest().build, 1);
}

void tst_Publisher::pruneWithAllowOlderReplacesItsOwnDamagedManifest()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(fixture.storedPath("stray"), "stray");
    writeFile(manifestPath(fixture), "{}");
    PublishOrder order = fixture.order();
    order.prune = true;
    order.allowOlder = true;
    const PublishResult result = Publisher(order).run();
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.pruned.files, 1);
}

void tst_Publisher::pruneRemovesNothingWhenAManifestIsDamagedMeanwhile()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(fixture.storedPath("stray"), "stray");
    PublishOrder order = fixture.order();
    order.prune = true;
    const QString beta = manifestPath(fixture, u"beta"_s);
    const PublishResult result = runWithActionAt(PublishStep::Copy, order, [&beta] { writeFile(beta, "{}"); });
    QCOMPARE(result.problems, QStringList{u"\"%1\" is damaged. Manifest is missing a version."_s.arg(beta)});
    QVERIFY2(result.manifest.valid, "the build itself is out");
    QVERIFY(QFile::exists(fixture.storedPath("stray")));
}

void tst_Publisher::pruneRemovesNothingWhenAChannelIsOutOfSightMeanwhile()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    writeFile(fixture.storedPath("of beta"), "of beta");
    PublishOrder order = fixture.order();
    order.prune = true;
    const QString beta = fixture.contentTree().gameFolder() + u"/beta"_s;
    const PublishResult result =
        runWithActionAt(PublishStep::Copy, order, [&fixture, &beta] { fixture.link(u"/not/mounted"_s, beta); });
    QCOMPARE(result.problems, QStringList{u"\"%1\" is a symbolic link that leads nowhere."_s.arg(beta)});
    QVERIFY2(result.manifest.valid, "the build itself is out");
    QVERIFY(QFile::exists(fixture.storedPath("of beta")));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Publisher>(argc, argv);
}

#include "tst_Publisher.moc"
