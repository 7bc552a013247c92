#include "publish/CommandLine.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"
#include "tools/publish/PublishRun.h"

#include <QDateTime>
#include <QFile>

using namespace Qt::Literals::StringLiterals;
using velmo::test::PublishFixture;
using velmo::test::PublishRun;
using velmo::test::runPublish;

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
};

namespace {

QStringList publishArguments(const PublishFixture &fixture, int build = 1)
{
    return {u"--source"_s, fixture.build(), u"--out"_s, fixture.tree(), u"--channel"_s,
            u"release"_s,  u"--version"_s,  u"1.0"_s,   u"--build"_s,   QString::number(build)};
}

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
