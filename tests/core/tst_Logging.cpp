#include "core/Logging.h"
#include "core/Paths.h"
#include "support/LogCapture.h"
#include "support/PlainText.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <unistd.h>

#include <csignal>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

using namespace Qt::Literals::StringLiterals;
using velmo::test::LogCapture;
using velmo::test::plainText;
using velmo::test::readFile;
using velmo::test::writeFile;
using CategoryAccessor = const QLoggingCategory &(*)();

Q_DECLARE_METATYPE(CategoryAccessor)

namespace {

// What this program does as a child, where its streams and its death can be watched.

constexpr int threadCount = 8;
constexpr int linesPerThread = 400;
constexpr qsizetype threadTextLength = 120;

void printEveryLevel()
{
    velmo::initLogging();
    qCDebug(velmo::lcApp) << "a debug text";
    qCInfo(velmo::lcApp) << "an info text";
    qCWarning(velmo::lcApp) << "a warning text";
    qCCritical(velmo::lcApp) << "a critical text";
    velmo::shutdownLogging();
}

void printFromManyThreads()
{
    velmo::initLogging();
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            const QString text(threadTextLength, QChar(u'a' + thread));
            for (int line = 0; line < linesPerThread; ++line) {
                qCDebug(velmo::lcVerify).noquote() << text;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    velmo::shutdownLogging();
}

void ownHandler(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*message*/) {}

constexpr std::string_view shutDownFirst = "shut down before the abort\n";

/// Tells, on the way into the abort, whether the log had been shut down before it.
void reportOnAbort(int /*signal*/)
{
    if (qInstallMessageHandler(nullptr) == ownHandler) {
        const auto written = write(STDOUT_FILENO, shutDownFirst.data(), shutDownFirst.size());
        Q_UNUSED(written)
    }
    std::signal(SIGABRT, SIG_DFL);
}

void dieOnAnotherThread()
{
    std::thread([] { qFatal("nothing can go on"); }).join();
}

void dieOnThisThread()
{
    qFatal("nothing can go on");
}

void dieBy(void (*death)())
{
    qInstallMessageHandler(ownHandler);
    velmo::initLogging();
    std::signal(SIGABRT, reportOnAbort);
    qCInfo(velmo::lcApp) << "alive";
    death();
}

void runChild(QLatin1StringView scene)
{
    if (scene == "--levels"_L1) {
        printEveryLevel();
    } else if (scene == "--threads"_L1) {
        printFromManyThreads();
    } else if (scene == "--fatal"_L1) {
        dieBy(dieOnThisThread);
    } else if (scene == "--fatal-thread"_L1) {
        dieBy(dieOnAnotherThread);
    }
}

// What the tests look at.

QStringList logNames()
{
    return QDir(velmo::logsDirectory()).entryList(QDir::Files, QDir::Name);
}

QString onlyLogPath()
{
    const QStringList names = logNames();
    return names.size() == 1 ? QDir(velmo::logsDirectory()).filePath(names.first()) : QString();
}

QStringList linesOfOnlyLog()
{
    QStringList lines = QString::fromUtf8(plainText(readFile(onlyLogPath()))).split(u'\n');
    if (lines.last().isEmpty()) {
        lines.removeLast(); // the last line is complete
    }
    return lines;
}

/// \a line without its time stamp, or empty when it does not begin with one.
QString afterStamp(const QString &line)
{
    static const QRegularExpression pattern(uR"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} (.*)$)"_s);
    return pattern.match(line).captured(1);
}

QStringList afterStamps(const QStringList &lines)
{
    QStringList result;
    for (const QString &line : lines) {
        result.append(afterStamp(line));
    }
    return result;
}

void touch(const QString &name)
{
    writeFile(QDir(velmo::logsDirectory()).filePath(name), "earlier run\n");
}

QString earlierLog(int run)
{
    return u"launcher-20260101-%1.log"_s.arg(run, 6, 10, QChar(u'0'));
}

/// The names that a log opened within the next two minutes can get.
QStringList namesOfTheNextSeconds()
{
    QStringList names;
    const QDateTime now = QDateTime::currentDateTime();
    for (int second = 0; second < 120; ++second) {
        names.append(u"launcher-%1.log"_s.arg(now.addSecs(second).toString(u"yyyyMMdd-HHmmss"_s)));
    }
    return names;
}

/// Null when it could not be started. As long as it takes: to one that has not ended, a process gives the code of one
/// that went well.
std::unique_ptr<QProcess> ranChild(const QString &scene)
{
    auto child = std::make_unique<QProcess>();
    child->start(QCoreApplication::applicationFilePath(), {scene});
    return child->waitForFinished(-1) ? std::move(child) : nullptr;
}

} // namespace

class tst_Logging : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void everyCategoryHasItsNameAndIsOnFromDebugUp_data();
    void everyCategoryHasItsNameAndIsOnFromDebugUp();
    void logIsNamedAfterTheTimeOfItsStart();
    void lineHasTimeLevelCategoryAndMessage();
    void everyLevelHasItsTag_data();
    void everyLevelHasItsTag();
    void categoryColumnIsPaddedAndNeverCut_data();
    void categoryColumnIsPaddedAndNeverCut();
    void messageWithoutCategoryReadsDefault();
    void messageIsWrittenAsItIs_data();
    void messageIsWrittenAsItIs();
    void linesEndAsTextFilesDoHere();
    void lineIsOnDiskAtOnce();
    void oldLogsArePrunedToTen_data();
    void oldLogsArePrunedToTen();
    void onlyLogFilesArePruned();
    void secondStartWithinASecondTruncatesTheLog();
    void startingWhileALogIsOpenDoesNothing();
    void withoutADirectoryOnlyTheStreamsAreServed();
    void withoutAFileOnlyTheStreamsAreServed();
    void nextStartOpensTheLogThatOneCouldNot();
    void handlerTakesOverFromThePreviousOne();
    void stoppingGivesTheMessagesBack_data();
    void stoppingGivesTheMessagesBack();
    void stoppingClosesTheLog();
    void stoppingTwiceOrUnstartedDoesNoHarm();
    void debugGoesToStdoutAndTheRestToStderr();
    void linesOfManyThreadsNeverMixInTheFile();
    void fatalMessageWritesItsLineClosesTheLogAndAborts_data();
    void fatalMessageWritesItsLineClosesTheLogAndAborts();
};

void tst_Logging::init()
{
    QDir(velmo::dataDirectory()).removeRecursively();
}

void tst_Logging::cleanup()
{
    velmo::shutdownLogging();
    QFile::remove(velmo::logsDirectory());
}

void tst_Logging::everyCategoryHasItsNameAndIsOnFromDebugUp_data()
{
    QTest::addColumn<CategoryAccessor>("category");
    QTest::addColumn<QString>("name");
    const auto row = [](CategoryAccessor category, const char *name) {
        QTest::newRow(name) << category << QString::fromLatin1(name);
    };
    row(velmo::lcAccount, "velmo.account");
    row(velmo::lcApp, "velmo.app");
    row(velmo::lcConfig, "velmo.config");
    row(velmo::lcDownload, "velmo.download");
    row(velmo::lcGame, "velmo.game");
    row(velmo::lcNet, "velmo.net");
    row(velmo::lcUi, "velmo.ui");
    row(velmo::lcUpdate, "velmo.update");
    row(velmo::lcVerify, "velmo.verify");
}

void tst_Logging::everyCategoryHasItsNameAndIsOnFromDebugUp()
{
    QFETCH(CategoryAccessor, category);
    QFETCH(QString, name);
    QCOMPARE(QString::fromLatin1(category().categoryName()), name);
    QVERIFY(category().isDebugEnabled());
    QVERIFY(category().isInfoEnabled());
    QVERIFY(category().isWarningEnabled());
    QVERIFY(category().isCriticalEnabled());
}

void tst_Logging::logIsNamedAfterTheTimeOfItsStart()
{
    const QDateTime before = QDateTime::currentDateTime();
    velmo::initLogging();
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(logNames().size(), 1);
    const QString name = logNames().first();
    static const QRegularExpression pattern(uR"(^launcher-(\d{8}-\d{6})\.log$)"_s);
    const QString stamp = pattern.match(name).captured(1);
    QVERIFY2(!stamp.isEmpty(), qPrintable(name));
    const QDateTime started = QDateTime::fromString(stamp, u"yyyyMMdd-HHmmss"_s);
    QVERIFY(started.addSecs(1) > before && started <= after);
}

void tst_Logging::lineHasTimeLevelCategoryAndMessage()
{
    velmo::initLogging();
    const QDateTime before = QDateTime::currentDateTime();
    qCInfo(velmo::lcConfig) << "Loaded configuration from" << u"/a/b"_s;
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(linesOfOnlyLog().size(), 1);
    const QString line = linesOfOnlyLog().first();
    QCOMPARE(line.mid(23), u" [INFO ] velmo.config    Loaded configuration from \"/a/b\""_s);
    const QDateTime written = QDateTime::fromString(line.left(23), u"yyyy-MM-dd HH:mm:ss.zzz"_s);
    QVERIFY(before <= written && written <= after);
}

void tst_Logging::everyLevelHasItsTag_data()
{
    QTest::addColumn<QtMsgType>("type");
    QTest::addColumn<QString>("expected");
    QTest::newRow("debug") << QtDebugMsg << u"[DEBUG] velmo.app       text"_s;
    QTest::newRow("info") << QtInfoMsg << u"[INFO ] velmo.app       text"_s;
    QTest::newRow("warning") << QtWarningMsg << u"[WARN ] velmo.app       text"_s;
    QTest::newRow("critical") << QtCriticalMsg << u"[ERROR] velmo.app       text"_s;
}

void tst_Logging::everyLevelHasItsTag()
{
    QFETCH(QtMsgType, type);
    QFETCH(QString, expected);
    velmo::initLogging();
    qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, "velmo.app"), u"text"_s);
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{expected});
}

void tst_Logging::categoryColumnIsPaddedAndNeverCut_data()
{
    QTest::addColumn<QByteArray>("category");
    QTest::addColumn<QString>("expected");
    QTest::newRow("short") << QByteArrayLiteral("velmo.ui") << u"[INFO ] velmo.ui        text"_s;
    QTest::newRow("13 characters") << QByteArrayLiteral("velmo.account") << u"[INFO ] velmo.account   text"_s;
    QTest::newRow("14 characters") << QByteArrayLiteral("velmo.download") << u"[INFO ] velmo.download  text"_s;
    QTest::newRow("longer") << QByteArrayLiteral("qt.qpa.input.methods") << u"[INFO ] qt.qpa.input.methods  text"_s;
}

void tst_Logging::categoryColumnIsPaddedAndNeverCut()
{
    QFETCH(QByteArray, category);
    QFETCH(QString, expected);
    velmo::initLogging();
    qt_message_output(QtInfoMsg, QMessageLogContext(nullptr, 0, nullptr, category.constData()), u"text"_s);
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{expected});
}

void tst_Logging::messageWithoutCategoryReadsDefault()
{
    velmo::initLogging();
    qInfo("plain");
    qt_message_output(QtInfoMsg, QMessageLogContext(), u"without any"_s);
    QCOMPARE(afterStamps(linesOfOnlyLog()),
             QStringList({u"[INFO ] default         plain"_s, u"[INFO ] default         without any"_s}));
}

void tst_Logging::messageIsWrittenAsItIs_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("empty") << QString();
    QTest::newRow("like a placeholder") << u"100 %1 %2 %3 %4 %%"_s;
    QTest::newRow("beyond ASCII") << u"Grüße – 日本語 🎮"_s;
    QTest::newRow("blanks at the ends") << u"  text  "_s;
    QTest::newRow("long") << QString(5000, u'x');
}

void tst_Logging::messageIsWrittenAsItIs()
{
    QFETCH(QString, message);
    velmo::initLogging();
    qCInfo(velmo::lcDownload).noquote().nospace() << message;
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{u"[INFO ] velmo.download  "_s + message});
}

void tst_Logging::linesEndAsTextFilesDoHere()
{
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "one";
    qCInfo(velmo::lcApp) << "two";
    velmo::shutdownLogging();
    const QByteArray bytes = readFile(onlyLogPath());
#ifdef Q_OS_WIN
    QCOMPARE(bytes.count("\r\n"), 2);
    QVERIFY(bytes.endsWith("two\r\n"));
#else
    QCOMPARE(bytes.count('\r'), 0);
    QVERIFY(bytes.endsWith("two\n"));
#endif
}

void tst_Logging::lineIsOnDiskAtOnce()
{
    velmo::initLogging();
    for (int line = 1; line <= 3; ++line) {
        qCInfo(velmo::lcApp) << "line" << line;
        QCOMPARE(linesOfOnlyLog().size(), line);
        QVERIFY(linesOfOnlyLog().last().endsWith(u"line %1"_s.arg(line)));
    }
}

void tst_Logging::oldLogsArePrunedToTen_data()
{
    QTest::addColumn<int>("earlier");
    QTest::addColumn<int>("firstKept");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("9") << 9 << 0;
    QTest::newRow("10") << 10 << 0;
    QTest::newRow("11") << 11 << 1;
    QTest::newRow("14") << 14 << 4;
    QTest::newRow("100") << 100 << 90;
}

void tst_Logging::oldLogsArePrunedToTen()
{
    QFETCH(int, earlier);
    QFETCH(int, firstKept);
    QVERIFY(velmo::ensureDirectory(velmo::logsDirectory()));
    QStringList kept;
    for (int run = 0; run < earlier; ++run) {
        touch(earlierLog(run));
        QFile log(QDir(velmo::logsDirectory()).filePath(earlierLog(run)));
        QVERIFY(log.open(QIODevice::ReadWrite));
        const int daysAgo = run * 7 % 13; // age goes by name and not by file time
        QVERIFY(log.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFileDevice::FileModificationTime));
        if (run >= firstKept) {
            kept.append(earlierLog(run));
        }
    }
    velmo::initLogging();
    QStringList names = logNames();
    QCOMPARE(names.size(), kept.size() + 1);
    names.removeLast(); // the log of this run
    QCOMPARE(names, kept);
    for (const QString &name : std::as_const(kept)) {
        QCOMPARE(readFile(QDir(velmo::logsDirectory()).filePath(name)), "earlier run\n");
    }
}

void tst_Logging::onlyLogFilesArePruned()
{
    QVERIFY(velmo::ensureDirectory(velmo::logsDirectory()));
    const QStringList others = {u"launcher.log"_s, u"launcher-0.txt"_s, u"a-launcher-0.log"_s, u"launcher-0.log.bak"_s};
    for (const QString &name : others) {
        touch(name);
    }
    const QDir logs(velmo::logsDirectory());
    QVERIFY(logs.mkdir(u"launcher-00000000-000000.log"_s));
    for (int run = 0; run < 10; ++run) {
        touch(earlierLog(run));
    }
    velmo::initLogging();
    for (const QString &name : others) {
        QVERIFY2(logs.exists(name), qPrintable(name));
    }
    QVERIFY(logs.exists(u"launcher-00000000-000000.log"_s));
    for (int run = 0; run < 10; ++run) {
        QVERIFY(logs.exists(earlierLog(run))); // what is no log does not count either
    }
}

void tst_Logging::secondStartWithinASecondTruncatesTheLog()
{
    qint64 second = 0;
    do { // until both starts have fallen into one second
        velmo::shutdownLogging();
        init();
        second = QDateTime::currentSecsSinceEpoch();
        velmo::initLogging();
        qCInfo(velmo::lcApp) << "first";
        velmo::shutdownLogging();
        velmo::initLogging();
        qCInfo(velmo::lcApp) << "second";
    } while (QDateTime::currentSecsSinceEpoch() != second);
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{u"[INFO ] velmo.app       second"_s});
}

void tst_Logging::startingWhileALogIsOpenDoesNothing()
{
    const LogCapture before;
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "first";
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "second";
    QCOMPARE(linesOfOnlyLog().size(), 2);
    velmo::shutdownLogging();
    qCInfo(velmo::lcApp) << "third";
    QCOMPARE(before.texts(), QStringList{u"INFO velmo.app: third"_s});
}

void tst_Logging::withoutADirectoryOnlyTheStreamsAreServed()
{
    QVERIFY(velmo::ensureDirectory(velmo::dataDirectory()));
    QVERIFY(QFile(velmo::logsDirectory()).open(QIODevice::WriteOnly));
    const std::unique_ptr<QProcess> child = ranChild(u"--levels"_s);
    QVERIFY(child);
    QCOMPARE(child->exitStatus(), QProcess::NormalExit);
    QCOMPARE(child->readAllStandardOutput().count("\n"), 1);
    QCOMPARE(child->readAllStandardError().count("\n"), 3);
    QCOMPARE(readFile(velmo::logsDirectory()), QByteArray());
}

void tst_Logging::withoutAFileOnlyTheStreamsAreServed()
{
    const QStringList taken = namesOfTheNextSeconds();
    for (const QString &name : taken) {
        QVERIFY(QDir(velmo::logsDirectory()).mkpath(name));
    }
    const std::unique_ptr<QProcess> child = ranChild(u"--levels"_s);
    QVERIFY(child);
    QCOMPARE(child->exitStatus(), QProcess::NormalExit);
    QCOMPARE(child->readAllStandardOutput().count("\n"), 1);
    QCOMPARE(child->readAllStandardError().count("\n"), 3);
    QCOMPARE(logNames(), QStringList());
}

void tst_Logging::nextStartOpensTheLogThatOneCouldNot()
{
    const LogCapture before;
    const QDir logs(velmo::logsDirectory());
    const QStringList taken = namesOfTheNextSeconds();
    for (const QString &name : taken) {
        QVERIFY(logs.mkpath(name));
    }
    velmo::initLogging();
    QCOMPARE(logNames(), QStringList());
    for (const QString &name : taken) {
        QVERIFY(logs.rmdir(name));
    }
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "in the log";
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{u"[INFO ] velmo.app       in the log"_s});
}

void tst_Logging::handlerTakesOverFromThePreviousOne()
{
    const LogCapture before;
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "for the log alone";
    QCOMPARE(before.texts(), QStringList());
    QCOMPARE(linesOfOnlyLog().size(), 1);
}

void tst_Logging::stoppingGivesTheMessagesBack_data()
{
    QTest::addColumn<bool>("withFile");
    QTest::addColumn<int>("starts");
    QTest::newRow("with a file") << true << 1;
    QTest::newRow("without a file") << false << 1;
    QTest::newRow("started twice without a file") << false << 2;
}

void tst_Logging::stoppingGivesTheMessagesBack()
{
    QFETCH(bool, withFile);
    QFETCH(int, starts);
    if (!withFile) {
        QVERIFY(velmo::ensureDirectory(velmo::dataDirectory()));
        QVERIFY(QFile(velmo::logsDirectory()).open(QIODevice::WriteOnly));
    }
    const LogCapture before;
    for (int start = 0; start < starts; ++start) {
        velmo::initLogging();
    }
    velmo::shutdownLogging();
    qCInfo(velmo::lcApp) << "back again";
    QCOMPARE(before.texts(), QStringList{u"INFO velmo.app: back again"_s});
}

void tst_Logging::stoppingClosesTheLog()
{
    velmo::initLogging();
    qCInfo(velmo::lcApp) << "inside";
    velmo::shutdownLogging();
    const LogCapture outside;
    qCInfo(velmo::lcApp) << "outside";
    QCOMPARE(afterStamps(linesOfOnlyLog()), QStringList{u"[INFO ] velmo.app       inside"_s});
}

void tst_Logging::stoppingTwiceOrUnstartedDoesNoHarm()
{
    const LogCapture before;
    velmo::shutdownLogging();
    qCInfo(velmo::lcApp) << "unstarted";
    velmo::initLogging();
    velmo::shutdownLogging();
    velmo::shutdownLogging();
    qCInfo(velmo::lcApp) << "stopped twice";
    QCOMPARE(before.texts(), QStringList({u"INFO velmo.app: unstarted"_s, u"INFO velmo.app: stopped twice"_s}));
}

void tst_Logging::debugGoesToStdoutAndTheRestToStderr()
{
    const std::unique_ptr<QProcess> child = ranChild(u"--levels"_s);
    QVERIFY(child);
    QCOMPARE(child->exitCode(), 0);
    const QString output = QString::fromLocal8Bit(plainText(child->readAllStandardOutput()));
    const QString errors = QString::fromLocal8Bit(plainText(child->readAllStandardError()));
    const QStringList lines = linesOfOnlyLog();
    QCOMPARE(afterStamps(lines),
             QStringList({u"[DEBUG] velmo.app       a debug text"_s, u"[INFO ] velmo.app       an info text"_s,
                          u"[WARN ] velmo.app       a warning text"_s, u"[ERROR] velmo.app       a critical text"_s}));
    QCOMPARE(output, lines.at(0) + u'\n');
    QCOMPARE(errors, lines.mid(1).join(u'\n') + u'\n');
}

void tst_Logging::linesOfManyThreadsNeverMixInTheFile()
{
    const std::unique_ptr<QProcess> child = ranChild(u"--threads"_s);
    QVERIFY(child);
    QCOMPARE(child->exitStatus(), QProcess::NormalExit);
    QCOMPARE(child->exitCode(), 0);
    const QStringList lines = linesOfOnlyLog();
    QCOMPARE(lines.size(), threadCount * linesPerThread);
    QHash<QString, int> counts;
    for (const QString &line : lines) {
        ++counts[afterStamp(line)];
    }
    QCOMPARE(counts.size(), threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        const QString text(threadTextLength, QChar(u'a' + thread));
        QCOMPARE(counts.value(u"[DEBUG] velmo.verify    "_s + text), linesPerThread);
    }
}

void tst_Logging::fatalMessageWritesItsLineClosesTheLogAndAborts_data()
{
    QTest::addColumn<QString>("scene");
    QTest::newRow("main thread") << u"--fatal"_s;
    QTest::newRow("another thread") << u"--fatal-thread"_s;
}

void tst_Logging::fatalMessageWritesItsLineClosesTheLogAndAborts()
{
    QFETCH(QString, scene);
    const std::unique_ptr<QProcess> child = ranChild(scene);
    QVERIFY(child);
#ifdef Q_OS_WIN
    QCOMPARE(child->exitCode(), 3); // what abort ends with there
#else
    QCOMPARE(child->exitStatus(), QProcess::CrashExit);
    QCOMPARE(child->exitCode(), SIGABRT);
#endif
    QCOMPARE(plainText(child->readAllStandardOutput()).toStdString(), shutDownFirst);
    const QStringList lines = linesOfOnlyLog();
    QCOMPARE(afterStamps(lines),
             QStringList({u"[INFO ] velmo.app       alive"_s, u"[FATAL] default         nothing can go on"_s}));
    QCOMPARE(QString::fromLocal8Bit(plainText(child->readAllStandardError())), lines.join(u'\n') + u'\n');
}

int main(int argc, char **argv)
{
    if (argc == 2 && QLatin1StringView(argv[1]).startsWith("--"_L1)) {
        runChild(QLatin1StringView(argv[1]));
        return 0;
    }
    return velmo::test::runTest<tst_Logging>(argc, argv);
}

#include "tst_Logging.moc"
