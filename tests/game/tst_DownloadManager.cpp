#include "game/DownloadManager.h"
#include "support/FullDrive.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using velmo::DownloadManager;
using velmo::DownloadProgress;
using velmo::ManifestFile;
using velmo::studio::Fault;
using velmo::studio::Request;
using velmo::test::FullDrive;
using velmo::test::LogCapture;
using velmo::test::TestStudio;

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

/// One report of the manager, and when it came.
struct Report {
    qint64 ms;
    DownloadProgress progress;
};

QString sha256Of(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

ManifestFile entry(const QString &path, const QByteArray &bytes)
{
    return {path, sha256Of(bytes), bytes.size(), {}, false};
}

Fault fault(Fault::Kind kind, qint64 bytes = 0, int lastAttempt = std::numeric_limits<int>::max())
{
    Fault fault;
    fault.kind = kind;
    fault.bytes = bytes;
    fault.lastAttempt = lastAttempt;
    return fault;
}

Fault statusFault(int status, int lastAttempt = std::numeric_limits<int>::max())
{
    Fault result = fault(Fault::Status, 0, lastAttempt);
    result.status = status;
    return result;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("<unreadable>");
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
    void failureAfterACancelIsIgnored();
    void cancelWithoutAJobDoesNothing();
    void retryOfACancelledJobLeavesTheNextJobAlone();
    void managerMayGoDuringATransfer();
    void managerMayGoDuringARetryDelay();

    void reportsComeTwiceASecondWhetherOrNotSomethingChanged();
    void reportsStopWithTheJob_data();
    void reportsStopWithTheJob();
    void bytesAreThoseOfFinishedFilesAndOfTheOneInHand();
    void speedNeedsTwoSamples();
    void speedIsTakenOverSixSeconds();
    void twoSamplesRemainHoweverOld();
    void fallingByteCountKeepsTheOldSpeed();
    void finishedJobCountsItsManifestSizes();
    void hostileSizesDoNotOverflow();

private:
    QString root() const { return folder_->filePath(u"Meine Spiele/Härröwfen 沼"_s); }
    QString below(const QString &path) const { return root() + u'/' + path; }
    QUrl base() const { return server_->url(u"/build/"_s); }
    velmo::test::Studio &studio() { return server_->studio(); }
    /// Serves a file at its path below the manifest's folder and gives its entry.
    ManifestFile publish(const QString &path, const QByteArray &bytes);
    void start(const QList<ManifestFile> &files) { manager_->start(files, root(), base()); }
    /// Whether the job that runs ends with \a outcome as its one outcome.
    bool endsWith(const QString &outcome);
    /// Nothing more comes from the manager for \a ms milliseconds.
    bool staysQuietFor(int ms);
    int requestsFor(const QString &path) { return static_cast<int>(studio().requests(u"/build/"_s + path).size()); }

    std::unique_ptr<TestStudio> server_;
    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<NotingNetwork> network_;
    std::unique_ptr<DownloadManager> manager_;

    QElapsedTimer clock_;
    QList<Report> reports_;
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
    clock_.start();
    connect(manager_.get(), &DownloadManager::progressChanged, this, [this](const DownloadProgress &progress) {
        reports_.append({clock_.elapsed(), progress});
    });
    connect(manager_.get(), &DownloadManager::finished, this, [this] { outcomes_.append(u"finished"_s); });
    connect(manager_.get(), &DownloadManager::cancelled, this, [this] { outcomes_.append(u"cancelled"_s); });
    connect(manager_.get(), &DownloadManager::failed, this, [this](const QString &message, const QString &detail) {
        outcomes_.append(u"failed"_s);
        message_ = message;
        detail_ = detail;
    });
}

void tst_DownloadManager::cleanup()
{
    manager_.reset();
    network_.reset();
    folder_.reset();
}

ManifestFile tst_DownloadManager::publish(const QString &path, const QByteArray &bytes)
{
    server_->writeFile(u"/build/"_s + path, bytes);
    return entry(path, bytes);
}

bool tst_DownloadManager::endsWith(const QString &outcome)
{
    const qsizetype before = outcomes_.size();
    return QTest::qWaitFor([this, before] { return outcomes_.size() > before; }, 30000) &&
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
    const LogCapture log;
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
    QCOMPARE(log.texts(u"velmo.download"_s),
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
    QVERIFY(QDir().mkpath(below(u"Content"_s)));
    QFile old(below(u"Content/a.pak"_s));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("an older and longer build of the file");
    old.close();
    const LogCapture log;
    start({publish(u"Content/a.pak"_s, "new"), publish(u"Bin/Übung/沼.dll"_s, "library")});
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(readFile(below(u"Content/a.pak"_s)), "new");
    QCOMPARE(readFile(below(u"Bin/Übung/沼.dll"_s)), "library");
    QCOMPARE(QDir(below(u"Content"_s)).entryList(QDir::Files), QStringList{u"a.pak"_s});
}

void tst_DownloadManager::jobEndsWithAReportTheLogLineAndTheSignal()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    const LogCapture log;
    QStringList order;
    const auto note = [this, &log, &order](const QString &signal) {
        order.append(signal);
        order.append(manager_->isRunning() ? u"running"_s : u"idle"_s);
        order.append(log.texts(u"velmo.download"_s).last());
    };
    connect(manager_.get(), &DownloadManager::progressChanged, this, [&note] { note(u"progressChanged"_s); });
    connect(manager_.get(), &DownloadManager::finished, this, [&note] { note(u"finished"_s); });
    start(files);
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(order.mid(order.size() - 6),
             (QStringList{u"progressChanged"_s, u"idle"_s, u"INFO velmo.download: Downloading \"b.pak\""_s,
                          u"finished"_s, u"idle"_s, u"INFO velmo.download: Download job complete"_s}));
    const DownloadProgress last = reports_.last().progress;
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
    const LogCapture log;
    start({});
    QCOMPARE(outcomes_, QStringList{u"finished"_s});
    QVERIFY(!manager_->isRunning());
    QCOMPARE(reports_.size(), 1);
    const DownloadProgress progress = reports_.first().progress;
    QCOMPARE(progress.bytesTotal, 0);
    QCOMPARE(progress.bytesReceived, 0);
    QCOMPARE(progress.etaSeconds, 0);
    QCOMPARE(progress.filesTotal, 0);
    QCOMPARE(progress.currentFile, QString());
    QCOMPARE(log.texts(),
             (QStringList{u"INFO velmo.download: Starting download of 0 files, 0 bytes into \"%1\""_s.arg(root()),
                          u"INFO velmo.download: Download job complete"_s}));
    QVERIFY(staysQuietFor(700));
}

void tst_DownloadManager::startDuringAJobIsIgnored()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    const ManifestFile other = publish(u"other.pak"_s, "other");
    const LogCapture log;
    start(files);
    manager_->start({other}, folder_->filePath(u"elsewhere"_s), server_->url(u"/nowhere/"_s));
    QVERIFY(manager_->isRunning());
    QVERIFY(endsWith(u"finished"_s));
    QCOMPARE(log.count(QtWarningMsg, u"velmo.download"_s,
                       u"start() called while a download job is already running; ignoring"_s),
             1);
    QCOMPARE(network_->transfers().size(), 2);
    QCOMPARE(reports_.last().progress.bytesTotal, 8);
    QCOMPARE(readFile(below(u"a.pak"_s)), "12345");
    QCOMPARE(readFile(below(u"b.pak"_s)), "123");
    QVERIFY(!QFile::exists(folder_->filePath(u"elsewhere"_s)));
    QVERIFY(staysQuietFor(700));
}

void tst_DownloadManager::nextJobMayStartFromAnOutcome()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345")};
    studio().addFault(u"/build/a.pak"_s, statusFault(404, 1));
    const auto again = [this, files] { start(files); };
    connect(manager_.get(), &DownloadManager::failed, this, again, Qt::SingleShotConnection);
    connect(manager_.get(), &DownloadManager::finished, this, again, Qt::SingleShotConnection);
    const LogCapture log;
    start(files);
    QTRY_COMPARE(outcomes_, (QStringList{u"failed"_s, u"finished"_s, u"finished"_s}));
    QCOMPARE(requestsFor(u"a.pak"_s), 3);
}

void tst_DownloadManager::nextJobStartsItsCountsAnew()
{
    const ManifestFile first = publish(u"a.pak"_s, QByteArray(4000, 'x'));
    const ManifestFile second = publish(u"b.pak"_s, QByteArray(20'000, 'x'));
    studio().addFault(u"/build/b.pak"_s, fault(Fault::Stall, 15'000));
    studio().setBytesPerSecond(5000);
    const LogCapture log;
    start({first});
    QVERIFY(endsWith(u"finished"_s));
    QVERIFY(reports_.size() >= 2); // so there were samples
    reports_.clear();
    studio().setBytesPerSecond(0);
    start({second, first});
    QTRY_VERIFY(reports_.size() >= 2);
    for (const Report &report : std::as_const(reports_)) {
        QCOMPARE(report.progress.bytesReceived, 15'000);
        QCOMPARE(report.progress.bytesTotal, 24'000);
        QCOMPARE(report.progress.bytesPerSecond, 0.0);
        QCOMPARE(report.progress.etaSeconds, -1);
        QCOMPARE(report.progress.filesDone, 0);
        QCOMPARE(report.progress.filesTotal, 2);
        QCOMPARE(report.progress.currentFile, u"b.pak"_s);
    }
}

void tst_DownloadManager::programsGetTheirExecuteBits()
{
    ManifestFile program = publish(u"Bin/game"_s, "#!/bin/sh");
    program.executable = true;
    const ManifestFile data = publish(u"Content/data.pak"_s, "data");
    const LogCapture log;
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
    const LogCapture log;
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
    const LogCapture log;
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
    const LogCapture log;
    start({entry(path, "evil"), good});
    QCOMPARE(outcomes_, QStringList{u"failed"_s});
    QCOMPARE(message_, u"The update could not be applied safely and was stopped."_s);
    QCOMPARE(detail_, u"Manifest path escaped the install root: "_s + path);
    QVERIFY(wasRunning); // the job is over only after the signal
    QVERIFY(!manager_->isRunning());
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(staysQuietFor(700));
    QVERIFY(studio().requests().isEmpty());

    start({good});
    QVERIFY(endsWith(u"finished"_s));
}

void tst_DownloadManager::escapeStopsAJobInItsMiddle()
{
    const LogCapture log;
    start({publish(u"a.pak"_s, "first"), entry(u"../evil.dll"_s, "evil"), publish(u"c.pak"_s, "third")});
    QVERIFY(endsWith(u"failed"_s));
    QCOMPARE(detail_, u"Manifest path escaped the install root: ../evil.dll"_s);
    QCOMPARE(readFile(below(u"a.pak"_s)), "first");
    QVERIFY(!QFile::exists(below(u"c.pak"_s)));
    QVERIFY(staysQuietFor(700));
    QCOMPARE(network_->transfers().size(), 1);
}

void tst_DownloadManager::siblingWhoseNameBeginsWithTheRootsPasses()
{
    // The bare test of the beginning lets this through; a manifest with such a path is refused when it is parsed.
    ManifestFile file = publish(u"a.pak"_s, "content");
    file.path = u"../Härröwfen 沼 (Beta)/a.pak"_s;
    file.url = u"a.pak"_s;
    const LogCapture log;
    start({file});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(root() + u" (Beta)/a.pak"_s), "content");
}

void tst_DownloadManager::retryableFailureIsTriedFourTimesWithGrowingDelays()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    studio().addFault(u"/build/a.pak"_s, statusFault(503));
    const LogCapture log;
    start(files);
    QVERIFY(endsWith(u"failed"_s));
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, u"A game file could not be downloaded. The launcher will try again."_s);
    QVERIFY2(detail_.endsWith(u"(HTTP 503) for "_s + server_->url(u"/build/a.pak"_s).toString()), qPrintable(detail_));

    const QList<NotingNetwork::Transfer> &transfers = network_->transfers();
    QCOMPARE(transfers.size(), 4);
    QCOMPARE(requestsFor(u"a.pak"_s), 4);
    const QList<qint64> delaysMs{1000, 3000, 8000};
    for (qsizetype retry = 0; retry < delaysMs.size(); ++retry) {
        const qint64 waitedMs = transfers.at(retry + 1).beganMs - transfers.at(retry).endedMs;
        QVERIFY2(waitedMs >= delaysMs.at(retry) - 2 && waitedMs < delaysMs.at(retry) + 500,
                 qPrintable(u"%1 ms instead of %2"_s.arg(waitedMs).arg(delaysMs.at(retry))));
        QCOMPARE(transfers.at(retry + 1).url, transfers.first().url);
    }
    QStringList lines = log.texts(u"velmo.download"_s);
    lines.removeIf([](const QString &line) { return line.contains("Download"_L1); }); // of the client
    QCOMPARE(lines, (QStringList{
                        u"INFO velmo.download: Starting download of 2 files, 8 bytes into \"%1\""_s.arg(root()),
                        firstRetry,
                        u"WARN velmo.download: Retrying \"a.pak\" in 3000 ms (attempt 3 of 4 )"_s,
                        u"WARN velmo.download: Retrying \"a.pak\" in 8000 ms (attempt 4 of 4 )"_s,
                        u"ERROR velmo.download: Giving up on \"a.pak\" : \"%1\""_s.arg(detail_),
                    }));
    // The delays are a part of the job, in which reports go on.
    QVERIFY(reports_.size() >= 20);
    QVERIFY(staysQuietFor(700));
}

void tst_DownloadManager::attemptsAreCountedForEachFile()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    studio().addFault(u"/build/a.pak"_s, statusFault(429, 1));
    studio().addFault(u"/build/b.pak"_s, statusFault(408, 1));
    const LogCapture log;
    start(files);
    QVERIFY(endsWith(u"finished"_s));
    const QStringList lines = log.texts(u"velmo.download"_s);
    QVERIFY(lines.contains(firstRetry));
    QVERIFY(lines.contains(u"WARN velmo.download: Retrying \"b.pak\" in 1000 ms (attempt 2 of 4 )"_s));
    QCOMPARE(reports_.last().progress.filesDone, 2);
}

void tst_DownloadManager::retryAsksTheSameAddressAndResumes()
{
    const QByteArray bytes = QByteArray(700, 'a') + QByteArray(300, 'b');
    ManifestFile file = publish(u"objects/ab cd"_s, bytes);
    file.path = u"a.pak"_s;
    file.url = u"objects/ab cd"_s;
    // An announced length that is too small ends the first attempt early and without an error of the transfer.
    studio().addFault(u"/build/objects/ab cd"_s, fault(Fault::LengthOffset, -300, 1));
    const LogCapture log;
    start({file});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
    const QList<Request> requests = studio().requests(u"/build/objects/ab cd"_s);
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.last().headers.value("range"), "bytes=700-");
    QVERIFY(log.texts(u"velmo.download"_s).contains(firstRetry));
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
        studio().addFault(u"/build/a.pak"_s, statusFault(status));
    }
    const LogCapture log;
    start({file});
    QTRY_COMPARE(outcomes_, QStringList{u"failed"_s});
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, message);
    const QStringList lines = log.texts(u"velmo.download"_s);
    QCOMPARE(lines.last(), u"ERROR velmo.download: Giving up on \"a.pak\" : \"%1\""_s.arg(detail_));
    QVERIFY(lines.filter(u"Retrying"_s).isEmpty());
    QVERIFY(network_->transfers().size() <= 1);
    QVERIFY(staysQuietFor(1200));
}

void tst_DownloadManager::failureEndsTheJobAndTheNextOneReplacesItsQueue()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, "12345"), publish(u"b.pak"_s, "123")};
    const ManifestFile other = publish(u"other.pak"_s, "other");
    studio().addFault(u"/build/a.pak"_s, statusFault(404));
    const LogCapture log;
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
    const LogCapture log;
    {
        const FullDrive drive(100'000);
        start({file});
        QVERIFY(endsWith(u"failed"_s));
    }
    QVERIFY(!manager_->isRunning());
    QCOMPARE(message_, u"The launcher ran out of space, or could not write to the installation folder."_s);
    QVERIFY2(detail_.startsWith(u"Short write to %1.part: wrote "_s.arg(below(u"a.pak"_s))), qPrintable(detail_));
    QStringList lines = log.texts(u"velmo.download"_s);
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
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Stall, 700, 1));
    const QString part = below(u"a.pak.part"_s);
    const LogCapture log;
    start(files);
    QTRY_COMPARE(QFileInfo(part).size(), 700);
    bool wasRunning = true;
    connect(manager_.get(), &DownloadManager::cancelled, this,
            [this, &wasRunning] { wasRunning = manager_->isRunning(); });
    manager_->cancel();
    QCOMPARE(outcomes_, QStringList{u"cancelled"_s});
    QVERIFY(!wasRunning);
    QVERIFY(!manager_->isRunning());
    QCOMPARE(log.texts(u"velmo.download"_s).last(), u"INFO velmo.download: Download cancelled by the user"_s);
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
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    studio().addFault(u"/build/a.pak"_s, statusFault(503));
    const LogCapture log;
    start({file});
    QTRY_VERIFY(log.texts().contains(firstRetry));
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
    const LogCapture log;
    start(files);
    QVERIFY(endsWith(u"cancelled"_s));
    QVERIFY(wasWhole); // so it was being hashed
    QVERIFY(!manager_->isRunning());
    QVERIFY(staysQuietFor(700));
    QCOMPARE(network_->transfers().size(), 1);
    QCOMPARE(readFile(below(u"a.pak"_s)), bytes);
}

void tst_DownloadManager::failureAfterACancelIsIgnored()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(5'000'000, 'x'));
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Corrupt, 4'000'000));
    connect(network_.get(), &QNetworkAccessManager::finished, this,
            [this] { QTimer::singleShot(0, manager_.get(), &DownloadManager::cancel); });
    const LogCapture log;
    start({file});
    QVERIFY(endsWith(u"cancelled"_s));
    QTRY_VERIFY(!log.texts().filter(u"Download failed: \"Hash mismatch"_s).isEmpty());
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(outcomes_, QStringList{u"cancelled"_s});
    QVERIFY(log.texts().filter(u"Retrying"_s).isEmpty());
    QVERIFY(log.texts().filter(u"Giving up"_s).isEmpty());
}

void tst_DownloadManager::cancelWithoutAJobDoesNothing()
{
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    LogCapture log;
    manager_->cancel();
    QVERIFY(outcomes_.isEmpty());
    QCOMPARE(log.texts(), QStringList());
    start({file});
    QVERIFY(endsWith(u"finished"_s));
    log.clear();
    manager_->cancel();
    QCOMPARE(outcomes_, QStringList{u"finished"_s});
    QCOMPARE(log.texts(), QStringList());
}

void tst_DownloadManager::retryOfACancelledJobLeavesTheNextJobAlone()
{
    const ManifestFile failing = publish(u"a.pak"_s, "12345");
    const QByteArray bytes(3000, 'x');
    const ManifestFile slow = publish(u"slow.pak"_s, bytes);
    studio().addFault(u"/build/a.pak"_s, statusFault(503));
    const LogCapture log;
    start({failing});
    QTRY_VERIFY(log.texts().contains(firstRetry));
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
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Stall, 700));
    const LogCapture log;
    start({file});
    QTRY_COMPARE(QFileInfo(below(u"a.pak.part"_s)).size(), 700);
    manager_.reset();
    QTRY_VERIFY(network_->transfers().first().endedMs >= 0);
    QVERIFY(outcomes_.isEmpty());
    QCOMPARE(QFileInfo(below(u"a.pak.part"_s)).size(), 700);
}

void tst_DownloadManager::managerMayGoDuringARetryDelay()
{
    const ManifestFile file = publish(u"a.pak"_s, "12345");
    studio().addFault(u"/build/a.pak"_s, statusFault(503));
    const LogCapture log;
    start({file});
    QTRY_VERIFY(log.texts().contains(firstRetry));
    manager_.reset();
    QVERIFY(staysQuietFor(1300));
    QCOMPARE(requestsFor(u"a.pak"_s), 1);
}

void tst_DownloadManager::reportsComeTwiceASecondWhetherOrNotSomethingChanged()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(1000, 'x'));
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Stall, 700));
    const LogCapture log;
    clock_.start();
    start({file});
    QTRY_COMPARE(reports_.size(), 5);
    qint64 previousMs = 0;
    for (const Report &report : std::as_const(reports_)) {
        const qint64 gapMs = report.ms - previousMs;
        QVERIFY2(gapMs >= 400 && gapMs <= 600, qPrintable(u"%1 ms"_s.arg(gapMs)));
        QCOMPARE(report.progress.bytesReceived, 700);
        QCOMPARE(report.progress.currentFile, u"a.pak"_s);
        previousMs = report.ms;
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
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(6000, 'x'));
    studio().addFault(u"/build/b.pak"_s, statusFault(404));
    studio().setBytesPerSecond(8000);
    QList<ManifestFile> files{file};
    if (outcome == "failed"_L1) {
        files.append(entry(u"b.pak"_s, "123"));
    }
    const LogCapture log;
    start(files);
    QTRY_VERIFY(!reports_.isEmpty());
    if (outcome == "cancelled"_L1) {
        manager_->cancel();
    }
    QTRY_COMPARE(outcomes_, QStringList{outcome});
    QVERIFY(staysQuietFor(1200));
}

void tst_DownloadManager::bytesAreThoseOfFinishedFilesAndOfTheOneInHand()
{
    const QList<ManifestFile> files{publish(u"a.pak"_s, QByteArray(1000, 'x')), publish(u"b.pak"_s, ""),
                                    publish(u"c.pak"_s, QByteArray(900, 'y')), publish(u"d.pak"_s, "123")};
    studio().addFault(u"/build/c.pak"_s, fault(Fault::Stall, 500));
    const LogCapture log;
    start(files);
    QTRY_VERIFY(!reports_.isEmpty() && reports_.last().progress.currentFile == "c.pak"_L1 &&
                reports_.last().progress.bytesReceived > 1000);
    const DownloadProgress progress = reports_.last().progress;
    QCOMPARE(progress.bytesReceived, 1500);
    QCOMPARE(progress.bytesTotal, 1903);
    QCOMPARE(progress.filesDone, 2);
    QCOMPARE(progress.filesTotal, 4);
}

void tst_DownloadManager::speedNeedsTwoSamples()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(1'000'000, 'x'));
    studio().setBytesPerSecond(200'000);
    const LogCapture log;
    start({file});
    QTRY_VERIFY(reports_.size() >= 3);
    const DownloadProgress first = reports_.at(0).progress;
    QVERIFY(first.bytesReceived > 0);
    QCOMPARE(first.bytesPerSecond, 0.0);
    QCOMPARE(first.etaSeconds, -1);
    for (const qsizetype index : {1, 2}) {
        // The window reaches back to the first sample.
        const DownloadProgress later = reports_.at(index).progress;
        const double seconds = static_cast<double>(reports_.at(index).ms - reports_.at(0).ms) / 1000.0;
        const double expected = static_cast<double>(later.bytesReceived - first.bytesReceived) / seconds;
        QVERIFY2(std::abs(later.bytesPerSecond - expected) < expected * 0.1,
                 qPrintable(u"%1 instead of %2"_s.arg(later.bytesPerSecond).arg(expected)));
        const auto left = static_cast<double>(later.bytesTotal - later.bytesReceived);
        QCOMPARE(later.etaSeconds, static_cast<qint64>(left / later.bytesPerSecond));
    }
}

void tst_DownloadManager::speedIsTakenOverSixSeconds()
{
    constexpr qint64 fast = 300'000;
    constexpr qint64 slow = 700; // too slow for an estimate
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(2'000'000, 'x'));
    studio().setBytesPerSecond(fast);
    const LogCapture log;
    clock_.start();
    start({file});
    QTRY_VERIFY(clock_.elapsed() > 2200);
    studio().setBytesPerSecond(slow);
    const qint64 switchedMs = clock_.elapsed();
    QTRY_VERIFY_WITH_TIMEOUT(reports_.last().ms > switchedMs + 7200, 15000);

    int within = 0;
    int beyond = 0;
    for (const Report &report : std::as_const(reports_)) {
        const qint64 sinceMs = report.ms - switchedMs;
        const QString seen = u"%1 bytes/s, %2 s, %3 ms after the change"_s.arg(report.progress.bytesPerSecond)
                                 .arg(report.progress.etaSeconds)
                                 .arg(sinceMs);
        if (sinceMs > 500 && sinceMs < 5000) {
            // Fast samples are still in the window, so that the speed falls slowly.
            QVERIFY2(report.progress.bytesPerSecond > 10 * slow, qPrintable(seen));
            QVERIFY2(report.progress.etaSeconds >= 0, qPrintable(seen));
            ++within;
        } else if (sinceMs > 6600) {
            QVERIFY2(report.progress.bytesPerSecond > 0.5 * slow && report.progress.bytesPerSecond < 1.4 * slow,
                     qPrintable(seen));
            QCOMPARE(report.progress.etaSeconds, -1);
            ++beyond;
        }
    }
    QVERIFY(within >= 7);
    QVERIFY(beyond >= 1);
}

void tst_DownloadManager::twoSamplesRemainHoweverOld()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(40'000, 'x'));
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Stall, 15'000));
    studio().setBytesPerSecond(20'000);
    const LogCapture log;
    start({file});
    QTRY_VERIFY(reports_.size() >= 2 && reports_.last().progress.bytesReceived == 15'000);
    QVERIFY(reports_.last().progress.bytesPerSecond > 1024.0);
    const qsizetype reports = reports_.size();
    QTest::qSleep(6600); // the whole program stands still, as while the machine is busy elsewhere
    QTRY_VERIFY(reports_.size() > reports);
    QCOMPARE(reports_.at(reports).progress.bytesPerSecond, 0.0);
    QCOMPARE(reports_.at(reports).progress.etaSeconds, -1);
}

void tst_DownloadManager::fallingByteCountKeepsTheOldSpeed()
{
    const ManifestFile file = publish(u"a.pak"_s, QByteArray(200'000, 'x'));
    studio().addFault(u"/build/a.pak"_s, fault(Fault::Corrupt, 10, 1));
    studio().setBytesPerSecond(150'000);
    const LogCapture log;
    start({file});
    QTRY_VERIFY(log.texts().contains(firstRetry));
    studio().setBytesPerSecond(5'000);
    QVERIFY(reports_.size() >= 2);
    // Before the first sample of the window is reached again, nothing can be told from the counts.
    const qint64 firstSample = reports_.first().progress.bytesReceived;
    QTRY_VERIFY(reports_.last().progress.bytesReceived < firstSample);
    const Report before = *std::find_if(reports_.crbegin(), reports_.crend(), [firstSample](const Report &report) {
        return report.progress.bytesReceived >= firstSample;
    });
    QVERIFY(before.progress.bytesPerSecond > 1024.0);
    QTRY_VERIFY(reports_.last().ms > before.ms + 1200);
    for (const Report &report : std::as_const(reports_)) {
        if (report.ms > before.ms) {
            QVERIFY(report.progress.bytesReceived < firstSample);
            QCOMPARE(report.progress.bytesPerSecond, before.progress.bytesPerSecond);
            QCOMPARE(report.progress.etaSeconds, before.progress.etaSeconds);
        }
    }
}

void tst_DownloadManager::finishedJobCountsItsManifestSizes()
{
    ManifestFile unknown = publish(u"a.pak"_s, QByteArray(5000, 'x'));
    unknown.size = 0;
    const ManifestFile known = publish(u"b.pak"_s, QByteArray(900, 'y'));
    studio().setBytesPerSecond(5000);
    const LogCapture log;
    start({unknown, known});
    QVERIFY2(endsWith(u"finished"_s), qPrintable(detail_));
    const auto exceeds = [](const Report &report) {
        return report.progress.bytesReceived > report.progress.bytesTotal;
    };
    QVERIFY(std::any_of(reports_.cbegin(), reports_.cend(), exceeds)); // what really came was more
    QCOMPARE(reports_.last().progress.bytesReceived, 900);
    QCOMPARE(reports_.last().progress.bytesTotal, 900);
    QCOMPARE(reports_.last().progress.etaSeconds, 0);
    QCOMPARE(reports_.last().progress.bytesPerSecond, 0.0);
    QCOMPARE(QFileInfo(below(u"a.pak"_s)).size(), 5000);
}

void tst_DownloadManager::hostileSizesDoNotOverflow()
{
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    const ManifestFile small = publish(u"small.pak"_s, QByteArray(1000, 'x'));
    ManifestFile huge = publish(u"huge.pak"_s, QByteArray(1000, 'y'));
    huge.size = largest;
    studio().addFault(u"/build/huge.pak"_s, fault(Fault::Stall, 900));
    const LogCapture log;
    start({small, huge, huge});
    QCOMPARE(log.texts().first(),
             u"INFO velmo.download: Starting download of 3 files, 9223372036854775807 bytes into \"%1\""_s.arg(root()));
    QTRY_VERIFY(reports_.size() >= 2);
    QCOMPARE(reports_.last().progress.bytesTotal, largest);
    QCOMPARE(reports_.last().progress.bytesReceived, 1900);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_DownloadManager>(argc, argv);
}

#include "tst_DownloadManager.moc"
