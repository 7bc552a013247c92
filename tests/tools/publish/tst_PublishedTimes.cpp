#include "publish/PublishedTimes.h"
#include "publish/Publisher.h"
#include "publish/TreeCheck.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDir>

using namespace Qt::Literals::StringLiterals;
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
    void changedFileIsReadAmongTrustedOnes();
    void trustedFileThatTheTreeHasLostIsReadAndCopied();
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

/// A build that is published and old enough for its times to be trusted.
void publishSettled(const PublishFixture &fixture)
{
    fixture.write(u"a"_s, "first");
    fixture.write(u"b"_s, "second");
    const QDateTime written = QFileInfo(fixture.build() + u"/b"_s).metadataChangeTime();
    QTRY_VERIFY_WITH_TIMEOUT(written.msecsTo(QDateTime::currentDateTime()) > 2100, 30000);
    const Run first = run(trusting(fixture, 1));
    QCOMPARE(first.result.problems + first.result.warnings, QStringList());
    QCOMPARE(first.files, 2);
}

} // namespace

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

void tst_PublishedTimes::publishingWithoutTrustReadsAllAndForgets()
{
    const PublishFixture fixture;
    publishSettled(fixture);
    QVERIFY(QFile::exists(fixture.contentTree().timesPath(u"release"_s)));
    PublishOrder order = trusting(fixture, 2);
    order.trustTimes = false;
    QCOMPARE(run(order).files, 2);
    QVERIFY(!QFile::exists(fixture.contentTree().timesPath(u"release"_s)));
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
