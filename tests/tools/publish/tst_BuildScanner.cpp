#include "publish/BuildScanner.h"
#include "publish/ProgressMeter.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifndef Q_OS_WIN
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

using namespace Qt::Literals::StringLiterals;
using velmo::test::PublishFixture;

class tst_BuildScanner : public QObject {
    Q_OBJECT

private slots:
    void filesAreSortedByTheBytesOfTheirPaths();
    void fileCarriesSizeLocationAndTime();
    void executeBitMakesAnExecutable();
    void hiddenFilesBlanksAndOtherScriptsAreKept();
    void emptyFoldersAreLeftOut();
    void missingSourceIsRefused();
    void fileAsSourceIsRefused();
    void emptySourceIsRefused_data();
    void emptySourceIsRefused();
    void pathThatTheLauncherRefusesIsRefused();
    void badFolderIsRefusedOnceForAllItHolds();
    void reservedNameIsRefused();
    void pathsThatDifferInCaseAreRefused();
    void launcherFolderAtTheTopIsRefused_data();
    void launcherFolderAtTheTopIsRefused();
    void launcherFolderFurtherDownIsPublished();
    void downloadInFlightIsRefused();
    void linkToAFileInsideIsPublishedAsTheFile();
    void linkToAFolderInsideIsFollowed();
    void linkOutOfTheSourceIsRefused_data();
    void linkOutOfTheSourceIsRefused();
    void linkToASiblingWithTheSamePrefixIsRefused();
    void danglingLinkIsRefused();
    void linkToItselfIsRefused();
    void linkLoopIsRefused_data();
    void linkLoopIsRefused();
    void loopOverTwoFoldersIsRefused();
    void folderUnderAsManyPathsAsAllowedIsPublished();
    void linksThatDoubleThePathsAreRefusedAfterABoundedWalk();
    void walkReportsAsItGoesOn();
    void walkOnSeveralThreadsFindsTheSame();
    void sentencesOfAWalkOnSeveralThreadsStandInItsOrder();
    void walkOfFoldersWithoutFilesReportsToo();
    void sourceGivenThroughALinkIsPublished();
    void specialFileIsRefused();
    void socketIsRefused();
    void linkToASpecialFileIsRefused();
    void nameThatIsNotUnicodeIsRefused();
    void unreadableFileIsRefused();
    void unreadableFolderIsRefused();
    void allRefusalsAreListedTogether();
    void changedFileIsNoticed();
};

namespace {

velmo::publish::BuildScan scanOf(const PublishFixture &fixture)
{
    return velmo::publish::BuildScanner(fixture.build()).scan();
}

QStringList pathsOf(const velmo::publish::BuildScan &scan)
{
    QStringList paths;
    for (const velmo::publish::BuildFile &file : scan.files) {
        paths.append(file.path);
    }
    return paths;
}

constexpr qint64 nanosecondsInAMillisecond = 1'000'000;

bool setModified(const QString &path, const QDateTime &time)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.setFileTime(time, QFile::FileModificationTime);
}

QByteArray nativeName(const PublishFixture &fixture, const QString &path)
{
    return QFile::encodeName(QDir(fixture.build()).filePath(path));
}

} // namespace

void tst_BuildScanner::filesAreSortedByTheBytesOfTheirPaths()
{
    // A letter beyond the basic plane sorts behind U+FFxx by its bytes, but before it by its UTF-16 units.
    const PublishFixture fixture;
    for (const QString &path : {u"b"_s, u"a/z"_s, u"a-b"_s, u"a.b"_s, u"Bx"_s, u"ab"_s, u"ｚ"_s, u"😀"_s}) {
        fixture.write(path, "x");
    }
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList({u"Bx"_s, u"a-b"_s, u"a.b"_s, u"a/z"_s, u"ab"_s, u"b"_s, u"ｚ"_s, u"😀"_s}));
}

void tst_BuildScanner::fileCarriesSizeLocationAndTime()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a.pak"_s, "12345");
    const velmo::publish::BuildScan scan = scanOf(fixture);
    const velmo::publish::BuildFile file = scan.files.value(0);
    const QFileInfo info(QDir(fixture.build()).filePath(u"Data/a.pak"_s));
    QCOMPARE(file.size, 5);
    QCOMPARE(scan.locationOf(file), info.canonicalFilePath());
    QCOMPARE(file.modified / nanosecondsInAMillisecond, info.lastModified().toMSecsSinceEpoch());
    QCOMPARE(file.changed / nanosecondsInAMillisecond, info.metadataChangeTime().toMSecsSinceEpoch());
}

void tst_BuildScanner::executeBitMakesAnExecutable()
{
    const PublishFixture fixture;
    fixture.write(u"data"_s, "x");
    fixture.write(u"program"_s, "x");
    fixture.write(u"for others"_s, "x");
    QVERIFY(velmo::test::setMode(fixture.build() + u'/' + u"program"_s, 0755));
    QVERIFY(velmo::test::setMode(fixture.build() + u'/' + u"for others"_s, 0645));
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(pathsOf(scan), QStringList({u"data"_s, u"for others"_s, u"program"_s}));
    QVERIFY(!scan.files.at(0).executable);
    QVERIFY(scan.files.at(1).executable);
    QVERIFY(scan.files.at(2).executable);
}

void tst_BuildScanner::hiddenFilesBlanksAndOtherScriptsAreKept()
{
    const PublishFixture fixture;
    const QStringList paths = {u".config/.x"_s, u"Level 1/the fen.pak"_s, u"Füße/地図.bin"_s};
    for (const QString &path : paths) {
        fixture.write(path, "x");
    }
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList({u".config/.x"_s, u"Füße/地図.bin"_s, u"Level 1/the fen.pak"_s}));
}

void tst_BuildScanner::emptyFoldersAreLeftOut()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "x");
    QVERIFY(QDir(fixture.build()).mkpath(u"nothing/here"_s));
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList{u"a"_s});
}

void tst_BuildScanner::missingSourceIsRefused()
{
    QCOMPARE(velmo::publish::BuildScanner(u"/nowhere/at/all"_s).scan().refusals,
             QStringList{u"\"/nowhere/at/all\" is not a folder."_s});
}

void tst_BuildScanner::fileAsSourceIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "x");
    const QString file = QDir(fixture.build()).filePath(u"a"_s);
    QCOMPARE(velmo::publish::BuildScanner(file).scan().refusals, QStringList{u"\"%1\" is not a folder."_s.arg(file)});
}

void tst_BuildScanner::emptySourceIsRefused_data()
{
    QTest::addColumn<bool>("withFolder");
    QTest::newRow("nothing at all") << false;
    QTest::newRow("an empty folder") << true;
}

void tst_BuildScanner::emptySourceIsRefused()
{
    QFETCH(bool, withFolder);
    const PublishFixture fixture;
    if (withFolder) {
        QVERIFY(QDir(fixture.build()).mkdir(u"Data"_s));
    }
    QCOMPARE(scanOf(fixture).refusals, QStringList{u"\"%1\" holds no files."_s.arg(fixture.build())});
}

void tst_BuildScanner::pathThatTheLauncherRefusesIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a:b"_s, "x");
    const QStringList refusals = scanOf(fixture).refusals;
    QCOMPARE(refusals.size(), 1);
    QVERIFY(refusals.first().startsWith("\"Data/a:b\" is not a path that the launcher takes"_L1));
}

void tst_BuildScanner::badFolderIsRefusedOnceForAllItHolds()
{
    const PublishFixture fixture;
    fixture.write(u"what?/a"_s, "x");
    fixture.write(u"what?/b"_s, "x");
    const QStringList refusals = scanOf(fixture).refusals;
    QCOMPARE(refusals.size(), 1);
    QVERIFY(refusals.first().startsWith("\"what?\" "_L1));
}

void tst_BuildScanner::reservedNameIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/nul.txt"_s, "x");
    QCOMPARE(scanOf(fixture).refusals,
             QStringList{u"\"Data/nul.txt\" holds a name that Windows reserves for a device."_s});
}

void tst_BuildScanner::pathsThatDifferInCaseAreRefused()
{
    const PublishFixture fixture;
    fixture.write(u"A/x"_s, "x");
    fixture.write(u"a/y"_s, "x");
    QCOMPARE(scanOf(fixture).refusals,
             QStringList{u"\"a/y\" cannot stand beside \"A/x\": Windows takes \"a\" and \"A\" for one name."_s});
}

void tst_BuildScanner::launcherFolderAtTheTopIsRefused_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("named");
    QTest::newRow("folder") << u".velmo/installed.json"_s << u".velmo"_s;
    QTest::newRow("file") << u".velmo"_s << u".velmo"_s;
    QTest::newRow("other case") << u".Velmo/x"_s << u".Velmo"_s;
}

void tst_BuildScanner::launcherFolderAtTheTopIsRefused()
{
    QFETCH(QString, path);
    QFETCH(QString, named);
    const PublishFixture fixture;
    fixture.write(path, "x");
    QCOMPARE(scanOf(fixture).refusals,
             QStringList{
                 u"\"%1\" cannot be published: the launcher keeps its record of an installation there."_s.arg(named)});
}

void tst_BuildScanner::launcherFolderFurtherDownIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"Data/.velmo/x"_s, "x");
    QCOMPARE(pathsOf(scanOf(fixture)), QStringList{u"Data/.velmo/x"_s});
}

void tst_BuildScanner::downloadInFlightIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a.pak.part"_s, "x");
    const QStringList refusals = scanOf(fixture).refusals;
    QCOMPARE(refusals.size(), 1);
    QVERIFY(refusals.first().startsWith("\"Data/a.pak.part\" holds a name that ends in \".part\""_L1));
}

void tst_BuildScanner::linkToAFileInsideIsPublishedAsTheFile()
{
    const PublishFixture fixture;
    fixture.write(u"Data/real"_s, "12345");
    fixture.link(u"Data/real"_s, u"link"_s);
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList({u"Data/real"_s, u"link"_s}));
    QCOMPARE(scan.files.at(1).size, 5);
}

void tst_BuildScanner::linkToAFolderInsideIsFollowed()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a"_s, "x");
    fixture.link(u"../Data"_s, u"More/again"_s);
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList({u"Data/a"_s, u"More/again/a"_s}));
}

void tst_BuildScanner::linkOutOfTheSourceIsRefused_data()
{
    QTest::addColumn<bool>("toFolder");
    QTest::newRow("to a file") << false;
    QTest::newRow("to a folder") << true;
}

void tst_BuildScanner::linkOutOfTheSourceIsRefused()
{
    QFETCH(bool, toFolder);
    const PublishFixture fixture;
    velmo::test::writeFile(fixture.folder() + u"/outside/secret"_s, "x");
    const QString target = toFolder ? u"../../outside"_s : u"../../outside/secret"_s;
    fixture.link(target, u"Data/link"_s);
    const QString canonical = QFileInfo(fixture.build() + u"/Data/"_s + target).canonicalFilePath();
    QCOMPARE(scanOf(fixture).refusals,
             QStringList{u"\"Data/link\" is a symbolic link that leaves the build, to \"%1\"."_s.arg(canonical)});
}

void tst_BuildScanner::linkToASiblingWithTheSamePrefixIsRefused()
{
    const PublishFixture fixture;
    velmo::test::writeFile(fixture.build() + u"-old/file"_s, "x");
    fixture.link(u"../build-old/file"_s, u"link"_s);
    QVERIFY(velmo::test::anyContains(scanOf(fixture).refusals, u"\"link\" is a symbolic link that leaves the build"_s));
}

void tst_BuildScanner::danglingLinkIsRefused()
{
    const PublishFixture fixture;
    fixture.link(u"nothing"_s, u"Data/link"_s);
    QCOMPARE(scanOf(fixture).refusals, QStringList{u"\"Data/link\" is a symbolic link that leads nowhere."_s});
}

void tst_BuildScanner::linkToItselfIsRefused()
{
    const PublishFixture fixture;
    fixture.link(u"link"_s, u"link"_s);
    QCOMPARE(scanOf(fixture).refusals, QStringList{u"\"link\" is a symbolic link that leads nowhere."_s});
}

void tst_BuildScanner::linkLoopIsRefused_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("its own folder") << u"."_s;
    QTest::newRow("the folder around") << u".."_s;
    QTest::newRow("the source") << u"../.."_s;
}

void tst_BuildScanner::linkLoopIsRefused()
{
    QFETCH(QString, target);
    const PublishFixture fixture;
    fixture.link(target, u"a/b/link"_s);
    QCOMPARE(scanOf(fixture).refusals,
             QStringList{u"\"a/b/link\" is a symbolic link that leads back to a folder around it."_s});
}

void tst_BuildScanner::loopOverTwoFoldersIsRefused()
{
    const PublishFixture fixture;
    fixture.link(u"../b"_s, u"a/to-b"_s);
    fixture.link(u"../a"_s, u"b/to-a"_s);
    QCOMPARE(scanOf(fixture).refusals,
             QStringList({u"\"a/to-b/to-a\" is a symbolic link that leads back to a folder around it."_s,
                          u"\"b/to-a/to-b\" is a symbolic link that leads back to a folder around it."_s}));
}

void tst_BuildScanner::folderUnderAsManyPathsAsAllowedIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"Data/a"_s, "x");
    for (int number = 1; number < velmo::publish::BuildScanner::mostPathsOfAFolder; ++number) {
        fixture.link(u"Data"_s, u"link%1"_s.arg(number));
    }
    velmo::publish::BuildScan scan = scanOf(fixture);
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(scan.files.size(), 64);

    fixture.link(u"Data"_s, u"one more"_s);
    fixture.link(u"Data"_s, u"yet one more"_s);
    scan = scanOf(fixture);
    const QString canonical = QFileInfo(fixture.build() + u"/Data"_s).canonicalFilePath();
    QCOMPARE(scan.refusals, QStringList{u"\"one more\" leads to the folder \"%1\", which symbolic links already put "
                                        "under 64 other paths; more are not followed."_s.arg(canonical)});
    QCOMPARE(scan.files.size(), 64);
}

void tst_BuildScanner::linksThatDoubleThePathsAreRefusedAfterABoundedWalk()
{
    constexpr int levels = 12; // 4095 paths for as many files
    const PublishFixture fixture;
    for (int level = 0; level < levels; ++level) {
        fixture.write(u"%1/file"_s.arg(level, 2, 10, QChar(u'0')), "x");
        if (level > 0) {
            fixture.link(u"../%1"_s.arg(level, 2, 10, QChar(u'0')), u"%1/a"_s.arg(level - 1, 2, 10, QChar(u'0')));
            fixture.link(u"../%1"_s.arg(level, 2, 10, QChar(u'0')), u"%1/b"_s.arg(level - 1, 2, 10, QChar(u'0')));
        }
    }
    const velmo::publish::BuildScan scan = scanOf(fixture);
    QVERIFY(!scan.refusals.isEmpty());
    QVERIFY2(scan.refusals.size() < levels, "one sentence for a folder, not for each of its paths");
    QVERIFY(velmo::test::anyContains(scan.refusals, u"other paths; more are not followed."_s));
    QVERIFY(scan.files.size() <= levels * velmo::publish::BuildScanner::mostPathsOfAFolder);
}

void tst_BuildScanner::walkReportsAsItGoesOn()
{
    const PublishFixture fixture;
    for (int number = 0; number < 600; ++number) {
        fixture.write(QString::number(number), "xy");
    }
    QList<velmo::publish::PublishProgress> reports;
    velmo::publish::ProgressMeter meter(
        [&reports](const velmo::publish::PublishProgress &progress) { reports.append(progress); });
    meter.begin(velmo::publish::PublishStep::Scan, 0, 0);
    QCOMPARE(velmo::publish::BuildScanner(fixture.build(), &meter).scan().files.size(), 600);
    meter.finish();
    QCOMPARE(reports.size(), 4);
    QCOMPARE(reports.at(1).filesDone, 256);
    QCOMPARE(reports.at(2).filesDone, 512);
    QCOMPARE(reports.at(2).bytesDone, 1024);
    QCOMPARE(reports.at(3).filesDone, 600);
}

void tst_BuildScanner::walkOnSeveralThreadsFindsTheSame()
{
    const PublishFixture fixture;
    fixture.write(u"0/nul"_s, "x"); // refused on the way
    for (int number = 0; number < 2500; ++number) {
        fixture.write(u"%1/%2"_s.arg(number % 7).arg(number), QByteArray(number % 10, 'x'));
    }
    const velmo::publish::BuildScan one = scanOf(fixture);
    const velmo::publish::BuildScan several = velmo::publish::BuildScanner(fixture.build(), nullptr, 4).scan();
    QCOMPARE(several.refusals, one.refusals);
    QCOMPARE(pathsOf(several), pathsOf(one));
    QCOMPARE(several.files.size(), 2500);
    for (qsizetype index = 0; index < one.files.size(); ++index) {
        QVERIFY(several.files.at(index).isAsBefore(one.files.at(index)));
    }
    fixture.write(u"3/3"_s, "and longer");
    QVERIFY(!velmo::publish::BuildScanner(fixture.build(), nullptr, 4).stillFinds(several));
}

void tst_BuildScanner::sentencesOfAWalkOnSeveralThreadsStandInItsOrder()
{
    const PublishFixture fixture;
    for (int number = 0; number < 200; ++number) { // more than one thread looks at
        fixture.write(u"0/%1"_s.arg(number), "x");
    }
    for (const QString &path : {u"0/shut"_s, u"1/nul"_s, u"2/shut"_s}) {
        fixture.write(path, "x");
    }
    QVERIFY(velmo::test::setMode(fixture.build() + u"/0/shut"_s, 0));
    QVERIFY(velmo::test::setMode(fixture.build() + u"/2/shut"_s, 0));
    const velmo::test::UnprivilegedFileAccess access;
    QCOMPARE(velmo::publish::BuildScanner(fixture.build(), nullptr, 4).scan().refusals,
             QStringList({u"\"0/shut\" cannot be read: Permission denied."_s,
                          u"\"1/nul\" holds a name that Windows reserves for a device."_s,
                          u"\"2/shut\" cannot be read: Permission denied."_s}));
}

void tst_BuildScanner::walkOfFoldersWithoutFilesReportsToo()
{
    const PublishFixture fixture;
    for (int number = 0; number < 300; ++number) {
        QVERIFY(QDir(fixture.build()).mkpath(u"%1/inner"_s.arg(number)));
    }
    QList<qsizetype> entries;
    velmo::publish::ProgressMeter meter([&entries](const velmo::publish::PublishProgress &progress) {
        QCOMPARE(progress.filesDone, 0);
        entries.append(progress.entriesDone);
    });
    QCOMPARE(velmo::publish::BuildScanner(fixture.build(), &meter).scan().files.size(), 0);
    QCOMPARE(entries, QList<qsizetype>({256, 512}));
}

void tst_BuildScanner::sourceGivenThroughALinkIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"Data/real"_s, "x");
    fixture.link(u"Data/real"_s, u"link"_s);
    const QString alias = fixture.folder() + u"/alias"_s;
    QVERIFY(QFile::link(fixture.build(), alias));
    const velmo::publish::BuildScan scan = velmo::publish::BuildScanner(alias).scan();
    QCOMPARE(scan.refusals, QStringList());
    QCOMPARE(pathsOf(scan), QStringList({u"Data/real"_s, u"link"_s}));
}

void tst_BuildScanner::specialFileIsRefused()
{
    const PublishFixture fixture;
    QVERIFY(velmo::test::makePipe(nativeName(fixture, u"pipe"_s)));
    QCOMPARE(scanOf(fixture).refusals, QStringList{u"\"pipe\" is neither a file nor a folder."_s});
}

void tst_BuildScanner::socketIsRefused()
{
#ifndef Q_OS_WIN
    const PublishFixture fixture;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = nativeName(fixture, u"socket"_s);
    QVERIFY(static_cast<std::size_t>(name.size()) < sizeof address.sun_path);
    qstrncpy(address.sun_path, name.constData(), sizeof address.sun_path);
    const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
    QCOMPARE(bind(handle, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const QStringList refusals = scanOf(fixture).refusals;
    close(handle);
    QCOMPARE(refusals, QStringList{u"\"socket\" is neither a file nor a folder."_s});
#endif
}

void tst_BuildScanner::linkToASpecialFileIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"a"_s, "x");
    QVERIFY(velmo::test::makePipe(nativeName(fixture, u"pipe"_s)));
    fixture.link(u"pipe"_s, u"link"_s);
    QVERIFY(scanOf(fixture).refusals.contains(u"\"link\" is neither a file nor a folder."_s));
}

void tst_BuildScanner::nameThatIsNotUnicodeIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/good"_s, "x");
    const QByteArray name = nativeName(fixture, u"Data"_s) + "/b\377d";
    QVERIFY(velmo::test::makePipe(name));
    const QStringList refusals = scanOf(fixture).refusals;
    QCOMPARE(std::remove(name.constData()), 0); // the fixture's folder cannot name it either
    QCOMPARE(refusals, QStringList{u"\"Data/b\uFFFDd\" has a name that is not valid Unicode."_s});
}

void tst_BuildScanner::unreadableFileIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/open"_s, "x");
    fixture.write(u"Data/shut"_s, "x");
    QVERIFY(velmo::test::setMode(fixture.build() + u'/' + u"Data/shut"_s, 0));
    const velmo::test::UnprivilegedFileAccess access;
    QCOMPARE(scanOf(fixture).refusals, QStringList{u"\"Data/shut\" cannot be read: Permission denied."_s});
}

void tst_BuildScanner::unreadableFolderIsRefused()
{
    const PublishFixture fixture;
    fixture.write(u"Data/Maps/a"_s, "x");
    fixture.write(u"b"_s, "x");
    const QString maps = fixture.build() + u"/Data/Maps"_s;
    QVERIFY(velmo::test::setMode(maps, 0));
    QStringList refusals;
    {
        const velmo::test::UnprivilegedFileAccess access;
        refusals = scanOf(fixture).refusals;
    }
    QVERIFY(velmo::test::setMode(maps, 0700)); // so that the fixture can go
    QCOMPARE(refusals, QStringList{u"\"Data/Maps\" cannot be read: Permission denied."_s});
}

void tst_BuildScanner::allRefusalsAreListedTogether()
{
    const PublishFixture fixture;
    fixture.write(u"nul"_s, "x");
    fixture.write(u"a.part"_s, "x");
    fixture.write(u"good"_s, "x");
    fixture.write(u"GOOD"_s, "x");
    QCOMPARE(scanOf(fixture).refusals.size(), 3);
}

void tst_BuildScanner::changedFileIsNoticed()
{
    const PublishFixture fixture;
    const QString bytesAlone = QDir(fixture.build()).filePath(u"bytes alone"_s);
    const QString touched = QDir(fixture.build()).filePath(u"touched"_s);
    fixture.write(u"bytes alone"_s, "x");
    fixture.write(u"longer"_s, "x");
    fixture.write(u"same"_s, "x");
    fixture.write(u"touched"_s, "x");
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(2000);
    QVERIFY(setModified(bytesAlone, modified));
    const QList<velmo::publish::BuildFile> before = scanOf(fixture).files;
    QDeadlineTimer patience(30000);
    do { // until the drive's clock has moved on
        QVERIFY(!patience.hasExpired());
        fixture.write(u"bytes alone"_s, "y");
        QVERIFY(setModified(bytesAlone, modified));
    } while (scanOf(fixture).files.first().changed == before.first().changed);
    fixture.write(u"longer"_s, "xx");
    QVERIFY(setModified(touched, QDateTime::fromSecsSinceEpoch(1000)));
    const QList<velmo::publish::BuildFile> now = scanOf(fixture).files;
    QCOMPARE(now.size(), before.size());
    for (qsizetype index = 0; index < now.size(); ++index) {
        QCOMPARE(now.at(index).isAsBefore(before.at(index)), now.at(index).path == "same"_L1);
    }
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_BuildScanner>(argc, argv);
}

#include "tst_BuildScanner.moc"
