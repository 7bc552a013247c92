#include "publish/Incoming.h"
#include "publish/ParallelFor.h"
#include "publish/ProgressMeter.h"
#include "publish/TreeLayout.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"
#include "tools/publish/FailingSync.h"
#include "tools/publish/FakeClone.h"
#include "tools/publish/PublishFixture.h"

#include <QDir>

#include <cerrno>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::ContentStore;
using velmo::publish::DriveSync;
using velmo::publish::FileDigest;
using velmo::publish::Incoming;
using velmo::publish::ProgressMeter;
using velmo::publish::PublishProgress;
using velmo::publish::TreeLayout;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;
using velmo::test::writeFile;

class tst_Incoming : public QObject {
    Q_OBJECT

private slots:
    void placedFileIsThereForTheWebServerToRead_data();
    void placedFileIsThereForTheWebServerToRead();
    void nothingHasANameBeforeTheDriveHasIt();
    void placeReplacesAFileOfAnotherSize();
    void equalFilesAreCopiedOnce();
    void smallFileThatIsHeldIsNeverWritten_data();
    void smallFileThatIsHeldIsNeverWritten();
    void largeFileThatIsHeldIsNotKept();
    void largeFileThatOnlySeemedHeldIsCopied();
    void largeFileSharesItsBytesWhereTheDriveCan_data();
    void largeFileSharesItsBytesWhereTheDriveCan();
    void copiesAreCounted();
    void muchIsReadyByBytesOrByFiles();
    void sourceThatCannotBeReadIsRefused();
    void targetThatCannotBeWrittenIsRefused();
    void folderThatCannotBeMadeIsRefused();
    void shelfThatCannotBeMadeIsRefused();
    void copyThatDoesNotFitIsRefused_data();
    void copyThatDoesNotFitIsRefused();
    void oneSyncServesAll();
    void fewFilesAreSyncedOneByOne();
    void fileThatTheDriveDoesNotTakeIsNotStored_data();
    void fileThatTheDriveDoesNotTakeIsNotStored();
    void oneOfManyThatTheDriveDoesNotTakeIsNamed();
    void failureOfSomebodyElsesFileIsNoFailure();
    void oneSyncServesAllNames();
    void nothingPlacedLeavesNothingToSettle();
    void namesOfARunThatWasCutOffAreSettled();
    void driveThatCannotSyncIsNoFailure_data();
    void driveThatCannotSyncIsNoFailure();
    void whatWasCutOffIsClearedAway();
    void whatIsNotPlacedGoesAway();
};

namespace {

constexpr qsizetype largeBytes = 3 * velmo::publish::digestBlock + 5;

/// A store in a temporary folder, with files beside it to take.
class StoreFixture {
public:
    StoreFixture() { velmo::test::openToAll(folder_.path()); }

    QString folder() const { return folder_.filePath(u"files"_s); }
    QString incoming() const { return folder() + u"/.incoming"_s; }
    QString source(int number = 0) const { return folder_.filePath(u"source/%1"_s.arg(number)); }
    ContentStore store() const { return ContentStore(folder()); }
    QStringList stored() const { return PublishFixture::filesBelow(folder()); }

    /// Takes and places \a bytes. The first problem; empty when there is none.
    QString put(const QByteArray &bytes, Incoming::Guess guess = Incoming::Guess::New) const
    {
        writeFile(source(), bytes);
        return put(bytes.size(), guess);
    }
    QString put(qint64 size, Incoming::Guess guess = Incoming::Guess::New) const
    {
        Incoming incoming(store());
        if (const QString problem = incoming.open(); !problem.isEmpty()) {
            return problem;
        }
        ProgressMeter meter({});
        const FileDigest digest = incoming.take(source(), size, guess, meter);
        return digest.problem.isEmpty() ? incoming.place(nullptr).value(0) : digest.problem;
    }

private:
    QTemporaryDir folder_;
};

/// Has \a count different files ready in \a incoming.
void takeMany(const StoreFixture &fixture, Incoming &incoming, int count)
{
    if (incoming.files() == 0) {
        QCOMPARE(incoming.open(), QString());
    }
    ProgressMeter meter({});
    for (int number = 0; number < count; ++number) {
        writeFile(fixture.source(number), QByteArray::number(number));
        QCOMPARE(incoming.take(fixture.source(number), 1, Incoming::Guess::New, meter).problem, QString());
    }
}

} // namespace

void tst_Incoming::placedFileIsThereForTheWebServerToRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("small") << QByteArray("content");
    QTest::newRow("a block") << QByteArray(velmo::publish::digestBlock, 'b');
    QTest::newRow("large") << QByteArray(largeBytes, 'l');
}

void tst_Incoming::placedFileIsThereForTheWebServerToRead()
{
    QFETCH(QByteArray, bytes);
    const StoreFixture fixture;
    const mode_t previous = umask(022);
    const QString problem = fixture.put(bytes);
    umask(previous);
    QCOMPARE(problem, QString());
    const QString path = fixture.store().filePath(sha256Of(bytes));
    QVERIFY(velmo::test::contentOf(path) == bytes);
    struct stat info {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &info), 0);
    QCOMPARE(info.st_size, bytes.size());
    QCOMPARE(info.st_mode & 0777, mode_t{0644});
    QCOMPARE(fixture.stored().size(), 1);
}

void tst_Incoming::nothingHasANameBeforeTheDriveHasIt()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 2);
    const QStringList ready = fixture.stored();
    QCOMPARE(ready.size(), 2);
    for (const QString &path : ready) {
        QVERIFY2(path.startsWith(".incoming/"_L1), qUtf8Printable(path));
    }
    const velmo::test::SyncCount count;
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(count.ofFiles() + count.ofAll(), 2);
    QStringList expected{TreeLayout::contentName(sha256Of("0")), TreeLayout::contentName(sha256Of("1"))};
    expected.sort();
    QCOMPARE(fixture.stored(), expected);
}

void tst_Incoming::placeReplacesAFileOfAnotherSize()
{
    const StoreFixture fixture;
    const QString path = fixture.store().filePath(sha256Of("content"));
    writeFile(path, "cut");
    QCOMPARE(fixture.put("content"), QString());
    QCOMPARE(velmo::test::contentOf(path), "content");
}

void tst_Incoming::equalFilesAreCopiedOnce()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    QCOMPARE(incoming.open(), QString());
    constexpr int files = 200;
    for (int number = 0; number < files; ++number) {
        writeFile(fixture.source(number), number % 2 == 0 ? QByteArray("same") : QByteArray(largeBytes, 's'));
    }
    ProgressMeter meter({});
    const auto take = [&](qsizetype index) {
        const QString source = fixture.source(static_cast<int>(index));
        return incoming.take(source, QFileInfo(source).size(), Incoming::Guess::New, meter).problem.isEmpty();
    };
    velmo::publish::parallelFor(files, 8, take, [] {});
    QCOMPARE(incoming.files(), 2);
    QCOMPARE(PublishFixture::filesBelow(fixture.incoming()).size(), 2);
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(fixture.stored().size(), 2);
}

void tst_Incoming::smallFileThatIsHeldIsNeverWritten_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::newRow("small") << qsizetype{7};
    QTest::newRow("a block") << velmo::publish::digestBlock;
}

void tst_Incoming::smallFileThatIsHeldIsNeverWritten()
{
    QFETCH(qsizetype, size);
    const StoreFixture fixture;
    const QByteArray bytes(size, 'h');
    QCOMPARE(fixture.put(bytes), QString());
    const velmo::test::FullDrive drive(0);
    QCOMPARE(fixture.put(size), QString());
}

void tst_Incoming::largeFileThatIsHeldIsNotKept()
{
    const StoreFixture fixture;
    const QByteArray bytes(largeBytes, 'h');
    QCOMPARE(fixture.put(bytes), QString());
    QCOMPARE(fixture.put(bytes, Incoming::Guess::New), QString());
    QCOMPARE(fixture.stored().size(), 1);
    const velmo::test::FullDrive drive(0);
    QCOMPARE(fixture.put(largeBytes, Incoming::Guess::Held), QString());
}

void tst_Incoming::largeFileThatOnlySeemedHeldIsCopied()
{
    const StoreFixture fixture;
    const QByteArray bytes(largeBytes, 'n');
    QCOMPARE(fixture.put(bytes, Incoming::Guess::Held), QString());
    QVERIFY(velmo::test::contentOf(fixture.store().filePath(sha256Of(bytes))) == bytes);
}

void tst_Incoming::largeFileSharesItsBytesWhereTheDriveCan_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<int>("clones");
    QTest::newRow("small") << velmo::publish::digestBlock << 0;
    QTest::newRow("large") << largeBytes << 1;
}

void tst_Incoming::largeFileSharesItsBytesWhereTheDriveCan()
{
    // What is shared is what is hashed, so the source may have changed since it was looked at.
    QFETCH(qsizetype, size);
    QFETCH(int, clones);
    const StoreFixture fixture;
    const QByteArray later(size, 'l');
    const QByteArray earlier(size, 'e');
    writeFile(fixture.source(), later);
    const velmo::test::FakeClone clone(earlier);
    QCOMPARE(fixture.put(size), QString());
    QCOMPARE(clone.clones(), clones);
    const QByteArray &stored = clones > 0 ? earlier : later;
    QCOMPARE(fixture.stored(), QStringList{TreeLayout::contentName(sha256Of(stored))});
    QVERIFY(velmo::test::contentOf(fixture.store().filePath(sha256Of(stored))) == stored);
}

void tst_Incoming::copiesAreCounted()
{
    const StoreFixture fixture;
    QCOMPARE(fixture.put("held"), QString());
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 12);
    writeFile(fixture.source(), "held");
    PublishProgress last;
    ProgressMeter meter([&last](const PublishProgress &progress) { last = progress; });
    QCOMPARE(incoming.take(fixture.source(), 4, Incoming::Guess::New, meter).sha256, sha256Of("held"));
    QCOMPARE(incoming.files(), 12);
    QCOMPARE(incoming.bytes(), 14);
    meter.report();
    QCOMPARE(last.bytesDone, 4);
    meter.begin(velmo::publish::PublishStep::Copy, 12, 14);
    QCOMPARE(incoming.place(&meter), QStringList());
    meter.report();
    QCOMPARE(last.filesDone, 12);
    QCOMPARE(last.bytesDone, 14);
}

void tst_Incoming::muchIsReadyByBytesOrByFiles()
{
    const StoreFixture fixture;
    Incoming byBytes(fixture.store(), {10, 1000});
    takeMany(fixture, byBytes, 9);
    QVERIFY(!byBytes.isMuchReady());
    takeMany(fixture, byBytes, 10);
    QVERIFY(byBytes.isMuchReady());
    QCOMPARE(byBytes.place(nullptr), QStringList());
    QVERIFY(!byBytes.isMuchReady());
    const StoreFixture other;
    Incoming byFiles(other.store(), {1000, 5});
    takeMany(other, byFiles, 4);
    QVERIFY(!byFiles.isMuchReady());
    takeMany(other, byFiles, 5);
    QVERIFY(byFiles.isMuchReady());
}

void tst_Incoming::sourceThatCannotBeReadIsRefused()
{
    const StoreFixture fixture;
    QCOMPARE(fixture.put(0), u"\"%1\" cannot be read: %2."_s.arg(fixture.source(), velmo::test::noSuchFolder()));
    QCOMPARE(fixture.stored(), QStringList());
}

void tst_Incoming::targetThatCannotBeWrittenIsRefused()
{
    const StoreFixture fixture;
    const QString path = fixture.store().filePath(sha256Of("content"));
    QVERIFY(QDir().mkpath(path));
    QCOMPARE(fixture.put("content"), u"\"%1\" cannot be written: Is a directory."_s.arg(path));
    QCOMPARE(fixture.stored(), QStringList());
}

void tst_Incoming::folderThatCannotBeMadeIsRefused()
{
    const StoreFixture fixture;
    writeFile(fixture.folder(), "in the way");
    QCOMPARE(fixture.put("content"), u"The folder \"%1\" cannot be made."_s.arg(fixture.incoming()));
}

void tst_Incoming::shelfThatCannotBeMadeIsRefused()
{
    const StoreFixture fixture;
    const QString shelf = fixture.folder() + u'/' + sha256Of("content").first(2);
    writeFile(shelf, "in the way");
    QCOMPARE(fixture.put("content"), u"The folder \"%1\" cannot be made."_s.arg(shelf));
    QCOMPARE(fixture.stored().size(), 1);
}

void tst_Incoming::copyThatDoesNotFitIsRefused_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<qint64>("room");
    QTest::newRow("small") << qsizetype{7} << qint64{6};
    QTest::newRow("the first block") << largeBytes << qint64{1000};
    QTest::newRow("the last byte") << largeBytes << qint64{largeBytes - 1};
}

void tst_Incoming::copyThatDoesNotFitIsRefused()
{
    QFETCH(qsizetype, size);
    QFETCH(qint64, room);
    const StoreFixture fixture;
    writeFile(fixture.source(), QByteArray(size, 'x'));
    {
        const velmo::test::FullDrive drive(room);
        QCOMPARE(fixture.put(size), u"\"%1\" cannot be copied to \"%2/0\": %3."_s.arg(
                                        fixture.source(), fixture.incoming(), velmo::test::driveIsFull()));
    }
    QCOMPARE(fixture.stored(), QStringList());
}

void tst_Incoming::oneSyncServesAll()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 100);
    const velmo::test::SyncCount count;
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(count.ofAll(), 1);
    QCOMPARE(count.ofFiles(), 0);
    QCOMPARE(fixture.stored().size(), 100);
}

void tst_Incoming::fewFilesAreSyncedOneByOne()
{
    // What others have on the drive may be many times as much.
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, DriveSync::fewestForAll - 1);
    const velmo::test::SyncCount count;
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(count.ofAll(), 0);
    QCOMPARE(count.ofFiles(), DriveSync::fewestForAll - 1);
}

void tst_Incoming::fileThatTheDriveDoesNotTakeIsNotStored_data()
{
    QTest::addColumn<int>("failure");
    QTest::addColumn<QString>("reason");
    QTest::newRow("full") << ENOSPC << u"No space left on device"_s;
#ifndef Q_OS_WIN
    QTest::newRow("over quota") << EDQUOT << u"Disk quota exceeded"_s;
#endif
    QTest::newRow("broken") << EIO << u"Input/output error"_s;
}

void tst_Incoming::fileThatTheDriveDoesNotTakeIsNotStored()
{
    QFETCH(int, failure);
    QFETCH(QString, reason);
    const StoreFixture fixture;
    {
        const velmo::test::FailingSync sync(failure);
        QCOMPARE(fixture.put("content"),
                 u"\"%1\" cannot be written: %2."_s.arg(fixture.store().filePath(sha256Of("content")), reason));
    }
    QCOMPARE(fixture.stored(), QStringList());
}

void tst_Incoming::oneOfManyThatTheDriveDoesNotTakeIsNamed()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 50);
    const velmo::test::FailingSync sync(ENOSPC, fixture.incoming() + u"/7"_s);
    const QString lost = fixture.store().filePath(sha256Of("7"));
    QCOMPARE(incoming.place(nullptr), QStringList{u"\"%1\" cannot be written: No space left on device."_s.arg(lost)});
    QCOMPARE(fixture.stored().size(), 49);
    QVERIFY(!QFile::exists(lost));
}

void tst_Incoming::failureOfSomebodyElsesFileIsNoFailure()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 50);
    const velmo::test::FailingSync sync(ENOSPC, fixture.source());
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(fixture.stored().size(), 50);
}

void tst_Incoming::oneSyncServesAllNames()
{
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 100);
    QCOMPARE(incoming.place(nullptr), QStringList());
    const velmo::test::SyncCount count;
    QCOMPARE(incoming.settle(), QStringList());
    QCOMPARE(count.ofAll(), 1);
    QCOMPARE(count.ofFiles(), 0);
    QCOMPARE(incoming.settle(), QStringList());
    QCOMPARE(count.ofAll(), 1);
}

void tst_Incoming::nothingPlacedLeavesNothingToSettle()
{
    const StoreFixture fixture;
    QCOMPARE(fixture.put("held"), QString());
    QDir().rmdir(fixture.incoming());
    Incoming incoming(fixture.store());
    QCOMPARE(incoming.open(), QString());
    const velmo::test::SyncCount count;
    QCOMPARE(incoming.settle(), QStringList());
    QCOMPARE(count.ofAll() + count.ofFiles(), 0);
}

void tst_Incoming::namesOfARunThatWasCutOffAreSettled()
{
    // Its files have their names, so that the next run takes them for held, and asks for no sync of its own.
    const StoreFixture fixture;
    QCOMPARE(fixture.put("content"), QString());
    QVERIFY2(QFile::exists(fixture.incoming()), "what says that the drive may not have the names");
    {
        Incoming incoming(fixture.store());
        QCOMPARE(incoming.open(), QString());
        const velmo::test::SyncCount count;
        QCOMPARE(incoming.settle(), QStringList());
        QCOMPARE(count.ofFiles(), 3); // the shelf, the store, and what that stands in
    }
    QVERIFY(!QFile::exists(fixture.incoming()));
}

void tst_Incoming::driveThatCannotSyncIsNoFailure_data()
{
    QTest::addColumn<int>("failure");
    QTest::newRow("invalid") << EINVAL;
    QTest::newRow("no such call") << ENOSYS;
    QTest::newRow("not supported") << EOPNOTSUPP;
}

void tst_Incoming::driveThatCannotSyncIsNoFailure()
{
    QFETCH(int, failure);
    const StoreFixture fixture;
    Incoming incoming(fixture.store());
    takeMany(fixture, incoming, 50);
    const velmo::test::FailingSync sync(failure);
    QCOMPARE(incoming.place(nullptr), QStringList());
    QCOMPARE(fixture.stored().size(), 50);
}

void tst_Incoming::whatWasCutOffIsClearedAway()
{
    const StoreFixture fixture;
    writeFile(fixture.incoming() + u"/0"_s, "half of");
    writeFile(fixture.incoming() + u"/12"_s, "half of");
    writeFile(fixture.incoming() + u"/notes.txt"_s, "not ours");
    QCOMPARE(fixture.put("content"), QString());
    QStringList expected{u".incoming/notes.txt"_s, TreeLayout::contentName(sha256Of("content"))};
    expected.sort();
    QCOMPARE(fixture.stored(), expected);
}

void tst_Incoming::whatIsNotPlacedGoesAway()
{
    const StoreFixture fixture;
    {
        Incoming incoming(fixture.store());
        takeMany(fixture, incoming, 3);
        QCOMPARE(fixture.stored().size(), 3);
    }
    QCOMPARE(fixture.stored(), QStringList());
    QVERIFY(!QFile::exists(fixture.incoming()));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Incoming>(argc, argv);
}

#include "tst_Incoming.moc"
