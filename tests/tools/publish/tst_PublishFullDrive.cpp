#include "publish/TreeCheck.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PublishRun.h"
#include "tools/publish/SmallDrive.h"

using namespace Qt::Literals::StringLiterals;
using velmo::test::PublishFixture;
using velmo::test::PublishRun;
using velmo::test::sha256Of;
using velmo::test::SmallDrive;

/// velmo-publish against a real drive that has no room left.
class tst_PublishFullDrive : public QObject {
    Q_OBJECT

private slots:
    void manifestThatDoesNotFitLeavesTheOldOne_data();
    void manifestThatDoesNotFitLeavesTheOldOne();
    void firstManifestThatDoesNotFitLeavesNone();
    void smallFileThatDoesNotFitIsNotStored_data();
    void smallFileThatDoesNotFitIsNotStored();
    void tailThatDoesNotFitIsNoticed_data();
    void tailThatDoesNotFitIsNoticed();
    void lockThatDoesNotFitIsNamed();
};

namespace {

constexpr qint64 page = SmallDrive::pageSize;
constexpr qint64 block = qint64{1024} * 1024; // bytes that the tool reads at a time
const QString noRoom = u"No space left on device"_s;

/// A tree on a drive of its own, with build 1 in it.
class FullTree {
public:
    explicit FullTree(qint64 bytes)
        : drive_(fixture_.tree(), bytes)
    {}

    const PublishFixture &fixture() const { return fixture_; }
    const SmallDrive &drive() const { return drive_; }
    QString manifestPath() const { return fixture_.contentTree().manifestPath(u"release"_s); }
    QByteArray manifestBytes() const { return velmo::test::contentOf(manifestPath()); }

    PublishRun publish(int build) const
    {
        return velmo::test::runPublish({u"--source"_s, fixture_.build(), u"--out"_s, fixture_.tree(), u"--channel"_s,
                                        u"release"_s, u"--version"_s, u"1.%1"_s.arg(build), u"--build"_s,
                                        QString::number(build), u"--jobs"_s, u"1"_s});
    }

private:
    PublishFixture fixture_;
    SmallDrive drive_;
};

/// Files of the store whose bytes are not those of their names.
QStringList wronglyNamed(const PublishFixture &fixture)
{
    const QDir store(fixture.contentTree().contentFolder());
    QStringList wrong;
    for (const QString &path : PublishFixture::filesBelow(store.path())) {
        if (path.section(u'/', -1) != sha256Of(velmo::test::contentOf(store.filePath(path)))) {
            wrong.append(path);
        }
    }
    return wrong;
}

/// What holds for every build 2 that found no room: it failed by name, and build 1 stands as it was.
void compareRefused(const FullTree &tree, const PublishRun &run, const QByteArray &manifestBefore, const QString &path)
{
    QCOMPARE(run.exitCode, 1);
    const QStringList lines = run.errors.split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    QVERIFY2(lines.first().contains(u'"' + path + u'"') && lines.first().endsWith(noRoom + u'.'),
             qUtf8Printable(run.errors));
    QCOMPARE(lines.last(), u"Nothing was published."_s);
    QVERIFY(tree.manifestBytes() == manifestBefore);
    QCOMPARE(wronglyNamed(tree.fixture()), QStringList());
}

/// With room again, the same build goes out.
void comparePublishedWithRoom(const FullTree &tree)
{
    tree.drive().makeRoom();
    const PublishRun run = tree.publish(2);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(tree.fixture().manifest().build, 2);
    QCOMPARE(velmo::publish::TreeCheck(tree.fixture().contentTree(), 1).run().problems, QStringList());
}

} // namespace

void tst_PublishFullDrive::manifestThatDoesNotFitLeavesTheOldOne_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<qint64>("pages"); // one is the lock's
    QTest::newRow("short manifest, no page for it") << 20 << qint64{1};
    QTest::newRow("short manifest, one page for it") << 20 << qint64{2};
    QTest::newRow("long manifest, no page for it") << 100 << qint64{1};
    QTest::newRow("long manifest, two pages for it") << 100 << qint64{3};
}

void tst_PublishFullDrive::manifestThatDoesNotFitLeavesTheOldOne()
{
    QFETCH(int, files);
    QFETCH(qint64, pages);
    const FullTree tree(64 * page);
    QVERIFY(tree.drive().isMounted());
    for (int number = 0; number < files; ++number) {
        tree.fixture().write(u"Data/%1"_s.arg(number), "the same");
    }
    QCOMPARE(tree.publish(1).exitCode, 0);
    const QByteArray before = tree.manifestBytes();
    QVERIFY(before.size() > (pages - 1) * page);
    QVERIFY(tree.drive().fillUpTo(pages * page));

    compareRefused(tree, tree.publish(2), before, tree.manifestPath());
    comparePublishedWithRoom(tree);
}

void tst_PublishFullDrive::firstManifestThatDoesNotFitLeavesNone()
{
    const FullTree tree(64 * page);
    QVERIFY(tree.drive().isMounted());
    tree.fixture().write(u"data"_s, "content");
    QVERIFY(tree.drive().fillUpTo(2 * page)); // the lock and the content
    const PublishRun run = tree.publish(2);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(u"\"%1\" cannot be written: %2."_s.arg(tree.manifestPath(), noRoom)),
             qUtf8Printable(run.errors));
    QVERIFY(!QFile::exists(tree.manifestPath()));
    comparePublishedWithRoom(tree);
}

void tst_PublishFullDrive::smallFileThatDoesNotFitIsNotStored_data()
{
    QTest::addColumn<qint64>("pages"); // one is the lock's
    QTest::newRow("the only new file") << qint64{1};
    QTest::newRow("the second of two") << qint64{2};
}

void tst_PublishFullDrive::smallFileThatDoesNotFitIsNotStored()
{
    QFETCH(qint64, pages);
    const FullTree tree(64 * page);
    QVERIFY(tree.drive().isMounted());
    tree.fixture().write(u"data"_s, "old");
    QCOMPARE(tree.publish(1).exitCode, 0);
    const QByteArray before = tree.manifestBytes();
    for (qint64 number = 0; number < pages; ++number) {
        tree.fixture().write(u"new/%1"_s.arg(number), QByteArray::number(number));
    }
    QVERIFY(tree.drive().fillUpTo(pages * page));

    const QString last = u"%1/new/%2"_s.arg(tree.fixture().build()).arg(pages - 1);
    compareRefused(tree, tree.publish(2), before, QFileInfo(last).canonicalFilePath());
    QVERIFY(!QFile::exists(tree.fixture().storedPath(QByteArray::number(pages - 1))));
    comparePublishedWithRoom(tree);
}

void tst_PublishFullDrive::tailThatDoesNotFitIsNoticed_data()
{
    QTest::addColumn<qint64>("tail");
    QTest::newRow("of some bytes") << qint64{1000};
    QTest::newRow("of two pages, of which one fits") << 2 * page;
}

void tst_PublishFullDrive::tailThatDoesNotFitIsNoticed()
{
    QFETCH(qint64, tail);
    const FullTree tree(4 * block);
    QVERIFY(tree.drive().isMounted());
    tree.fixture().write(u"data"_s, "old");
    QCOMPARE(tree.publish(1).exitCode, 0);
    const QByteArray before = tree.manifestBytes();
    const QByteArray large(block + tail, 'x');
    tree.fixture().write(u"large"_s, large);
    QVERIFY(tree.drive().fillUpTo(page + block + tail / page / 2 * page)); // the lock, and all but the end

    const QString source = QFileInfo(tree.fixture().build() + u"/large"_s).canonicalFilePath();
    compareRefused(tree, tree.publish(2), before, source);
    QVERIFY(!QFile::exists(tree.fixture().storedPath(large)));
    comparePublishedWithRoom(tree);
}

void tst_PublishFullDrive::lockThatDoesNotFitIsNamed()
{
    const FullTree tree(64 * page);
    QVERIFY(tree.drive().isMounted());
    tree.fixture().write(u"data"_s, "content");
    QCOMPARE(tree.publish(1).exitCode, 0);
    const QByteArray before = tree.manifestBytes();
    QVERIFY(tree.drive().fillUpTo(0));
    const PublishRun run = tree.publish(2);
    QCOMPARE(run.exitCode, 1);
    const QString lock = tree.fixture().contentTree().gameFolder() + u"/.publish.lock"_s;
    QVERIFY2(run.errors.contains(u"\"%1\" cannot be written"_s.arg(lock)), qUtf8Printable(run.errors));
    QVERIFY(tree.manifestBytes() == before);
    comparePublishedWithRoom(tree);
}

int main(int argc, char **argv)
{
    return SmallDrive::prepare() ? velmo::test::runTest<tst_PublishFullDrive>(argc, argv) : 1;
}

#include "tst_PublishFullDrive.moc"
