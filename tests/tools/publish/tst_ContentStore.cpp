#include "publish/ContentStore.h"
#include "publish/TreeLayout.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDir>

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
    void fileOfAnotherSizeIsNotHeld();
    void folderInAFilesPlaceIsNotHeld();
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

/// A store in a temporary folder.
class StoreFixture {
public:
    StoreFixture() { velmo::test::openToAll(folder_.path()); }

    QString folder() const { return folder_.filePath(u"files"_s); }
    ContentStore store() const { return ContentStore(folder()); }

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
    QCOMPARE(velmo::publish::TreeLayout::contentName(sha256), u"ab/"_s + sha256);
    QCOMPARE(ContentStore(u"/store"_s).filePath(sha256), u"/store/ab/"_s + sha256);
}

void tst_ContentStore::fileOfAnotherSizeIsNotHeld()
{
    const StoreFixture fixture;
    writeFile(fixture.put("content"), "cut");
    QVERIFY(!fixture.store().holds(digestOf("content")));
}

void tst_ContentStore::folderInAFilesPlaceIsNotHeld()
{
    const StoreFixture fixture;
    const QString path = fixture.store().filePath(sha256Of("content"));
    QVERIFY(QDir().mkpath(path));
    QVERIFY(!fixture.store().holds({sha256Of("content"), QFileInfo(path).size(), {}}));
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
    const QString shelf = QFileInfo(path).path();
    QVERIFY(velmo::test::setMode(shelf, 0555));
    velmo::publish::PruneResult result;
    {
        const velmo::test::UnprivilegedFileAccess access;
        result = fixture.store().prune({});
    }
    QVERIFY(velmo::test::setMode(shelf, 0755)); // so that the fixture can go
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
