#include "game/DownloadManager.h"
#include "game/SteppedClock.h"
#include "net/LoopbackPeer.h"
#include "support/FullDrive.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"
#include "support/TestStudio.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using velmo::DownloadManager;
using velmo::DownloadProgress;
using velmo::ManifestFile;
using velmo::studio::Fault;
using velmo::studio::Request;
using velmo::test::FullDrive;
using velmo::test::LogCapture;
using velmo::test::LoopbackPeer;
using velmo::test::readFile;
using velmo::test::sha256Of;
using velmo::test::SteppedClock;
using velmo::test::TestStudio;
using velmo::test::writeFile;

namespace {

const QString firstRetry = u"WARN velmo.download: Retrying \"a.pak\" in 1000 ms (attempt 2 of 4 )"_s;

/// Real transfers, whose beginnings and ends are noted.
class NotingNetwork : public QNetworkAccessManager {
    Q_OBJECT

public:
    struct Transfer {
        QUrl url;
        qint64 beganMs;
        qint64 endedMs; ///< -1 while it runs
    };

    NotingNetwork() { clock_.start(); }

    const QList<Transfer> &transfers() const { return transfers_; }

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *body) override
    {
        const qsizetype index = transfers_.size();
        transfers_.append({request.url(), clock_.elapsed(), -1});
        QNetworkReply *reply = QNetworkAccessManager::createRequest(operation, request, body);
        connect(reply, &QNetworkReply::finished, this, [this, index] { transfers_[index].endedMs = clock_.elapsed(); });
        return reply;
    }

private:
    QElapsedTimer clock_;
    QList<Transfer> transfers_;
};

/// A server that sends as much of a file as the test lets it.
class Feed {
public:
    Feed()
        : peer_([this](QTcpSocket *socket, const QByteArray & /*request*/) {
            socket_ = socket;
            sent_ = 0;
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body_.size()) + "\r\n\r\n");
        })
    {}

    /// The file that is asked for next, and its entry.
    ManifestFile serve(const QString &path, const QByteArray &body)
    {
        body_ = body;
        ManifestFile file{path, QString(), body.size(), peer_.url(u"/file"_s).toString(), false};
        file.sha256 = sha256Of(body);
        return file;
    }
    /// What goes out from now on instead of the file's own bytes.
    void spoil() { body_.fill('?'); }
    qsizetype requests() const { return peer_.requests().size(); }
    /// How much of the file, since it was asked for last.
    qsizetype sent() const { return sent_; }
    void send(qsizetype bytes)
    {
        socket_->write(body_.sliced(sent_, bytes));
        sent_ += bytes;
    }
    void sendRest() { send(body_.size() - sent_); }

private:
    LoopbackPeer peer_;
    QByteArray body_;
    qsizetype sent_ = 0;
    QTcpSocket *socket_ = nullptr;
};

ManifestFile entry(const QString &path, const QByteArray &bytes)
{
    return {path, sha256Of(bytes), bytes.size(), {}, false};
}

/// Waits by turns of the event loop, which go on where time stands still.
bool turnsUntil(const std::function<bool()> &condition)
{
    constexpr int turns = 6000;
    for (int turn = 0; turn < turns; ++turn) {
        QCoreApplication::processEvents();
        if (condition()) {
            return true;
        }
        QThread::msleep(10);
    }
    return false;
}

} // namespace

class tst_DownloadManager : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void progressCrossesQueuedCallsAndStartsUnknown();
    void filesArriveOneAtATimeInOrder();
    void foldersAreMadeAndOldFilesReplaced();
    void jobEndsWithAReportTheLogLineAndTheSignal();
    void emptyListFinishesInsideTheCall();
    void startDuringAJobIsIgnored();
    void nextJobMayStartFromAnOutcome();
    void nextJobStartsItsCountsAnew();
    void programsGetTheirExecuteBits();

    void addressIsResolvedAgainstTheManifestsFolder_data();
    void addressIsResolvedAgainstTheManifestsFolder();
    void absoluteAddressIsTakenAsItIs();
    void escapingPathStopsTheJob_data();
    void escapingPathStopsTheJob();
    void escapeStopsAJobInItsMiddle();
    void nextJobMayStartFromTheFailureOfAnEscape();
    void rootMayBeWrittenInAnyWay_data();
    void rootMayBeWrittenInAnyWay();
    void siblingWhoseNameBeginsWithTheRootsPasses();

    void retryableFailureIsTriedFourTimesWithGrowingDelays();
    void attemptsAreCountedForEachFile();
    void retryAsksTheSameAddressAndResumes();
    void failureThatIsNotRetryableGivesUpAtOnce_data();
    void failureThatIsNotRetryableGivesUpAtOnce();
    void failureEndsTheJobAndTheNextOneReplacesItsQueue();
    void shortWriteGivesUpInSpiteOfItsRetryableFailure();

    void cancelDuringATransferKeepsThePartFile();
    void cancelDuringARetryDelayEndsTheRetries();
    void cancelDuringHashingEndsTheJob();
    void nextJobMayStartWhileAFileOfACancelledOneIsHashed();
    void failureAfterACancelIsIgnored();
    void cancelWithoutAJobDoesNothing();
    void retryOfACancelledJobLeavesTheNextJobAlone();
    void managerMayGoDuringATransfer();
    void managerMayGoDuringARetryDelay();
    void managerMayGoInEverySignal_data();
    void managerMayGoInEverySignal();
    void everyListenerHearsTheSameReport_data();
    void everyListenerHearsTheSameReport();

    void reportsComeTwiceASecondWhetherOrNotSomethingChanged();
    void reportsStopWithTheJob_data();
    void reportsStopWithTheJob();
    void bytesAreThoseOfFinishedFilesAndOfTheOneInHand();
    void speedNeedsTwoSamples();
    void estimateNeedsMoreThanAKibibytePerSecond_data();
    void estimateNeedsMoreThanAKibibytePerSecond();
    void speedIsTakenOverSixSeconds();
    void twoSamplesRemainHoweverOld();
    void fallingByteCountKeepsTheOldSpeed();
    void finishedJobCountsItsManifestSizes();
    void hostileSizesDoNotOverflow();

private:
    QString root() const { return folder_->filePath(u"Meine Spiele/Härröwfen 沼"_s); }
    QString below(const QString &path) const { return root() + u'/' + path; }
    QUrl base() const { return server_->url(u"/build/"_s); }
    velmo::test::Studio &studio() { return server_->server(); }
    /// Serves a file at its path below the manifest's folder and gives its entry.
    ManifestFile publish(const QString &path, const QByteArray &bytes);
    void start(const QList<ManifestFile> &files) { manager_->start(files, root(), base()); }
    /// Whether the job that runs ends with \a outcome as its one outcome.
    bool endsWith(const QString &outcome);
    /// Nothing more comes from the manager for \a ms milliseconds.
    bool staysQuietFor(int ms);
    /// Starts a job whose one file fails for now, and waits until it is in the delay before the second attempt.
    bool waitsToRetry();
    /// Stops the clock of this thread until the end of the test function; advance() then lets it go on.
    void stopClock() { clock_.emplace(); }
    /// Lets \a ms pass, and all that this thread does then.
    void advance(int ms);
    /// Waits until \a bytes are on disk of the file at \a path.
    bool comes(const QString &path, qint64 bytes);
    /// Stops the clock, starts a job and waits until it asks \a feed for its first file.
    bool asks(const Feed &feed, const QList<ManifestFile> &files);
    /// Lets \a feed send \a bytes more of "a.pak", and waits until all that it has sent is on disk.
    bool comes(Feed &feed, qint64 bytes);
    int requestsFor(const QString &path) { return static_cast<int>(studio().requests(u"/build/"_s + path).size()); }

    std::unique_ptr<TestStudio> server_;
    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<NotingNetwork> network_;
    std::unique_ptr<DownloadManager> manager_;

    std::optional<LogCapture> log_;
    std::optional<SteppedClock> clock_;
    QList<DownloadProgress> reports_;
    QStringList outcomes_; ///< of every job, in the order of emission
    QString message_;
    QString detail_;
};

void tst_DownloadManager::initTestCase()
{
    server_ = std::make_unique<TestStudio>();
}

void tst_DownloadManager::init()
{
    studio().clearFaults();
    studio().clearRequests();
    studio().setBytesPerSecond(0);
    QDir(server_->root()).removeRecursively();
    QVERIFY(QDir().mkpath(server_->root()));
    folder_ = std::make_unique<QTemporaryDir>();
    network_ = std::make_unique<NotingNetwork>();
    manager_ = std::make_unique<DownloadManager>(network_.get());
    reports_.clear();
    outcomes_.clear();
    message_.clear();
    detail_.clear();
    connect(manager_.get(), &DownloadManager::progressChanged, this,
            [this](const DownloadProgress &progress) { reports_.append(progress); });
    connect(manager_.get(), &DownloadManager::finished, this, [this] { outcomes_.append(u"finished"_s); });
    connect(manager_.get(), &DownloadManager::cancelled, this, [this] { outcomes_.append(u"cancelled"_s); });
    connect(manager_.get(), &DownloadManager::failed, this, [this](const QString &message, const QString &detail) {
        outcomes_.append(u"failed"_s);
        message_ = message;
        detail_ = detail;
    });
    log_.emplace();
}

void tst_DownloadManager::cleanup()
{
    manager_.reset();
    network_.reset();
    folder_.reset();
    clock_.reset();
    log_.reset();
}

ManifestFile tst_DownloadManager::publish(const QString &path, const QByteArray &bytes)
{
    server_->writeFile(u"/build/"_s + path, bytes);
    return entry(path, bytes);
}

bool tst_DownloadManager::endsWith(const QString &outcome)
{
    const qsizetype before = outcomes_.size();
    return QTest::qWaitFor([this, before] { return outcomes_.size() > before; }, 60000) &&
           outcomes_.mid(before) == QStringList{outcome};
}

bool tst_DownloadManager::staysQuietFor(int ms)
{
    const qsizetype reports = reports_.size();
    const qsizetype outcomes = outcomes_.size();
    const qsizetype transfers = network_->transfers().size();
    QTest::qWait(ms);
    return reports_.size() == reports && outcomes_.size() == outcomes && network_->transfers().size() == transfers;
}

void tst_DownloadManager::advance(int ms)
{
    // In pieces, so that no timer misses a turn.
    constexpr int piece = 100;
    for (int left = ms; left > 0; left -= piece) {
        clock_->step(std::min(left, piece));
        QCoreApplication::processEvents();
    }
}

bool tst_DownloadManager::comes(const QString &path, qint64 bytes)
{
    return turnsUntil([&] { return QFileInfo(below(path + u".part"_s)).size() == bytes; });
}

bool tst_DownloadManager::asks(const Feed &feed, const QList<ManifestFile> &files)
{
    stopClock();
    start(files);
    return turnsUntil([&feed] { return feed.requests() == 1; });
}

bool tst_DownloadManager::comes(Feed &feed, qint64 bytes)
{
    feed.send(bytes);
    return comes(u"a.pak"_s, feed.sent());
}

bool tst_DownloadManager::waitsToRetry()
{
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    studio().addFault(u"/build/a.pak"_s, {.status = 503});
    start({file});
    return QTest::qWaitFor([this] { return log_->texts().contains(firstRetry); }, qTryPatienceMs);
}

void tst_DownloadManager::progressCrossesQueuedCallsAndStartsUnknown()
{
    QVERIFY(QMetaType::fromName("velmo::DownloadProgress").isValid());
    const DownloadProgress progress;
    QCOMPARE(progress.bytesReceived, 0);
    QCOMPARE(progress.bytesTotal, 0);
    QCOMPARE(progress.bytesPerSecond, 0.0);
    QCOMPARE(progress.etaSeconds, -1);
    QCOMPARE(progress.filesDone, 0);
    QCOMPARE(progress.filesTotal, 0);
    QCOMPARE(progress.currentFile, QString());
    QVERIFY(!manager_->isRunning());
}

void tst_DownloadManager::filesArriveOneAtATimeInOrder()
{
    const QByteArray large(3'000'000, 'x');
    const QList<ManifestFile> files{publish(u"z.pak"_s, large), publish(u"Content/a b.txt"_s, "text"),
                                    publish(u"m.pak"_s, QByteArray(1000, 'y')), publish(u"empty"_s, "")};
    start(files);
    QVERIFY(manager_->isRunning());
    QVERIFY(endsWith(u"finished"_s));
    QVERIFY(!manager_->isRunning());
    QCOMPARE(readFile(below(u"z.pak"_s)), large);
    QCOMPARE(readFile(below(u"Content/a b.txt"_s)), "text");
    QCOMPARE(readFile(below(u"m.pak"_s)), QByteArray(1000, 'y'));
    QCOMPARE(readFile(below(u"empty"_s)), "");

    QStringList asked;
    const QList<Request> requests = studio().requests();
    for (const Request &request : requests) {
        asked.append(request.path);
    }
    QCOMPARE(asked,
             (QStringList{u"/build/z.pak"_s, u"/build/Content/a b.txt"_s, u"/build/m.pak"_s, u"/build/empty"_s}));
    qint64 endedMs = 0;
    for (const NotingNetwork::Transfer &transfer : network_->transfers()) {
        QVERIFY2(transfer.beganMs >= endedMs, qPrintable(transfer.url.toString()));
        QVERIFY(transfer.endedMs >= 0);
        endedMs = transfer.endedMs;
    }
    QCOMPARE(log_->texts(u"velmo.download"_s),
             (QStringList{
                 u"INFO velmo.download: Starting download of 4 files, 3001004 bytes into \"%1\""_s.arg(root()),
                 u"INFO velmo.download: Downloading \"z.pak\""_s,
                 u"INFO velmo.download: Downloading \"a b.txt\""_s,
                 u"INFO velmo.download: Downloading \"m.pak\""_s,
                 u"INFO velmo.download: Downloading \"empty\""_s,
                 u"INFO velmo.download: Download job complete"_s,
             }));
}

void tst_DownloadManager::foldersAreMadeAndOldFilesReplaced()
{
    writeFile(below(u"Content/a.pak"_s), "an older and longer build of the file");
    start({publish(u"Content/a.pak"_s, "new"), publish(u"Bin/Übung/沼.dll"_s, "library")});
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(readFile(below(u"Content/a.pak"_s)), "new");
    QCOMPARE(readFile(below(u"Bin/Übung/沼.dll"_s)), "library");
    QCOMPARE(QDir(below(u"Content"_s)).entryList(QDir::Files), QStringList{u"a.pak"_s});
}

void tst_DownloadManager::jobEndsWithAReportTheLogLineAndTheSignal()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    QStringList order;
    const auto note = [this, &order](const QString &signal) {
        order.append(signal);
        order.append(manager_->isRunning() ? u"running"_s : u"idle"_s);
        order.append(log_->texts(u"velmo.download"_s).last());
    };
    connect(manager_.get(), &DownloadManager::progressChanged, this, [&note] { note(u"progressChanged"_s); });
    connect(manager_.get(), &DownloadManager::finished, this, [&note] { note(u"finished"_s); });
    start(files);
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(order.mid(order.size() - 6),
             (QStringList{u"progressChanged"_s, u"idle"_s, u"INFO velmo.download: Downloading \"b.pak\""_s,
                          u"finished"_s, u"idle"_s, u"INFO velmo.download: Download job complete"_s}));
    const DownloadProgress last = reports_.last();
    QCOMPARE(last.bytesReceived, 8);
    QCOMPARE(last.bytesTotal, 8);
    QCOMPARE(last.bytesPerSecond, 0.0);
    QCOMPARE(last.etaSeconds, 0);
    QCOMPARE(last.filesDone, 2);
    QCOMPARE(last.filesTotal, 2);
    QCOMPARE(last.currentFile, u"b.pak"_s);
}

void tst_DownloadManager::emptyListFinishesInsideTheCall()
{
    start({});
    QCOMPARE(outcomes_, QStringList{u"finished"_s});
    QVERIFY(!manager_->isRunning());
    QCOMPARE(reports_.size(), 1);
    const DownloadProgress progress = reports_.first();
    QCOMPARE(progress.bytesTotal, 0);
    QCOMPARE(progress.bytesReceived, 0);
    QCOMPARE(progress.etaSeconds, 0);
    QCOMPARE(progress.filesTotal, 0);
    QCOMPARE(progress.currentFile, QString());
    QCOMPARE(log_->texts(),
             (QStringList{u"INFO velmo.download: Starting download of 0 files, 0 bytes into \"%1\""_s.arg(root()),
                          u"INFO velmo.download: Download job complete"_s}));
    QVERIFY(staysQuietFor(700));
}

void tst_DownloadManager::startDuringAJobIsIgnored()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    const ManifestFile other = publish(u"other.pak"_s, "other");
    start(files);
    manager_->start({other}, folder_->filePath(u"elsewhere"_s), server_->url(u"/nowhere/"_s));
    QVERIFY(manager_->isRunning());
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(log_->count(QtWarningMsg, u"velmo.download"_s,
                         u"start() called while a download job is already running; ignoring"_s),
             1);
    QCOMPARE(network_->transfers().size(), 2);
    QCOMPARE(reports_.last().bytesTotal, 8);
    QCOMPARE(readFile(below(u"a.pak"_s)), "12345");
    QCOMPARE(readFile(below(u"b.pak"_s)), "123");
    QVERIFY(!QFile::exists(folder_->filePath(u"elsewhere"_s)));
    QVERIFY(staysQuietFor(700));
}

void tst_DownloadManager::nextJobMayStartFromAnOutcome()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345")};
    studio().addFault(u"/build/a.pak"_s, {.status = 404, .lastAttempt = 1});
    const auto again = [this, files] { start(files); };
    connect(manager_.get(), &DownloadManager::failed, this, again, Qt::SingleShotConnection);
    connect(manager_.get(), &DownloadManager::finished, this, again, Qt::SingleShotConnection);
    start(files);
    QTRY_COMPARE(outcomes_, (QStringList{u"failed"_s, u"finished"_s, u"finished"_s}));
    QCOMPARE(requestsFor(u"a.pak"_s), 3);
}

void tst_DownloadManager::nextJobStartsItsCountsAnew()
{
    const ManifestFile first = publish(u"a.pak"_s, QByteArray(4000, 'x'));
    const ManifestFile second = publish(u"b.pak"_s, QByteArray(20'000, 'x'));
    studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 3000, .lastAttempt = 1});
    studio().addFault(u"/build/b.pak"_s, {.kind = Fault::Stall, .bytes = 15'000});
    stopClock();
    start({first});
    advance(500);
    QVERIFY(comes(u"a.pak"_s, 3000));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 6000.0); // so there were samples
    manager_->cancel();
    reports_.clear();
    start({second, first});
    QVERIFY(comes(u"b.pak"_s, 15'000));
    advance(1000);
    QCOMPARE(reports_.size(), 2);
    for (const DownloadProgress &report : std::as_const(reports_)) {
        QCOMPARE(report.bytesReceived, 15'000);
        QCOMPARE(report.bytesTotal, 24'000);
        QCOMPARE(report.bytesPerSecond, 0.0);
        QCOMPARE(report.etaSeconds, -1);
        QCOMPARE(report.filesDone, 0);
        QCOMPARE(report.filesTotal, 2);
        QCOMPARE(report.currentFile, u"b.pak"_s);
    }
}

void tst_DownloadManager::programsGetTheirExecuteBits()
{
    ManifestFile program = publish(u"Bin/game"_s, "#!/bin/sh");
    program.executable = true;
    const ManifestFile data = publish(u"Content/data.pak"_s, "data");
    start({program, data});
    QVERIFY(endsWith(u"finished"_s));
    constexpr QFileDevice::Permissions execute = QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
    QCOMPARE(QFile::permissions(below(u"Bin/game"_s)) & execute, execute);
    QCOMPARE(QFile::permissions(below(u"Content/data.pak"_s)) & execute, QFileDevice::Permissions());
}

void tst_DownloadManager::addressIsResolvedAgainstTheManifestsFolder_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("asked");
    const auto row = [](const char *name, const QString &path, const QString &url, const QString &asked) {
        QTest::newRow(name) << path << url << asked;
    };
    row("the path serves", u"Content/a.pak"_s, {}, u"/build/Content/a.pak"_s);
    row("the path with blanks", u"Content Pack/a b.pak"_s, {}, u"/build/Content Pack/a b.pak"_s);
    row("the path with other letters", u"Übung/沼.pak"_s, {}, u"/build/Übung/沼.pak"_s);
    row("the path with a lone percent sign", u"100%.pak"_s, {}, u"/build/100%.pak"_s);
    row("relative", u"a.pak"_s, u"objects/ab/cdef"_s, u"/build/objects/ab/cdef"_s);
    row("relative with blanks and other letters", u"a.pak"_s, u"ob jects/沼"_s, u"/build/ob jects/沼"_s);
    row("relative and encoded", u"a.pak"_s, u"ob%20jects/%C3%9Cbung"_s, u"/build/ob jects/Übung"_s);
    row("relative to a folder above", u"a.pak"_s, u"../shared/a.pak"_s, u"/shared/a.pak"_s);
    row("from the server's top", u"a.pak"_s, u"/shared/a.pak"_s, u"/shared/a.pak"_s);
}

void tst_DownloadManager::addressIsResolvedAgainstTheManifestsFolder()
{
    QFETCH(QString, path);
    QFETCH(QString, url);
    QFETCH(QString, asked);
    server_->writeFile(asked, "content");
    ManifestFile file = entry(path, "content");
    file.url = url;
    start({file});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(studio().requests().size(), 1);
    QCOMPARE(studio().requests().first().path, asked);
    QCOMPARE(readFile(below(path)), "content");
}

void tst_DownloadManager::absoluteAddressIsTakenAsItIs()
{
    server_->writeFile(u"/else where/Übung.pak"_s, "content");
    ManifestFile file = entry(u"a.pak"_s, "content");
    file.url = server_->url(u"/"_s).toString() + u"else where/Übung.pak"_s;
    manager_->start({file}, root(), QUrl(u"https://content.example/build/"_s));
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"a.pak"_s)), "content");
}

void tst_DownloadManager::escapingPathStopsTheJob_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("above the root") << u"../evil.dll"_s;
    QTest::newRow("far above the root") << u"a/../../../evil.dll"_s;
    QTest::newRow("absolute") << u"/evil.dll"_s;
    QTest::newRow("the root's name in another case") << u"../HÄRRÖWFEN 沼/evil.dll"_s;
}

void tst_DownloadManager::escapingPathStopsTheJob()
{
    QFETCH(QString, path);
    const ManifestFile good = publish(u"good.pak"_s, "good");
    bool wasRunning = false;
    connect(manager_.get(), &DownloadManager::failed, this,
            [this, &wasRunning] { wasRunning = manager_->isRunning(); });
    start({entry(path, "evil"), good});
    QCOMPARE(outcomes_, QStringList{u"failed"_s});
    QCOMPARE(message_, u"The update could not be applied safely and was stopped."_s);
    QCOMPARE(detail_, u"Manifest path escaped the install root: "_s + path);
    QVERIFY(wasRunning); // the job is over only after the signal
    QVERIFY(!manager_->isRunning());
    QCOMPARE(log_->texts().size(), 1);
    QVERIFY(staysQuietFor(700));
    QVERIFY(studio().requests().isEmpty());

    start({good});
    QVERIFY(endsWith(u"finished"_s));
}

void tst_DownloadManager::escapeStopsAJobInItsMiddle()
{
    start({publish(u"a.pak"_s, "first"), entry(u"../evil.dll"_s, "evil"), publish(u"c.pak"_s, "third")});
    QVERIFY(endsWith(u"failed"_s));
    QCOMPARE(detail_, u"Manifest path escaped the install root: ../evil.dll"_s);
    QCOMPARE(readFile(below(u"a.pak"_s)), "first");
    QVERIFY(!QFile::exists(below(u"c.pak"_s)));
    QVERIFY(staysQuietFor(700));
    QCOMPARE(network_->transfers().size(), 1);
}

void tst_DownloadManager::nextJobMayStartFromTheFailureOfAnEscape()
{
    const QByteArray bytes(1000, 'x');
    const ManifestFile good = publish(u"a.pak"_s, bytes);
    studio().addFault(u"/build/a.pak"_s, {.status = 503, .lastAttempt = 1});
    connect(
        manager_.get(), &DownloadManager::failed, this,
        [this, good] {
            manager_->cancel(); // the job that fails still counts as one
            start({good});
        },
        Qt::SingleShotConnection);
    start({entry(u"../evil.dll"_s, "evil")});
    QCOMPARE(outcomes_, (QStringList{u"failed"_s, u"cancelled"_s}));
    QVERIFY(manager_->isRunning());
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
    QVERIFY(reports_.size() > 1); // they went on in the delay before the second attempt
}

void tst_DownloadManager::rootMayBeWrittenInAnyWay_data()
{
    QTest::addColumn<QString>("end");
    QTest::newRow("slash") << u"/"_s;
    QTest::newRow("two slashes") << u"//"_s;
    QTest::newRow("dot") << u"/."_s;
    QTest::newRow("there and back") << u"/Content/.."_s;
}

void tst_DownloadManager::rootMayBeWrittenInAnyWay()
{
    QFETCH(QString, end);
    const ManifestFile file = publish(u"Content/a.pak"_s, "content");
    manager_->start({file}, root() + end, base());
    QVERIFY2(outcomes_.isEmpty(), qPrintable(detail_));
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"Content/a.pak"_s)), "content");
}

void tst_DownloadManager::siblingWhoseNameBeginsWithTheRootsPasses()
{
    // The bare test of the beginning lets this through; a manifest with such a path is refused when it is parsed.
    ManifestFile file = publish(u"a.pak"_s, "content");
    file.path = u"../Härröwfen 沼 (Beta)/a.pak"_s;
    file.url = u"a.pak"_s;
    start({file});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(root() + u" (Beta)/a.pak"_s), "content");
}

void tst_DownloadManager::retryableFailureIsTriedFourTimesWithGrowingDelays()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    studio().addFault(u"/build/a.pak"_s, {.status = 503});
    stopClock();
    start(files);
    const QList<NotingNetwork::Transfer> &transfers = network_->transfers();
    qsizetype attempts = 1;
    for (const int delayMs : {1000, 3000, 8000}) {
        QVERIFY(turnsUntil([&] { return log_->texts().filter(u"Retrying"_s).size() == attempts; }));
        advance(delayMs - 1);
        QCOMPARE(transfers.size(), attempts);
        advance(1);
        QCOMPARE(transfers.size(), ++attempts);
        QCOMPARE(transfers.last().url, transfers.first().url);
    }
    QVERIFY(turnsUntil([this] { return !outcomes_.isEmpty(); }));
    QCOMPARE(outcomes_, QStringList{u"failed"_s});
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, u"A game file could not be downloaded. The launcher will try again."_s);
    QVERIFY2(detail_.endsWith(u"(HTTP 503) for "_s + server_->url(u"/build/a.pak"_s).toString()), qPrintable(detail_));
    QCOMPARE(requestsFor(u"a.pak"_s), 4);
    QStringList lines = log_->texts(u"velmo.download"_s);
    lines.removeIf([](const QString &line) { return line.contains("Download"_L1); }); // of the client
    QCOMPARE(lines, (QStringList{
                        u"INFO velmo.download: Starting download of 2 files, 8 bytes into \"%1\""_s.arg(root()),
                        firstRetry,
                        u"WARN velmo.download: Retrying \"a.pak\" in 3000 ms (attempt 3 of 4 )"_s,
                        u"WARN velmo.download: Retrying \"a.pak\" in 8000 ms (attempt 4 of 4 )"_s,
                        u"ERROR velmo.download: Giving up on \"a.pak\" : \"%1\""_s.arg(detail_),
                    }));
    // The delays are a part of the job, in which reports go on.
    QCOMPARE(reports_.size(), 24);
    advance(20'000);
    QCOMPARE(reports_.size(), 24);
    QCOMPARE(transfers.size(), 4);
    QCOMPARE(outcomes_.size(), 1);
}

void tst_DownloadManager::attemptsAreCountedForEachFile()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    studio().addFault(u"/build/a.pak"_s, {.status = 429, .lastAttempt = 1});
    studio().addFault(u"/build/b.pak"_s, {.status = 408, .lastAttempt = 1});
    start(files);
    QVERIFY(endsWith(u"finished"_s));
    const QStringList lines = log_->texts(u"velmo.download"_s);
    QVERIFY(lines.contains(firstRetry));
    QVERIFY(lines.contains(u"WARN velmo.download: Retrying \"b.pak\" in 1000 ms (attempt 2 of 4 )"_s));
    QCOMPARE(reports_.last().filesDone, 2);
}

void tst_DownloadManager::retryAsksTheSameAddressAndResumes()
{
    const QByteArray bytes = QByteArray(700, 'a') + QByteArray(300, 'b');
    ManifestFile file = publish(u"objects/ab cd"_s, bytes);
    file.path = u"a.pak"_s;
    file.url = u"objects/ab cd"_s;
    // An announced length that is too small ends the first attempt early and without an error of the transfer.
    studio().addFault(u"/build/objects/ab cd"_s, {.kind = Fault::LengthOffset, .bytes = -300, .lastAttempt = 1});
    start({file});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
    const QList<Request> requests = studio().requests(u"/build/objects/ab cd"_s);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.last().headers.value("range"), "bytes=700-");
    QVERIFY(log_->texts(u"velmo.download"_s).contains(firstRetry));
}

void tst_DownloadManager::failureThatIsNotRetryableGivesUpAtOnce_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("hasHash");
    QTest::addColumn<QString>("message");
    const QString unsafe = u"A game file could not be downloaded safely."_s;
    const QString transfer = u"A game file could not be downloaded. The launcher will try again."_s;
    QTest::newRow("not found") << 404 << u""_s << true << transfer;
    QTest::newRow("denied") << 403 << u""_s << true << transfer;
    QTest::newRow("insecure") << 200 << u"http://127.0.0.1:1/a.pak"_s << true << unsafe;
    QTest::newRow("no hash") << 200 << u""_s << false << unsafe;
}

void tst_DownloadManager::failureThatIsNotRetryableGivesUpAtOnce()
{
    QFETCH(int, status);
    QFETCH(QString, url);
    QFETCH(bool, hasHash);
    QFETCH(QString, message);
    ManifestFile file = publish(u"a.pak"_s, "12345");
    file.url = url;
    if (!hasHash) {
        file.sha256.clear();
    }
    if (status != 200) {
        studio().addFault(u"/build/a.pak"_s, {.status = status});
    }
    start({file});
    QTRY_COMPARE(outcomes_, QStringList{u"failed"_s});
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, message);
    const QStringList lines = log_->texts(u"velmo.download"_s);
    QCOMPARE(lines.last(), u"ERROR velmo.download: Giving up on \"a.pak\" : \"%1\""_s.arg(detail_));
    QVERIFY(lines.filter(u"Retrying"_s).isEmpty());
    QVERIFY(network_->transfers().size() <= 1);
    QVERIFY(staysQuietFor(1200));
}

void tst_DownloadManager::failureEndsTheJobAndTheNextOneReplacesItsQueue()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    const ManifestFile other = publish(u"other.pak"_s, "other");
    studio().addFault(u"/build/a.pak"_s, {.status = 404});
    start(files);
    QVERIFY(endsWith(u"failed"_s));
    start({other});
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(requestsFor(u"b.pak"_s), 0);
    QCOMPARE(requestsFor(u"other.pak"_s), 1);
    QVERIFY(!QFile::exists(below(u"b.pak"_s)));
}

void tst_DownloadManager::shortWriteGivesUpInSpiteOfItsRetryableFailure()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(300'000, 'x'));
    {
        const FullDrive drive(100'000);
        start({file});
        QVERIFY(endsWith(u"failed"_s));
    }
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, u"The launcher ran out of space, or could not write to the installation folder."_s);
    QVERIFY2(detail_.startsWith(u"Short write to %1.part: wrote "_s.arg(below(u"a.pak"_s))), qPrintable(detail_));
    QStringList lines = log_->texts(u"velmo.download"_s);
    QCOMPARE(lines.filter(u"Download failed:"_s).size(), 2);
    lines.removeIf([](const QString &line) { return line.contains("Download"_L1); }); // of the client
    QCOMPARE(lines.at(1), firstRetry);
    QVERIFY(lines.at(2).startsWith("ERROR velmo.download: Giving up on \"a.pak\" : \"Short write to "_L1));
    QCOMPARE(lines.size(), 3);
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(requestsFor(u"a.pak"_s), 1);
}

void tst_DownloadManager::cancelDuringATransferKeepsThePartFile()
{
    const QByteArray bytes = QByteArray(700, 'a') + QByteArray(300, 'b');
    const QList<ManifestFile> files{publish(u"a.pak"_s, bytes), publish(u"b.pak"_s, "123")};
    studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 700, .lastAttempt = 1});
    const QString part = below(u"a.pak.part"_s);
    start(files);
    QTRY_COMPARE(QFileInfo(part).size(), 700);
    bool wasRunning = true;
    connect(manager_.get(), &DownloadManager::cancelled, this,
            [this, &wasRunning] { wasRunning = manager_->isRunning(); });
    manager_->cancel();
    QCOMPARE(outcomes_, QStringList{u"cancelled"_s});
    QVERIFY(!wasRunning);
    QVERIFY(!manager_->isRunning());
    QCOMPARE(log_->texts(u"velmo.download"_s).last(), u"INFO velmo.download: Download cancelled by the user"_s);
    QVERIFY(network_->transfers().first().endedMs >= 0);
    manager_->cancel();
    QVERIFY(staysQuietFor(1200));
    QCOMPARE(readFile(part), bytes.first(700));
    QVERIFY(!QFile::exists(below(u"b.pak"_s)));

    start(files);
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
    QCOMPARE(studio().requests(u"/build/a.pak"_s).last().headers.value("range"), "bytes=700-");
}

void tst_DownloadManager::cancelDuringARetryDelayEndsTheRetries()
{
    QVERIFY(waitsToRetry());
    QVERIFY(manager_->isRunning());
    manager_->cancel();
    QCOMPARE(outcomes_, QStringList{u"cancelled"_s});
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(requestsFor(u"a.pak"_s), 1);
}

void tst_DownloadManager::cancelDuringHashingEndsTheJob()
{
    // Between the blocks that it hashes, the client lets the event loop run.
    const QByteArray bytes(5'000'000, 'x');
    const QList<ManifestFile> files{publish(u"a.pak"_s, bytes), publish(u"b.pak"_s, "123")};
    bool wasWhole = false;
    connect(network_.get(), &QNetworkAccessManager::finished, this, [this, &wasWhole, &bytes] {
        QTimer::singleShot(0, this, [this, &wasWhole, &bytes] {
            wasWhole = QFileInfo(below(u"a.pak.part"_s)).size() == bytes.size();
            manager_->cancel();
        });
    });
    start(files);
    QVERIFY(endsWith(u"cancelled"_s));
    QVERIFY(wasWhole); // so it was being hashed
    QVERIFY(!manager_->isRunning());
    QVERIFY(staysQuietFor(700));
    QCOMPARE(network_->transfers().size(), 1);
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
}

void tst_DownloadManager::nextJobMayStartWhileAFileOfACancelledOneIsHashed()
{
    const QByteArray bytes(5'000'000, 'x');
    const QList<ManifestFile> files{publish(u"a.pak"_s, bytes), publish(u"b.pak"_s, "123")};
    const ManifestFile next = publish(u"next.pak"_s, QByteArray(70'000, 'y'));
    bool begun = false;
    connect(network_.get(), &QNetworkAccessManager::finished, this, [&] {
        QTimer::singleShot(0, this, [&] {
            if (!std::exchange(begun, true)) {
                manager_->cancel();
                start({next});
            }
        });
    });
    start(files);
    QTRY_COMPARE(outcomes_, (QStringList{u"cancelled"_s, u"finished"_s}));
    QVERIFY(log_->texts().filter(u"WARN"_s).isEmpty());
    QCOMPARE(readFile(below(u"next.pak"_s)), QByteArray(70'000, 'y'));
    QVERIFY(!QFile::exists(below(u"a.pak"_s))); // given up, and its bytes kept
    QCOMPARE(readFile(below(u"a.pak.part"_s)), bytes);
    QCOMPARE(reports_.last().filesDone, 1);
    QCOMPARE(network_->transfers().size(), 2);
}

void tst_DownloadManager::failureAfterACancelIsIgnored()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(5'000'000, 'x'));
    studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Corrupt, .bytes = 4'000'000});
    connect(network_.get(), &QNetworkAccessManager::finished, this,
            [this] { QTimer::singleShot(0, manager_.get(), &DownloadManager::cancel); });
    start({file});
    QVERIFY(endsWith(u"cancelled"_s));
    QTRY_VERIFY(!log_->texts().filter(u"Download failed: \"Hash mismatch"_s).isEmpty());
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(outcomes_, QStringList{u"cancelled"_s});
    QVERIFY(log_->texts().filter(u"Retrying"_s).isEmpty());
    QVERIFY(log_->texts().filter(u"Giving up"_s).isEmpty());
}

void tst_DownloadManager::cancelWithoutAJobDoesNothing()
{
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    manager_->cancel();
    QVERIFY(outcomes_.isEmpty());
    QCOMPARE(log_->texts(), QStringList());
    start({file});
    QVERIFY(endsWith(u"finished"_s));
    log_->clear();
    manager_->cancel();
    QCOMPARE(outcomes_, QStringList{u"finished"_s});
    QCOMPARE(log_->texts(), QStringList());
}

void tst_DownloadManager::retryOfACancelledJobLeavesTheNextJobAlone()
{
    const QByteArray bytes(3000, 'x');
    const ManifestFile slow = publish(u"slow.pak"_s, bytes);
    QVERIFY(waitsToRetry());
    manager_->cancel();
    studio().setBytesPerSecond(1500); // so that the next job runs when the delay is over
    start({slow});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(requestsFor(u"slow.pak"_s), 1);
    QCOMPARE(network_->transfers().size(), 2);
    QCOMPARE(readFile(below(u"slow.pak"_s)), bytes);
}

void tst_DownloadManager::managerMayGoDuringATransfer()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(1000, 'x'));
    studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 700});
    start({file});
    QTRY_COMPARE(QFileInfo(below(u"a.pak.part"_s)).size(), 700);
    manager_.reset();
    QTRY_VERIFY(network_->transfers().first().endedMs >= 0);
    QVERIFY(outcomes_.isEmpty());
    QCOMPARE(QFileInfo(below(u"a.pak.part"_s)).size(), 700);
}

void tst_DownloadManager::managerMayGoDuringARetryDelay()
{
    QVERIFY(waitsToRetry());
    manager_.reset();
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(requestsFor(u"a.pak"_s), 1);
}

void tst_DownloadManager::managerMayGoInEverySignal_data()
{
    QTest::addColumn<QString>("signal");
    QTest::newRow("progressChanged in the middle") << u"tick"_s;
    QTest::newRow("progressChanged at the end") << u"lastReport"_s;
    QTest::newRow("finished") << u"finished"_s;
    QTest::newRow("cancelled") << u"cancelled"_s;
    QTest::newRow("failed by its last attempt") << u"failed"_s;
    QTest::newRow("failed by an escape") << u"escaped"_s;
    QTest::newRow("failed by an escape in the middle") << u"escaped later"_s;
}

void tst_DownloadManager::managerMayGoInEverySignal()
{
    QFETCH(QString, signal);
    QList<ManifestFile> files{publish(u"a.pak"_s, "12345")};
    const auto go = [this] { manager_.reset(); };
    bool sawTheLastReport = false;
    if (signal == "tick"_L1) {
        connect(manager_.get(), &DownloadManager::progressChanged, this, go);
    } else if (signal == "lastReport"_L1) {
        connect(manager_.get(), &DownloadManager::progressChanged, this, [&](const DownloadProgress &progress) {
            if (progress.filesDone == progress.filesTotal) { // on a busy machine others may come before it
                sawTheLastReport = true;
                go();
            }
        });
    } else if (signal == "finished"_L1) {
        connect(manager_.get(), &DownloadManager::finished, this, go);
    } else if (signal == "cancelled"_L1) {
        connect(manager_.get(), &DownloadManager::cancelled, this, go);
    } else {
        connect(manager_.get(), &DownloadManager::failed, this, go);
    }
    if (signal == "tick"_L1) {
        studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 3});
    } else if (signal == "failed"_L1) {
        studio().addFault(u"/build/a.pak"_s, {.status = 404});
    } else if (signal.startsWith("escaped"_L1)) {
        files.insert(signal == "escaped"_L1 ? 0 : 1, entry(u"../evil.dll"_s, "evil"));
    }
    start(files);
    if (signal == "cancelled"_L1) {
        manager_->cancel();
    }
    QTRY_VERIFY(!manager_);
    QCOMPARE(sawTheLastReport, signal == "lastReport"_L1);
    QCoreApplication::processEvents();
    const bool reportedAlone = signal == "tick"_L1 || signal == "lastReport"_L1;
    QCOMPARE(outcomes_.size(), reportedAlone ? 0 : 1);
    QCOMPARE(log_->texts().contains(u"INFO velmo.download: Download job complete"_s), signal == "finished"_L1);
}

void tst_DownloadManager::everyListenerHearsTheSameReport_data()
{
    QTest::addColumn<bool>("atTheEnd");
    QTest::newRow("in the middle") << false;
    QTest::newRow("at the end") << true;
}

void tst_DownloadManager::everyListenerHearsTheSameReport()
{
    QFETCH(bool, atTheEnd);
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    if (!atTheEnd) {
        studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 3});
    }
    const ManifestFile other = publish(u"other.pak"_s, "1234567");
    // The first listener begins another job, which knows nothing of the first. On a busy machine reports may come
    // before the last one.
    std::optional<qint64> told;
    connect(manager_.get(), &DownloadManager::progressChanged, this, [&](const DownloadProgress &progress) {
        if (!told && (!atTheEnd || progress.filesDone == progress.filesTotal)) {
            told = progress.bytesReceived;
            manager_->cancel();
            start({other, other});
        }
    });
    QList<DownloadProgress> second;
    connect(manager_.get(), &DownloadManager::progressChanged, this, [&](const DownloadProgress &progress) {
        if (told) {
            second.append(progress);
        }
    });
    start({file});
    QTRY_VERIFY(!second.isEmpty());
    QCOMPARE(second.first().bytesTotal, 5);
    QCOMPARE(second.first().filesTotal, 1);
    QCOMPARE(second.first().filesDone, atTheEnd ? 1 : 0);
    QCOMPARE(second.first().bytesReceived, *told);
    QCOMPARE(second.first().currentFile, u"a.pak"_s);
    QTRY_VERIFY(outcomes_.size() == 2);
    QCOMPARE(second.last().bytesTotal, 14);
}

void tst_DownloadManager::reportsComeTwiceASecondWhetherOrNotSomethingChanged()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(1000, 'x'));
    studio().addFault(u"/build/a.pak"_s, {.kind = Fault::Stall, .bytes = 700});
    stopClock();
    start({file});
    QVERIFY(comes(u"a.pak"_s, 700));
    for (qsizetype report = 0; report < 5; ++report) {
        advance(499);
        QCOMPARE(reports_.size(), report);
        advance(1);
        QCOMPARE(reports_.size(), report + 1);
        QCOMPARE(reports_.last().bytesReceived, 700);
        QCOMPARE(reports_.last().currentFile, u"a.pak"_s);
    }
}

void tst_DownloadManager::reportsStopWithTheJob_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::newRow("finished") << u"finished"_s;
    QTest::newRow("cancelled") << u"cancelled"_s;
    QTest::newRow("failed") << u"failed"_s;
}

void tst_DownloadManager::reportsStopWithTheJob()
{
    QFETCH(QString, outcome);
    Feed feed;
    QList<ManifestFile> files{feed.serve(u"a.pak"_s, QByteArray(6000, 'x'))};
    if (outcome == "failed"_L1) {
        studio().addFault(u"/build/b.pak"_s, {.status = 404});
        files.append(entry(u"b.pak"_s, "123"));
    }
    QVERIFY(asks(feed, files));
    advance(500);
    QCOMPARE(reports_.size(), 1);
    if (outcome == "cancelled"_L1) {
        manager_->cancel();
    } else {
        feed.sendRest();
    }
    QVERIFY(turnsUntil([this] { return !outcomes_.isEmpty(); }));
    QCOMPARE(outcomes_, QStringList{outcome});
    const qsizetype reports = outcome == "finished"_L1 ? 2 : 1;
    QCOMPARE(reports_.size(), reports);
    advance(20'000);
    QCOMPARE(reports_.size(), reports);
    QCOMPARE(outcomes_.size(), 1);
}

void tst_DownloadManager::bytesAreThoseOfFinishedFilesAndOfTheOneInHand()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, QByteArray(1000, 'x')), publish(u"b.pak"_s, ""),
                                    publish(u"c.pak"_s, QByteArray(900, 'y')), publish(u"d.pak"_s, "123")};
    studio().addFault(u"/build/c.pak"_s, {.kind = Fault::Stall, .bytes = 500});
    start(files);
    QTRY_VERIFY(!reports_.isEmpty() && reports_.last().bytesReceived >= 1500);
    const DownloadProgress progress = reports_.last();
    QCOMPARE(progress.currentFile, u"c.pak"_s);
    QCOMPARE(progress.bytesReceived, 1500);
    QCOMPARE(progress.bytesTotal, 1903);
    QCOMPARE(progress.filesDone, 2);
    QCOMPARE(progress.filesTotal, 4);
}

void tst_DownloadManager::speedNeedsTwoSamples()
{
    Feed feed;
    QVERIFY(asks(feed, {feed.serve(u"a.pak"_s, QByteArray(1'000'000, 'x'))}));
    QVERIFY(comes(feed, 60'000));
    advance(500);
    QCOMPARE(reports_.last().bytesReceived, 60'000);
    QCOMPARE(reports_.last().bytesPerSecond, 0.0);
    QCOMPARE(reports_.last().etaSeconds, -1);
    QVERIFY(comes(feed, 100'000));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 200'000.0);
    QCOMPARE(reports_.last().etaSeconds, 4); // of 4.2
    advance(500);                            // the window reaches back to the first sample
    QCOMPARE(reports_.last().bytesPerSecond, 100'000.0);
    QCOMPARE(reports_.last().etaSeconds, 8);
}

void tst_DownloadManager::estimateNeedsMoreThanAKibibytePerSecond_data()
{
    QTest::addColumn<int>("bytes");
    QTest::addColumn<double>("speed");
    QTest::addColumn<qint64>("estimate");
    QTest::newRow("less") << 511 << 1022.0 << qint64(-1);
    QTest::newRow("just as much") << 512 << 1024.0 << qint64(-1);
    QTest::newRow("more") << 513 << 1026.0 << qint64(96); // of 96.97 for 99,487 bytes
}

void tst_DownloadManager::estimateNeedsMoreThanAKibibytePerSecond()
{
    QFETCH(int, bytes);
    QFETCH(double, speed);
    QFETCH(qint64, estimate);
    Feed feed;
    QVERIFY(asks(feed, {feed.serve(u"a.pak"_s, QByteArray(100'000, 'x'))}));
    advance(500);
    QVERIFY(comes(feed, bytes));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, speed);
    QCOMPARE(reports_.last().etaSeconds, estimate);
}

void tst_DownloadManager::speedIsTakenOverSixSeconds()
{
    Feed feed;
    QVERIFY(asks(feed, {feed.serve(u"a.pak"_s, QByteArray(1'000'000, 'x'))}));
    advance(500);
    QVERIFY(comes(feed, 60'000));
    for (int sample = 2; sample <= 13; ++sample) {
        advance(500);
        QCOMPARE(reports_.size(), sample);
        QCOMPARE(reports_.last().bytesPerSecond, 60'000.0 / (0.5 * (sample - 1)));
        QCOMPARE(reports_.last().etaSeconds, 940'000LL * (sample - 1) / 120'000);
    }
    // After six seconds and a half the first sample is six seconds old, which is not yet too old.
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 0.0);
    QCOMPARE(reports_.last().etaSeconds, -1);
}

void tst_DownloadManager::twoSamplesRemainHoweverOld()
{
    Feed feed;
    QVERIFY(asks(feed, {feed.serve(u"a.pak"_s, QByteArray(100'000, 'x'))}));
    advance(500);
    QVERIFY(comes(feed, 10'000));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 20'000.0);
    QVERIFY(comes(feed, 50'000));
    clock_->step(20'000); // the whole program stands still, as while the machine is busy elsewhere
    QCoreApplication::processEvents();
    QCOMPARE(reports_.size(), 3);
    QCOMPARE(reports_.last().bytesPerSecond, 2'500.0);
    QCOMPARE(reports_.last().etaSeconds, 16);
}

void tst_DownloadManager::fallingByteCountKeepsTheOldSpeed()
{
    Feed feed;
    QVERIFY(asks(feed, {feed.serve(u"a.pak"_s, QByteArray(30'000, 'x'))}));
    QVERIFY(comes(feed, 10'000));
    advance(500);
    feed.spoil();
    QVERIFY(comes(feed, 10'000));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 20'000.0);
    QCOMPARE(reports_.last().etaSeconds, 0);
    feed.sendRest();
    QVERIFY(turnsUntil([this] { return log_->texts().contains(firstRetry); }));
    advance(500);
    QCOMPARE(reports_.last().bytesReceived, 30'000);
    QCOMPARE(reports_.last().bytesPerSecond, 20'000.0);
    advance(499);
    QVERIFY(turnsUntil([this, &feed] {
        advance(1);
        return feed.requests() == 2;
    }));
    // From zero again: before the first sample's count is reached, nothing can be told from the counts.
    const DownloadProgress before = reports_.last();
    QVERIFY(comes(feed, 9'999));
    advance(500);
    QCOMPARE(reports_.last().bytesReceived, 9'999);
    QCOMPARE(reports_.last().bytesPerSecond, before.bytesPerSecond);
    QCOMPARE(reports_.last().etaSeconds, before.etaSeconds);
    QVERIFY(comes(feed, 1));
    advance(500);
    QCOMPARE(reports_.last().bytesPerSecond, 0.0);
    QCOMPARE(reports_.last().etaSeconds, -1);
}

void tst_DownloadManager::finishedJobCountsItsManifestSizes()
{
    Feed feed;
    ManifestFile unknown = feed.serve(u"a.pak"_s, QByteArray(5000, 'x'));
    unknown.size = 0;
    const ManifestFile known = publish(u"b.pak"_s, QByteArray(900, 'y'));
    QVERIFY(asks(feed, {unknown, known}));
    QVERIFY(comes(feed, 3000));
    advance(500);
    QCOMPARE(reports_.last().bytesReceived, 3000); // what really came is more than the manifest counts
    QCOMPARE(reports_.last().bytesTotal, 900);
    feed.sendRest();
    QVERIFY(turnsUntil([this] { return !outcomes_.isEmpty(); }));
    QCOMPARE(outcomes_, QStringList{u"finished"_s});
    QCOMPARE(reports_.last().bytesReceived, 900);
    QCOMPARE(reports_.last().bytesTotal, 900);
    QCOMPARE(reports_.last().etaSeconds, 0);
    QCOMPARE(reports_.last().bytesPerSecond, 0.0);
    QCOMPARE(QFileInfo(below(u"a.pak"_s)).size(), 5000);
}

void tst_DownloadManager::hostileSizesDoNotOverflow()
{
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    const ManifestFile small = publish(u"small.pak"_s, QByteArray(1000, 'x'));
    ManifestFile huge = publish(u"huge.pak"_s, QByteArray(1000, 'y'));
    huge.size = largest;
    studio().addFault(u"/build/huge.pak"_s, {.kind = Fault::Stall, .bytes = 900});
    start({small, huge, huge});
    QCOMPARE(log_->texts().first(),
             u"INFO velmo.download: Starting download of 3 files, 9223372036854775807 bytes into \"%1\""_s.arg(root()));
    QTRY_VERIFY(!reports_.isEmpty() && reports_.last().bytesReceived >= 1900);
    QCOMPARE(reports_.last().bytesTotal, largest);
    QCOMPARE(reports_.last().bytesReceived, 1900);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_DownloadManager>(argc, argv);
}

#include "tst_DownloadManager.moc"
