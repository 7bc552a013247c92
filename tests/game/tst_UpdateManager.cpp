#include "game/TestBuilds.h"
#include "game/UpdateManager.h"
#include "net/ApiClient.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <algorithm>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>

using namespace Qt::Literals::StringLiterals;
using velmo::ApiClient;
using velmo::ApiResult;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::UpdateManager;
using velmo::test::LogCapture;
using velmo::test::pathsOf;
using velmo::test::TestStudio;

namespace {

constexpr qint64 slowdown = VELMO_SLOW_BUILD ? 10 : 1;
const QString manifestPath = u"/harrowfen/release/manifest.json"_s;

/// Sixty-four digits that end in \a digit.
QString hashOf(QChar digit)
{
    return QString(63, u'a') + digit;
}

ManifestFile entry(const QString &path, QChar digit, qint64 size = 1)
{
    return {path, hashOf(digit), size, {}, false};
}

Manifest build(int number, const QList<ManifestFile> &files)
{
    Manifest manifest;
    manifest.valid = true;
    manifest.version = u"0.%1.0"_s.arg(number);
    manifest.build = number;
    manifest.files = files;
    return manifest;
}

/// A build with a long list, as a game in many small files has it.
Manifest longBuild(int number, int files, QChar digit)
{
    Manifest manifest = build(number, {});
    manifest.files.reserve(files);
    for (int index = 0; index < files; ++index) {
        manifest.files.append(entry(u"Harrowfen/Content/Chapter %1/asset_%2.uasset"_s.arg(index / 1000).arg(index),
                                    index % 2 == 0 ? digit : u'0', index));
    }
    return manifest;
}

} // namespace

class tst_UpdateManager : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void checkBeginsInsideTheCallAndEndsOnce();
    void secondCheckDuringACheckEmitsNothing();
    void secondCheckFromTheFirstsStartEmitsNothing();
    void replyIsComparedWithTheManifestOfItsOwnCheck();
    void installedManifestIsTakenBeforeTheStartIsTold();
    void emptyAddressStillEndsInAFailure();

    void buildsAndHashesDecide_data();
    void buildsAndHashesDecide();
    void changedFilesAreFoundByPathAndHash_data();
    void changedFilesAreFoundByPathAndHash();
    void lastOfTwoEqualInstalledPathsCounts_data();
    void lastOfTwoEqualInstalledPathsCounts();
    void hashesInCapitalsAreNoChange();
    void changedFilesKeepTheManifestsOrder();
    void everyFileIsChangedWhereNothingIsInstalled();
    void emptyBuildIsAnUpdateWhereNothingIsInstalled();
    void outcomeCarriesTheWholeManifest();
    void newestAcceptedManifestIsKept();
    void hostileSizesDoNotOverflow();

    void failuresArePassedOnAsTheyAre_data();
    void failuresArePassedOnAsTheyAre();
    void rejectedManifestIsNoOfflineFailure_data();
    void rejectedManifestIsNoOfflineFailure();
    void nothingIsRetried();
    void noPasswordReachesTheLog();

    void nextCheckMayStartFromAnOutcome_data();
    void nextCheckMayStartFromAnOutcome();
    void newAddressLeavesTheCheckInFlightAlone();
    void settingTheAddressStartsNothing();
    void managerMayGoDuringACheck();

    void baseUrlIsTheManifestsFolder_data();
    void baseUrlIsTheManifestsFolder();

    void hundredThousandFilesAreCheckedQuickly();

private:
    void serve(const Manifest &manifest) { serve(QJsonDocument(manifest.toJson()).toJson(QJsonDocument::Compact)); }
    void serve(const QByteArray &document) { server_->server().setDocument(manifestPath, document); }
    QString address() const { return server_->url(manifestPath).toString(); }
    /// A whole check; the members below then hold its outcome.
    void check(const Manifest &installed);
    struct Cost {
        qint64 elapsedMs;
        std::clock_t work; ///< of all threads together, the server's included
    };
    Cost bestOfThreeChecks(int files);

    std::unique_ptr<TestStudio> server_;
    std::unique_ptr<ApiClient> api_;
    std::unique_ptr<UpdateManager> manager_;

    std::optional<LogCapture> log_;
    QStringList signals_; ///< in the order of emission
    Manifest latest_;
    QStringList changed_;
    QString message_;
    QString detail_;
    bool offline_ = false;
};

void tst_UpdateManager::initTestCase()
{
    server_ = std::make_unique<TestStudio>();
}

void tst_UpdateManager::init()
{
    server_->server().clearFaults();
    server_->server().clearRequests();
    server_->server().removeDocument(manifestPath);
    api_ = std::make_unique<ApiClient>();
    manager_ = std::make_unique<UpdateManager>(api_.get());
    manager_->setManifestUrl(address());
    signals_.clear();
    connect(manager_.get(), &UpdateManager::checkStarted, this, [this] { signals_.append(u"checkStarted"_s); });
    connect(manager_.get(), &UpdateManager::updateAvailable, this,
            [this](const Manifest &latest, const QList<ManifestFile> &changedFiles) {
                signals_.append(u"updateAvailable"_s);
                latest_ = latest;
                changed_ = pathsOf(changedFiles);
            });
    connect(manager_.get(), &UpdateManager::upToDate, this, [this](const Manifest &latest) {
        signals_.append(u"upToDate"_s);
        latest_ = latest;
        changed_.clear();
    });
    connect(manager_.get(), &UpdateManager::checkFailed, this,
            [this](const QString &message, const QString &detail, bool offline) {
                signals_.append(u"checkFailed"_s);
                message_ = message;
                detail_ = detail;
                offline_ = offline;
            });
    log_.emplace();
}

void tst_UpdateManager::cleanup()
{
    manager_.reset();
    api_.reset();
    log_.reset();
}

void tst_UpdateManager::check(const Manifest &installed)
{
    signals_.clear();
    manager_->checkForUpdates(installed);
    if (!QTest::qWaitFor([this] { return signals_.size() > 1; }, static_cast<int>(30'000 * slowdown))) {
        qFatal("The check does not end");
    }
}

void tst_UpdateManager::checkBeginsInsideTheCallAndEndsOnce()
{
    serve(build(7, {entry(u"a"_s, u'1')}));
    QStringList linesAtTheStart;
    connect(manager_.get(), &UpdateManager::checkStarted, this,
            [this, &linesAtTheStart] { linesAtTheStart = log_->texts(u"velmo.update"_s); });
    manager_->checkForUpdates({});
    QCOMPARE(signals_, QStringList{u"checkStarted"_s});
    QCOMPARE(linesAtTheStart, QStringList());
    QCOMPARE(log_->texts(u"velmo.update"_s),
             QStringList{u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(address())});
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, u"updateAvailable"_s}));
    QCOMPARE(log_->texts(u"velmo.update"_s).size(), 2);
    QCOMPARE(server_->server().requests().size(), 1);
    QCOMPARE(server_->server().requests().first().method, "GET");
}

void tst_UpdateManager::secondCheckDuringACheckEmitsNothing()
{
    serve(build(7, {entry(u"a"_s, u'1')}));
    manager_->checkForUpdates({});
    manager_->checkForUpdates({});
    QCOMPARE(signals_, QStringList{u"checkStarted"_s});
    QTRY_COMPARE(signals_.size(), 2);
    check({}); // whatever the second call had begun would have ended before this one
    QCOMPARE(signals_, (QStringList{u"checkStarted"_s, u"updateAvailable"_s}));
    QCOMPARE(server_->server().requests().size(), 2);
    const QStringList lines = log_->texts(u"velmo.update"_s);
    QCOMPARE(lines.count(u"INFO velmo.update: Update check already in progress"_s), 1);
    QCOMPARE(lines.at(1), u"INFO velmo.update: Update check already in progress"_s);
    QCOMPARE(lines.size(), 5);
}

void tst_UpdateManager::secondCheckFromTheFirstsStartEmitsNothing()
{
    serve(build(7, {}));
    connect(
        manager_.get(), &UpdateManager::checkStarted, this, [this] { manager_->checkForUpdates({}); },
        Qt::SingleShotConnection);
    manager_->checkForUpdates({});
    QCOMPARE(signals_, QStringList{u"checkStarted"_s});
    QCOMPARE(log_->texts(u"velmo.update"_s),
             (QStringList{u"INFO velmo.update: Update check already in progress"_s,
                          u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(address())}));
    QTRY_COMPARE(signals_.size(), 2);
    check({}); // whatever the second call had begun would have ended before this one
    QCOMPARE(server_->server().requests().size(), 2);
}

void tst_UpdateManager::replyIsComparedWithTheManifestOfItsOwnCheck()
{
    const Manifest latest = build(7, {entry(u"a"_s, u'1')});
    serve(latest);
    auto installed = std::make_unique<Manifest>(latest);
    manager_->checkForUpdates(*installed);
    installed.reset();
    manager_->checkForUpdates({}); // would find a change
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, u"upToDate"_s}));
}

void tst_UpdateManager::installedManifestIsTakenBeforeTheStartIsTold()
{
    Manifest installed = build(7, {entry(u"a"_s, u'1')});
    serve(installed);
    connect(manager_.get(), &UpdateManager::checkStarted, this, [&installed] { installed = {}; });
    manager_->checkForUpdates(installed);
    QVERIFY(!installed.valid);
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, u"upToDate"_s}));
}

void tst_UpdateManager::emptyAddressStillEndsInAFailure()
{
    manager_->setManifestUrl({});
    manager_->checkForUpdates({});
    QCOMPARE(signals_, QStringList{u"checkStarted"_s});
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, u"checkFailed"_s}));
    QCOMPARE(message_, u"No Velmo Games service address is configured for this build."_s);
    QCOMPARE(detail_, u"Empty endpoint in the game profile."_s);
    QVERIFY(offline_);
    QCOMPARE(log_->texts(u"velmo.update"_s),
             (QStringList{u"INFO velmo.update: Checking for updates at \"<unconfigured>\""_s,
                          u"WARN velmo.update: Update check failed: \"Empty endpoint in the game profile.\""_s}));
}

void tst_UpdateManager::buildsAndHashesDecide_data()
{
    QTest::addColumn<int>("build");
    QTest::addColumn<bool>("hashesDiffer");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("line");
    const QString upToDate = u"upToDate"_s;
    const QString available = u"updateAvailable"_s;
    QTest::newRow("same build, same hashes") << 7 << false << upToDate << u"No update available; on build 7"_s;
    QTest::newRow("older build, same hashes") << 6 << false << upToDate << u"No update available; on build 6"_s;
    QTest::newRow("newer build, same hashes")
        << 8 << false << available << u"Update available: \"0.8.0\" build 8 - 0 files, 0 bytes"_s;
    QTest::newRow("same build, other hashes")
        << 7 << true << available << u"Update available: \"0.7.0\" build 7 - 2 files, 1030 bytes"_s;
    QTest::newRow("older build, other hashes")
        << 6 << true << available << u"Update available: \"0.6.0\" build 6 - 2 files, 1030 bytes"_s;
    QTest::newRow("newer build, other hashes")
        << 8 << true << available << u"Update available: \"0.8.0\" build 8 - 2 files, 1030 bytes"_s;
}

void tst_UpdateManager::buildsAndHashesDecide()
{
    QFETCH(int, build);
    QFETCH(bool, hashesDiffer);
    QFETCH(QString, outcome);
    QFETCH(QString, line);
    const QChar digit = hashesDiffer ? u'2' : u'1';
    serve(::build(build, {entry(u"a"_s, digit, 1000), entry(u"same"_s, u'1', 500), entry(u"b"_s, digit, 30)}));
    check(::build(7, {entry(u"same"_s, u'1'), entry(u"b"_s, u'1'), entry(u"a"_s, u'1')}));
    QCOMPARE(signals_, (QStringList{u"checkStarted"_s, outcome}));
    QCOMPARE(latest_.build, build);
    QCOMPARE(changed_, (hashesDiffer ? QStringList{u"a"_s, u"b"_s} : QStringList{}));
    QCOMPARE(log_->texts(u"velmo.update"_s),
             (QStringList{u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(address()),
                          u"INFO velmo.update: "_s + line}));
}

void tst_UpdateManager::changedFilesAreFoundByPathAndHash_data()
{
    QTest::addColumn<QList<ManifestFile>>("installed");
    QTest::addColumn<QStringList>("changed");
    const ManifestFile same = entry(u"Content/a.pak"_s, u'1', 1000);
    const auto row = [](const char *name, const QList<ManifestFile> &installed, const QStringList &changed) {
        QTest::newRow(name) << installed << changed;
    };
    const QStringList all{u"Content/a.pak"_s};
    row("the same", {same}, {});
    ManifestFile file = same;
    file.size = 999;
    row("another size", {file}, {});
    file = same;
    file.url = u"elsewhere/a.pak"_s;
    row("another address", {file}, {});
    file = same;
    file.executable = true;
    row("another mark", {file}, {});
    file = same;
    file.sha256 = hashOf(u'2');
    row("another hash", {file}, all);
    file = same;
    file.sha256 = same.sha256.toUpper();
    row("the hash in another case", {file}, all);
    file = same;
    file.path = u"Content/A.pak"_s;
    row("the path in another case", {file}, all);
    row("not installed", {}, all);
    row("one more that left the build", {entry(u"gone.pak"_s, u'3'), same}, {});
}

void tst_UpdateManager::changedFilesAreFoundByPathAndHash()
{
    QFETCH(QList<ManifestFile>, installed);
    QFETCH(QStringList, changed);
    serve(build(7, {entry(u"Content/a.pak"_s, u'1', 1000)}));
    check(build(7, installed));
    QCOMPARE(signals_.last(), changed.isEmpty() ? u"upToDate"_s : u"updateAvailable"_s);
    QCOMPARE(changed_, changed);
}

void tst_UpdateManager::lastOfTwoEqualInstalledPathsCounts_data()
{
    QTest::addColumn<QChar>("first");
    QTest::addColumn<QChar>("last");
    QTest::addColumn<QStringList>("changed");
    QTest::newRow("the last is as published") << QChar(u'0') << QChar(u'1') << QStringList();
    QTest::newRow("the first is as published") << QChar(u'1') << QChar(u'0') << QStringList{u"a"_s};
}

void tst_UpdateManager::lastOfTwoEqualInstalledPathsCounts()
{
    QFETCH(const QChar, first);
    QFETCH(const QChar, last);
    QFETCH(const QStringList, changed);
    const Manifest installed = build(7, {entry(u"a"_s, first), entry(u"b"_s, u'1'), entry(u"a"_s, last)});
    const Manifest latest = build(7, {entry(u"a"_s, u'1'), entry(u"b"_s, u'1')});
    QCOMPARE(pathsOf(UpdateManager::changedFiles(installed, latest)), changed);
}

void tst_UpdateManager::hashesInCapitalsAreNoChange()
{
    Manifest latest = build(7, {entry(u"a"_s, u'b')});
    const Manifest installed = latest;
    latest.files.first().sha256 = latest.files.first().sha256.toUpper();
    serve(latest);
    check(installed);
    QCOMPARE(signals_.last(), u"upToDate"_s);
}

void tst_UpdateManager::changedFilesKeepTheManifestsOrder()
{
    serve(build(8, {entry(u"z"_s, u'1'), entry(u"same"_s, u'1'), entry(u"a"_s, u'1'), entry(u"m"_s, u'1')}));
    check(build(7, {entry(u"a"_s, u'0'), entry(u"m"_s, u'0'), entry(u"same"_s, u'1'), entry(u"z"_s, u'0')}));
    QCOMPARE(changed_, (QStringList{u"z"_s, u"a"_s, u"m"_s}));
}

void tst_UpdateManager::everyFileIsChangedWhereNothingIsInstalled()
{
    serve(build(0, {entry(u"b"_s, u'1'), entry(u"a"_s, u'1')}));
    check({});
    QCOMPARE(signals_.last(), u"updateAvailable"_s);
    QCOMPARE(changed_, (QStringList{u"b"_s, u"a"_s}));
}

void tst_UpdateManager::emptyBuildIsAnUpdateWhereNothingIsInstalled()
{
    serve(build(0, {}));
    check({});
    QCOMPARE(signals_.last(), u"updateAvailable"_s);
    QCOMPARE(changed_, QStringList());
    check(build(0, {}));
    QCOMPARE(signals_.last(), u"upToDate"_s);
}

void tst_UpdateManager::outcomeCarriesTheWholeManifest()
{
    Manifest latest = build(8, {entry(u"Übung/a b.pak"_s, u'1', 5'000'000'000)});
    latest.channel = u"beta"_s;
    latest.executable = u"Bin/game.exe"_s;
    latest.notes = u"Neues aus dem Moor 沼"_s;
    latest.released = QDateTime(QDate(2026, 2, 3), QTime(4, 5, 6), QTimeZone::utc()).toUTC();
    serve(latest);
    check({});
    QCOMPARE(latest_.toJson(), latest.toJson());
    QVERIFY(latest_.valid);
    check(latest);
    QCOMPARE(signals_.last(), u"upToDate"_s);
    QCOMPARE(latest_.toJson(), latest.toJson());
}

void tst_UpdateManager::newestAcceptedManifestIsKept()
{
    QVERIFY(!manager_->latest().valid);
    QList<int> keptAtOutcome; // the build that is kept when the outcome is told
    const auto note = [this, &keptAtOutcome] { keptAtOutcome.append(manager_->latest().build); };
    connect(manager_.get(), &UpdateManager::updateAvailable, this, note);
    connect(manager_.get(), &UpdateManager::upToDate, this, note);
    connect(manager_.get(), &UpdateManager::checkFailed, this, note);
    serve(build(7, {entry(u"a"_s, u'1')}));
    check({});
    QCOMPARE(manager_->latest().toJson(), build(7, {entry(u"a"_s, u'1')}).toJson());
    serve(build(6, {}));
    check(build(6, {}));
    serve(QByteArray("{}"));
    check({});
    serve(QByteArray("no JSON"));
    check({});
    QCOMPARE(keptAtOutcome, (QList<int>{7, 6, 6, 6}));
    QVERIFY(manager_->latest().valid);
}

void tst_UpdateManager::hostileSizesDoNotOverflow()
{
    constexpr qint64 huge = 9'000'000'000'000'000'000;
    serve(build(8, {entry(u"a"_s, u'1', huge), entry(u"b"_s, u'1', huge)}));
    check({});
    QCOMPARE(signals_.last(), u"updateAvailable"_s);
    QCOMPARE(log_->texts(u"velmo.update"_s).last(),
             u"INFO velmo.update: Update available: \"0.8.0\" build 8 - 2 files, 9223372036854775807 bytes"_s);
}

void tst_UpdateManager::failuresArePassedOnAsTheyAre_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<bool>("offline");
    const QString served = address();
    QTest::newRow("missing") << served << 404 << QByteArray() << false;
    QTest::newRow("denied") << served << 403 << QByteArray() << false;
    QTest::newRow("server trouble") << served << 503 << QByteArray() << false;
    QTest::newRow("no JSON") << served << 200 << QByteArray("<html>") << false;
    QTest::newRow("an array") << served << 200 << QByteArray("[]") << false;
    QTest::newRow("insecure") << u"http://127.0.0.1:1/manifest.json"_s << 200 << QByteArray() << false;
    QTest::newRow("nobody listens") << u"https://127.0.0.1:1/manifest.json"_s << 200 << QByteArray() << true;
}

void tst_UpdateManager::failuresArePassedOnAsTheyAre()
{
    QFETCH(QString, address);
    QFETCH(int, status);
    QFETCH(QByteArray, document);
    QFETCH(bool, offline);
    serve(document);
    if (status != 200) {
        server_->server().addFault(manifestPath, {.status = status});
    }
    std::optional<ApiResult> asked;
    api_->getJson(address, [&asked](const ApiResult &result) { asked = result; });
    QTRY_VERIFY(asked.has_value());
    QVERIFY(!asked->ok);
    QCOMPARE(asked->offline, offline);

    manager_->setManifestUrl(address);
    check({});
    QCOMPARE(signals_, (QStringList{u"checkStarted"_s, u"checkFailed"_s}));
    QCOMPARE(message_, asked->message);
    QCOMPARE(detail_, asked->detail);
    QCOMPARE(offline_, offline);
    const QList<LogCapture::Line> lines = log_->lines(u"velmo.update"_s);
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.last().type, QtWarningMsg);
    QCOMPARE(lines.last().text, u"Update check failed: "_s + QDebug::toString(asked->detail));
}

void tst_UpdateManager::rejectedManifestIsNoOfflineFailure_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no version") << QByteArray(R"({"build":5})") << u"Manifest is missing a version."_s;
    QTest::newRow("no build") << QByteArray(R"({"version":"1.0"})") << u"Manifest is missing a build number."_s;
    QTest::newRow("an executable outside") << QByteArray(R"({"version":"1.0","build":5,"executable":"../sh"})")
                                           << u"Manifest names an executable outside the install directory."_s;
    QTest::newRow("a file outside") << QByteArray(R"({"version":"1.0","build":5,"files":[)"
                                                  R"({"path":"../evil.dll","size":1,"sha256":"00"}]})")
                                    << u"Manifest contains an invalid file entry: ../evil.dll"_s;
}

void tst_UpdateManager::rejectedManifestIsNoOfflineFailure()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, reason);
    serve(document);
    check({});
    QCOMPARE(signals_, (QStringList{u"checkStarted"_s, u"checkFailed"_s}));
    QCOMPARE(message_, u"The update information from the Velmo Games servers could not be read."_s);
    QCOMPARE(detail_, reason);
    QVERIFY(!offline_);
    QCOMPARE(log_->texts(u"velmo.update"_s).last(), u"WARN velmo.update: Manifest rejected: \"%1\""_s.arg(reason));
    QCOMPARE(log_->texts(u"velmo.update"_s).size(), 2);
}

void tst_UpdateManager::nothingIsRetried()
{
    serve(build(7, {}));
    server_->server().addFault(manifestPath, {.status = 503, .lastAttempt = 1});
    check({});
    QCOMPARE(signals_.last(), u"checkFailed"_s);
    QCOMPARE(server_->server().requests().size(), 1);
    check({});
    QCOMPARE(signals_.last(), u"updateAvailable"_s);
    QCOMPARE(server_->server().requests().size(), 2);
}

void tst_UpdateManager::noPasswordReachesTheLog()
{
    QUrl url(address());
    url.setUserInfo(u"player:secret"_s);
    manager_->setManifestUrl(url.toString());
    check({}); // of what is not there
    QCOMPARE(signals_.last(), u"checkFailed"_s);
    const QString told = log_->texts().join(u'\n') + detail_;
    QVERIFY2(!told.contains(u"player"_s) && !told.contains(u"secret"_s), qPrintable(told));
    QCOMPARE(log_->texts(u"velmo.update"_s).first(),
             u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(address()));
}

void tst_UpdateManager::nextCheckMayStartFromAnOutcome_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("outcome");
    QTest::newRow("failed") << QByteArray("no JSON") << u"checkFailed"_s;
    QTest::newRow("rejected") << QByteArray("{}") << u"checkFailed"_s;
    QTest::newRow("up to date") << QByteArray(R"({"version":"0.7.0","build":7})") << u"upToDate"_s;
    QTest::newRow("update") << QByteArray(R"({"version":"0.8.0","build":8})") << u"updateAvailable"_s;
}

void tst_UpdateManager::nextCheckMayStartFromAnOutcome()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, outcome);
    serve(document);
    const Manifest installed = build(7, {});
    const auto again = [this, installed] { manager_->checkForUpdates(installed); };
    connect(manager_.get(), &UpdateManager::checkFailed, this, again, Qt::SingleShotConnection);
    connect(manager_.get(), &UpdateManager::upToDate, this, again, Qt::SingleShotConnection);
    connect(manager_.get(), &UpdateManager::updateAvailable, this, again, Qt::SingleShotConnection);
    manager_->checkForUpdates(installed);
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, outcome, u"checkStarted"_s, outcome}));
    QVERIFY(!log_->contains(QtInfoMsg, u"velmo.update"_s, u"Update check already in progress"_s));
}

void tst_UpdateManager::newAddressLeavesTheCheckInFlightAlone()
{
    serve(build(7, {}));
    const QString other = u"/harrowfen/beta/manifest.json"_s;
    server_->server().setDocument(other, QJsonDocument(build(9, {}).toJson()).toJson());
    manager_->checkForUpdates({});
    manager_->setManifestUrl(server_->url(other).toString());
    QTRY_COMPARE(signals_, (QStringList{u"checkStarted"_s, u"updateAvailable"_s}));
    QCOMPARE(latest_.build, 7);
    QCOMPARE(server_->server().requests(other).size(), 0);
    check({});
    QCOMPARE(latest_.build, 9);
    QCOMPARE(manager_->manifestBaseUrl(), server_->url(u"/harrowfen/beta/"_s));
}

void tst_UpdateManager::settingTheAddressStartsNothing()
{
    serve(build(7, {}));
    manager_->setManifestUrl(u"https://127.0.0.1:1/"_s);
    manager_->setManifestUrl(address());
    QCOMPARE(log_->texts(), QStringList());
    check({}); // a request from before would be answered first, as they share a connection
    QCOMPARE(signals_, (QStringList{u"checkStarted"_s, u"updateAvailable"_s}));
    QCOMPARE(server_->server().requests().size(), 1);
}

void tst_UpdateManager::managerMayGoDuringACheck()
{
    serve(build(7, {}));
    manager_->checkForUpdates({});
    manager_.reset();
    const auto replyArrived = [this] {
        const QStringList lines = log_->texts(u"velmo.net"_s);
        return std::any_of(lines.begin(), lines.end(),
                           [](const QString &line) { return line.startsWith("INFO velmo.net: OK"_L1); });
    };
    QTRY_VERIFY(replyArrived());
    QCOMPARE(signals_, QStringList{u"checkStarted"_s});
    QCOMPARE(log_->texts(u"velmo.update"_s).size(), 1);
}

void tst_UpdateManager::baseUrlIsTheManifestsFolder_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("folder");
    const auto row = [](const QString &address, const QByteArray &folder) {
        QTest::newRow(qPrintable(address)) << address << folder;
    };
    row(u""_s, "");
    row(u"https://content.example/harrowfen/beta/manifest.json"_s, "https://content.example/harrowfen/beta/");
    row(u"https://content.example/manifest.json"_s, "https://content.example/");
    row(u"https://content.example/harrowfen/"_s, "https://content.example/harrowfen/");
    row(u"https://content.example:8443/a b/Übung/m.json"_s, "https://content.example:8443/a%20b/%C3%9Cbung/");
    row(u"https://content.example/a%20b/m.json"_s, "https://content.example/a%20b/");
    row(u"https://content.example/50%/m.json"_s, "https://content.example/50%25/");
}

void tst_UpdateManager::baseUrlIsTheManifestsFolder()
{
    QFETCH(QString, address);
    QFETCH(QByteArray, folder);
    manager_->setManifestUrl(address);
    QCOMPARE(manager_->manifestBaseUrl().toEncoded(), folder);
}

tst_UpdateManager::Cost tst_UpdateManager::bestOfThreeChecks(int files)
{
    serve(longBuild(8, files, u'2'));
    const Manifest installed = longBuild(7, files, u'1');
    Cost best{std::numeric_limits<qint64>::max(), std::numeric_limits<std::clock_t>::max()};
    for (int run = 0; run < 3; ++run) {
        const std::clock_t workBefore = std::clock();
        QElapsedTimer clock;
        clock.start();
        check(installed);
        best.elapsedMs = std::min(best.elapsedMs, clock.elapsed());
        best.work = std::min(best.work, std::clock() - workBefore);
    }
    return best;
}

void tst_UpdateManager::hundredThousandFilesAreCheckedQuickly()
{
    const Cost few = bestOfThreeChecks(1'000);
    QCOMPARE(changed_.size(), 500);
    const Cost many = bestOfThreeChecks(100'000);
    QCOMPARE(changed_.size(), 50'000);
    // Ten times what they need at most: a hundred times the files take a hundred times the work, on any machine.
    QVERIFY2(many.elapsedMs < 30'000 * slowdown, qPrintable(u"%1 ms"_s.arg(many.elapsedMs)));
    QVERIFY2(many.work < 1000 * few.work, qPrintable(u"%1 against %2"_s.arg(many.work).arg(few.work)));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_UpdateManager>(argc, argv);
}

#include "tst_UpdateManager.moc"
