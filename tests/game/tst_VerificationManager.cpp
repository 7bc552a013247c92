#include "game/TestBuilds.h"
#include "game/VerificationManager.h"
#include "support/HeldFile.h"
#include "support/LogCapture.h"
#include "support/PlainUserRights.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#ifdef Q_OS_WIN
#include <windows.h>

#include <tlhelp32.h>
#endif

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::VerificationManager;
using velmo::VerificationResult;
using velmo::test::HeldFile;
using velmo::test::LogCapture;
using velmo::test::pathsOf;
using velmo::test::PlainUserRights;
using velmo::test::sha256Of;
using velmo::test::writeFile;

namespace {

constexpr qint64 mebibyte = 1048576;

/// Fraction and path of each progress call.
using Steps = QList<std::pair<double, QString>>;

ManifestFile entry(const QString &path, const QByteArray &bytes)
{
    return {path, sha256Of(bytes), bytes.size(), {}, false};
}

ManifestFile entryOfSize(const QString &path, qint64 size)
{
    return {path, QString(64, u'0'), size, {}, false};
}

Manifest manifestOf(const QList<ManifestFile> &files)
{
    Manifest manifest;
    manifest.valid = true;
    manifest.version = u"1.0"_s;
    manifest.files = files;
    return manifest;
}

/// The threads of this process.
qsizetype threadCount()
{
#ifdef Q_OS_WIN
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof(thread);
    qsizetype count = 0;
    for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
#else
    return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
#endif
}

/// Holds the worker in the middle of logging that it cannot open a file, until the gate is released. Make it after the
/// LogCapture, to which it passes every line on.
class Gate {
public:
    Gate()
    {
        stage_ = Waiting;
        passOn_ = qInstallMessageHandler(handle);
    }
    ~Gate()
    {
        qInstallMessageHandler(passOn_);
        if (!keptShut_) {
            release();
        }
    }
    Q_DISABLE_COPY_MOVE(Gate)

    /// Whether the worker stands at the gate.
    bool isReached() const { return stage_ == Reached; }
    /// The thread of the worker that stands at the gate.
    QThread *worker() const { return worker_; }
    void release()
    {
        stage_ = Released;
        stage_.notify_all();
    }
    /// The worker stays at the gate until the process ends.
    void keepShut() { keptShut_ = true; }

private:
    enum Stage { Waiting, Reached, Released };

    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        passOn_.load()(type, context, text);
        if (text.startsWith("Could not open for verification:"_L1) && stage_ == Waiting) {
            worker_ = QThread::currentThread();
            stage_ = Reached;
            stage_.wait(Reached);
        }
    }

    static inline std::atomic<Stage> stage_ = Waiting;
    static inline std::atomic<QThread *> worker_ = nullptr;
    static inline std::atomic<QtMessageHandler> passOn_ = nullptr;
    bool keptShut_ = false;
};

} // namespace

class tst_VerificationManager : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void typesCrossQueuedCalls();
    void freshResultIsEmpty();
    void repairListsTheMissingThenTheCorrupt();

    void emptyListFinishesAtOnce();
    void intactFilesPass();
    void verdictsComeInManifestOrder();
    void otherContentOfTheRightSizeIsReadAndCorrupt();
    void otherSizeIsCorruptAndNotRead_data();
    void otherSizeIsCorruptAndNotRead();
    void hashIsComparedExactly();
    void fileOfUnknownSizeIsHashed_data();
    void fileOfUnknownSizeIsHashed();
    void danglingLinkIsMissing();
    void pathThroughAFileIsMissing();
    void unreadableFileIsCorruptAndThePassGoesOn_data();
    void unreadableFileIsCorruptAndThePassGoesOn();
    void nothingOnDiskChanges();

    void everyEighthReadOfAFileIsReported_data();
    void everyEighthReadOfAFileIsReported();
    void readsAreCountedWithinTheFile();
    void missingFilesAreReported();
    void fractionCountsTheBytesOfUnreadFiles();
    void fractionWithoutATotalIsZero();
    void fractionWhileHashingStaysWithinOne();
    void hostileSizesDoNotOverflow();

    void callsArriveInOrderOnTheMainThread();
    void oneExtraThreadDoesTheWork();
    void managerIsIdleWhenTheResultArrives();
    void secondVerifyWarnsAndChangesNothing();

    void cancelWithoutAPassDoesNothing();
    void cancelBetweenFilesKeepsWhatWasFound();
    void cancelWithinAFileLeavesItUnjudged();
    void cancelCanBeRepeated();
    void passAfterACancelledOneIsWhole();

    void destructionWaitsForTheWorker();
    void destructionWaitsForAPassThatBeganFromAResult();
    void destructionWhileIdleIsImmediate();
    void destructionMayFollowTheThreads();
    void destructionGivesUpAfterFiveSeconds();

private:
    QString root() const { return folder_->filePath(u"Meine Spiele/Härröwfen 沼"_s); }
    QString below(const QString &path) const { return root() + u'/' + path; }
    void write(const QString &path, const QByteArray &bytes) { writeFile(below(path), bytes); }
    /// Writes a whole file and gives its entry.
    ManifestFile add(const QString &path, const QByteArray &bytes);
    /// Makes a file of \a size zero bytes, which take no room on disk, and gives an entry with another hash.
    ManifestFile addZeros(const QString &path, qint64 size);
    /// Makes what no worker can open and gives its entry: a folder in place of a file.
    ManifestFile addGate();
    /// Destroys the manager while the worker stands at \a gate, and lets the worker go a while after the manager asked
    /// it to stop. Whether the manager was there until then.
    bool destructionOutlasts(Gate &gate);
    /// A whole pass; steps_ then holds its progress calls.
    VerificationResult verified(const QList<ManifestFile> &files);

    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<VerificationManager> manager_;
    std::optional<LogCapture> log_;
    Steps steps_;
    std::optional<VerificationResult> result_;
    int finishes_ = 0;
    qsizetype idleThreads_ = 0;
};

void tst_VerificationManager::initTestCase()
{
    idleThreads_ = threadCount();
}

void tst_VerificationManager::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir().mkpath(root()));
    manager_ = std::make_unique<VerificationManager>();
    steps_.clear();
    result_.reset();
    finishes_ = 0;
    connect(manager_.get(), &VerificationManager::progressChanged, this, [this](double fraction, const QString &path) {
        steps_.append({fraction, path});
    });
    connect(manager_.get(), &VerificationManager::finished, this, [this](const VerificationResult &result) {
        result_ = result;
        ++finishes_;
    });
    log_.emplace();
}

void tst_VerificationManager::cleanup()
{
    manager_.reset();
    folder_.reset();
    log_.reset();
}

ManifestFile tst_VerificationManager::add(const QString &path, const QByteArray &bytes)
{
    write(path, bytes);
    return entry(path, bytes);
}

ManifestFile tst_VerificationManager::addZeros(const QString &path, qint64 size)
{
    write(path, {});
    if (!QFile::resize(below(path), size)) {
        qFatal("Cannot resize %s", qPrintable(path));
    }
    return entryOfSize(path, size);
}

ManifestFile tst_VerificationManager::addGate()
{
    if (!QDir().mkpath(below(u"gate"_s))) {
        qFatal("Cannot make the gate");
    }
    return entry(u"gate"_s, {});
}

VerificationResult tst_VerificationManager::verified(const QList<ManifestFile> &files)
{
    result_.reset();
    manager_->verify(manifestOf(files), root());
    const bool inTime = QTest::qWaitFor([this] { return result_.has_value(); }, 60000);
    if (!inTime) {
        qFatal("The pass does not end");
    }
    return *result_;
}

bool tst_VerificationManager::destructionOutlasts(Gate &gate)
{
    std::atomic_bool released = false;
    std::thread releaser([this, &gate, &released] {
        while (!log_->contains(QtInfoMsg, u"velmo.verify"_s, u"Verification cancelled"_s)) {
            std::this_thread::yield();
        }
        // Long enough that a destructor which does not wait would be through.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        released = true;
        gate.release();
    });
    manager_.reset();
    const bool waited = released;
    releaser.join();
    return waited;
}

void tst_VerificationManager::typesCrossQueuedCalls()
{
    QVERIFY(QMetaType::fromName("velmo::VerificationResult").isValid());
}

void tst_VerificationManager::freshResultIsEmpty()
{
    const VerificationResult result;
    QVERIFY(result.missing.isEmpty());
    QVERIFY(result.corrupt.isEmpty());
    QCOMPARE(result.filesChecked, 0);
    QCOMPARE(result.bytesChecked, 0);
    QVERIFY(!result.cancelled);
    QVERIFY(result.filesNeedingRepair().isEmpty());
}

void tst_VerificationManager::repairListsTheMissingThenTheCorrupt()
{
    VerificationResult result;
    result.corrupt = {entry(u"c2"_s, {}), entry(u"c1"_s, {})};
    result.missing = {entry(u"m2"_s, {}), entry(u"m1"_s, {})};
    QCOMPARE(pathsOf(result.filesNeedingRepair()), (QStringList{u"m2"_s, u"m1"_s, u"c2"_s, u"c1"_s}));
}

void tst_VerificationManager::emptyListFinishesAtOnce()
{
    QVERIFY(!manager_->isRunning());
    manager_->verify(manifestOf({}), root());
    QVERIFY(manager_->isRunning());
    QCOMPARE(finishes_, 0); // the result comes by the event loop
    QTRY_COMPARE(finishes_, 1);
    QVERIFY(!manager_->isRunning());
    QVERIFY(result_->filesNeedingRepair().isEmpty());
    QCOMPARE(result_->filesChecked, 0);
    QCOMPARE(result_->bytesChecked, 0);
    QVERIFY(!result_->cancelled);
    QVERIFY(steps_.isEmpty());
    QCOMPARE(log_->texts(),
             (QStringList{u"INFO velmo.verify: Verifying 0 files in \"%1\""_s.arg(root()),
                          u"INFO velmo.verify: Verification finished: 0 checked, 0 missing, 0 corrupt"_s}));
}

void tst_VerificationManager::intactFilesPass()
{
    const VerificationResult result = verified(
        {add(u"a"_s, "one"), add(u"Content/Übung 沼.pak"_s, QByteArray(2 * mebibyte + 17, 'x')), add(u"b/c/d"_s, "")});
    QVERIFY(result.filesNeedingRepair().isEmpty());
    QCOMPARE(result.filesChecked, 3);
    QCOMPARE(result.bytesChecked, 2 * mebibyte + 20);
    QVERIFY(!result.cancelled);
    QCOMPARE(log_->texts(),
             (QStringList{u"INFO velmo.verify: Verifying 3 files in \"%1\""_s.arg(root()),
                          u"INFO velmo.verify: Verification finished: 3 checked, 0 missing, 0 corrupt"_s}));
}

void tst_VerificationManager::verdictsComeInManifestOrder()
{
    write(u"z-other"_s, "HELLO");
    write(u"a-short"_s, "he");
    write(u"m-other"_s, "WORLD");
    const VerificationResult result = verified({
        entry(u"z-gone"_s, "hello"),
        entry(u"z-other"_s, "hello"),
        add(u"good"_s, "good"),
        entry(u"a-gone"_s, "hello"),
        entry(u"a-short"_s, "hello"),
        entry(u"m-gone"_s, "hello"),
        entry(u"m-other"_s, "world"),
    });
    QCOMPARE(pathsOf(result.missing), (QStringList{u"z-gone"_s, u"a-gone"_s, u"m-gone"_s}));
    QCOMPARE(pathsOf(result.corrupt), (QStringList{u"z-other"_s, u"a-short"_s, u"m-other"_s}));
    QCOMPARE(result.filesChecked, 4);
    QCOMPARE(result.bytesChecked, 14);
    QVERIFY(!result.cancelled);
    QCOMPARE(result.missing.first().sha256, sha256Of("hello"));
    QCOMPARE(result.corrupt.first().size, 5);
    QCOMPARE(log_->texts().last(), u"INFO velmo.verify: Verification finished: 4 checked, 3 missing, 3 corrupt"_s);
}

void tst_VerificationManager::otherContentOfTheRightSizeIsReadAndCorrupt()
{
    QByteArray bytes(2 * mebibyte + 17, 'x');
    const ManifestFile file = entry(u"a.pak"_s, bytes);
    bytes.back() = 'y';
    write(u"a.pak"_s, bytes);
    const VerificationResult result = verified({file});
    QCOMPARE(pathsOf(result.corrupt), QStringList{u"a.pak"_s});
    QVERIFY(result.missing.isEmpty());
    QCOMPARE(result.filesChecked, 1);
    QCOMPARE(result.bytesChecked, bytes.size());
}

void tst_VerificationManager::otherSizeIsCorruptAndNotRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("short") << QByteArray("hell");
    QTest::newRow("long") << QByteArray("hello!");
}

void tst_VerificationManager::otherSizeIsCorruptAndNotRead()
{
    QFETCH(QByteArray, bytes);
    write(u"a"_s, bytes);
    const VerificationResult result = verified({entry(u"a"_s, "hello")});
    QCOMPARE(pathsOf(result.corrupt), QStringList{u"a"_s});
    QCOMPARE(result.filesChecked, 1);
    QCOMPARE(result.bytesChecked, 0);
    QVERIFY(steps_.isEmpty());
}

void tst_VerificationManager::hashIsComparedExactly()
{
    ManifestFile file = add(u"a"_s, "hello");
    file.sha256 = file.sha256.toUpper();
    QCOMPARE(pathsOf(verified({file}).corrupt), QStringList{u"a"_s});
}

void tst_VerificationManager::fileOfUnknownSizeIsHashed_data()
{
    QTest::addColumn<QByteArray>("onDisk");
    QTest::addColumn<QByteArray>("hashed");
    QTest::addColumn<bool>("passes");
    QTest::newRow("empty as it is to be") << QByteArray() << QByteArray() << true;
    QTest::newRow("content as it is to be") << QByteArray("hello") << QByteArray("hello") << true;
    QTest::newRow("content instead of nothing") << QByteArray("hello") << QByteArray() << false;
    QTest::newRow("nothing instead of content") << QByteArray() << QByteArray("hello") << false;
}

void tst_VerificationManager::fileOfUnknownSizeIsHashed()
{
    QFETCH(QByteArray, onDisk);
    QFETCH(QByteArray, hashed);
    QFETCH(bool, passes);
    write(u"a"_s, onDisk);
    ManifestFile file = entry(u"a"_s, hashed);
    file.size = 0;
    const VerificationResult result = verified({file});
    QCOMPARE(result.corrupt.isEmpty(), passes);
    QVERIFY(result.missing.isEmpty());
    QCOMPARE(result.filesChecked, 1);
    QCOMPARE(result.bytesChecked, onDisk.size());
}

void tst_VerificationManager::danglingLinkIsMissing()
{
    const ManifestFile real = add(u"real"_s, "hello");
    QVERIFY(QFile::link(below(u"real"_s), below(u"good link"_s)));
    QVERIFY(QFile::link(below(u"nowhere"_s), below(u"dangling"_s)));
    const VerificationResult result = verified({real, entry(u"dangling"_s, "hello"), entry(u"good link"_s, "hello")});
    QCOMPARE(pathsOf(result.missing), QStringList{u"dangling"_s});
    QVERIFY(result.corrupt.isEmpty());
    QCOMPARE(result.filesChecked, 2);
}

void tst_VerificationManager::pathThroughAFileIsMissing()
{
    const ManifestFile file = add(u"a"_s, "hello");
    const VerificationResult result = verified({file, entry(u"a/b"_s, "hello")});
    QCOMPARE(pathsOf(result.missing), QStringList{u"a/b"_s});
    QCOMPARE(result.filesChecked, 1);
}

void tst_VerificationManager::unreadableFileIsCorruptAndThePassGoesOn_data()
{
    QTest::addColumn<bool>("isFolder");
    QTest::newRow("a locked file") << false;
    QTest::newRow("a folder in place of the file") << true;
}

void tst_VerificationManager::unreadableFileIsCorruptAndThePassGoesOn()
{
    QFETCH(bool, isFolder);
    const QString path = below(u"Locked file"_s);
#ifdef Q_OS_WIN
    std::optional<HeldFile> held;
#endif
    if (isFolder) {
        QVERIFY(QDir().mkpath(path));
    } else {
        write(u"Locked file"_s, "hello");
#ifdef Q_OS_WIN
        held.emplace(path, HeldFile::Nothing);
        QVERIFY(held->isOpen());
#else
        QVERIFY(QFile::setPermissions(path, {}));
#endif
    }
    const QList<ManifestFile> files{{u"Locked file"_s, sha256Of("hello"), isFolder ? 0 : 5, {}, false},
                                    add(u"next"_s, "next")};
    const PlainUserRights plainUser;
    QFile probe(path);
    QVERIFY(!probe.open(QIODevice::ReadOnly));

    const VerificationResult result = verified(files);
    QCOMPARE(pathsOf(result.corrupt), QStringList{u"Locked file"_s});
    QCOMPARE(pathsOf(result.filesNeedingRepair()), QStringList{u"Locked file"_s});
    QCOMPARE(result.filesChecked, 2);
    QCOMPARE(result.bytesChecked, 4);
    QVERIFY(!result.cancelled);
    QVERIFY(steps_.isEmpty());
    QCOMPARE(log_->texts(),
             (QStringList{
                 u"INFO velmo.verify: Verifying 2 files in \"%1\""_s.arg(root()),
                 u"WARN velmo.verify: Could not open for verification: \"%1\" \"%2\""_s.arg(path, probe.errorString()),
                 u"INFO velmo.verify: Verification finished: 2 checked, 0 missing, 1 corrupt"_s,
             }));
}

void tst_VerificationManager::nothingOnDiskChanges()
{
    write(u"wrong"_s, "HELLO");
    write(u"short"_s, "he");
    write(u"foreign.cfg"_s, "mine");
    const QList<ManifestFile> files{add(u"good"_s, "good"), entry(u"wrong"_s, "hello"), entry(u"short"_s, "hello"),
                                    entry(u"New/gone"_s, "hello")};
    QCOMPARE(verified(files).filesNeedingRepair().size(), 3);
    QCOMPARE(QDir(root()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
             (QStringList{u"foreign.cfg"_s, u"good"_s, u"short"_s, u"wrong"_s}));
    QFile wrong(below(u"wrong"_s));
    QVERIFY(wrong.open(QIODevice::ReadOnly));
    QCOMPARE(wrong.readAll(), "HELLO");
}

void tst_VerificationManager::everyEighthReadOfAFileIsReported_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QList<qint64>>("reported");
    QTest::newRow("7 reads") << 7 * mebibyte << QList<qint64>{};
    QTest::newRow("8 reads, the last of one byte") << 7 * mebibyte + 1 << QList<qint64>{7 * mebibyte + 1};
    QTest::newRow("8 reads") << 8 * mebibyte << QList<qint64>{8 * mebibyte};
    QTest::newRow("15 reads") << 15 * mebibyte << QList<qint64>{8 * mebibyte};
    QTest::newRow("16 reads and a rest") << 16 * mebibyte + 5 << QList<qint64>{8 * mebibyte, 16 * mebibyte};
}

void tst_VerificationManager::everyEighthReadOfAFileIsReported()
{
    QFETCH(qint64, size);
    QFETCH(QList<qint64>, reported);
    Steps expected;
    for (const qint64 done : std::as_const(reported)) {
        expected.append({static_cast<double>(done) / static_cast<double>(size), u"Content/zeros.pak"_s});
    }
    const VerificationResult result = verified({addZeros(u"Content/zeros.pak"_s, size)});
    QCOMPARE(result.bytesChecked, size);
    QCOMPARE(steps_, expected);
}

void tst_VerificationManager::readsAreCountedWithinTheFile()
{
    const ManifestFile first = addZeros(u"a"_s, 5 * mebibyte);
    QVERIFY(QFile::copy(below(u"a"_s), below(u"b"_s)));
    ManifestFile second = first;
    second.path = u"b"_s;
    QCOMPARE(verified({first, second}).bytesChecked, 10 * mebibyte);
    QVERIFY(steps_.isEmpty());
}

void tst_VerificationManager::missingFilesAreReported()
{
    const VerificationResult result =
        verified({entryOfSize(u"gone 1"_s, 100), entryOfSize(u"gone 0"_s, 0), entryOfSize(u"gone 2"_s, 300)});
    QCOMPARE(result.missing.size(), 3);
    QCOMPARE(result.filesChecked, 0);
    QCOMPARE(result.bytesChecked, 0);
    QCOMPARE(steps_, (Steps{{0.25, u"gone 1"_s}, {0.25, u"gone 0"_s}, {1.0, u"gone 2"_s}}));
}

void tst_VerificationManager::fractionCountsTheBytesOfUnreadFiles()
{
    write(u"truncated"_s, "x");
    verified({entryOfSize(u"truncated"_s, 2 * mebibyte), entryOfSize(u"gone"_s, 2 * mebibyte),
              addZeros(u"zeros"_s, 12 * mebibyte)});
    QCOMPARE(steps_, (Steps{{0.25, u"gone"_s}, {0.75, u"zeros"_s}}));
}

void tst_VerificationManager::fractionWithoutATotalIsZero()
{
    ManifestFile zeros = addZeros(u"zeros"_s, 8 * mebibyte);
    zeros.size = 0;
    verified({zeros, entryOfSize(u"gone"_s, 0)});
    QCOMPARE(steps_, (Steps{{0.0, u"zeros"_s}, {0.0, u"gone"_s}}));
}

void tst_VerificationManager::fractionWhileHashingStaysWithinOne()
{
    // More is read than the manifest counts. The bound guards the hashing; a missing file reports the plain quotient.
    ManifestFile zeros = addZeros(u"zeros"_s, 8 * mebibyte);
    zeros.size = 0;
    verified({zeros, entryOfSize(u"gone"_s, 4 * mebibyte)});
    QCOMPARE(steps_, (Steps{{1.0, u"zeros"_s}, {3.0, u"gone"_s}}));
}

void tst_VerificationManager::hostileSizesDoNotOverflow()
{
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    write(u"small"_s, "x");
    const VerificationResult result = verified(
        {entryOfSize(u"gone 1"_s, largest), entryOfSize(u"small"_s, largest), entryOfSize(u"gone 2"_s, largest)});
    QCOMPARE(result.missing.size(), 2);
    QCOMPARE(result.corrupt.size(), 1);
    QCOMPARE(steps_, (Steps{{1.0, u"gone 1"_s}, {1.0, u"gone 2"_s}}));
}

void tst_VerificationManager::callsArriveInOrderOnTheMainThread()
{
    QStringList calls;
    const QThread *const mainThread = QThread::currentThread();
    // Without a context object, these run on whichever thread emits.
    QObject::connect(manager_.get(), &VerificationManager::progressChanged,
                     [&calls, mainThread](double /*fraction*/, const QString &path) {
                         calls.append(QThread::currentThread() == mainThread ? path : u"wrong thread"_s);
                     });
    QObject::connect(manager_.get(), &VerificationManager::finished, [&calls, mainThread] {
        calls.append(QThread::currentThread() == mainThread ? u"finished"_s : u"wrong thread"_s);
    });
    const QList<ManifestFile> files{entryOfSize(u"gone 2"_s, 1), addZeros(u"zeros"_s, 8 * mebibyte),
                                    entryOfSize(u"gone 1"_s, 1)};
    verified(files);
    QCOMPARE(calls, (QStringList{u"gone 2"_s, u"zeros"_s, u"gone 1"_s, u"finished"_s}));
}

void tst_VerificationManager::oneExtraThreadDoesTheWork()
{
    Gate gate;
    QTRY_COMPARE(threadCount(), idleThreads_); // the thread of the pass before may just be ending
    manager_->verify(manifestOf({add(u"a"_s, "one"), addGate(), add(u"b"_s, "two")}), root());
    QTRY_VERIFY(gate.isReached()); // and this thread is not held
    QCOMPARE(threadCount(), idleThreads_ + 1);
    gate.release();
    QTRY_COMPARE(finishes_, 1);
    QCOMPARE(result_->filesChecked, 3);
    QTRY_COMPARE(threadCount(), idleThreads_);
}

void tst_VerificationManager::managerIsIdleWhenTheResultArrives()
{
    const Manifest manifest = manifestOf({add(u"a"_s, "one")});
    bool wasRunning = true;
    int passes = 1;
    connect(manager_.get(), &VerificationManager::finished, this, [this, &manifest, &wasRunning, &passes] {
        wasRunning = manager_->isRunning();
        if (passes < 2) {
            ++passes;
            manager_->verify(manifest, root());
        }
    });
    manager_->verify(manifest, root());
    QTRY_COMPARE(finishes_, 2);
    QVERIFY(!wasRunning);
    QCOMPARE(result_->filesChecked, 1);
    QVERIFY(result_->filesNeedingRepair().isEmpty());
}

void tst_VerificationManager::secondVerifyWarnsAndChangesNothing()
{
    Gate gate;
    manager_->verify(manifestOf({addGate(), add(u"a"_s, "one"), add(u"b"_s, "two")}), root());
    QTRY_VERIFY(gate.isReached());
    log_->clear();
    manager_->verify(manifestOf({entry(u"other"_s, "other")}), folder_->path());
    QVERIFY(manager_->isRunning());
    gate.release();
    QTRY_VERIFY(!manager_->isRunning());
    QCOMPARE(log_->texts(),
             (QStringList{u"WARN velmo.verify: verify() called while a pass is already running; ignoring"_s,
                          u"INFO velmo.verify: Verification finished: 3 checked, 0 missing, 1 corrupt"_s}));
    verified({}); // whatever else the first pass had posted would have come before this one's result
    QCOMPARE(finishes_, 2);
    QVERIFY(steps_.isEmpty());
}

void tst_VerificationManager::cancelWithoutAPassDoesNothing()
{
    manager_->cancel();
    QCOMPARE(log_->texts(), QStringList());
    QVERIFY(!manager_->isRunning());

    const VerificationResult result = verified({add(u"a"_s, "one")});
    QVERIFY(!result.cancelled);
    QCOMPARE(result.filesChecked, 1);
    const qsizetype linesOfThePass = log_->lines().size();
    manager_->cancel();
    QCOMPARE(log_->lines().size(), linesOfThePass);
}

void tst_VerificationManager::cancelBetweenFilesKeepsWhatWasFound()
{
    write(u"wrong"_s, "HELLO");
    const QList<ManifestFile> files{entry(u"gone"_s, "hello"), entry(u"wrong"_s, "hello"), addGate(),
                                    entry(u"later"_s, "hello"), add(u"last"_s, "last")};
    Gate gate;
    manager_->verify(manifestOf(files), root());
    QTRY_VERIFY(gate.isReached());
    manager_->cancel();
    QVERIFY(manager_->isRunning()); // it does not wait
    gate.release();
    QTRY_COMPARE(finishes_, 1);
    QVERIFY(result_->cancelled);
    QCOMPARE(pathsOf(result_->missing), QStringList{u"gone"_s});
    QCOMPARE(pathsOf(result_->corrupt), (QStringList{u"wrong"_s, u"gate"_s}));
    QCOMPARE(result_->filesChecked, 2);
    QCOMPARE(result_->bytesChecked, 5);
    QCOMPARE(steps_.size(), 1);
    QStringList lines = log_->texts();
    lines.removeIf([](const QString &line) { return line.startsWith("WARN"_L1); }); // of the gate
    QCOMPARE(lines, (QStringList{u"INFO velmo.verify: Verifying 5 files in \"%1\""_s.arg(root()),
                                 u"INFO velmo.verify: Verification cancelled"_s,
                                 u"INFO velmo.verify: Verification stopped early"_s}));
}

void tst_VerificationManager::cancelWithinAFileLeavesItUnjudged()
{
    constexpr qint64 size = 65536 * mebibyte; // far more than can be hashed before the cancel arrives
    write(u"huge"_s, {});
    QVERIFY(QFile::resize(below(u"huge"_s), size));
    const QList<ManifestFile> files{add(u"a"_s, "one"), entryOfSize(u"huge"_s, size), entry(u"gone"_s, "hello")};
    connect(manager_.get(), &VerificationManager::progressChanged, manager_.get(), &VerificationManager::cancel,
            Qt::SingleShotConnection);
    const VerificationResult result = verified(files);
    QVERIFY(result.cancelled);
    QCOMPARE(result.filesChecked, 1);
    QVERIFY(result.filesNeedingRepair().isEmpty());
    QVERIFY(result.bytesChecked >= 8 * mebibyte + 3);
    QVERIFY(result.bytesChecked < size);
    QCOMPARE((result.bytesChecked - 3) % mebibyte, 0);
    QCOMPARE(steps_.first().second, u"huge"_s);
    QCOMPARE(log_->texts().last(), u"INFO velmo.verify: Verification stopped early"_s);
}

void tst_VerificationManager::cancelCanBeRepeated()
{
    Gate gate;
    manager_->verify(manifestOf({addGate(), entry(u"gone"_s, {})}), root());
    QTRY_VERIFY(gate.isReached());
    manager_->cancel();
    manager_->cancel();
    gate.release();
    QTRY_COMPARE(finishes_, 1);
    QVERIFY(result_->cancelled);
    QCOMPARE(log_->count(QtInfoMsg, u"velmo.verify"_s, u"Verification cancelled"_s), 2);
    QCOMPARE(log_->count(QtInfoMsg, u"velmo.verify"_s, u"Verification stopped early"_s), 1);
}

void tst_VerificationManager::passAfterACancelledOneIsWhole()
{
    Gate gate;
    manager_->verify(manifestOf({addGate(), entry(u"gone"_s, {})}), root());
    QTRY_VERIFY(gate.isReached());
    manager_->cancel();
    gate.release();
    QTRY_COMPARE(finishes_, 1);
    QVERIFY(result_->cancelled);

    const VerificationResult result = verified({add(u"a"_s, "one"), add(u"b"_s, "two")});
    QVERIFY(!result.cancelled);
    QCOMPARE(result.filesChecked, 2);
}

void tst_VerificationManager::destructionWaitsForTheWorker()
{
    Gate gate;
    manager_->verify(manifestOf({addGate(), entry(u"gone"_s, {})}), root());
    QTRY_VERIFY(gate.isReached());

    QVERIFY(destructionOutlasts(gate));
    QCoreApplication::processEvents();
    QCOMPARE(finishes_, 0);
    QVERIFY(steps_.isEmpty());
    QTRY_COMPARE(threadCount(), idleThreads_);
}

void tst_VerificationManager::destructionWaitsForAPassThatBeganFromAResult()
{
    Gate gate;
    const Manifest second = manifestOf({addGate(), entry(u"gone"_s, {})});
    connect(
        manager_.get(), &VerificationManager::finished, this, [&] { manager_->verify(second, root()); },
        Qt::SingleShotConnection);
    manager_->verify(manifestOf({}), root());
    QTRY_VERIFY(gate.isReached());
    // The first pass's thread ends after its result has been heard, and so while the second pass runs.
    QTRY_COMPARE(threadCount(), idleThreads_ + 1);
    QCoreApplication::processEvents();
    QVERIFY(destructionOutlasts(gate));
    QCOMPARE(finishes_, 1);
}

void tst_VerificationManager::destructionWhileIdleIsImmediate()
{
    manager_.reset();
    QCOMPARE(log_->texts(), QStringList());

    init();
    verified({add(u"a"_s, "one")});
    const qsizetype linesOfThePass = log_->lines().size();
    manager_.reset();
    QCOMPARE(log_->lines().size(), linesOfThePass);
}

void tst_VerificationManager::destructionMayFollowTheThreads()
{
    Gate gate;
    manager_->verify(manifestOf({addGate()}), root());
    QTRY_VERIFY(gate.isReached());
    const QPointer<QThread> worker = gate.worker();
    gate.release();
    QVERIFY(worker->wait());
    // The thread's own events run and delete it, while the manager has yet to hear that it ended.
    QCoreApplication::sendPostedEvents(worker, 0);
    QCoreApplication::sendPostedEvents(worker, QEvent::DeferredDelete);
    QVERIFY(!worker);
    manager_.reset();
    QCOMPARE(log_->texts().last(), u"INFO velmo.verify: Verification cancelled"_s);
}

void tst_VerificationManager::destructionGivesUpAfterFiveSeconds()
{
    Gate gate;
    gate.keepShut(); // as on a drive that does not answer any more
    manager_->verify(manifestOf({addGate()}), root());
    QTRY_VERIFY(gate.isReached());
    QElapsedTimer clock;
    clock.start();
    manager_.reset();
    const qint64 waitedMs = clock.elapsed();
    QVERIFY2(waitedMs >= 4990 && waitedMs < 50000, qPrintable(QString::number(waitedMs)));
    QCOMPARE(log_->texts().last(), u"INFO velmo.verify: Verification cancelled"_s);
    QCOMPARE(finishes_, 0);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_VerificationManager>(argc, argv);
}

#include "tst_VerificationManager.moc"
