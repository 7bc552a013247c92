#include "publish/ContentTree.h"
#include "support/TestEnvironment.h"
#include "tools/publish/FailingSync.h"
#include "tools/publish/PublishFixture.h"

#include <QDir>
#include <QProcess>

#include <cerrno>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::publish::ChannelManifest;
using velmo::test::PublishFixture;
using velmo::test::writeFile;

class tst_ContentTree : public QObject {
    Q_OBJECT

private slots:
    void everythingHasItsPlace();
    void folderNamesAreSafe_data();
    void folderNamesAreSafe();
    void writtenManifestIsReadBack();
    void manifestThatTheLauncherRefusesIsNotWritten();
    void manifestThatTheLauncherReadsOtherwiseIsNotWritten();
    void manifestThatCannotBeWrittenIsNamed();
    void oldManifestStandsWhenTheDriveDoesNotTakeTheNewOne();
    void nothingTellsOfABuildWhoseManifestTheDriveDoesNotTake();
    void packedManifestHoldsTheSameEveryTime();
    void packedManifestThatTellsSomethingElseIsNamed();
    void packedManifestAloneMakesAChannelThatCannotBeRead();
    void channelFolderThatCannotBeMadeIsNamed();
    void damagedManifestIsNamed_data();
    void damagedManifestIsNamed();
    void missingManifestIsNamed();
    void manifestsOfAllChannelsAreRead();
    void treeWithoutTheGameHasNoManifests();
    void channelThatMayNotBeEnteredIsNamed();
    void gameFolderThatMayNotBeListedIsNamed();
    void channelThatLeadsNowhereIsNamed_data();
    void channelThatLeadsNowhereIsNamed();
    void filesAndFoldersWithoutAManifestAreNoChannels();
    void channelThatIsNotFoundLeavesItsContentUnknown();
};

namespace {

const QStringList bothManifests = {u"harrowfen/release/manifest.json"_s, u"harrowfen/release/manifest.json.gz"_s};

Manifest smallManifest()
{
    Manifest manifest;
    manifest.version = u"1.0"_s;
    manifest.build = 7;
    manifest.files = {{u"Data/ä b.pak"_s, QString(64, u'a'), 5, u"../files/aa/x"_s, true}};
    return manifest;
}

} // namespace

void tst_ContentTree::everythingHasItsPlace()
{
    const QString root = QFileInfo(u"/srv/content"_s).absoluteFilePath(); // on the current drive of Windows
    const velmo::publish::ContentTree tree(u"/srv/content/"_s, u"harrowfen"_s);
    QCOMPARE(tree.root(), root);
    QCOMPARE(tree.gameFolder(), QString(root + u"/harrowfen"_s));
    QCOMPARE(tree.contentFolder(), QString(root + u"/harrowfen/files"_s));
    QCOMPARE(tree.manifestPath(u"beta"_s), QString(root + u"/harrowfen/beta/manifest.json"_s));
    const QString sha256 = u"cd"_s + QString(62, u'1');
    QCOMPARE(velmo::publish::TreeLayout::contentUrl(sha256), u"../files/cd/"_s + sha256);
}

void tst_ContentTree::folderNamesAreSafe_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("safe");
    for (const QString &name : {u"release"_s, u"rc-2"_s, u"1"_s}) {
        QTest::newRow(qUtf8Printable(name)) << name << true;
    }
    for (const QString &name :
         {u""_s, u"."_s, u".."_s, u"a/b"_s, u"A"_s, u"-"_s, u"-a"_s, u"a_b"_s, u"a b"_s, u"é"_s, u"a\n"_s}) {
        QTest::newRow(qUtf8Printable("not "_L1 + name)) << name << false;
    }
}

void tst_ContentTree::folderNamesAreSafe()
{
    QFETCH(QString, name);
    QFETCH(bool, safe);
    QCOMPARE(velmo::publish::TreeLayout::isFolderName(name), safe);
}

void tst_ContentTree::writtenManifestIsReadBack()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    QVERIFY(!tree.hasManifest(u"release"_s));
    QCOMPARE(tree.writeManifest(smallManifest()), QString());
    QVERIFY(tree.hasManifest(u"release"_s));
    const ChannelManifest read = tree.readManifest(u"release"_s);
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.channel, u"release"_s);
    QVERIFY(read.manifest.valid);
    QCOMPARE(read.manifest.toJson(), smallManifest().toJson());
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), bothManifests);
}

void tst_ContentTree::manifestThatTheLauncherRefusesIsNotWritten()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    Manifest manifest = smallManifest();
    manifest.files.first().path = u"../x"_s;
    QCOMPARE(tree.writeManifest(manifest),
             u"The launcher would not read the manifest for \"%1\" as it is meant. Manifest contains an "
             "invalid file entry: ../x"_s.arg(tree.manifestPath(u"release"_s)));
    QVERIFY(!QFile::exists(fixture.tree()));
}

void tst_ContentTree::manifestThatTheLauncherReadsOtherwiseIsNotWritten()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    Manifest manifest = smallManifest();
    manifest.files.first().sha256 = QString(64, u'A'); // read in lower case
    QCOMPARE(tree.writeManifest(manifest), u"The launcher would not read the manifest for \"%1\" as it is meant."_s.arg(
                                               tree.manifestPath(u"release"_s)));
}

void tst_ContentTree::manifestThatCannotBeWrittenIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    const QString path = tree.manifestPath(u"release"_s);
    QVERIFY(QDir().mkpath(path));
    const QString problem = tree.writeManifest(smallManifest());
    QVERIFY2(problem.startsWith(u"\"%1\" cannot be written: "_s.arg(path)), qUtf8Printable(problem));
}

void tst_ContentTree::oldManifestStandsWhenTheDriveDoesNotTakeTheNewOne()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    Manifest manifest = smallManifest();
    QCOMPARE(tree.writeManifest(manifest), QString());
    manifest.build = 8;
    QString problem;
    {
        const velmo::test::FailingSync sync(ENOSPC);
        problem = tree.writeManifest(manifest);
    }
    QCOMPARE(problem,
             u"\"%1\" cannot be written: No space left on device."_s.arg(tree.packedManifestPath(u"release"_s)));
    QCOMPARE(tree.readManifest(u"release"_s).manifest.build, 7);
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), bothManifests);
    QCOMPARE(tree.lookAtPacked(u"release"_s).problems, QStringList());
}

void tst_ContentTree::nothingTellsOfABuildWhoseManifestTheDriveDoesNotTake()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    Manifest manifest = smallManifest();
    QCOMPARE(tree.writeManifest(manifest), QString());
    manifest.build = 8;
    bool packedTold = false;
    QString problem;
    {
        int syncs = 0;
        const velmo::test::SyncLook look([&tree, &syncs, &packedTold] {
            packedTold = !tree.lookAtPacked(u"release"_s).problems.isEmpty();
            return ++syncs == 1 ? 0 : ENOSPC;
        });
        problem = tree.writeManifest(manifest);
    }
    QVERIFY(packedTold); // the packed one was there before
    QCOMPARE(problem, u"\"%1\" cannot be written: No space left on device."_s.arg(tree.manifestPath(u"release"_s)));
    QCOMPARE(tree.readManifest(u"release"_s).manifest.build, 7);
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), QStringList{u"harrowfen/release/manifest.json"_s});
}

void tst_ContentTree::packedManifestHoldsTheSameEveryTime()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    const QString path = tree.packedManifestPath(u"release"_s);
    QCOMPARE(path, tree.manifestPath(u"release"_s) + u".gz"_s);
    Manifest manifest = smallManifest();
    for (int number = 0; number < 12'345; ++number) {
        const QString sha256 = velmo::test::sha256Of(QByteArray::number(number));
        manifest.files.append({u"Data/%1"_s.arg(number), sha256, number, sha256, false});
    }
    QCOMPARE(tree.writeManifest(manifest), QString());
    const QByteArray packed = velmo::test::contentOf(path);
    QVERIFY(QFile::remove(path));
    QCOMPARE(tree.writeManifest(manifest), QString());
    QCOMPARE(velmo::test::contentOf(path), packed);
    QProcess gzip;
    gzip.start(u"gzip"_s, {u"-dc"_s, path});
    QVERIFY(gzip.waitForFinished());
    QVERIFY(gzip.readAllStandardOutput() == velmo::test::contentOf(tree.manifestPath(u"release"_s)));
    const velmo::publish::TaskResult look = tree.lookAtPacked(u"release"_s);
    QCOMPARE(look.problems + look.warnings, QStringList());
}

void tst_ContentTree::packedManifestThatTellsSomethingElseIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    const QString path = tree.packedManifestPath(u"release"_s);
    QCOMPARE(tree.writeManifest(smallManifest()), QString());
    const QByteArray packed = velmo::test::contentOf(path);
    Manifest next = smallManifest();
    next.build = 8;
    QCOMPARE(tree.writeManifest(next), QString());
    const QStringList problems = {
        u"\"%1\" does not hold the manifest beside it; publish the channel once more, or delete the file."_s.arg(path)};
    for (const QByteArray &bytes : {packed, QByteArray()}) {
        writeFile(path, bytes);
        QCOMPARE(tree.lookAtPacked(u"release"_s).problems, problems);
        QCOMPARE(tree.namedContent(u"release"_s).problems, problems); // so nothing is pruned
    }
    QVERIFY(QFile::remove(path));
    fixture.link(u"nowhere"_s, path);
    QCOMPARE(tree.lookAtPacked(u"release"_s).problems, problems);
    QVERIFY(QFile::remove(path));
    const velmo::publish::TaskResult missing = tree.lookAtPacked(u"release"_s);
    QCOMPARE(missing.problems, QStringList());
    QCOMPARE(missing.warnings, QStringList{u"\"%1\" is missing, so that players fetch several times the bytes; publish "
                                           "the channel once more."_s.arg(path)});
    QCOMPARE(tree.namedContent(u"release"_s).problems, QStringList());
}

/// As a kill leaves the first publishing of a channel: players may be on what it names.
void tst_ContentTree::packedManifestAloneMakesAChannelThatCannotBeRead()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    QCOMPARE(tree.writeManifest(smallManifest()), QString());
    QVERIFY(QFile::remove(tree.manifestPath(u"release"_s)));
    QVERIFY(!tree.hasManifest(u"release"_s));
    const QList<ChannelManifest> manifests = tree.readManifests();
    QCOMPARE(manifests.size(), 1);
    QCOMPARE(manifests.first().problem,
             u"\"%1\" cannot be read: No such file or directory."_s.arg(tree.manifestPath(u"release"_s)));
}

void tst_ContentTree::channelFolderThatCannotBeMadeIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    writeFile(tree.gameFolder() + u"/release"_s, "in the way");
    QCOMPARE(tree.writeManifest(smallManifest()),
             u"The folder \"%1/release\" cannot be made."_s.arg(tree.gameFolder()));
}

void tst_ContentTree::damagedManifestIsNamed_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    QTest::newRow("empty") << QByteArray() << u"It is not valid JSON: "_s;
    QTest::newRow("cut") << QByteArray(R"({"version": "1.0", "bu)") << u"It is not valid JSON: "_s;
    QTest::newRow("not an object") << QByteArray("[]") << u"Manifest is missing a version."_s;
    QTest::newRow("no build") << QByteArray(R"({"version": "1.0"})") << u"Manifest is missing a build number."_s;
}

void tst_ContentTree::damagedManifestIsNamed()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, reason);
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    const QString path = tree.manifestPath(u"beta"_s);
    writeFile(path, json);
    const ChannelManifest read = tree.readManifest(u"beta"_s);
    QVERIFY(!read.manifest.valid);
    QVERIFY2(read.problem.startsWith(u"\"%1\" is damaged. "_s.arg(path) + reason), qUtf8Printable(read.problem));
}

void tst_ContentTree::missingManifestIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    QCOMPARE(tree.readManifest(u"beta"_s).problem,
             u"\"%1\" cannot be read: %2."_s.arg(tree.manifestPath(u"beta"_s), velmo::test::noSuchFolder()));
}

void tst_ContentTree::manifestsOfAllChannelsAreRead()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    for (const QString &channel : {u"release"_s, u"beta"_s}) {
        Manifest manifest = smallManifest();
        manifest.channel = channel;
        QCOMPARE(tree.writeManifest(manifest), QString());
    }
    writeFile(tree.manifestPath(u"dev"_s), "{}");
    writeFile(tree.gameFolder() + u"/files/aa/x"_s, "x");
    const QList<ChannelManifest> manifests = tree.readManifests();
    QCOMPARE(manifests.size(), 3);
    QCOMPARE(manifests.at(0).manifest.channel, u"beta"_s);
    QCOMPARE(manifests.at(1).channel, u"dev"_s);
    QVERIFY(!manifests.at(1).problem.isEmpty());
    QCOMPARE(manifests.at(2).manifest.channel, u"release"_s);
}

void tst_ContentTree::treeWithoutTheGameHasNoManifests()
{
    QVERIFY(PublishFixture().contentTree().readManifests().isEmpty());
}

void tst_ContentTree::channelThatMayNotBeEnteredIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    writeFile(tree.manifestPath(u"beta"_s), "{}");
    const QString folder = tree.gameFolder() + u"/beta"_s;
    QVERIFY(velmo::test::setMode(folder, 0));
    QList<ChannelManifest> manifests;
    {
        const velmo::test::UnprivilegedFileAccess access;
        manifests = tree.readManifests();
    }
    QVERIFY(velmo::test::setMode(folder, 0755)); // so that the fixture can go
    QCOMPARE(manifests.size(), 1);
    QCOMPARE(manifests.first().problem,
             u"\"%1\" cannot be read: Permission denied."_s.arg(tree.manifestPath(u"beta"_s)));
}

void tst_ContentTree::gameFolderThatMayNotBeListedIsNamed()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    writeFile(tree.manifestPath(u"beta"_s), "{}");
    const QString folder = tree.gameFolder();
    QVERIFY(velmo::test::setMode(folder, 0311));
    QList<ChannelManifest> manifests;
    {
        const velmo::test::UnprivilegedFileAccess access;
        manifests = tree.readManifests();
    }
    QVERIFY(velmo::test::setMode(folder, 0755)); // so that the fixture can go
    QCOMPARE(manifests.size(), 1);
    QCOMPARE(manifests.first().problem, u"\"%1\" cannot be read: Permission denied."_s.arg(tree.gameFolder()));
}

void tst_ContentTree::channelThatLeadsNowhereIsNamed_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("problem");
    QTest::newRow("folder") << u"beta"_s << u"\"%1/beta\" is a symbolic link that leads nowhere."_s;
    QTest::newRow("manifest") << u"beta/manifest.json"_s
                              << u"\"%1/beta/manifest.json\" cannot be read: No such file or directory."_s;
}

void tst_ContentTree::channelThatLeadsNowhereIsNamed()
{
    QFETCH(QString, link);
    QFETCH(QString, problem);
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    fixture.link(u"/not/mounted"_s, QDir(tree.gameFolder()).filePath(link));
    const QList<ChannelManifest> manifests = tree.readManifests();
    QCOMPARE(manifests.size(), 1);
    QCOMPARE(manifests.first().channel, u"beta"_s);
    QCOMPARE(manifests.first().problem, problem.arg(tree.gameFolder()));
}

void tst_ContentTree::filesAndFoldersWithoutAManifestAreNoChannels()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    writeFile(tree.gameFolder() + u"/README"_s, "x");
    writeFile(tree.gameFolder() + u"/files/aa/x"_s, "x");
    fixture.link(u"README"_s, tree.gameFolder() + u"/link"_s);
    QVERIFY(tree.readManifests().isEmpty());
}

void tst_ContentTree::channelThatIsNotFoundLeavesItsContentUnknown()
{
    const PublishFixture fixture;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    Manifest manifest = smallManifest();
    manifest.channel = u"beta"_s;
    QCOMPARE(tree.writeManifest(manifest), QString());
    const velmo::publish::NamedContent named = tree.namedContent(u"beta"_s);
    QCOMPARE(named.problems, QStringList());
    QCOMPARE(named.hashes, QSet<QString>{QString(64, u'a')});
    QCOMPARE(tree.namedContent(u"release"_s).problems,
             QStringList{u"\"%1\" is not found in its folder."_s.arg(tree.manifestPath(u"release"_s))});
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ContentTree>(argc, argv);
}

#include "tst_ContentTree.moc"
