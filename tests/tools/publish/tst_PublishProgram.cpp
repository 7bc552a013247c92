#include "publish/CommandLine.h"
#include "support/LoopbackCertificates.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PublishRun.h"

#include <QDateTime>
#include <QFile>

using namespace Qt::Literals::StringLiterals;
using velmo::test::PublishFixture;
using velmo::test::PublishRun;
using velmo::test::runPublish;
using velmo::test::TestStudio;

/// velmo-publish as a script or a person runs it.
class tst_PublishProgram : public QObject {
    Q_OBJECT

private slots:
    void helpGoesToTheOutput();
    void mistakeGivesTwo_data();
    void mistakeGivesTwo();
    void publishingGivesZero();
    void namesBeyondAsciiPassTheCommandLine();
    void refusalGivesOneAndNamesThePath();
    void reasonIsOneLineWhateverTheNameHolds();
    void mistakeIsOneLineWhateverTheArgumentHolds();
    void resultIsOneLineWhateverTheVersionHolds();
    void leftOverLockOfAnotherHostIsAWarning();
    void checkOfAGoodTreeGivesZero();
    void checkOfABadTreeGivesOneAndNamesThePath();
    void missingPackedManifestIsAWarning();
    void checkOfAGoodServerGivesZero();
    void checkOfABadServerGivesOneAndNamesTheDemand();
    void serverIsTrustedByItsCertificateAlone();
    void trustThatCannotBeReadGivesOne();
};

namespace {

QStringList publishArguments(const PublishFixture &fixture, int build = 1)
{
    return {u"--source"_s, fixture.build(), u"--out"_s, fixture.tree(), u"--channel"_s,
            u"release"_s,  u"--version"_s,  u"1.0"_s,   u"--build"_s,   QString::number(build)};
}

/// A tree that is served, and the arguments that check it.
struct LiveTree {
    LiveTree()
    {
        fixture.write(u"a"_s, "first");
        velmo::publish::PublishOrder order = fixture.order();
        order.tree = studio.root();
        velmo::publish::Publisher(order).run();
        const QString authority = fixture.folder() + u"/chain.pem"_s;
        velmo::test::writeFile(authority, velmo::test::loopbackChain());
        check = QStringList{u"--check"_s, studio.url(u"/harrowfen/release/manifest.json"_s).toString(), u"--trust"_s,
                            authority};
        qputenv("LSAN_OPTIONS", "suppressions=" VELMO_EXIT_SUPPRESSIONS ":print_suppressions=0");
    }
    ~LiveTree() { qputenv("LSAN_OPTIONS", options); }
    Q_DISABLE_COPY_MOVE(LiveTree)

    const QByteArray options = qgetenv("LSAN_OPTIONS"); ///< of programs that talk to nobody
    PublishFixture fixture;
    TestStudio studio;
    QStringList check;
};

} // namespace

void tst_PublishProgram::helpGoesToTheOutput()
{
    const PublishRun run = runPublish({u"--help"_s});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, velmo::publish::commandLineHelp());
    QCOMPARE(run.errors, QString());
}

void tst_PublishProgram::mistakeGivesTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("nothing") << QStringList() << u"--source is missing."_s;
    QTest::newRow("unknown option") << QStringList{u"--force"_s} << u"Unknown option 'force'."_s;
    QTest::newRow("channel") << QStringList{u"--source"_s, u"a"_s,         u"--out"_s, u"b"_s,       u"--channel"_s,
                                            u"../x"_s,     u"--version"_s, u"1"_s,     u"--build"_s, u"1"_s}
                             << u"--channel takes letters a to z, digits and hyphens, no hyphen first, not \"../x\"."_s;
}

void tst_PublishProgram::mistakeGivesTwo()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, sentence);
    const PublishRun run = runPublish(arguments);
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.output, QString());
    QCOMPARE(run.errors, sentence + u"\nSee velmo-publish --help.\n"_s);
}

void tst_PublishProgram::publishingGivesZero()
{
    const PublishFixture fixture;
    fixture.write(u"game"_s, "program");
    fixture.write(u"data"_s, "12345");
    QStringList arguments = publishArguments(fixture);
    arguments += {u"--executable"_s, u"game"_s, u"--prune"_s, u"--jobs"_s, u"1"_s};
    const PublishRun run = runPublish(arguments);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, u"Scanned 2 files, 12 B.\n"
                         "Hashed 2 files, 12 B.\n"
                         "Copied 2 files, 12 B.\n"
                         "Published 1.0 build 1 on release. Files: 2, 12 B; new to the tree: 2.\n"
                         "Pruned files: 0, 0 B.\n"_s);
    QCOMPARE(fixture.manifest().executable, u"game"_s);
}

void tst_PublishProgram::namesBeyondAsciiPassTheCommandLine()
{
    const PublishFixture fixture;
    fixture.write(u"Füße/地 図"_s, "x");
    QStringList arguments = publishArguments(fixture);
    arguments += {u"--executable"_s, u"Füße/地 図"_s, u"--notes"_s, u"Für alle"_s};
    QCOMPARE(runPublish(arguments).exitCode, 0);
    QCOMPARE(fixture.manifest().executable, u"Füße/地 図"_s);
    QCOMPARE(fixture.manifest().notes, u"Für alle"_s);
}

void tst_PublishProgram::refusalGivesOneAndNamesThePath()
{
    const PublishFixture fixture;
    fixture.link(u"nothing"_s, u"Data/ä link"_s);
    const PublishRun run = runPublish(publishArguments(fixture));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors, u"\"Data/ä link\" is a symbolic link that leads nowhere.\nNothing was published.\n"_s);
    QCOMPARE(run.output, QString());
    QVERIFY(!QFile::exists(fixture.tree()));
}

void tst_PublishProgram::reasonIsOneLineWhateverTheNameHolds()
{
    const PublishFixture fixture;
    fixture.write(u"a\nNothing is wrong.\n"_s, "x");
    fixture.write(u"\x1b[2Jb"_s, "x");
    const PublishRun run = runPublish(publishArguments(fixture));
    QCOMPARE(run.exitCode, 1);
    QVERIFY(!run.errors.contains(u'\x1b'));
    const QStringList lines = run.errors.split(u'\n');
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(0).startsWith("\"\\x1b[2Jb\" is not a path that the launcher takes"_L1));
    QVERIFY(lines.at(1).startsWith("\"a\\nNothing is wrong.\\n\" is not a path that the launcher takes"_L1));
    QCOMPARE(lines.at(2), u"Nothing was published."_s);
}

void tst_PublishProgram::mistakeIsOneLineWhateverTheArgumentHolds()
{
    const PublishRun run = runPublish({u"a\n\x1b[2J"_s});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, u"\"a\\n\\x1b[2J\" stands alone; every value follows its option.\n"
                         "See velmo-publish --help.\n"_s);
}

void tst_PublishProgram::resultIsOneLineWhateverTheVersionHolds()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    QStringList arguments = publishArguments(fixture);
    arguments.replace(arguments.indexOf(u"1.0"_s), u"1.0\n\x1b[2J %2"_s);
    const PublishRun run = runPublish(arguments);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output.split(u'\n').at(3),
             u"Published 1.0\\n\\x1b[2J %2 build 1 on release. Files: 1, 1 B; new to the tree: 1."_s);
}

void tst_PublishProgram::leftOverLockOfAnotherHostIsAWarning()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "12345");
    const QString lock = fixture.contentTree().gameFolder() + u"/.publish.lock"_s;
    velmo::test::writeFile(lock, "77\nvelmo-publish\nbuild-7\n");
    QStringList arguments = publishArguments(fixture);
    const PublishRun refused = runPublish(arguments);
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.errors.contains(lock) && refused.errors.contains("on \"build-7\""_L1),
             qUtf8Printable(refused.errors));

    QFile file(lock);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-3), QFile::FileModificationTime));
    file.close();
    const PublishRun run = runPublish(arguments);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.errors,
             u"The lock \"%1\" of velmo-publish, process 77 on \"build-7\" is 72 hours old; it was taken for "
             "left over and replaced.\n"_s.arg(lock));
    QCOMPARE(fixture.manifest().build, 1);
}

void tst_PublishProgram::checkOfAGoodTreeGivesZero()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "12345");
    QCOMPARE(fixture.publish().problems, QStringList());
    const PublishRun run = runPublish({u"--check"_s, fixture.tree()});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.output, u"Checked 1 file, 5 B.\nThe tree is good. Manifests: 1; files: 1.\n"_s);
}

void tst_PublishProgram::missingPackedManifestIsAWarning()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "first");
    QCOMPARE(runPublish(publishArguments(fixture)).exitCode, 0);
    QVERIFY(QFile::remove(fixture.contentTree().packedManifestPath(u"release"_s)));
    const PublishRun run = runPublish({u"--check"_s, fixture.tree()});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.errors.contains(u"manifest.json.gz\" is missing"_s), qUtf8Printable(run.errors));
    QVERIFY(run.output.endsWith(u"The tree is good. Manifests: 1; files: 1.\n"_s));
}

void tst_PublishProgram::checkOfAGoodServerGivesZero()
{
    const LiveTree live;
    const PublishRun run = runPublish(live.check + QStringList{u"--tree"_s, live.studio.root(), u"--every-byte"_s});
    QCOMPARE(run.errors, QString());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output.count(u"kept:      "_s), 14);
    QVERIFY2(run.output.contains(u"\nkept:      TLS 1.2 is offered.\n"_s), qUtf8Printable(run.output));
    QVERIFY2(run.output.endsWith(u"The server is good. Build 1; files: 1, asked for: 1.\n"_s),
             qUtf8Printable(run.output));
}

void tst_PublishProgram::checkOfABadServerGivesOneAndNamesTheDemand()
{
    LiveTree live;
    velmo::studio::Fault fault;
    fault.kind = velmo::studio::Fault::Header;
    fault.location = u"Cache-Control:"_s;
    live.studio.server().addFault(u"/harrowfen/release/manifest.json"_s, fault);
    const PublishRun run = runPublish(live.check);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.output.contains(u"\nbroken:    The manifest is asked for anew each time.\n"_s),
             qUtf8Printable(run.output));
    QVERIFY(!run.output.contains(u"The server is good"_s));
    QCOMPARE(run.errors,
             u"The manifest is asked for anew each time: Its Cache-Control is \"\" instead of \"no-cache\".\n"_s);
}

void tst_PublishProgram::serverIsTrustedByItsCertificateAlone()
{
    const LiveTree live;
    const PublishRun run = runPublish(live.check.first(2));
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.output.contains(u"broken:    The certificates are trusted"_s), qUtf8Printable(run.output));
    QVERIFY2(run.output.contains(u"not asked: The launcher reads the manifest.\n"_s), qUtf8Printable(run.output));
    QCOMPARE(run.errors.count(u'\n'), 1);
}

void tst_PublishProgram::trustThatCannotBeReadGivesOne()
{
    const LiveTree live;
    const QString path = live.fixture.folder() + u"/own.pem"_s;
    const QStringList arguments = live.check.first(2) + QStringList{u"--trust"_s, path};
    PublishRun run = runPublish(arguments);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors, u"\"%1\" cannot be read: No such file or directory.\n"_s.arg(path));
    velmo::test::writeFile(path, "no certificate");
    run = runPublish(arguments);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors, u"\"%1\" cannot be read: There is no certificate in it.\n"_s.arg(path));
    QCOMPARE(run.output, QString());
}

void tst_PublishProgram::checkOfABadTreeGivesOneAndNamesThePath()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "12345");
    QCOMPARE(fixture.publish().problems, QStringList());
    QVERIFY(QFile::remove(fixture.storedPath("12345")));
    const PublishRun run = runPublish({u"--check"_s, fixture.tree()});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors, u"release: \"data\": \"%1\" is missing.\n"_s.arg(fixture.storedPath("12345")));
    QVERIFY(!run.output.contains("good"_L1));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PublishProgram>(argc, argv);
}

#include "tst_PublishProgram.moc"
