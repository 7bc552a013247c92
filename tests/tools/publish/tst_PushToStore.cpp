#include "publish/Gzip.h"
#include "publish/TreeCheck.h"
#include "support/TestEnvironment.h"
#include "tools/publish/ObjectStore.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PushRun.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>

#include <algorithm>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;

/// A tree that is pushed to where a studio serves games from: an object store, and a folder.
class tst_PushToStore : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void headersTellCachesWhatMayChange();
    void manifestIsStoredPacked();
    void packedManifestThatLiesBesideIsReplaced();
    void storeThatDoesNotKeepTheHeaderGetsBothForms();
    void burstsOf503AndCutConnectionsAreOvercome();
    void unreachableStoreGivesOneSentence();
    void killedAtAnyMomentItServesAWholeBuild_data();
    void killedAtAnyMomentItServesAWholeBuild();

private:
    std::unique_ptr<ObjectStore> store_;
};

namespace {

constexpr int kills = 20;
constexpr int mostAttempts = 80;

QByteArray noise(quint32 number, qsizetype words)
{
    QList<quint32> values(words);
    QRandomGenerator(number).fillRange(values.data(), values.size());
    return {reinterpret_cast<const char *>(values.constData()), words * qsizetype(sizeof(quint32))};
}

/// Publishes build \a number, in which some files are as before and most are not.
void publishBuild(const PublishFixture &fixture, int number)
{
    for (int file = 0; file < 12; ++file) {
        const int change = file < 4 ? 0 : number;
        fixture.write(u"data/%1"_s.arg(file), noise(static_cast<quint32>(100 * change + file), 2000 + 3000 * file));
    }
    velmo::publish::PublishOrder order = fixture.order();
    order.build = number;
    QVERIFY(velmo::publish::Publisher(order).run().isGood());
}

QStringList pushArguments(const PublishFixture &fixture, const QString &remote)
{
    return {u"--push"_s, remote, u"--out"_s, fixture.tree()};
}

/// What players miss who get the packed manifest of the tree in \a folder, if there is one.
QStringList lacksOfPacked(const QString &folder)
{
    const QByteArray packed = contentOf(QDir(folder).filePath(u"harrowfen/release/manifest.json.gz"_s));
    if (packed.isEmpty()) {
        return {};
    }
    const velmo::publish::ParsedManifest parsed =
        velmo::publish::parsedManifest(velmo::publish::unpack(packed, 1'000'000).value_or(QByteArray()));
    QStringList problems = parsed.manifest.valid ? QStringList() : QStringList{parsed.problem};
    for (const velmo::ManifestFile &file : parsed.manifest.files) {
        const QString path = QDir(folder).filePath(u"harrowfen/release/"_s + file.url);
        if (sha256Of(contentOf(path)) != file.sha256) {
            problems.append(path);
        }
    }
    return problems;
}

/// The problems of what is served, which lies in \a folder: by the manifest as it is, and by the packed one, which is
/// of the next build while a push goes on.
QStringList problemsOf(const QString &folder)
{
    const velmo::publish::ContentTree tree(folder, u"harrowfen"_s);
    const QStringList ofPacked = tree.lookAtPacked(u"release"_s).problems;
    QStringList problems = velmo::publish::TreeCheck(tree, 2).run().problems;
    problems.removeIf([&ofPacked](const QString &problem) { return ofPacked.contains(problem); });
    return problems + lacksOfPacked(folder);
}

} // namespace

void tst_PushToStore::init()
{
    store_ = std::make_unique<ObjectStore>();
    QVERIFY2(store_->problem().isEmpty(), qPrintable(store_->problem()));
}

void tst_PushToStore::cleanup()
{
    store_.reset();
}

void tst_PushToStore::headersTellCachesWhatMayChange()
{
    const PublishFixture fixture;
    fixture.write(u"game"_s, "bytes");
    QVERIFY(fixture.publish().isGood());
    const PublishRun run = runPush(pushArguments(fixture, ObjectStore::remote()), store_->environment());
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    const QString content = QDir(fixture.tree()).relativeFilePath(fixture.storedPath("bytes"));
    QCOMPARE(store_->header(content, "Cache-Control"), QByteArray("public, max-age=31536000, immutable"));
    QCOMPARE(store_->header(u"harrowfen/release/manifest.json"_s, "Cache-Control"), QByteArray("no-cache"));
}

/// A store does not choose between two files, so everybody gets the packed one, and is told so.
void tst_PushToStore::manifestIsStoredPacked()
{
    const PublishFixture fixture;
    fixture.write(u"game"_s, "bytes");
    QVERIFY(fixture.publish().isGood());
    const QStringList arguments = pushArguments(fixture, ObjectStore::remote());
    QCOMPARE(runPush(arguments, store_->environment()).exitCode, 0);
    const QString manifest = u"harrowfen/release/manifest.json"_s;
    QCOMPARE(store_->header(manifest, "Content-Encoding"), QByteArray("gzip"));
    QCOMPARE(store_->header(manifest, "Content-Type"), QByteArray("application/json"));
    QCOMPARE(store_->header(manifest + u".gz"_s, "Content-Type"), QByteArray("404"));
    const QString content = QDir(fixture.tree()).relativeFilePath(fixture.storedPath("bytes"));
    QCOMPARE(store_->header(content, "Content-Encoding"), QByteArray());
    QCOMPARE(store_->bytes(manifest), contentOf(QDir(fixture.tree()).filePath(manifest)));
    const PublishRun again = runPush(arguments, store_->environment());
    QVERIFY2(again.output.contains(u"uploaded: 0, 0 B; manifests replaced: 0."_s), qPrintable(again.output));
}

/// As one has left it who uploaded the tree by other means.
void tst_PushToStore::packedManifestThatLiesBesideIsReplaced()
{
    const PublishFixture fixture;
    publishBuild(fixture, 1);
    const QString packed = u"harrowfen/release/manifest.json.gz"_s;
    rcloneOutput({u"copyto"_s, u"--s3-no-check-bucket"_s, QDir(fixture.tree()).filePath(packed),
                  ObjectStore::remote() + u'/' + packed},
                 store_->environment());
    publishBuild(fixture, 2);
    QCOMPARE(runPush(pushArguments(fixture, ObjectStore::remote()), store_->environment()).exitCode, 0);
    QCOMPARE(store_->bytes(packed), contentOf(QDir(fixture.tree()).filePath(packed)));
    QCOMPARE(store_->header(packed, "Content-Encoding"), QByteArray());

    const QString other = QDir(fixture.folder()).filePath(u"other"_s);
    writeFile(other, "of another build");
    rcloneOutput({u"copyto"_s, u"--s3-no-check-bucket"_s, other, ObjectStore::remote() + u'/' + packed},
                 store_->environment());
    QCOMPARE(runPush(pushArguments(fixture, ObjectStore::remote()), store_->environment()).exitCode, 0);
    QCOMPARE(store_->bytes(packed), contentOf(QDir(fixture.tree()).filePath(packed)));
}

/// Packed bytes that nobody is told of would be no manifest to a launcher.
void tst_PushToStore::storeThatDoesNotKeepTheHeaderGetsBothForms()
{
    const PublishFixture fixture;
    fixture.write(u"game"_s, "bytes");
    QVERIFY(fixture.publish().isGood());
    QProcessEnvironment environment = store_->environment();
    putInFrontOfRclone(
        environment, QDir(fixture.folder()).filePath(u"bin"_s),
        "for argument; do shift; [[ $argument == *Content-Encoding* ]] || set -- \"$@\" \"$argument\"; done");
    const PublishRun run = runPush(pushArguments(fixture, ObjectStore::remote()), environment);
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    const QString manifest = u"harrowfen/release/manifest.json"_s;
    for (const QString &name : QStringList{manifest, manifest + u".gz"_s}) {
        QCOMPARE(store_->header(name, "Content-Encoding"), QByteArray());
        QCOMPARE(store_->bytes(name), contentOf(QDir(fixture.tree()).filePath(name)));
    }
}

void tst_PushToStore::burstsOf503AndCutConnectionsAreOvercome()
{
    const PublishFixture fixture;
    publishBuild(fixture, 1);
    store_->relay().refuse(3);
    store_->relay().cut(4, 40000);
    const PublishRun run = runPush(pushArguments(fixture, ObjectStore::relayedRemote()), store_->environment());
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QCOMPARE(store_->relay().refused(), 3);
    QCOMPARE(store_->relay().cuts(), 4);
    const QString served = QDir(fixture.folder()).filePath(u"served"_s);
    store_->download(served);
    QCOMPARE(problemsOf(served), QStringList());
}

void tst_PushToStore::unreachableStoreGivesOneSentence()
{
    const PublishFixture fixture;
    publishBuild(fixture, 1);
    const QString address =
        u":s3,provider=Other,env_auth=false,access_key_id=AKIAVISIBLE,secret_access_key=verysecretkey,"
        "endpoint='http://127.0.0.1:1':games"_s;
    const PublishRun run = runPush(pushArguments(fixture, address), store_->environment());
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.startsWith(u"rclone could not list \":s3:games\": "_s), qPrintable(run.errors));
    QCOMPARE(run.errors.count(u'\n'), 1);
    QVERIFY(!run.errors.contains(u"verysecretkey"_s) && !run.errors.contains(u"AKIAVISIBLE"_s));
}

void tst_PushToStore::killedAtAnyMomentItServesAWholeBuild_data()
{
    QTest::addColumn<bool>("isFolder");
    QTest::newRow("object store") << false;
    QTest::newRow("folder") << true;
}

void tst_PushToStore::killedAtAnyMomentItServesAWholeBuild()
{
    QFETCH(bool, isFolder);
    const PublishFixture fixture;
    const QString served = QDir(fixture.folder()).filePath(u"served"_s);
    const QStringList arguments = pushArguments(fixture, isFolder ? served : ObjectStore::remote());
    publishBuild(fixture, 1);
    QCOMPARE(runPush(arguments, store_->environment()).exitCode, 0);
    publishBuild(fixture, 2);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(runPush(arguments, store_->environment()).exitCode, 0);
    int whole = static_cast<int>(timer.elapsed());

    int killed = 0;
    QSet<int> servedBuilds;
    for (int attempt = 0; killed < kills && attempt < mostAttempts; ++attempt) {
        publishBuild(fixture, 3 + attempt);
        const int moment = whole * (killed + 1) / (kills + 1);
        timer.start();
        const bool wasKilled = runPush(arguments, store_->environment(), moment).exitCode == -1;
        killed += wasKilled ? 1 : 0;
        whole = wasKilled ? whole : std::min(whole, static_cast<int>(timer.elapsed())); // the first one met a neighbour
        if (!isFolder) {
            store_->download(served);
        }
        QCOMPARE(problemsOf(served), QStringList());
        const velmo::publish::ContentTree tree(served, u"harrowfen"_s);
        servedBuilds.insert(tree.readManifest(u"release"_s).manifest.build);
    }
    QCOMPARE(killed, kills);
    QVERIFY(servedBuilds.size() > 1);
    QCOMPARE(runPush(arguments, store_->environment()).exitCode, 0);
    if (!isFolder) {
        store_->download(served);
    }
    const QString manifest = u"harrowfen/release/manifest.json"_s;
    QCOMPARE(contentOf(QDir(served).filePath(manifest)), contentOf(QDir(fixture.tree()).filePath(manifest)));
    QCOMPARE(problemsOf(served), QStringList());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PushToStore>(argc, argv);
}

#include "tst_PushToStore.moc"
