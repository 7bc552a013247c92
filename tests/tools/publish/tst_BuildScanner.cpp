#include "publish/BuildScanner.h"
#include "publish/ProgressMeter.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <initializer_list>

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
    void badNamesAreRefused_data();
    void badNamesAreRefused();
    void badLinksAreRefused_data();
    void badLinksAreRefused();
    void launcherFolderFurtherDownIsPublished();
    void linkToAFileInsideIsPublishedAsTheFile();
    void linkToAFolderInsideIsFollowed();
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

struct Refusal {
    const char *name;
    QStringList files;     ///< of the build; what ends in a slash is an empty folder
    QStringList links;     ///< each as "path > target"
    QStringList sentences; ///< all that is said, with {folder} for the one around the build
};

void addRows(std::initializer_list<Refusal> refusals)
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QStringList>("links");
    QTest::addColumn<QStringList>("sentences");
    for (const Refusal &refusal : refusals) {
        QTest::newRow(refusal.name) << refusal.files << refusal.links << refusal.sentences;
    }
}

/// What is said of the build of the current row, in the words of its table.
QStringList sentencesOfTheRow()
{
    QFETCH(QStringList, files);
    QFETCH(QStringList, links);
    const PublishFixture fixture;
    for (const QString &path : files) {
        path.endsWith(u'/') ? void(QDir(fixture.build()).mkpath(path)) : fixture.write(path, "x");
    }
    for (const QString &link : links) {
        fixture.link(link.section(" > "_L1, 1), link.section(" > "_L1, 0, 0));
    }
    QStringList sentences = scanOf(fixture).refusals;
    sentences.replaceInStrings(fixture.folder(), u"{folder}"_s);
    return sentences.replaceInStrings(QFileInfo(fixture.folder()).canonicalFilePath(), u"{folder}"_s);
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

void tst_BuildScanner::badNamesAreRefused_data()
{
    const QString launchersOwn = u" cannot be published: the launcher keeps its record of an installation there."_s;
    const QString notTaken = u" is not a path that the launcher takes: it allows at most 260 characters, none of "
                             "\\ < > : \" | ? * and no control character, and no name that ends in a blank or a dot."_s;
    const QString device = u" holds a name that Windows reserves for a device."_s;
    const QString inFlight =
        u" holds a name that ends in \".part\", which the launcher keeps for downloads in flight."_s;
    addRows({
        {"nothing at all", {}, {}, {u"\"{folder}/build\" holds no files."_s}},
        {"an empty folder", {u"Data/"_s}, {}, {u"\"{folder}/build\" holds no files."_s}},
        {"not for the launcher", {u"Data/a:b"_s}, {}, {u"\"Data/a:b\""_s + notTaken}},
        {"a folder once for all it holds", {u"what?/a"_s, u"what?/b"_s}, {}, {u"\"what?\""_s + notTaken}},
        {"a device", {u"Data/nul.txt"_s}, {}, {u"\"Data/nul.txt\""_s + device}},
        {"another case alone",
         {u"A/x"_s, u"a/y"_s},
         {},
         {u"\"a/y\" cannot stand beside \"A/x\": Windows takes \"a\" and \"A\" for one name."_s}},
        {"the launcher's folder", {u".velmo/installed.json"_s}, {}, {u"\".velmo\""_s + launchersOwn}},
        {"a file in its place", {u".velmo"_s}, {}, {u"\".velmo\""_s + launchersOwn}},
        {"the launcher's folder in another case", {u".Velmo/x"_s}, {}, {u"\".Velmo\""_s + launchersOwn}},
        {"a download in flight", {u"Data/a.pak.part"_s}, {}, {u"\"Data/a.pak.part\""_s + inFlight}},
        {"all together",
         {u"nul"_s, u"a.part"_s, u"good"_s, u"GOOD"_s},
         {},
         {u"\"a.part\""_s + inFlight, u"\"nul\""_s + device,
          u"\"good\" cannot stand beside \"GOOD\": Windows takes \"good\" and \"GOOD\" for one name."_s}},
    });
}

void tst_BuildScanner::badNamesAreRefused()
{
    QTEST(sentencesOfTheRow(), "sentences");
}

void tst_BuildScanner::badLinksAreRefused_data()
{
    const QString leaves = u" is a symbolic link that leaves the build, to "_s;
    const QString nowhere = u" is a symbolic link that leads nowhere."_s;
    const QString around = u" is a symbolic link that leads back to a folder around it."_s;
    addRows({
        {"to a file outside",
         {u"../outside/secret"_s},
         {u"Data/link > ../../outside/secret"_s},
         {u"\"Data/link\""_s + leaves + u"\"{folder}/outside/secret\"."_s}},
        {"to a folder outside",
         {u"../outside/secret"_s},
         {u"Data/link > ../../outside"_s},
         {u"\"Data/link\""_s + leaves + u"\"{folder}/outside\"."_s}},
        {"to a neighbour whose name begins alike",
         {u"../build-old/file"_s},
         {u"link > ../build-old/file"_s},
         {u"\"link\""_s + leaves + u"\"{folder}/build-old/file\"."_s}},
        {"to nothing", {}, {u"Data/link > nothing"_s}, {u"\"Data/link\""_s + nowhere}},
        {"to itself", {}, {u"link > link"_s}, {u"\"link\""_s + nowhere}},
        {"to its own folder", {}, {u"a/b/link > ."_s}, {u"\"a/b/link\""_s + around}},
        {"to the folder around", {}, {u"a/b/link > .."_s}, {u"\"a/b/link\""_s + around}},
        {"to the build", {}, {u"a/b/link > ../.."_s}, {u"\"a/b/link\""_s + around}},
        {"in a circle",
         {},
         {u"a/to-b > ../b"_s, u"b/to-a > ../a"_s},
         {u"\"a/to-b/to-a\""_s + around, u"\"b/to-a/to-b\""_s + around}},
    });
}

void tst_BuildScanner::badLinksAreRefused()
{
    QTEST(sentencesOfTheRow(), "sentences");
}

void tst_BuildScanner::launcherFolderFurtherDownIsPublished()
{
    const PublishFixture fixture;
    fixture.write(u"Data/.velmo/x"_s, "x");
    QCOMPARE(pathsOf(scanOf(fixture)), QStringList{u"Data/.velmo/x"_s});
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
