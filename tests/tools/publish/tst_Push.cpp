#include "publish/Push.h"
#include "support/TestEnvironment.h"
#include "tools/publish/FailingSync.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PushRun.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;

/// velmo-publish --push to a folder, and how it fails.
class tst_Push : public QObject {
    Q_OBJECT

private slots:
    void contentAndManifestArrive();
    void contentIsOnTheDriveBeforeItsManifest_data();
    void contentIsOnTheDriveBeforeItsManifest();
    void noManifestStandsOverContentThatTheDriveDoesNotTake();
    void publishingAndPushingGoTogether();
    void onlyWhatIsLackingIsUploaded();
    void contentOfTheRightSizeAndOtherBytesIsReplaced();
    void namesThatOptionsAndPatternsLookLikeAreOnlyNames();
    void whatElseLiesThereStays();
    void dryRunChangesNothing();
    void brokenTreeIsRefusedBeforeAnythingIsThere();
    void treeThatIsBeingPublishedIsRefused();
    void manifestWithoutItsPackedFormIsRefused_data();
    void manifestWithoutItsPackedFormIsRefused();
    void bothFormsOfAManifestAreReplaced();
    void fileThatOnlyAPackedManifestNamesIsNotPruned();
    void olderBuildIsPushedWithAWarning();
    void listingThatBreaksOffIsNoListing();
    void filesThatNobodyComparedAreNotProved();
    void dryRunOverADamagedManifestIsAsGoodAsThePush();
    void fileIsPrunedWhenNoManifestHasNamedItForSoLong();
    void fileThatAnotherTreesChannelNamesIsNeverPruned();
    void damagedManifestOfAnotherChannelKeepsFromPruning();
    void unusableRcloneGivesOneSentence_data();
    void unusableRcloneGivesOneSentence();
    void mistakeGivesTwo_data();
    void mistakeGivesTwo();
    void plainServerIsReachedBySftp();
};

namespace {

QString servedBeside(const PublishFixture &fixture)
{
    return QDir(fixture.folder()).filePath(u"served"_s);
}

PublishRun push(const PublishFixture &fixture, const QStringList &more = {}, const QString &remote = {})
{
    const QString place = remote.isEmpty() ? servedBeside(fixture) : remote;
    return runPush(QStringList{u"--push="_s + place, u"--out="_s + fixture.tree()} + more,
                   pushEnvironment(QDir(fixture.folder()).filePath(u"rclone.conf"_s)));
}

/// Pushes by an rclone in front of which \a script stands, which ends or goes on to the real one, $rclone.
PublishRun pushBy(const PublishFixture &fixture, const QByteArray &script)
{
    QProcessEnvironment environment = pushEnvironment(QDir(fixture.folder()).filePath(u"rclone.conf"_s));
    putInFrontOfRclone(environment, QDir(fixture.folder()).filePath(u"bin"_s), script);
    return runPush({u"--push="_s + servedBeside(fixture), u"--out="_s + fixture.tree()}, environment);
}

void publish(const PublishFixture &fixture, int build, const QString &channel = u"release"_s)
{
    velmo::publish::PublishOrder order = fixture.order();
    order.build = build;
    order.channel = channel;
    order.prune = true;
    QVERIFY(velmo::publish::Publisher(order).run().isGood());
}

/// A tree with one build, whose file "a" holds "one".
class PublishedFile : public PublishFixture {
public:
    PublishedFile()
    {
        write(u"a"_s, "one");
        ::publish(*this, 1);
    }
};

/// Where the folder that is served has \a bytes.
QString servedPath(const PublishFixture &fixture, const QByteArray &bytes)
{
    return QDir(servedBeside(fixture)).filePath(QDir(fixture.tree()).relativeFilePath(fixture.storedPath(bytes)));
}

/// Makes the remote remember that it was \a days ago when it saw \a bytes unnamed.
void letDaysPass(const PublishFixture &fixture, const QByteArray &bytes, int days)
{
    const QString path = QDir(servedBeside(fixture)).filePath(u"harrowfen/.push/unnamed.json"_s);
    QJsonObject memory = QJsonDocument::fromJson(contentOf(path)).object();
    QVERIFY(memory.contains(sha256Of(bytes)));
    const QDateTime then = QDateTime::currentDateTimeUtc().addDays(-days).addSecs(-1);
    memory.insert(sha256Of(bytes), then.toString(Qt::ISODate));
    writeFile(path, QJsonDocument(memory).toJson());
}

/// By this program itself, whose calls of the system are looked at.
QStringList problemsOfPush(const PublishFixture &fixture)
{
    qputenv("RCLONE_CONFIG", fixture.folder().toUtf8() + "/rclone.conf");
    velmo::publish::PushOrder order;
    order.remote = velmo::publish::RemoteAddress(servedBeside(fixture));
    order.tree = fixture.tree();
    order.game = u"harrowfen"_s;
    return velmo::publish::Push(order).run().problems;
}

bool isListening(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected();
}

QStringList servedFiles(const PublishFixture &fixture)
{
    return PublishFixture::filesBelow(servedBeside(fixture));
}

} // namespace

void tst_Push::contentAndManifestArrive()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "one");
    fixture.write(u"b/empty"_s, "");
    publish(fixture, 1);
    publish(fixture, 2, u"beta"_s);
    const PublishRun run = push(fixture);
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QCOMPARE(servedFiles(fixture), PublishFixture::filesBelow(fixture.tree()));
    QCOMPARE(contentOf(servedPath(fixture, "one")), QByteArray("one"));
    const QString manifest = u"harrowfen/release/manifest.json"_s;
    QCOMPARE(contentOf(QDir(servedBeside(fixture)).filePath(manifest)),
             contentOf(QDir(fixture.tree()).filePath(manifest)));
    QVERIFY(run.output.contains(u"Files: 2, 3 B; uploaded: 2, 3 B; manifests replaced: 2."_s));
    QVERIFY(!QFile::exists(QDir(servedBeside(fixture)).filePath(u"harrowfen/.incoming"_s)));
}

void tst_Push::contentIsOnTheDriveBeforeItsManifest_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<int>("syncsOfAll");
    QTest::addColumn<int>("syncsOfFiles");
    QTest::newRow("few") << 1 << 0 << 5; // the file, its shelf, and those around it up to the folder that was there
    QTest::newRow("many") << 20 << 1 << 0;
}

void tst_Push::contentIsOnTheDriveBeforeItsManifest()
{
    QFETCH(int, files);
    QFETCH(int, syncsOfAll);
    QFETCH(int, syncsOfFiles);
    const PublishFixture fixture;
    for (int number = 1; number <= files; ++number) {
        fixture.write(QString::number(number), QByteArray::number(number));
    }
    publish(fixture, 1);
    QVERIFY(QDir().mkdir(servedBeside(fixture)));
    bool isSynced = false;
    const SyncCount count;
    const SyncLook look([&] {
        const QStringList served = servedFiles(fixture);
        const bool isListed =
            QFileInfo::exists(servedBeside(fixture) + u"/harrowfen/release"_s); // made for the manifest
        const bool isPlaced = served.filter(u"harrowfen/files/"_s).size() == files;
        if (!isListed && isPlaced) {
            isSynced = SyncCount::ofAll() == syncsOfAll && SyncCount::ofFiles() == syncsOfFiles;
        }
        return 0;
    });
    QCOMPARE(problemsOfPush(fixture), QStringList());
    QVERIFY(isSynced);
}

/// Nor over what an earlier push has left, which may be in the system's memory alone.
void tst_Push::noManifestStandsOverContentThatTheDriveDoesNotTake()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "one");
    publish(fixture, 1);
    writeFile(servedPath(fixture, "one"), "one");
    const QString manifest = servedBeside(fixture) + u"/harrowfen/release/manifest.json"_s;
    {
        const FailingSync sync(EIO, servedPath(fixture, "one"));
        QCOMPARE(problemsOfPush(fixture),
                 QStringList{u"\"%1\" cannot be written: Input/output error."_s.arg(servedPath(fixture, "one"))});
        QVERIFY(!QFile::exists(manifest));
        QVERIFY(!QFile::exists(servedPath(fixture, "one")));
    }
    QCOMPARE(problemsOfPush(fixture), QStringList());
    QVERIFY(QFile::exists(manifest));
}

void tst_Push::publishingAndPushingGoTogether()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "one");
    const PublishRun run = push(fixture, {u"--source"_s, fixture.build(), u"--channel"_s, u"release"_s, u"--version"_s,
                                          u"1.0"_s, u"--build"_s, u"1"_s});
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QVERIFY(run.output.contains(u"Published 1.0 build 1"_s) && run.output.contains(u"Pushed to"_s));
    QCOMPARE(contentOf(servedPath(fixture, "one")), QByteArray("one"));
}

void tst_Push::onlyWhatIsLackingIsUploaded()
{
    const PublishedFile fixture;
    QCOMPARE(push(fixture).exitCode, 0);
    fixture.write(u"b"_s, "other");
    publish(fixture, 2);
    QVERIFY(push(fixture).output.contains(u"uploaded: 1, 5 B; manifests replaced: 1."_s));
    QVERIFY(push(fixture).output.contains(u"uploaded: 0, 0 B; manifests replaced: 0."_s));
    fixture.write(u"a"_s, "gone");
    publish(fixture, 3);
    QVERIFY(push(fixture).output.contains(u"uploaded: 1, 4 B; manifests replaced: 1."_s));
    QVERIFY(QFile::exists(servedPath(fixture, "one")));
}

void tst_Push::contentOfTheRightSizeAndOtherBytesIsReplaced()
{
    const PublishedFile fixture;
    writeFile(servedPath(fixture, "one"), "ONE");
    QCOMPARE(push(fixture).exitCode, 0);
    QCOMPARE(contentOf(servedPath(fixture, "one")), QByteArray("one"));
}

void tst_Push::namesThatOptionsAndPatternsLookLikeAreOnlyNames()
{
    const PublishedFile fixture;
    const QString tree = QDir(fixture.folder()).filePath(u"-t{r}*e [x]?\n, y"_s);
    QVERIFY(QFile::rename(fixture.tree(), tree));
    const QString before = QDir::currentPath();
    const auto back = qScopeGuard([&before] { QDir::setCurrent(before); });
    QVERIFY(QDir::setCurrent(fixture.folder()));
    const PublishRun run = runPush({u"--push=-s{e}*r [v]?\n, ed"_s, u"--out="_s + tree},
                                   pushEnvironment(QDir(fixture.folder()).filePath(u"rclone.conf"_s)));
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QCOMPARE(PublishFixture::filesBelow(QDir(fixture.folder()).filePath(u"-s{e}*r [v]?\n, ed"_s)),
             PublishFixture::filesBelow(tree));
}

void tst_Push::whatElseLiesThereStays()
{
    const PublishedFile fixture;
    const QDir files(servedBeside(fixture) + u"/harrowfen/files"_s);
    const QStringList names = {u"-rf"_s, u"*"_s, u"[a-z]"_s, u"new\nline"_s, u"ab/**"_s, u"../notes.txt"_s};
    for (const QString &name : names) {
        writeFile(files.filePath(name), "theirs");
    }
    const QByteArray odd = QFile::encodeName(files.path()) + "/\xff\xfe";
    QCOMPARE(mkdir(odd.constData(), 0755), 0);
    QCOMPARE(push(fixture).exitCode, 0);
    fixture.write(u"a"_s, "two");
    publish(fixture, 2);
    QCOMPARE(push(fixture, {u"--prune-older-than=1"_s}).exitCode, 0);
    letDaysPass(fixture, "one", 1);
    QCOMPARE(push(fixture, {u"--prune-older-than=1"_s}).exitCode, 0);
    QVERIFY(!QFile::exists(servedPath(fixture, "one")));
    for (const QString &name : names) {
        QCOMPARE(contentOf(files.filePath(name)), QByteArray("theirs"));
    }
    QCOMPARE(rmdir(odd.constData()), 0); // QTemporaryDir could not
}

void tst_Push::dryRunChangesNothing()
{
    const PublishedFile fixture;
    const PublishRun run = push(fixture, {u"--dry-run"_s});
    QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    QVERIFY(run.output.contains(u"to upload: 1, 3 B; manifests to replace: 1."_s));
    QCOMPARE(servedFiles(fixture), QStringList());
}

void tst_Push::brokenTreeIsRefusedBeforeAnythingIsThere()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "one");
    fixture.write(u"b"_s, "other");
    publish(fixture, 1);
    QVERIFY(QFile::remove(fixture.storedPath("other")));
    const PublishRun run = push(fixture);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(u"release: \"b\": \""_s), qPrintable(run.errors));
    QCOMPARE(servedFiles(fixture), QStringList());
}

void tst_Push::treeThatIsBeingPublishedIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"game"_s, "bytes");
    QVERIFY(fixture.publish().isGood());
    QLockFile lock(fixture.contentTree().gameFolder() + u"/.publish.lock"_s);
    QVERIFY(lock.lock());
    const PublishRun run = push(fixture);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(lock.fileName()), qPrintable(run.errors));
    QVERIFY(!QFile::exists(servedBeside(fixture)));
}

void tst_Push::manifestWithoutItsPackedFormIsRefused_data()
{
    QTest::addColumn<QByteArray>("packed");
    QTest::newRow("there is none") << QByteArray();
    QTest::newRow("it is of another build") << QByteArray("other");
}

void tst_Push::manifestWithoutItsPackedFormIsRefused()
{
    QFETCH(QByteArray, packed);
    const PublishedFile fixture;
    const QString path = QDir(fixture.tree()).filePath(u"harrowfen/release/manifest.json.gz"_s);
    QVERIFY(QFile::remove(path));
    if (!packed.isEmpty()) {
        writeFile(path, packed);
    }
    const PublishRun run = push(fixture);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.startsWith(u"\"%1\" "_s.arg(path)) && run.errors.contains(u"publish the channel once more"_s),
             qPrintable(run.errors));
    QCOMPARE(servedFiles(fixture), QStringList());
}

/// A server hands out either of the two.
void tst_Push::bothFormsOfAManifestAreReplaced()
{
    const PublishedFile fixture;
    QCOMPARE(push(fixture).exitCode, 0);
    publish(fixture, 2);
    const QDir served(servedBeside(fixture) + u"/harrowfen/release"_s);
    writeFile(served.filePath(u"manifest.json"_s), contentOf(fixture.tree() + u"/harrowfen/release/manifest.json"_s));
    QVERIFY(push(fixture).output.contains(u"manifests replaced: 1."_s)); // as one cut off between the two leaves it
    for (const QString &name : {u"manifest.json"_s, u"manifest.json.gz"_s}) {
        QCOMPARE(contentOf(served.filePath(name)), contentOf(fixture.tree() + u"/harrowfen/release/"_s + name));
    }
    QVERIFY(push(fixture).output.contains(u"manifests replaced: 0."_s));
}

void tst_Push::fileThatOnlyAPackedManifestNamesIsNotPruned()
{
    const PublishFixture other;
    other.write(u"a"_s, "packed");
    publish(other, 1, u"beta"_s);
    const PublishFixture fixture;
    QCOMPARE(push(other, {}, servedBeside(fixture)).exitCode, 0);
    fixture.write(u"a"_s, "one");
    publish(fixture, 1);
    writeFile(QDir(servedBeside(fixture))
                  .filePath(u"harrowfen/files/"_s + velmo::publish::TreeLayout::contentName(sha256Of("unnamed"))),
              "unnamed");
    const QDir beta(servedBeside(fixture) + u"/harrowfen/beta"_s);
    writeFile(beta.filePath(u"manifest.json"_s), contentOf(fixture.tree() + u"/harrowfen/release/manifest.json"_s));
    QCOMPARE(push(fixture).exitCode, 0);
    const QString path = QDir(servedBeside(fixture)).filePath(u"harrowfen/.push/unnamed.json"_s);
    QVERIFY(contentOf(path).contains(sha256Of("unnamed").toLatin1()));
    QVERIFY(!contentOf(path).contains(sha256Of("packed").toLatin1()));
    // One that is damaged may name anything.
    writeFile(beta.filePath(u"manifest.json.gz"_s), contentOf(beta.filePath(u"manifest.json.gz"_s)).chopped(3));
    const PublishRun run = push(fixture, {u"--prune-older-than=1"_s});
    QVERIFY2(run.exitCode == 1 && run.errors.startsWith(u"\"beta/manifest.json.gz\" of "_s), qPrintable(run.errors));
}

void tst_Push::olderBuildIsPushedWithAWarning()
{
    const PublishFixture fixture;
    const PublishFixture other;
    for (const PublishFixture *tree : {&fixture, &other}) {
        tree->write(u"a"_s, "one");
    }
    publish(fixture, 3);
    publish(other, 2);
    QCOMPARE(push(fixture).errors, QString());
    const PublishRun run = push(other, {}, servedBeside(fixture));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.errors, u"The channel \"release\" of \"%1\" has build 3, and gets the older build 2.\n"_s.arg(
                             servedBeside(fixture)));
    QVERIFY(run.output.contains(u"manifests replaced: 1."_s));
}

/// A folder below that goes away while it is read ends rclone with the code that an empty place has.
void tst_Push::listingThatBreaksOffIsNoListing()
{
    const PublishedFile fixture;
    QCOMPARE(push(fixture).exitCode, 0);
    const PublishRun run = pushBy(fixture, "[ \"$1\" = lsjson ] && { \"$rclone\" \"$@\" | head -3; exit 3; }");
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.startsWith(u"rclone could not list "_s), qPrintable(run.errors));
}

void tst_Push::filesThatNobodyComparedAreNotProved()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "one");
    fixture.write(u"b"_s, "two");
    publish(fixture, 1);
    const PublishRun run = pushBy(fixture, "[ \"$1\" = check ] && exit 0");
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.startsWith(u"rclone could not check "_s), qPrintable(run.errors));
    QVERIFY(!QFile::exists(servedBeside(fixture) + u"/harrowfen/release/manifest.json"_s));
}

/// It is about to be replaced.
void tst_Push::dryRunOverADamagedManifestIsAsGoodAsThePush()
{
    const PublishedFile fixture;
    writeFile(servedBeside(fixture) + u"/harrowfen/release/manifest.json"_s, "{");
    for (const QStringList &more : {QStringList{u"--dry-run"_s}, QStringList()}) {
        const PublishRun run = push(fixture, more + QStringList{u"--prune-older-than=1"_s});
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
    }
}

void tst_Push::fileIsPrunedWhenNoManifestHasNamedItForSoLong()
{
    const PublishedFile fixture;
    QCOMPARE(push(fixture).exitCode, 0);
    fixture.write(u"a"_s, "two");
    publish(fixture, 2);
    QCOMPARE(push(fixture).exitCode, 0); // remembers, though nothing is to be pruned
    letDaysPass(fixture, "one", 6);
    QVERIFY(push(fixture, {u"--prune-older-than=7"_s}).output.contains(u"Pruned files: 0, 0 B"_s));
    QVERIFY(QFile::exists(servedPath(fixture, "one")));
    letDaysPass(fixture, "one", 7);
    QVERIFY(push(fixture, {u"--prune-older-than=7"_s, u"--dry-run"_s}).output.contains(u"Would prune files: 1, 3 B"_s));
    QVERIFY(QFile::exists(servedPath(fixture, "one")));
    QVERIFY(push(fixture, {u"--prune-older-than=7"_s}).output.contains(u"Pruned files: 1, 3 B"_s));
    QVERIFY(!QFile::exists(servedPath(fixture, "one")));
    QCOMPARE(contentOf(servedPath(fixture, "two")), QByteArray("two"));
}

void tst_Push::fileThatAnotherTreesChannelNamesIsNeverPruned()
{
    const PublishFixture other;
    other.write(u"a"_s, "one");
    publish(other, 1, u"beta"_s);
    const PublishFixture fixture;
    QCOMPARE(push(other, {}, servedBeside(fixture)).exitCode, 0);
    fixture.write(u"a"_s, "gone");
    publish(fixture, 1);
    QCOMPARE(push(fixture).exitCode, 0);
    fixture.write(u"a"_s, "two");
    publish(fixture, 2);
    QCOMPARE(push(fixture).exitCode, 0);
    letDaysPass(fixture, "gone", 900);
    const QString path = QDir(servedBeside(fixture)).filePath(u"harrowfen/.push/unnamed.json"_s);
    QVERIFY(!contentOf(path).contains(sha256Of("one").toLatin1()));
    // Even one that is taken for unnamed since long ago.
    writeFile(path, contentOf(path).replace(sha256Of("gone").toLatin1(), sha256Of("one").toLatin1()));
    QCOMPARE(push(fixture, {u"--prune-older-than=1"_s}).exitCode, 0);
    QCOMPARE(contentOf(servedPath(fixture, "one")), QByteArray("one"));
}

void tst_Push::damagedManifestOfAnotherChannelKeepsFromPruning()
{
    const PublishedFile fixture;
    writeFile(servedBeside(fixture) + u"/harrowfen/beta/manifest.json"_s, "{");
    const PublishRun run = push(fixture, {u"--prune-older-than=1"_s});
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.startsWith(u"\"beta/manifest.json\" of "_s), qPrintable(run.errors));
    QVERIFY(!QFile::exists(servedPath(fixture, "one")));
    const PublishRun without = push(fixture);
    QCOMPARE(without.exitCode, 0);
    QCOMPARE(without.errors, run.errors.section(u'\n', 0, 0) + u'\n'); // nor is it noted what could be pruned one day
}

void tst_Push::unusableRcloneGivesOneSentence_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("missing") << QByteArray() << u"rclone is not installed or not in the PATH"_s;
    QTest::newRow("too old") << QByteArray("echo 'rclone v1.53.3-DEV'") << u"\"rclone v1.53.3-DEV\" is too old"_s;
    QTest::newRow("another program") << QByteArray("echo hello") << u"does not tell its version"_s;
    QTest::newRow("fails") << QByteArray("echo 'rclone v1.60.1'; [ $1 = version ] || { echo 'no luck' >&2; exit 9; }")
                           << u"rclone could not open \"store:games\": no luck"_s;
    QTest::newRow("fails in two lines") << QByteArray("echo 'rclone v1.60.1'; [ $1 = version ] || "
                                                      "{ printf '2026/11/22 20:08:35 NOTICE: idle\\n2026/11/22 "
                                                      "20:08:36 no list\\ncaused by: no luck\\n' >&2; exit 9; }")
                                        << u"rclone could not open \"store:games\": no list; caused by: no luck"_s;
    QTest::newRow("killed") << QByteArray("echo 'rclone v1.60.1'; [ $1 = version ] || kill -9 $$")
                            << u"rclone could not open \"store:games\": it ended with the code -1"_s;
}

void tst_Push::unusableRcloneGivesOneSentence()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, sentence);
    const PublishedFile fixture;
    const QString folder = QDir(fixture.folder()).filePath(u"bin"_s);
    QDir().mkpath(folder);
    if (!script.isEmpty()) {
        const QString program = QDir(folder).filePath(u"rclone"_s);
        writeFile(program, "#!/bin/sh\n" + script + '\n');
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QProcessEnvironment environment = pushEnvironment({});
    environment.insert(u"PATH"_s, folder);
    const PublishRun run =
        runPush({u"--push"_s, u"store,secret=geheim:games"_s, u"--out"_s, fixture.tree()}, environment);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(sentence), qPrintable(run.errors));
    QCOMPARE(run.errors.count(u'\n'), 1);
}

void tst_Push::mistakeGivesTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("mistake");
    QTest::newRow("no tree") << QStringList{u"--push=x:"_s} << u"--out is missing."_s;
    QTest::newRow("no place") << QStringList{u"--push="_s, u"--out=t"_s} << u"--push needs a place to upload to."_s;
    QTest::newRow("no days") << QStringList{u"--push=x:"_s, u"--out=t"_s, u"--prune-older-than=0"_s}
                             << u"--prune-older-than takes a number from 1 to 36500, not \"0\"."_s;
    QTest::newRow("dry without") << QStringList{u"--check=t"_s, u"--dry-run"_s}
                                 << u"--dry-run does not go with --check."_s;
    QTest::newRow("prune alone") << QStringList{u"--push=x:"_s, u"--out=t"_s, u"--prune"_s}
                                 << u"--prune does not go with --push unless there is a --source."_s;
    QTest::newRow("secret") << QStringList{u":sftp,pass=geheim:x"_s} << u"\":sftp,***"_s;
}

void tst_Push::mistakeGivesTwo()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, mistake);
    const PublishRun run = runPush(arguments, pushEnvironment({}));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, mistake + u"\nSee velmo-publish --help.\n"_s);
}

void tst_Push::plainServerIsReachedBySftp()
{
    const PublishFixture fixture;
    QDir().mkpath(servedBeside(fixture));
    const QProcessEnvironment environment = pushEnvironment(QDir(fixture.folder()).filePath(u"rclone.conf"_s));
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    const quint16 port = listener.serverPort();
    listener.close();
    QProcess server;
    server.setProcessEnvironment(environment);
    server.start(u"rclone"_s, {u"serve"_s, u"sftp"_s, servedBeside(fixture), u"--addr=127.0.0.1:%1"_s.arg(port),
                               u"--user=games"_s, u"--pass=geheim99"_s});
    QTRY_VERIFY_WITH_TIMEOUT(isListening(port), 60000);
    const QString word = rcloneOutput({u"obscure"_s, u"geheim99"_s}, environment).trimmed();
    const QString remote = u":sftp,host=127.0.0.1,port=%1,user=games,pass=%2:"_s.arg(QString::number(port), word);
    for (int build = 1; build <= 2; ++build) {
        fixture.write(u"a%1"_s.arg(build), "one" + QByteArray::number(build));
        publish(fixture, build);
        const PublishRun run = push(fixture, {}, remote);
        QVERIFY2(run.exitCode == 0, qPrintable(run.errors));
        QVERIFY(!run.output.contains(word));
        QCOMPARE(servedFiles(fixture), PublishFixture::filesBelow(fixture.tree()));
    }
    const QString manifest = u"harrowfen/release/manifest.json"_s;
    QCOMPARE(contentOf(QDir(servedBeside(fixture)).filePath(manifest)),
             contentOf(QDir(fixture.tree()).filePath(manifest)));
    server.terminate();
    server.waitForFinished();
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Push>(argc, argv);
}

#include "tst_Push.moc"
