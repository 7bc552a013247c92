#include "publish/PublishedTimes.h"
#include "publish/Publisher.h"
#include "publish/TreeCheck.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDir>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::publish::BuildFile;
using velmo::publish::ContentHash;
using velmo::publish::PublishedTimes;
using velmo::publish::PublishOrder;
using velmo::publish::PublishProgress;
using velmo::publish::PublishResult;
using velmo::publish::PublishStep;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;

/// The list of times by itself, and what a publisher makes of it.
class tst_PublishedTimes : public QObject {
    Q_OBJECT

    void publishThousands();

    /// Whose build stays as it is for all that use it, so that it settles once.
    PublishFixture thousands_;

private slots:
    void fileThatStandsAsItDidIsKnown();
    void fileThatDiffersIsNot_data();
    void fileThatDiffersIsNot();
    void youngFileIsNotRemembered_data();
    void youngFileIsNotRemembered();
    void listOfNoUseKnowsNothing_data();
    void listOfNoUseKnowsNothing();
    void listThatDoesNotFitIsNamedAndGone();

    void trustedFilesAreNotRead();
    void unchangedBuildGetsTheManifestThatReadingItGives_data();
    void unchangedBuildGetsTheManifestThatReadingItGives();
    void listThatKnowsJustTheBuildStands();
    void damagedManifestOfAnUnchangedBuildIsRefused();
    void manifestThatWasChangedIsPutRight_data();
    void manifestThatWasChangedIsPutRight();
    void changedFileIsReadAmongTrustedOnes();
    void changedFileIsReadAmongThousands();
    void fileThatLeftTheBuildLeavesTheManifest();
    void fileThatMayNoLongerBeReadIsRefused();
    void fileThatAppearsWhileAnotherIsReadIsNoticed();
    void buildThatIsNotAboveTheLastIsRefusedToo();
    void trustedFileThatTheTreeHasLostIsReadAndCopied();
    void trustedFileThatTheTreeHoldsOtherwiseIsReadAndCopied();
    void listWithAWrongHashIsNotBelieved();
    void listOfAnotherTreeIsNotBelieved();
    void publishingWithoutTrustReadsAllAndForgets();
    void eachChannelHasItsOwnList();
    void listThatCannotBeWrittenIsAWarning();
};

namespace {

constexpr std::chrono::seconds longAgo(1000);
const std::chrono::system_clock::time_point now{std::chrono::seconds(1'700'000'000)};

qint64 nanoseconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

ContentHash hashOf(const QByteArray &bytes)
{
    return ContentHash(sha256Of(bytes));
}

BuildFile fileOf(const QString &path)
{
    return {path, 5, nanoseconds(now - longAgo), nanoseconds(now - longAgo) + 1, false};
}

/// Lists by the names of \a paths, whose hashes are those of the names.
QString writeList(const QTemporaryDir &folder, const QStringList &paths)
{
    const QString list = folder.filePath(u".times/release"_s);
    PublishedTimes::Writer writer(list, now);
    for (const QString &path : paths) {
        writer.add(fileOf(path), hashOf(path.toUtf8()));
    }
    return writer.finish().isEmpty() ? list : QString();
}

/// A publisher's run and how many files it read.
struct Run {
    PublishResult result;
    qsizetype files = -1;
};

Run run(const PublishOrder &order)
{
    Run run;
    velmo::publish::Publisher publisher(order);
    publisher.setProgress([&run](const PublishProgress &progress) {
        run.files = progress.step == PublishStep::Hash ? progress.filesDone : run.files;
    });
    run.result = publisher.run();
    return run;
}

PublishOrder trusting(const PublishFixture &fixture, int build)
{
    PublishOrder order = fixture.order();
    order.build = build;
    order.trustTimes = true;
    return order;
}

void publishFirst(const PublishFixture &fixture)
{
    const Run first = run(trusting(fixture, 1));
    QCOMPARE(first.result.problems + first.result.warnings, QStringList());
    QCOMPARE(first.files, first.result.files);
}

/// A build that is published and old enough for its times to be trusted.
void publishSettled(const PublishFixture &fixture)
{
    fixture.write(u"a"_s, "first");
    fixture.write(u"b"_s, "second");
    const QDateTime written = QFileInfo(fixture.build() + u"/b"_s).metadataChangeTime();
    QTRY_VERIFY_WITH_TIMEOUT(written.msecsTo(QDateTime::currentDateTime()) > 2100, 30000);
    publishFirst(fixture);
}

/// The same with so many files that the manifest has three pieces.
void publishThousandsSettled(const PublishFixture &fixture)
{
    for (int number = 0; number < 2100; ++number) {
        fixture.write(u"Data/%1"_s.arg(number), QByteArray::number(number % 7));
    }
    publishSettled(fixture);
}

void flip(const QString &path, const QByteArray &before, const QByteArray &after)
{
    QByteArray bytes = velmo::test::contentOf(path);
    QVERIFY(bytes.contains(before));
    const qsizetype at = bytes.indexOf(before);
    velmo::test::writeFile(path, bytes.replace(at, before.size(), after));
}

QStringList checkProblems(const PublishFixture &fixture)
{
    return velmo::publish::TreeCheck(fixture.contentTree(), 1).run().problems;
}

/// That \a run went well and read so many files, and the tree is whole.
void expectGood(const PublishFixture &fixture, const Run &run, qsizetype files)
{
    QCOMPARE(run.result.problems + run.result.warnings, QStringList());
    QCOMPARE(run.files, files);
    QCOMPARE(checkProblems(fixture), QStringList());
}

} // namespace

void tst_PublishedTimes::publishThousands()
{
    if (QFileInfo::exists(thousands_.tree())) {
        QVERIFY(QDir(thousands_.tree()).removeRecursively());
        publishFirst(thousands_);
    } else {
        publishThousandsSettled(thousands_);
    }
}

void tst_PublishedTimes::fileThatStandsAsItDidIsKnown()
{
    const QTemporaryDir folder;
    PublishedTimes times(writeList(folder, {u"a"_s, u"b/c"_s, u"b/地図"_s, u"d"_s}));
    QCOMPARE(times.hashOf(fileOf(u"Zero"_s)), ContentHash());
    QCOMPARE(times.hashOf(fileOf(u"a"_s)), hashOf("a"));
    QCOMPARE(times.hashOf(fileOf(u"b/地図"_s)), hashOf("b/地図"));
    QCOMPARE(times.hashOf(fileOf(u"c"_s)), ContentHash());
    QCOMPARE(times.hashOf(fileOf(u"d"_s)), hashOf("d"));
    QCOMPARE(times.hashOf(fileOf(u"e"_s)), ContentHash());
}

void tst_PublishedTimes::fileThatDiffersIsNot_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("modified");
    QTest::addColumn<qint64>("changed");
    QTest::newRow("size") << qint64{1} << qint64{0} << qint64{0};
    QTest::newRow("time that its maker gave it") << qint64{0} << qint64{-1} << qint64{0};
    QTest::newRow("time that the drive keeps") << qint64{0} << qint64{0} << qint64{1};
}

void tst_PublishedTimes::fileThatDiffersIsNot()
{
    QFETCH(qint64, size);
    QFETCH(qint64, modified);
    QFETCH(qint64, changed);
    const QTemporaryDir folder;
    PublishedTimes times(writeList(folder, {u"a"_s}));
    BuildFile file = fileOf(u"a"_s);
    file.size += size;
    file.modified += modified;
    file.changed += changed;
    QCOMPARE(times.hashOf(file), ContentHash());
}

void tst_PublishedTimes::youngFileIsNotRemembered_data()
{
    QTest::addColumn<int>("modifiedMs"); // before it was looked at
    QTest::addColumn<int>("changedMs");
    QTest::addColumn<bool>("known");
    QTest::newRow("just now") << 0 << 0 << false;
    QTest::newRow("two seconds") << 2000 << 2000 << false;
    QTest::newRow("more") << 2001 << 2001 << true;
    QTest::newRow("bytes long ago, attributes now") << 5000 << 1000 << false;
    QTest::newRow("from the future") << -5000 << 5000 << false;
}

void tst_PublishedTimes::youngFileIsNotRemembered()
{
    QFETCH(int, modifiedMs);
    QFETCH(int, changedMs);
    QFETCH(bool, known);
    const QTemporaryDir folder;
    const QString list = folder.filePath(u"list"_s);
    BuildFile file = fileOf(u"a"_s);
    file.modified = nanoseconds(now - std::chrono::milliseconds(modifiedMs));
    file.changed = nanoseconds(now - std::chrono::milliseconds(changedMs));
    PublishedTimes::Writer writer(list, now);
    writer.add(file, hashOf("a"));
    QCOMPARE(writer.finish(), QString());
    QCOMPARE(PublishedTimes(list).hashOf(file), known ? hashOf("a") : ContentHash());
}

void tst_PublishedTimes::listOfNoUseKnowsNothing_data()
{
    QTest::addColumn<int>("cut"); // bytes at the end
    QTest::addColumn<int>("flipped");
    QTest::newRow("cut in its beginning") << 80 << -1;
    QTest::newRow("cut in a path") << 1 << -1;
    QTest::newRow("cut in times") << 20 << -1;
    QTest::newRow("of another kind") << 0 << 0;
    QTest::newRow("path without an end") << 0 << 8 + 24 + 32 + 7;
}

void tst_PublishedTimes::listOfNoUseKnowsNothing()
{
    QFETCH(int, cut);
    QFETCH(int, flipped);
    const QTemporaryDir folder;
    const QString list = writeList(folder, {u"file"_s});
    QByteArray bytes = velmo::test::contentOf(list);
    QCOMPARE(bytes.size(), 8 + 24 + 32 + 8 + 4);
    bytes.chop(cut);
    if (flipped >= 0) {
        bytes[flipped] = static_cast<char>(bytes.at(flipped) ^ 0x40);
    }
    velmo::test::writeFile(list, bytes);
    QCOMPARE(PublishedTimes(list).hashOf(fileOf(u"file"_s)), ContentHash());
    QCOMPARE(PublishedTimes(folder.filePath(u"none"_s)).hashOf(fileOf(u"file"_s)), ContentHash());
}

void tst_PublishedTimes::listThatDoesNotFitIsNamedAndGone()
{
    const QTemporaryDir folder;
    const QString list = writeList(folder, {u"a"_s});
    {
        const velmo::test::FullDrive drive(10);
        PublishedTimes::Writer writer(list, now);
        writer.add(fileOf(u"a"_s), hashOf("a"));
        QCOMPARE(writer.finish(), u"\"%1\" cannot be written: %2."_s.arg(list, velmo::test::driveIsFull()));
    }
    QCOMPARE(PublishFixture::filesBelow(folder.path()), QStringList());
}

void tst_PublishedTimes::trustedFilesAreNotRead()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    const QJsonObject before = fixture.manifest().toJson();
    const Run again = run(trusting(fixture, 2));
    QCOMPARE(again.result.problems + again.result.warnings, QStringList());
    QCOMPARE(again.files, 0);
    QCOMPARE(again.result.copied, 0);
    QCOMPARE(fixture.manifest().build, 2);
    QCOMPARE(fixture.manifest().toJson().value("files"_L1), before.value("files"_L1));
    QCOMPARE(run(trusting(fixture, 3)).files, 0);
}

void tst_PublishedTimes::unchangedBuildGetsTheManifestThatReadingItGives_data()
{
    QTest::addColumn<QString>("what");
    for (const QString &what : {u"nothing"_s, u"version"_s, u"notes"_s, u"executable"_s, u"the same build"_s}) {
        QTest::newRow(qUtf8Printable(what)) << what;
    }
}

void tst_PublishedTimes::unchangedBuildGetsTheManifestThatReadingItGives()
{
    QFETCH(QString, what);
    publishThousands();
    const PublishFixture &fixture = thousands_;
    PublishOrder order = trusting(fixture, 2);
    order.version = what == "version"_L1 ? u"2.0"_s : order.version;
    order.notes = what == "notes"_L1 ? u"Mended."_s : order.notes;
    order.executable = what == "executable"_L1 ? u"Data/2050"_s : order.executable;
    order.build = what == "the same build"_L1 ? 1 : order.build;
    order.allowOlder = what == "the same build"_L1;
    expectGood(fixture, run(order), 0);
    QJsonObject trusted = fixture.manifest().toJson();
    order.trustTimes = false;
    order.allowOlder = true;
    expectGood(fixture, run(order), 2102);
    QJsonObject read = fixture.manifest().toJson();
    trusted.remove("released"_L1);
    read.remove("released"_L1);
    QVERIFY(trusted == read);
    QCOMPARE(read.value("version"_L1).toString(), order.version);
    QCOMPARE(read.value("build"_L1).toInt(), order.build);
}

void tst_PublishedTimes::listThatKnowsJustTheBuildStands()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    const QString list = fixture.contentTree().timesPath(u"release"_s);
    const QDateTime before = QFileInfo(list).metadataChangeTime();
    expectGood(fixture, run(trusting(fixture, 2)), 0);
    QCOMPARE(QFileInfo(list).metadataChangeTime(), before);
    QVERIFY(QFile::remove(fixture.build() + u"/b"_s));
    expectGood(fixture, run(trusting(fixture, 3)), 0);
    QVERIFY(QFileInfo(list).metadataChangeTime() > before);
}

void tst_PublishedTimes::damagedManifestOfAnUnchangedBuildIsRefused()
{
    publishThousands();
    const PublishFixture &fixture = thousands_;
    const QString path = fixture.contentTree().manifestPath(u"release"_s);
    flip(path, "\"Data/2050\"", "\"Data/2050'");
    PublishOrder order = trusting(fixture, 2);
    const PublishResult refused = run(order).result;
    QCOMPARE(refused.problems.size(), 1);
    QVERIFY2(refused.problems.first().startsWith(u"\"%1\" is damaged. "_s.arg(path)),
             qUtf8Printable(refused.problems.first()));
    order.allowOlder = true;
    expectGood(fixture, run(order), 0);
}

void tst_PublishedTimes::manifestThatWasChangedIsPutRight_data()
{
    QTest::addColumn<QString>("what");
    for (const QString &what : {u"entry"_s, u"build"_s, u"end"_s, u"packed"_s, u"packed gone"_s, u"gone"_s}) {
        QTest::newRow(qUtf8Printable(what)) << what;
    }
}

/// By someone else, into one that the launcher reads, or into none.
void tst_PublishedTimes::manifestThatWasChangedIsPutRight()
{
    QFETCH(QString, what);
    publishThousands();
    const PublishFixture &fixture = thousands_;
    const QJsonValue files = fixture.manifest().toJson().value("files"_L1);
    const QString plain = fixture.contentTree().manifestPath(u"release"_s);
    const QString packed = fixture.contentTree().packedManifestPath(u"release"_s);
    if (what == "entry"_L1) {
        flip(plain, "\"Data/2050\"", "\"Data/20x0\"");
    } else if (what == "build"_L1) {
        flip(plain, "\"build\":1,", "\"build\":0,");
    } else if (what == "end"_L1) {
        velmo::test::writeFile(plain, velmo::test::contentOf(plain) + '\n');
    } else if (what == "packed"_L1) {
        const QByteArray middle = velmo::test::contentOf(packed);
        flip(packed, middle.sliced(middle.size() / 2, 20), QByteArray(20, '!'));
    } else {
        QVERIFY(QFile::remove(what == "gone"_L1 ? plain : packed));
    }
    expectGood(fixture, run(trusting(fixture, 2)), 0);
    QVERIFY(fixture.manifest().toJson().value("files"_L1) == files);
    QCOMPARE(fixture.manifest().build, 2);
}

void tst_PublishedTimes::changedFileIsReadAmongTrustedOnes()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    fixture.write(u"b"_s, "SECOND");
    fixture.write(u"c"_s, "third");
    const Run again = run(trusting(fixture, 2));
    QCOMPARE(again.result.problems + again.result.warnings, QStringList());
    QCOMPARE(again.files, 2);
    QCOMPARE(again.result.copied, 2);
    QCOMPARE(fixture.manifest().files.at(1).sha256, sha256Of("SECOND"));
    QCOMPARE(velmo::publish::TreeCheck(fixture.contentTree(), 1).run().problems, QStringList());
    QCOMPARE(run(trusting(fixture, 3)).files, 2); // too young when they were read
}

void tst_PublishedTimes::changedFileIsReadAmongThousands()
{
    const PublishFixture fixture;
    publishThousandsSettled(fixture);
    fixture.write(u"Data/2050"_s, "CHANGED");
    expectGood(fixture, run(trusting(fixture, 2)), 1);
    const Manifest manifest = fixture.manifest();
    const auto isIt = [](const velmo::ManifestFile &file) { return file.path == "Data/2050"_L1; };
    const auto changed = std::find_if(manifest.files.begin(), manifest.files.end(), isIt);
    QVERIFY(changed != manifest.files.end());
    QCOMPARE(changed->sha256, sha256Of("CHANGED"));
    expectGood(fixture, run(trusting(fixture, 3)), 1);
}

void tst_PublishedTimes::fileThatLeftTheBuildLeavesTheManifest()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(QFile::remove(fixture.build() + u"/b"_s));
    expectGood(fixture, run(trusting(fixture, 2)), 0);
    QCOMPARE(fixture.manifest().files.size(), 1);
}

void tst_PublishedTimes::fileThatMayNoLongerBeReadIsRefused()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(velmo::test::setMode(fixture.build() + u"/b"_s, 0));
    velmo::test::openToAll(fixture.folder());
    const velmo::test::UnprivilegedFileAccess unprivileged;
    const PublishResult refused = run(trusting(fixture, 2)).result;
    QVERIFY2(velmo::test::anyContains(refused.problems, u"\"b\" cannot be read: "_s),
             qUtf8Printable(refused.problems.join(u'\n')));
}

void tst_PublishedTimes::fileThatAppearsWhileAnotherIsReadIsNoticed()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(QFile::remove(fixture.storedPath("second")));
    velmo::publish::Publisher publisher(trusting(fixture, 2));
    publisher.setProgress([&fixture](const PublishProgress &progress) {
        if (progress.step == PublishStep::Hash) {
            fixture.write(u"c"_s, "third");
        }
    });
    const QString appeared = u"\"%1\" appeared while the build was being published."_s.arg(
        QFileInfo(fixture.build()).canonicalFilePath() + u"/c"_s);
    QCOMPARE(publisher.run().problems, QStringList(appeared));
    QCOMPARE(fixture.manifest().build, 1);
}

void tst_PublishedTimes::buildThatIsNotAboveTheLastIsRefusedToo()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QCOMPARE(
        run(trusting(fixture, 1)).result.problems,
        QStringList(u"Build 1 is not above build 1, which \"%1\" publishes. With --allow-older it is replaced."_s.arg(
            fixture.contentTree().manifestPath(u"release"_s))));
}

void tst_PublishedTimes::trustedFileThatTheTreeHasLostIsReadAndCopied()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(QFile::remove(fixture.storedPath("second")));
    const Run again = run(trusting(fixture, 2));
    QCOMPARE(again.result.problems + again.result.warnings, QStringList());
    QCOMPARE(again.result.copied, 1);
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("second")), "second");
}

void tst_PublishedTimes::trustedFileThatTheTreeHoldsOtherwiseIsReadAndCopied()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    velmo::test::writeFile(fixture.storedPath("second"), "secon");
    expectGood(fixture, run(trusting(fixture, 2)), 1);
    QCOMPARE(velmo::test::contentOf(fixture.storedPath("second")), "second");
}

/// Whose times may even be right: that file is read, since no content has such a name.
void tst_PublishedTimes::listWithAWrongHashIsNotBelieved()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    const QByteArray hash = QByteArray::fromHex(sha256Of("second").toLatin1());
    flip(fixture.contentTree().timesPath(u"release"_s), hash, QByteArray(32, '\1'));
    expectGood(fixture, run(trusting(fixture, 2)), 1);
    QCOMPARE(fixture.manifest().files.at(1).sha256, sha256Of("second"));
    expectGood(fixture, run(trusting(fixture, 3)), 0); // the list is right again
}

void tst_PublishedTimes::listOfAnotherTreeIsNotBelieved()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    const PublishFixture other;
    PublishOrder order = trusting(fixture, 1);
    order.tree = other.tree();
    order.executable = u"a"_s;
    const QString times = QFileInfo(other.contentTree().timesPath(u"release"_s)).path();
    QVERIFY(QDir().mkpath(times));
    for (const QString &name : {u"release"_s, u"release.pieces"_s}) {
        QVERIFY(QFile::copy(fixture.contentTree().timesPath(name), times + u'/' + name));
    }
    const Run first = run(order);
    expectGood(other, first, 2);
    QCOMPARE(first.result.copied, 2);
    QVERIFY(other.manifest().files.first().executable);
}

void tst_PublishedTimes::publishingWithoutTrustReadsAllAndForgets()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(QFile::exists(fixture.contentTree().timesPath(u"release"_s)));
    PublishOrder order = trusting(fixture, 2);
    order.trustTimes = false;
    QCOMPARE(run(order).files, 2);
    QCOMPARE(QDir(fixture.tree() + u"/harrowfen/.times"_s).entryList(QDir::Files), QStringList());
    QCOMPARE(run(trusting(fixture, 3)).files, 2);
}

void tst_PublishedTimes::eachChannelHasItsOwnList()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    PublishOrder beta = trusting(fixture, 1);
    beta.channel = u"beta"_s;
    QCOMPARE(run(beta).files, 2);
    QCOMPARE(run(trusting(fixture, 2)).files, 0);
    beta.build = 2;
    QCOMPARE(run(beta).files, 0);
}

void tst_PublishedTimes::listThatCannotBeWrittenIsAWarning()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "first");
    const QString times = fixture.contentTree().timesPath(u"release"_s);
    QVERIFY(QDir().mkpath(times));
    const Run first = run(trusting(fixture, 1));
    QCOMPARE(first.result.problems, QStringList());
    QCOMPARE(first.result.warnings.size(), 1);
    QVERIFY2(first.result.warnings.first().startsWith(u"\"%1\" cannot be written: "_s.arg(times)),
             qUtf8Printable(first.result.warnings.first()));
    QCOMPARE(fixture.manifest().build, 1);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PublishedTimes>(argc, argv);
}

#include "tst_PublishedTimes.moc"
