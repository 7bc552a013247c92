#include "publish/ContentStore.h"
#include "publish/ProgressMeter.h"
#include "support/TestEnvironment.h"
#include "tools/publish/FailingSync.h"
#include "tools/publish/PublishFixture.h"

#include <QDir>

#include <cerrno>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::ContentStore;
using velmo::publish::FileDigest;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;
using velmo::test::writeFile;

class tst_ContentStore : public QObject {
    Q_OBJECT

private slots:
    void fileIsNamedAfterItsHash();
    void addedFileIsThereForTheWebServerToRead();
    void fileOfAnotherSizeIsNotHeld();
    void addReplacesAFileOfAnotherSize();
    void sourceThatIsNotWhatWasHashedIsRefused();
    void sourceThatCannotBeReadIsRefused();
    void targetThatCannotBeWrittenIsRefused();
    void fileThatTheDriveDoesNotTakeIsNotStored_data();
    void fileThatTheDriveDoesNotTakeIsNotStored();
    void driveThatCannotSyncIsNoFailure_data();
    void driveThatCannotSyncIsNoFailure();
    void folderThatCannotBeMadeIsRefused();
    void pruneKeepsWhatIsNamed();
    void pruneRemovesUnfinishedCopies();
    void pruneLeavesForeignFilesAlone();
    void pruneNamesWhatItCannotRemove();
    void pruneOfNothingDoesNothing();
};

namespace {

FileDigest digestOf(const QByteArray &bytes)
{
    return {sha256Of(bytes), bytes.size(), {}};
}

/// A store in a temporary folder, with a file beside it to copy from.
class StoreFixture {
public:
    StoreFixture() { velmo::test::openToAll(folder_.path()); }

    QString folder() const { return folder_.filePath(u"files"_s); }
    QString source() const { return folder_.filePath(u"source"_s); }
    ContentStore store() const { return ContentStore(folder()); }

    /// The error text; empty when the source was added.
    QString add(const QByteArray &expected) const
    {
        velmo::publish::ProgressMeter meter({});
        QString error;
        const bool added = store().add(source(), digestOf(expected), meter, &error);
        return added ? QString() : error;
    }

    QString put(const QByteArray &bytes, const QString &suffix = {}) const
    {
        const QString path = store().filePath(sha256Of(bytes)) + suffix;
        writeFile(path, bytes);
        return path;
    }

private:
    QTemporaryDir folder_;
};

} // namespace

void tst_ContentStore::fileIsNamedAfterItsHash()
{
    const QString sha256 = u"ab"_s + QString(62, u'0');
    QCOMPARE(ContentStore::relativePath(sha256), u"ab/"_s + sha256);
    QCOMPARE(ContentStore(u"/store"_s).filePath(sha256), u"/store/ab/"_s + sha256);
}

void tst_ContentStore::addedFileIsThereForTheWebServerToRead()
{
    const StoreFixture fixture;
    writeFile(fixture.source(), "content");
    QVERIFY(!fixture.store().holds(digestOf("content")));
    const mode_t previous = umask(022);
    const QString error = fixture.add("content");
    umask(previous);
    QCOMPARE(error, QString());
    QVERIFY(fixture.store().holds(digestOf("content")));
    const QString path = fixture.store().filePath(sha256Of("content"));
    QCOMPARE(velmo::test::contentOf(path), "content");
    struct stat info {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, mode_t{0644});
}

void tst_ContentStore::fileOfAnotherSizeIsNotHeld()
{
    const StoreFixture fixture;
    writeFile(fixture.put("content"), "cut");
    QVERIFY(!fixture.store().holds(digestOf("content")));
}

void tst_ContentStore::addReplacesAFileOfAnotherSize()
{
    const StoreFixture fixture;
    const QString path = fixture.put("content");
    writeFile(path, "cut");
    writeFile(fixture.source(), "content");
    QCOMPARE(fixture.add("content"), QString());
    QCOMPARE(velmo::test::contentOf(path), "content");
}

void tst_ContentStore::sourceThatIsNotWhatWasHashedIsRefused()
{
    const StoreFixture fixture;
    writeFile(fixture.source(), "CONTENT");
    QCOMPARE(fixture.add("content"), u"\"%1\" changed while it was being published."_s.arg(fixture.source()));
    QCOMPARE(PublishFixture::filesBelow(fixture.folder()), QStringList());
}

void tst_ContentStore::sourceThatCannotBeReadIsRefused()
{
    const StoreFixture fixture;
    QCOMPARE(fixture.add("content"), u"\"%1\" cannot be read: No such file or directory."_s.arg(fixture.source()));
    QCOMPARE(PublishFixture::filesBelow(fixture.folder()), QStringList());
}

void tst_ContentStore::targetThatCannotBeWrittenIsRefused()
{
    const StoreFixture fixture;
    writeFile(fixture.source(), "content");
    const QString path = fixture.store().filePath(sha256Of("content"));
    QVERIFY(QDir().mkpath(path));
    const QString error = fixture.add("content");
    QVERIFY2(error.startsWith(u"\"%1\" cannot be written: "_s.arg(path)), qUtf8Printable(error));
}

void tst_ContentStore::fileThatTheDriveDoesNotTakeIsNotStored_data()
{
    QTest::addColumn<int>("failure");
    QTest::addColumn<QString>("reason");
    QTest::newRow("full") << ENOSPC << u"No space left on device"_s;
    QTest::newRow("over quota") << EDQUOT << u"Disk quota exceeded"_s;
    QTest::newRow("broken") << EIO << u"Input/output error"_s;
}

void tst_ContentStore::fileThatTheDriveDoesNotTakeIsNotStored()
{
    QFETCH(int, failure);
    QFETCH(QString, reason);
    const StoreFixture fixture;
    writeFile(fixture.source(), "content");
    {
        const velmo::test::FailingSync sync(failure);
        QCOMPARE(fixture.add("content"),
                 u"\"%1\" cannot be written: %2."_s.arg(fixture.store().filePath(sha256Of("content")), reason));
    }
    QCOMPARE(PublishFixture::filesBelow(fixture.folder()), QStringList());
}

void tst_ContentStore::driveThatCannotSyncIsNoFailure_data()
{
    QTest::addColumn<int>("failure");
    QTest::newRow("invalid") << EINVAL;
    QTest::newRow("no such call") << ENOSYS;
    QTest::newRow("not supported") << EOPNOTSUPP;
}

void tst_ContentStore::driveThatCannotSyncIsNoFailure()
{
    QFETCH(int, failure);
    const StoreFixture fixture;
    writeFile(fixture.source(), "content");
    const velmo::test::FailingSync sync(failure);
    QCOMPARE(fixture.add("content"), QString());
    QCOMPARE(velmo::test::contentOf(fixture.store().filePath(sha256Of("content"))), "content");
}

void tst_ContentStore::folderThatCannotBeMadeIsRefused()
{
    const StoreFixture fixture;
    writeFile(fixture.source(), "content");
    writeFile(fixture.folder(), "in the way");
    QCOMPARE(fixture.add("content"),
             u"The folder \"%1/%2\" cannot be made."_s.arg(fixture.folder(), sha256Of("content").first(2)));
}

void tst_ContentStore::pruneKeepsWhatIsNamed()
{
    const StoreFixture fixture;
    const QString kept = fixture.put("kept");
    const QString dropped = fixture.put("dropped");
    const velmo::publish::PruneResult result = fixture.store().prune({sha256Of("kept")});
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.files, 1);
    QCOMPARE(result.bytes, 7);
    QVERIFY(QFile::exists(kept));
    QVERIFY(!QFile::exists(dropped));
    QVERIFY2(!QFile::exists(QFileInfo(dropped).path()), "the emptied folder goes too");
}

void tst_ContentStore::pruneRemovesUnfinishedCopies()
{
    const StoreFixture fixture;
    const QString kept = fixture.put("kept");
    const QString unfinished = fixture.put("kept", u".aBcDeF"_s);
    QCOMPARE(fixture.store().prune({sha256Of("kept")}).files, 1);
    QVERIFY(QFile::exists(kept));
    QVERIFY(!QFile::exists(unfinished));
}

void tst_ContentStore::pruneLeavesForeignFilesAlone()
{
    const StoreFixture fixture;
    const QStringList foreign = {fixture.folder() + u"/README"_s, fixture.folder() + u"/ab/.htaccess"_s,
                                 fixture.folder() + u"/ab/"_s + QString(63, u'0'),
                                 fixture.folder() + u"/ab/"_s + QString(64, u'A')};
    for (const QString &path : foreign) {
        writeFile(path, "x");
    }
    QCOMPARE(fixture.store().prune({}).files, 0);
    for (const QString &path : foreign) {
        QVERIFY2(QFile::exists(path), qUtf8Printable(path));
    }
}

void tst_ContentStore::pruneNamesWhatItCannotRemove()
{
    const StoreFixture fixture;
    const QString path = fixture.put("dropped");
    const QByteArray shelf = QFile::encodeName(QFileInfo(path).path());
    QCOMPARE(chmod(shelf.constData(), 0555), 0);
    velmo::publish::PruneResult result;
    {
        const velmo::test::UnprivilegedFileAccess access;
        result = fixture.store().prune({});
    }
    QCOMPARE(chmod(shelf.constData(), 0755), 0); // so that the fixture can go
    QCOMPARE(result.problems, QStringList{u"\"%1\" cannot be removed: Permission denied."_s.arg(path)});
    QCOMPARE(result.files, 0);
}

void tst_ContentStore::pruneOfNothingDoesNothing()
{
    const velmo::publish::PruneResult result = StoreFixture().store().prune({});
    QCOMPARE(result.files, 0);
    QCOMPARE(result.problems, QStringList());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ContentStore>(argc, argv);
}

#include "tst_ContentStore.moc"
