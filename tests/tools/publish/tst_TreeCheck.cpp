#include "publish/ContentStore.h"
#include "publish/TreeCheck.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDir>
#include <QHash>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::test::PublishFixture;
using velmo::test::sha256Of;
using velmo::test::writeFile;

class tst_TreeCheck : public QObject {
    Q_OBJECT

private slots:
    void freshTreeIsGood();
    void treeWithoutManifestsIsNot();
    void missingFileIsNamedForEveryPath();
    void wrongSizeIsNamed();
    void pathThatLooksLikeAPlaceholderIsNamedAsItIs();
    void wrongHashIsNamed();
    void somethingElseInTheFilesPlaceIsNamed();
    void brokenManifestIsNamedAndTheOthersAreChecked();
    void packedManifestIsLookedAt();
    void otherAddressesAreFollowedAsTheLauncherDoes_data();
    void otherAddressesAreFollowedAsTheLauncherDoes();
    void addressOutOfTheTreeIsNamed_data();
    void addressOutOfTheTreeIsNamed();
    void manifestWithoutFilesIsGood();
    void sharedFileIsReadOnce();
    void checkChangesNothing();
    void channelsAreNamedWhereNobodyListsThem();
};

namespace {

velmo::publish::TreeCheckResult checkOf(const PublishFixture &fixture)
{
    return velmo::publish::TreeCheck(fixture.contentTree(), 2).run();
}

void publishTwoFiles(const PublishFixture &fixture)
{
    fixture.write(u"Data/a"_s, "first");
    fixture.write(u"Data/copy of a"_s, "first");
    fixture.write(u"b"_s, "second");
    QCOMPARE(fixture.publish().problems, QStringList());
}

/// A tree whose one manifest names \a file.
void writeManifest(const PublishFixture &fixture, const velmo::ManifestFile &file)
{
    Manifest manifest;
    manifest.version = u"1.0"_s;
    manifest.build = 1;
    manifest.files = {file};
    QCOMPARE(fixture.contentTree().writeManifest(manifest), QString());
}

} // namespace

void tst_TreeCheck::freshTreeIsGood()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const velmo::publish::TreeCheckResult result = checkOf(fixture);
    QCOMPARE(result.problems, QStringList());
    QCOMPARE(result.manifests, 1);
    QCOMPARE(result.files, 2);
}

void tst_TreeCheck::treeWithoutManifestsIsNot()
{
    const PublishFixture fixture;
    QCOMPARE(checkOf(fixture).problems, QStringList{u"\"%1/harrowfen\" holds no manifest."_s.arg(fixture.tree())});
}

void tst_TreeCheck::missingFileIsNamedForEveryPath()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString location = fixture.storedPath("first");
    QVERIFY(QFile::remove(location));
    QCOMPARE(checkOf(fixture).problems,
             QStringList({u"release: \"Data/a\": \"%1\" is missing."_s.arg(location),
                          u"release: \"Data/copy of a\": \"%1\" is missing."_s.arg(location)}));
}

void tst_TreeCheck::wrongSizeIsNamed()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString location = fixture.storedPath("second");
    writeFile(location, "sec");
    QCOMPARE(checkOf(fixture).problems,
             QStringList{u"release: \"b\": \"%1\" has 3 bytes instead of 6."_s.arg(location)});
}

void tst_TreeCheck::pathThatLooksLikeAPlaceholderIsNamedAsItIs()
{
    const PublishFixture fixture;
    velmo::publish::PublishOrder order = fixture.order();
    order.tree = fixture.folder() + u"/%2 and %3"_s;
    fixture.write(u"a"_s, "first");
    QCOMPARE(velmo::publish::Publisher(order).run().problems, QStringList());
    const velmo::publish::ContentTree tree(order.tree, order.game);
    const QString location = velmo::publish::ContentStore(tree.contentFolder()).filePath(sha256Of("first"));
    writeFile(location, "cut");
    QCOMPARE(velmo::publish::TreeCheck(tree, 2).run().problems,
             QStringList{u"release: \"a\": \""_s + location + u"\" has 3 bytes instead of 5."_s});
}

void tst_TreeCheck::wrongHashIsNamed()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString location = fixture.storedPath("second");
    writeFile(location, "SECOND");
    QCOMPARE(checkOf(fixture).problems, QStringList{u"release: \"b\": \"%1\" has the hash %2 instead of %3."_s.arg(
                                            location, sha256Of("SECOND"), sha256Of("second"))});
}

void tst_TreeCheck::somethingElseInTheFilesPlaceIsNamed()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString location = fixture.storedPath("second");
    QVERIFY(QFile::remove(location));
    QVERIFY(velmo::test::makePipe(QFile::encodeName(location)));
    QCOMPARE(checkOf(fixture).problems, QStringList{u"release: \"b\": \"%1\" is not a file."_s.arg(location)});
}

void tst_TreeCheck::brokenManifestIsNamedAndTheOthersAreChecked()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString broken = fixture.contentTree().manifestPath(u"beta"_s);
    writeFile(broken, "{}");
    QVERIFY(QFile::remove(fixture.storedPath("second")));
    QCOMPARE(checkOf(fixture).problems,
             QStringList({u"\"%1\" is damaged. Manifest is missing a version."_s.arg(broken),
                          u"release: \"b\": \"%1\" is missing."_s.arg(fixture.storedPath("second"))}));
}

void tst_TreeCheck::packedManifestIsLookedAt()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString packed = fixture.contentTree().packedManifestPath(u"release"_s);
    QCOMPARE(checkOf(fixture).warnings, QStringList());
    QVERIFY(QFile::remove(packed));
    QCOMPARE(checkOf(fixture).problems, QStringList());
    QCOMPARE(checkOf(fixture).warnings, fixture.contentTree().lookAtPacked(u"release"_s).warnings);
    QCOMPARE(checkOf(fixture).warnings.size(), 1);
    writeFile(packed, "x");
    QCOMPARE(checkOf(fixture).problems, fixture.contentTree().lookAtPacked(u"release"_s).problems);
    QCOMPARE(checkOf(fixture).problems.size(), 1);
}

void tst_TreeCheck::otherAddressesAreFollowedAsTheLauncherDoes_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("place");
    QTest::newRow("path") << QString() << u"release/Data/the fen.pak"_s;
    QTest::newRow("beside the manifest") << u"v1/the%20fen.pak"_s << u"release/v1/the fen.pak"_s;
    QTest::newRow("other folder") << u"../v1/./x"_s << u"v1/x"_s;
}

void tst_TreeCheck::otherAddressesAreFollowedAsTheLauncherDoes()
{
    QFETCH(QString, url);
    QFETCH(QString, place);
    const PublishFixture fixture;
    writeManifest(fixture, {u"Data/the fen.pak"_s, sha256Of("fen"), 3, url, false});
    const QString location = fixture.tree() + u"/harrowfen/"_s + place;
    QCOMPARE(checkOf(fixture).problems,
             QStringList{u"release: \"Data/the fen.pak\": \"%1\" is missing."_s.arg(location)});
    writeFile(location, "fen");
    QCOMPARE(checkOf(fixture).problems, QStringList());
}

void tst_TreeCheck::addressOutOfTheTreeIsNamed_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("another server") << u"https://example.com/a"_s;
    QTest::newRow("another host") << u"//example.com/a"_s;
    QTest::newRow("above the tree") << u"../../../a"_s;
    QTest::newRow("absolute") << u"/etc/hostname"_s;
}

void tst_TreeCheck::addressOutOfTheTreeIsNamed()
{
    QFETCH(QString, url);
    const PublishFixture fixture;
    writeManifest(fixture, {u"a"_s, sha256Of("x"), 1, url, false});
    QCOMPARE(checkOf(fixture).problems,
             QStringList{u"release: \"a\": The address \"%1\" leads out of the tree."_s.arg(url)});
}

void tst_TreeCheck::manifestWithoutFilesIsGood()
{
    const PublishFixture fixture;
    writeFile(fixture.contentTree().manifestPath(u"release"_s), R"({"version": "1.0", "build": 1})");
    QCOMPARE(checkOf(fixture).problems, QStringList());
}

void tst_TreeCheck::sharedFileIsReadOnce()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    velmo::publish::PublishProgress last;
    const velmo::publish::ContentTree tree = fixture.contentTree();
    velmo::publish::TreeCheck check(tree, 2);
    check.setProgress([&last](const velmo::publish::PublishProgress &progress) { last = progress; });
    check.run();
    QCOMPARE(last.step, velmo::publish::PublishStep::Check);
    QVERIFY(last.finished);
    QCOMPARE(last.files, 2);
    QCOMPARE(last.filesDone, 2);
    QCOMPARE(last.bytes, 11);
    QCOMPARE(last.bytesDone, 11);
}

void tst_TreeCheck::checkChangesNothing()
{
    const PublishFixture fixture;
    publishTwoFiles(fixture);
    const QString stray = fixture.storedPath("stray");
    writeFile(stray, "stray");
    const QStringList before = PublishFixture::filesBelow(fixture.tree());
    QCOMPARE(checkOf(fixture).problems, QStringList());
    QCOMPARE(PublishFixture::filesBelow(fixture.tree()), before);
}

namespace {

/// A server with one channel: it has files by address and lists nothing.
class Server : public velmo::publish::TreeSource {
public:
    QHash<QString, QByteArray> files;
    velmo::Manifest manifest;

    velmo::publish::TreeLayout layout() const override { return velmo::publish::TreeLayout(u"harrowfen"_s); }
    QUrl rootUrl() const override { return QUrl(u"https://cdn.example/tree/"_s); }
    QString nameOf(const QString &address) const override { return rootUrl().toString() + address; }
    velmo::publish::ChannelManifest readManifest(const QString &channel) const override
    {
        const QString name = nameOf(layout().manifest(channel));
        if (channel != manifest.channel) {
            return {channel, name, {}, u"\"%1\" is not there."_s.arg(name)};
        }
        return {channel, name, manifest, {}};
    }
    qint64 sizeOf(const QString &address) const override { return files.value(address).size(); }
    velmo::publish::FileDigest digest(const QString &address, velmo::publish::ProgressMeter &meter) const override
    {
        const QByteArray bytes = files.value(address);
        meter.addBytes(bytes.size());
        return {sha256Of(bytes), bytes.size(), {}};
    }
};

} // namespace

void tst_TreeCheck::channelsAreNamedWhereNobodyListsThem()
{
    Server server;
    server.manifest.channel = u"beta"_s;
    const QString url = velmo::publish::TreeLayout::contentUrl(sha256Of("first"));
    server.manifest.files = {{u"a"_s, sha256Of("first"), 5, url, false},
                             {u"b"_s, sha256Of("x"), 1, u"../../../x"_s, false}};
    const QString address = u"harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256Of("first"));
    server.files.insert(address, "FIRST");
    QCOMPARE(velmo::publish::TreeCheck(server, {u"beta"_s, u"release"_s}, 1).run().problems,
             QStringList({u"beta: \"a\": \"https://cdn.example/tree/%1\" has the hash %2 instead of %3."_s.arg(
                              address, sha256Of("FIRST"), sha256Of("first")),
                          u"beta: \"b\": The address \"../../../x\" leads out of the tree."_s,
                          u"\"https://cdn.example/tree/harrowfen/release/manifest.json\" is not there."_s}));
    server.files.insert(address, "first");
    server.manifest.files.removeLast();
    const velmo::publish::TreeCheckResult good = velmo::publish::TreeCheck(server, {u"beta"_s}, 1).run();
    QCOMPARE(good.problems, QStringList());
    QCOMPARE(good.manifests, 1);
    QCOMPARE(good.files, 1);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_TreeCheck>(argc, argv);
}

#include "tst_TreeCheck.moc"
