#include "core/Application.h"
#include "core/AutostartStore.h"
#include "core/ConfigManager.h"
#include "core/Paths.h"
#include "game/DownloadManager.h"
#include "game/GameManager.h"
#include "net/AccountManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "support/PlainText.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QSet>
#include <QSslSocket>
#include <QSysInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <utility>

using namespace Qt::Literals::StringLiterals;
using velmo::test::plainText;
using velmo::test::readFile;
using velmo::test::TestEnvironment;
using velmo::test::writeFile;

// The program's own objects are its private affair, and the order in which they go is what it is judged by. An explicit
// instantiation may name what is private, which opens them here and nowhere else.
namespace velmo {

/// All that the program owns.
struct Parts {
    ConfigManager *config;
    QNetworkAccessManager *network;
    ApiClient *api;
    AccountManager *account;
    GameManager *game;
    MainWindow *window;
};
Parts partsOf(const Application &application);

template<auto config, auto network, auto api, auto account, auto game, auto window>
struct Opening {
    friend Parts partsOf(const Application &application)
    {
        return {(application.*config).get(),  (application.*network).get(), (application.*api).get(),
                (application.*account).get(), (application.*game).get(),    (application.*window).get()};
    }
};
template struct Opening<&Application::config, &Application::network, &Application::api, &Application::account,
                        &Application::game, &Application::window>;

} // namespace velmo

namespace {

#ifdef Q_OS_WIN
constexpr int terminatedByAnException = 3; // MinGW's runtime aborts, whatever the program has set for this
#else
constexpr int terminatedByAnException = 17;
#endif

// What this program does as a child: one Application in one process, as in the launcher itself.

void print(const char *name, const QString &value)
{
    std::fprintf(stdout, "%s=%s\n", name, qUtf8Printable(value));
}

void printFlag(const char *name, bool value)
{
    print(name, value ? u"yes"_s : u"no"_s);
}

void printMetadata()
{
    print("name", QCoreApplication::applicationName());
    print("organization", QCoreApplication::organizationName());
    printFlag("has domain", !QCoreApplication::organizationDomain().isEmpty());
    print("version", QCoreApplication::applicationVersion());
    print("desktop entry", QGuiApplication::desktopFileName());
    printFlag("has icon", !QGuiApplication::windowIcon().pixmap(32).isNull());
    printFlag("quits on last window", QGuiApplication::quitOnLastWindowClosed());
    printFlag("data directory", QFile::exists(velmo::dataDirectory()));
}

QByteArray profileWithManifestAt(quint16 port)
{
    const QJsonObject channel{{u"id"_s, u"release"_s},
                              {u"name"_s, u"Release"_s},
                              {u"manifest"_s, u"https://127.0.0.1:%1/manifest.json"_s.arg(port)}};
    return QJsonDocument(QJsonObject{{u"title"_s, u"TEST GAME"_s}, {u"channels"_s, QJsonArray{channel}}}).toJson();
}

/// The update check runs into a server that accepts and never says a word; the launcher is closed while it waits.
int runAgainstASilentServer(velmo::Application &application)
{
    QTcpServer silent;
    silent.listen(QHostAddress::LocalHost);
    const QString override = QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s);
    writeFile(override, profileWithManifestAt(silent.serverPort()));
    QElapsedTimer sinceTheRequest;
    QObject::connect(&silent, &QTcpServer::newConnection, &application, [&silent, &sinceTheRequest] {
        const QTcpSocket *const client = silent.nextPendingConnection();
        QObject::connect(client, &QTcpSocket::readyRead, client, [&sinceTheRequest] {
            sinceTheRequest.start();
            QCoreApplication::quit();
        });
    });
    if (!application.start()) {
        return 1;
    }
    const int code = velmo::Application::exec();
    constexpr qint64 requestLimitMs = 10'000;
    printFlag("waited for the request",
              !sinceTheRequest.isValid() || sinceTheRequest.hasExpired(requestLimitMs - 1'000));
    return code;
}

/// A sign-in entry that an earlier folder of the launcher left behind.
class StaleStore : public velmo::AutostartStore {
public:
    bool supported() const override { return true; }
    QString read() const override { return u"\"/gone/VelmoLauncher\" --autostart"_s; }
    QSettings::Status write(const QString & /*command*/) override { return QSettings::NoError; }
    QSettings::Status remove() override { return QSettings::NoError; }
};

/// Sees at the window's first paint whether a request has left by then, and whether one has right after; it can also
/// keep the window from painting.
class FirstPaint : public QObject {
public:
    /// \a seen is called when all is seen.
    FirstPaint(bool painting, std::function<void()> seen)
        : painting_(painting)
        , seen_(std::move(seen))
    {}

    void tell() const
    {
        if (painted_) {
            printFlag("a request has left", hadLeft_);
        }
        if (painting_) {
            printFlag("a request has left then", hadLeftThen_);
        }
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (auto *network = qobject_cast<QNetworkAccessManager *>(watched)) {
            networks_.insert(network);
        }
        const auto *widget = qobject_cast<QWidget *>(watched);
        if (event->type() != QEvent::Paint || !widget || !widget->isWindow()) {
            return QObject::eventFilter(watched, event);
        }
        if (!std::exchange(painted_, true)) {
            hadLeft_ = requestHasLeft();
            // The launcher's own turn lies between these two.
            QTimer::singleShot(0, this, [this] {
                QTimer::singleShot(0, this, [this] {
                    hadLeftThen_ = requestHasLeft();
                    seen_();
                });
            });
        }
        return !painting_;
    }

private:
    bool requestHasLeft() const
    {
        return std::any_of(networks_.begin(), networks_.end(),
                           [](const QObject *network) { return network->findChild<QNetworkReply *>(); });
    }

    bool painting_;
    bool painted_ = false;
    bool hadLeft_ = false;
    bool hadLeftThen_ = false;
    std::function<void()> seen_;
    QSet<QNetworkAccessManager *> networks_;
};

/// Runs until the window's first paint is seen and a client has come to the server of the check for updates, which may
/// be in either order.
int runUntilTheRequestArrives(velmo::Application &application, bool painting)
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const QString override = QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s);
    writeFile(override, profileWithManifestAt(server.serverPort()));
    int awaited = 2;
    const auto come = [&awaited] {
        if (--awaited == 0) {
            QCoreApplication::quit();
        }
    };
    FirstPaint watch(painting, come);
    application.installEventFilter(&watch);
    bool arrived = false;
    const auto arrive = [&arrived, come] {
        arrived = true;
        come();
    };
    QObject::connect(&server, &QTcpServer::newConnection, &application, arrive, Qt::SingleShotConnection);
    const int code = application.start() ? velmo::Application::exec() : 1;
    watch.tell();
    if (arrived) {
        print("the request", u"arrives"_s);
    }
    return code;
}

/// The program's own objects, told in the order in which they go; and what the stop does between.
int runAndTellTheStop(velmo::Application &application)
{
    QTcpServer silent;
    silent.listen(QHostAddress::LocalHost);
    const QString override = QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s);
    writeFile(override, profileWithManifestAt(silent.serverPort()));
    if (!application.start()) {
        return 1;
    }
    const auto tellEnd = [](QObject *object, const char *name) {
        QObject::connect(object, &QObject::destroyed, object, [name] {
            print(name, u"is gone"_s);
            // What is saved after this is there again.
            printFlag("settings saved since", QFile::exists(velmo::configFilePath()));
            QFile::remove(velmo::configFilePath());
        });
    };
    const velmo::Parts parts = velmo::partsOf(application);
    tellEnd(parts.window, "window");
    tellEnd(parts.game, "game");
    tellEnd(parts.account, "account");
    tellEnd(parts.api, "api");
    tellEnd(parts.network, "network");
    tellEnd(parts.config, "config");
    QObject::connect(&silent, &QTcpServer::newConnection, &application, [parts] {
        for (const QNetworkReply *reply : parts.api->findChildren<QNetworkReply *>()) {
            QObject::connect(reply, &QNetworkReply::finished, reply, [] { print("request", u"ends"_s); });
        }
        QFile::remove(velmo::configFilePath());
        QCoreApplication::exit(); // a quit would close the window first, which saves as well
    });
    return velmo::Application::exec();
}

/// A download goes through the manager that the program has for downloads, and not through that of the requests.
int runADownload(velmo::Application &application)
{
    if (!application.start()) {
        return 1;
    }
    const velmo::Parts parts = velmo::partsOf(application);
    parts.api->cancelAll();
    const auto count = [](const QNetworkAccessManager *network, const char *name) {
        QObject::connect(network, &QNetworkAccessManager::finished, network, [name](const QNetworkReply *reply) {
            print(name, reply->url().fileName());
            QCoreApplication::quit();
        });
    };
    count(parts.network, "downloads");
    count(parts.api->findChild<QNetworkAccessManager *>(), "requests");
    velmo::ManifestFile file;
    file.path = u"a.pak"_s;
    file.url = u"https://127.0.0.1:1/a.pak"_s;
    file.sha256 = QString(64, u'a');
    file.size = 1;
    const QTemporaryDir root;
    auto *downloads = parts.game->findChild<velmo::DownloadManager *>();
    downloads->start({file}, root.path(), QUrl(u"https://127.0.0.1:1/"_s));
    return velmo::Application::exec();
}

/// Tells whether the window stands when the entry at sign-in is looked after.
class WatchedStore : public StaleStore {
public:
    QString read() const override
    {
        printFlag("the window stands", !QApplication::topLevelWidgets().isEmpty());
        return StaleStore::read();
    }
};

/// Something that no part of the launcher expects, from within its start.
class ThrowingStore : public StaleStore {
public:
    QString read() const override { throw std::runtime_error("the store is broken"); }
};

int runAndExit(velmo::Application &application)
{
    printFlag("started", application.start());
    QTimer ending;
    ending.setSingleShot(true);
    QObject::connect(&ending, &QTimer::timeout, &ending, [] { QCoreApplication::exit(42); });
    ending.start();
    return velmo::Application::exec();
}

int runChild(int argc, char **argv)
{
    velmo::Application application(argc, argv);
    const QString scene = QCoreApplication::arguments().value(1);
    if (scene == "--metadata"_L1) {
        printMetadata();
        return 0;
    }
    if (scene == "--silent-server"_L1) {
        return runAgainstASilentServer(application);
    }
    if (scene == "--exit-code"_L1) {
        return runAndExit(application);
    }
    if (scene == "--first-paint"_L1 || scene == "--never-painted"_L1) {
        return runUntilTheRequestArrives(application, scene == "--first-paint"_L1);
    }
    if (scene == "--quit-at-once"_L1) {
        QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
        return application.start() ? velmo::Application::exec() : 1;
    }
    if (scene == "--stop"_L1) {
        return runAndTellTheStop(application);
    }
    if (scene == "--download"_L1) {
        return runADownload(application);
    }
    if (scene == "--autostart"_L1) {
        printFlag("started", application.start());
        const QWidgetList windows = QApplication::topLevelWidgets();
        printFlag("shows a window", std::any_of(windows.begin(), windows.end(),
                                                [](const QWidget *window) { return window->isVisible(); }));
        return 0;
    }
    if (scene == "--stale-autostart"_L1) {
        WatchedStore store;
        velmo::AutostartStore::replaceInstance(&store);
        const int exitCode = runAndExit(application);
        velmo::AutostartStore::replaceInstance(nullptr);
        return exitCode;
    }
    return 1;
}

// What the tests look at.

/// A loopback port on which nobody listens.
quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

/// A copy of a program in a folder of its own, with a home of its own. The game.json beside it names a manifest that
/// nobody serves.
class Installation {
public:
    explicit Installation(const QString &program = QCoreApplication::applicationFilePath())
    {
        program_ = folder_.filePath(QFileInfo(program).fileName());
        QFile::copy(program, program_);
        writeFile(filePath(u"game.json"_s), profileWithManifestAt(port_));
    }

    quint16 port() const { return port_; }
    QString filePath(const QString &name) const { return folder_.filePath(name); }
    QString home() const { return folder_.filePath(u"home"_s); }
    QString dataDirectory() const { return TestEnvironment::dataLocation(home()) + u"/VelmoGames/Launcher"_s; }
    QString settingsPath() const { return dataDirectory() + u"/launcher.json"_s; }

    void start(QProcess &process, const QStringList &arguments = {}) const
    {
        process.setProcessEnvironment(TestEnvironment::redirected(home()));
        process.start(program_, arguments);
    }
    /// A whole run; false when it does not end.
    bool run(QProcess &process, const QString &argument) const
    {
        start(process, {argument});
        return process.waitForFinished();
    }

    void writeSettings(const QByteArray &settings) const { writeFile(settingsPath(), settings); }

    QString logsDirectory() const { return dataDirectory() + u"/logs"_s; }

    /// The logs, that of the first start first.
    QStringList logNames() const
    {
        return QDir(logsDirectory()).entryList({u"launcher-*.log"_s}, QDir::Files, QDir::Name);
    }

    /// The log of a start as "LEVEL category: message", without the columns' padding.
    QStringList log(qsizetype start = 0) const
    {
        const QString path = logsDirectory() + u'/' + logNames().value(start);
        static const QRegularExpression pattern(uR"(^\S+ \S+ \[(\w+) ?\] (\S+) +(.*)$)"_s);
        QStringList result;
        const QStringList lines = QString::fromUtf8(plainText(readFile(path))).split(u'\n');
        for (const QString &line : lines) {
            const QRegularExpressionMatch match = pattern.match(line);
            if (match.hasMatch()) {
                result.append(u"%1 %2: %3"_s.arg(match.captured(1), match.captured(2), match.captured(3)));
            }
        }
        return result;
    }

    QStringList banner() const
    {
        return {u"INFO velmo.app: Velmo Games Launcher \"0.1.0\" starting"_s,
                u"INFO velmo.app: Host: \"%1\" \"%2\""_s.arg(QSysInfo::prettyProductName(),
                                                             QSysInfo::currentCpuArchitecture()),
                u"INFO velmo.app: Qt: %1 TLS: %2"_s.arg(QString::fromLatin1(qVersion()),
                                                        QSslSocket::supportsSsl() ? u"available"_s : u"unavailable"_s),
                u"INFO velmo.app: Data directory: \"%1\""_s.arg(dataDirectory())};
    }

    QString firstRunLine() const
    {
        return u"INFO velmo.config: No existing configuration, starting from defaults: \"%1\""_s.arg(settingsPath());
    }

    QString loadedLine() const { return u"INFO velmo.config: Loaded configuration from \"%1\""_s.arg(settingsPath()); }

    QString overrideLine() const
    {
        return u"INFO velmo.app: Applying game profile override from \"%1\""_s.arg(filePath(u"game.json"_s));
    }

private:
    QTemporaryDir folder_;
    QString program_;
    quint16 port_ = closedPort();
};

const QString accountLine = u"INFO velmo.account: No account service is configured for this build"_s;
const QString readyLine = u"INFO velmo.app: Launcher ready. Game profile: \"TEST GAME\""_s;
const QString stoppedLine = u"INFO velmo.app: Launcher stopped"_s;

QStringList ofCategory(const QStringList &lines, const QString &category)
{
    return lines.filter(u' ' + category + u": "_s);
}

QJsonObject settingsOf(const Installation &installation)
{
    return QJsonDocument::fromJson(readFile(installation.settingsPath())).object();
}

} // namespace

class tst_Application : public QObject {
    Q_OBJECT

private slots:
    void constructionSetsTheMetadataAndTouchesNoFile();
    void startReturnsTrueAndTheExitCodeIsThatOfTheLoop();
    void runLogsItsStepsInOrder();
    void windowIsPaintedBeforeARequestLeaves();
    void requestLeavesThoughTheWindowIsNeverPainted();
    void quitThatComesBeforeTheLoopEndsTheLauncher();
    void stopTakesTheObjectsDownInOrder();
    void downloadsHaveANetworkManagerOfTheirOwn();
    void exceptionStillRunsTheStopSequence();
    void animationsAreSwitchedOffBeforeAnythingMoves();
    void autostartWithoutATrayShowsTheWindow_data();
    void autostartWithoutATrayShowsTheWindow();
    void staleAutostartEntryIsRewrittenOnTheWay();
    void closingCancelsRequestsAndSavesTheSettings();
    void stopSavesThoughNothingWasPending();
    void unusableDataDirectoryDoesNotStopTheStart();
    void corruptSettingsDoNotStopTheStart();

    void firstRunMakesDataDirectoryLogAndSettings();
    void laterRunReadsItsSettings();
    void programLogsItsStepsInOrder();
    void programTakesTheAutostartArgument_data();
    void programTakesTheAutostartArgument();
    void twoProgramsRunSideBySide();
};

void tst_Application::constructionSetsTheMetadataAndTouchesNoFile()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--metadata"_s));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(QString::fromUtf8(plainText(child.readAllStandardOutput())), u"name=VelmoLauncher\n"
                                                                          "organization=Velmo Games\n"
                                                                          "has domain=yes\n"
                                                                          "version=0.1.0\n"
                                                                          "desktop entry=velmo-launcher\n"
                                                                          "has icon=yes\n"
                                                                          "quits on last window=yes\n"
                                                                          "data directory=no\n"_s);
    QVERIFY(!QFile::exists(installation.dataDirectory()));
}

void tst_Application::startReturnsTrueAndTheExitCodeIsThatOfTheLoop()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 42);
    QCOMPARE(plainText(child.readAllStandardOutput()), "started=yes\n");
}

void tst_Application::runLogsItsStepsInOrder()
{
    const Installation installation;
    installation.writeSettings(R"({"launcher":{"autoCheckUpdates":false}})");
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    const QStringList log = installation.log();
    QCOMPARE(ofCategory(log, u"velmo.config"_s), QStringList{installation.loadedLine()});
    QCOMPARE(ofCategory(log, u"velmo.app"_s), installation.banner()
                                                  << installation.overrideLine() << readyLine << stoppedLine);
    // The settings come before the profile, the account before the game, and the game before the ready line.
    const qsizetype settings = log.indexOf(installation.loadedLine());
    const qsizetype account = log.indexOf(accountLine);
    const qsizetype state = log.indexOf(u"INFO velmo.game: State: \"Not installed\" - \"Not installed\""_s);
    QCOMPARE(settings, installation.banner().size());
    QVERIFY(settings < log.indexOf(installation.overrideLine()));
    QVERIFY(log.indexOf(installation.overrideLine()) < account);
    QVERIFY(account < state);
    QVERIFY(state < log.indexOf(readyLine));
    QCOMPARE(log.last(), stoppedLine);
}

void tst_Application::windowIsPaintedBeforeARequestLeaves()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--first-paint"_s));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(plainText(child.readAllStandardOutput()),
             "a request has left=no\na request has left then=yes\nthe request=arrives\n");
}

void tst_Application::requestLeavesThoughTheWindowIsNeverPainted()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--never-painted"_s));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(plainText(child.readAllStandardOutput()), "a request has left=no\nthe request=arrives\n");
}

void tst_Application::quitThatComesBeforeTheLoopEndsTheLauncher()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--quit-at-once"_s));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    QVERIFY(installation.log().contains(readyLine));
    QCOMPARE(installation.log().last(), stoppedLine);
}

void tst_Application::stopTakesTheObjectsDownInOrder()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--stop"_s));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(plainText(child.readAllStandardOutput()), "request=ends\n"
                                                       "window=is gone\nsettings saved since=no\n"
                                                       "game=is gone\nsettings saved since=no\n"
                                                       "account=is gone\nsettings saved since=no\n"
                                                       "api=is gone\nsettings saved since=no\n"
                                                       "network=is gone\nsettings saved since=no\n"
                                                       "config=is gone\nsettings saved since=yes\n");
}

void tst_Application::downloadsHaveANetworkManagerOfTheirOwn()
{
    const Installation installation;
    installation.writeSettings(R"({"launcher":{"autoCheckUpdates":false}})");
    QProcess child;
    QVERIFY(installation.run(child, u"--download"_s));
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(plainText(child.readAllStandardOutput()), "downloads=a.pak\n");
}

/// It ends the program as any other would, but not before the settings are safe and the log says that all is over.
void tst_Application::exceptionStillRunsTheStopSequence()
{
    const Installation installation;
    installation.writeSettings(R"({"schema":99})");
    QProcess child;
    QVERIFY(installation.run(child, u"--exception"_s));
    QCOMPARE(child.exitCode(), terminatedByAnException);
    QCOMPARE(installation.log().last(), stoppedLine);
    QCOMPARE(settingsOf(installation).value("schema"_L1).toInt(), 1);
}

void tst_Application::animationsAreSwitchedOffBeforeAnythingMoves()
{
    const Installation installation;
    installation.writeSettings(R"({"launcher":{"autoCheckUpdates":false},"appearance":{"animations":false}})");
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    const QStringList log = installation.log();
    QCOMPARE(log.count(u"INFO velmo.ui: Interface animations off"_s), 1);
    // The theme stands, then the switch is set, and then the game has its first state.
    const QStringList fonts = log.filter(QRegularExpression(u"^INFO velmo\\.ui: Type: "_s));
    QCOMPARE(fonts.size(), 1);
    const qsizetype type = log.indexOf(fonts.first());
    const qsizetype animations = log.indexOf(u"INFO velmo.ui: Interface animations off"_s);
    const qsizetype state = log.indexOf(u"INFO velmo.game: State: \"Not installed\" - \"Not installed\""_s);
    QVERIFY(log.indexOf(installation.loadedLine()) < type);
    QVERIFY(type < animations);
    QVERIFY(animations < log.indexOf(installation.overrideLine()));
    QVERIFY(animations < state);
}

void tst_Application::autostartWithoutATrayShowsTheWindow_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::newRow("the tray is off") << QByteArray(R"({"launcher":{"autoCheckUpdates":false,"minimizeToTray":false}})");
    QTest::newRow("the desktop has none")
        << QByteArray(R"({"launcher":{"autoCheckUpdates":false,"minimizeToTray":true}})");
}

void tst_Application::autostartWithoutATrayShowsTheWindow()
{
    QFETCH(const QByteArray, settings);
    const Installation installation;
    installation.writeSettings(settings);
    QProcess child;
    QVERIFY(installation.run(child, u"--autostart"_s));
    QCOMPARE(plainText(child.readAllStandardOutput()), "started=yes\nshows a window=yes\n");
}

void tst_Application::staleAutostartEntryIsRewrittenOnTheWay()
{
    const Installation installation;
    QProcess child;
    QVERIFY(installation.run(child, u"--stale-autostart"_s));
    const QStringList log = installation.log();
    const qsizetype rewriting = log.indexOf(u"INFO velmo.app: Autostart entry points at a stale path, rewriting"_s);
    QVERIFY(rewriting >= 0);
    QCOMPARE(log.at(rewriting + 1), u"INFO velmo.app: Autostart enabled"_s);
    // After the game has read its channel, before anything starts.
    QVERIFY(log.at(rewriting - 1).startsWith(u"INFO velmo.game: Update channel is"_s));
    QVERIFY(rewriting < log.indexOf(accountLine));
    // The entry is looked after before the window; the window's settings page then asks for it, too.
    QCOMPARE(plainText(child.readAllStandardOutput()), "the window stands=no\nthe window stands=yes\nstarted=yes\n");
}

void tst_Application::closingCancelsRequestsAndSavesTheSettings()
{
    const Installation installation;
    installation.writeSettings(R"({"schema":99,"window":{"width":1000}})");
    QProcess child;
    QVERIFY(installation.run(child, u"--silent-server"_s));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
    QCOMPARE(plainText(child.readAllStandardOutput()), "waited for the request=no\n");

    const QStringList log = installation.log();
    const QStringList requests = ofCategory(log, u"velmo.net"_s);
    QCOMPARE(requests.size(), 2);
    QVERIFY2(requests.first().startsWith(u"INFO velmo.net: GET \"https://127.0.0.1:"_s), qPrintable(requests.first()));
    QVERIFY2(requests.last().startsWith(u"WARN velmo.net: Request failed: \"Operation canceled (Qt error 5, HTTP 0)"_s),
             qPrintable(requests.last()));
    // The game still stood when its request was cancelled, and took the answer.
    const QStringList check = ofCategory(log, u"velmo.update"_s);
    QCOMPARE(check.size(), 2);
    QVERIFY2(check.last().startsWith(u"WARN velmo.update: Update check failed: \"Operation canceled"_s),
             qPrintable(check.last()));
    QCOMPARE(log.last(), stoppedLine);
    // Only the memory knew the present schema: loading corrects it there and saves nothing.
    QCOMPARE(settingsOf(installation).value("schema"_L1).toInt(), 1);
    QCOMPARE(settingsOf(installation).value("window"_L1).toObject().value("width"_L1).toInt(), 1000);
}

void tst_Application::stopSavesThoughNothingWasPending()
{
    const Installation installation;
    installation.writeSettings(R"({"launcher":{"autoCheckUpdates":false}})");
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    QCOMPARE(settingsOf(installation).value("schema"_L1).toInt(), 1);
    QCOMPARE(settingsOf(installation).value("launcher"_L1).toObject().value("autoCheckUpdates"_L1), QJsonValue(false));
}

void tst_Application::unusableDataDirectoryDoesNotStopTheStart()
{
    const Installation installation;
    QVERIFY(QDir().mkpath(QFileInfo(installation.dataDirectory()).path()));
    writeFile(installation.dataDirectory(), "in the way");
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    QCOMPARE(child.exitCode(), 42);
    const QString errors = QString::fromLocal8Bit(plainText(child.readAllStandardError()));
    const QString warning =
        u"velmo.config    Could not create configuration directory \"%1\"\n"_s.arg(installation.dataDirectory());
    QCOMPARE(errors.count(warning), 2); // at the start and at the stop
    QVERIFY(errors.contains(u"velmo.app       Launcher ready."_s));
    QVERIFY(errors.endsWith(u"velmo.app       Launcher stopped\n"_s));
    QCOMPARE(readFile(installation.dataDirectory()), "in the way");
}

void tst_Application::corruptSettingsDoNotStopTheStart()
{
    const Installation installation;
    installation.writeSettings("{ not JSON");
    QProcess child;
    QVERIFY(installation.run(child, u"--exit-code"_s));
    QCOMPARE(child.exitCode(), 42);
    QVERIFY(installation.log().contains(readyLine));
    QCOMPARE(ofCategory(installation.log(), u"velmo.config"_s).size(), 1);
    QVERIFY(
        ofCategory(installation.log(), u"velmo.config"_s).first().startsWith(u"WARN velmo.config: Configuration"_s));
    QCOMPARE(settingsOf(installation).value("window"_L1).toObject().value("width"_L1).toInt(), 1400);
}

// The program itself. It runs until it is ended from outside, so these look at it while it lives.

void tst_Application::firstRunMakesDataDirectoryLogAndSettings()
{
    const Installation installation(QStringLiteral(VELMO_LAUNCHER));
    QVERIFY(!QFile::exists(installation.dataDirectory()));
    QProcess program;
    installation.start(program);
    QTRY_VERIFY(installation.log().contains(readyLine));
    QCOMPARE(program.state(), QProcess::Running);
    const QStringList log = installation.log();
    QCOMPARE(log.mid(0, 5), installation.banner() << installation.firstRunLine());
    const QStringList groups = {u"appearance"_s, u"game"_s, u"launcher"_s, u"schema"_s, u"window"_s};
    QCOMPARE(settingsOf(installation).keys(), groups);
    program.kill();
    QVERIFY(program.waitForFinished());
}

void tst_Application::laterRunReadsItsSettings()
{
    const Installation installation(QStringLiteral(VELMO_LAUNCHER));
    installation.writeSettings(R"({"launcher":{"autoCheckUpdates":false}})");
    QProcess program;
    installation.start(program);
    QTRY_VERIFY(installation.log().contains(readyLine));
    QCOMPARE(installation.log().mid(0, 5), installation.banner() << installation.loadedLine());
    QCOMPARE(ofCategory(installation.log(), u"velmo.net"_s), QStringList());
    program.kill();
    QVERIFY(program.waitForFinished());
}

void tst_Application::programLogsItsStepsInOrder()
{
    const Installation installation(QStringLiteral(VELMO_LAUNCHER));
    QProcess program;
    installation.start(program);
    QTRY_VERIFY(installation.log().contains(readyLine));
    QTRY_COMPARE(ofCategory(installation.log(), u"velmo.update"_s).size(), 2);
    const QStringList log = installation.log();
    QCOMPARE(ofCategory(log, u"velmo.app"_s), installation.banner() << installation.overrideLine() << readyLine);
    QCOMPARE(ofCategory(log, u"velmo.config"_s), QStringList{installation.firstRunLine()});
    QCOMPARE(ofCategory(log, u"velmo.account"_s), QStringList{accountLine});
    const QString address = u"https://127.0.0.1:%1/manifest.json"_s.arg(installation.port());
    const QString refused = u"\"Connection refused (Qt error 1, HTTP 0) for %1\""_s.arg(address);
    const QStringList order = {
        installation.firstRunLine(),
        installation.overrideLine(),
        u"INFO velmo.game: Update channel is \"release\" -> \"%1\""_s.arg(address),
        accountLine,
        u"INFO velmo.game: State: \"Not installed\" - \"Not installed\""_s,
        u"INFO velmo.update: Checking for updates at \"%1\""_s.arg(address),
        u"INFO velmo.net: GET \"%1\""_s.arg(address),
        readyLine,
        u"WARN velmo.net: Request failed: "_s + refused,
        u"WARN velmo.update: Update check failed: "_s + refused,
    };
    qsizetype previous = -1;
    for (const QString &line : order) {
        const qsizetype position = log.indexOf(line);
        QVERIFY2(position > previous, qPrintable(line + u" is missing or too early in:\n"_s + log.join(u'\n')));
        previous = position;
    }
    program.kill();
    QVERIFY(program.waitForFinished());
}

void tst_Application::programTakesTheAutostartArgument_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::newRow("no tray wanted") << QByteArray("{}");
    QTest::newRow("tray wanted on a desktop without one") << QByteArray(R"({"launcher":{"minimizeToTray":true}})");
}

void tst_Application::programTakesTheAutostartArgument()
{
    QFETCH(const QByteArray, settings);
    const Installation installation(QStringLiteral(VELMO_LAUNCHER));
    installation.writeSettings(settings);
    QProcess program;
    installation.start(program, {u"--autostart"_s});
    QTRY_COMPARE(ofCategory(installation.log(), u"velmo.update"_s).size(), 2);
    QCOMPARE(program.state(), QProcess::Running);
    // The argument alone hides nothing and says nothing.
    QCOMPARE(ofCategory(installation.log(), u"velmo.app"_s), installation.banner()
                                                                 << installation.overrideLine() << readyLine);
    program.kill();
    QVERIFY(program.waitForFinished());
}

/// No guard keeps a second instance out: both share one settings file.
void tst_Application::twoProgramsRunSideBySide()
{
    const Installation installation(QStringLiteral(VELMO_LAUNCHER));
    QProcess first;
    installation.start(first);
    QTRY_VERIFY(installation.log().contains(readyLine));
    QTest::qWait(1000); // a log is named after the second of its start
    QProcess second;
    installation.start(second);
    QTRY_COMPARE(installation.logNames().size(), 2);
    QTRY_VERIFY(installation.log(1).contains(readyLine));
    QVERIFY(installation.log(1).contains(installation.loadedLine()));
    QCOMPARE(first.state(), QProcess::Running);
    QCOMPARE(second.state(), QProcess::Running);
    first.kill();
    second.kill();
    QVERIFY(first.waitForFinished());
    QVERIFY(second.waitForFinished());
}

/// The program's own entry point, under the name that it has in this program.
int launcherMain(int argc, char **argv);

int main(int argc, char **argv)
{
    if (argc == 2 && QLatin1StringView(argv[1]) == "--exception"_L1) {
        std::set_terminate([] { std::_Exit(terminatedByAnException); }); // no crash report for what is meant
        ThrowingStore store;
        velmo::AutostartStore::replaceInstance(&store);
        return launcherMain(argc, argv);
    }
    if (argc == 2 && QLatin1StringView(argv[1]).startsWith("--"_L1)) {
        return runChild(argc, argv);
    }
    return velmo::test::runTest<tst_Application>(argc, argv);
}

#include "tst_Application.moc"
