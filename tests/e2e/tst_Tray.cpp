#include "Hand.h"

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "shell/TrayIcon.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"

#include <QAbstractEventDispatcher>
#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using velmo::test::LogCapture;

namespace {

constexpr int patienceMs = 30'000; // with other programs: the tray, the launcher as a player starts it

/// The notice on the screen; null when there is none.
QWidget *balloon()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *candidate : windows) {
        if (candidate->inherits("QBalloonTip") && candidate->isVisible()) {
            return candidate;
        }
    }
    return nullptr;
}

QString askHand(const QStringList &arguments)
{
    QProcess process;
    process.start(u"xdotool"_s, arguments);
    process.waitForFinished();
    return QString::fromUtf8(process.readAllStandardOutput());
}

/// Where the window system has \a window, whatever Qt takes its place to be.
QRect placeOnScreen(const QWidget &window)
{
    QHash<QString, int> values;
    const QStringList lines =
        askHand({u"getwindowgeometry"_s, u"--shell"_s, QString::number(window.winId())}).split(u'\n');
    for (const QString &line : lines) {
        values.insert(line.section(u'=', 0, 0), line.section(u'=', 1).toInt());
    }
    return {values.value(u"X"_s), values.value(u"Y"_s), values.value(u"WIDTH"_s), values.value(u"HEIGHT"_s)};
}

/// Whether the window system has \a window on the screen, whatever Qt takes it to be.
bool isOnScreen(const QWidget &window)
{
    const QString pid = QString::number(QCoreApplication::applicationPid());
    const QStringList numbers =
        askHand({u"search"_s, u"--all"_s, u"--onlyvisible"_s, u"--pid"_s, pid, u"--name"_s, u".*"_s}).split(u'\n');
    return numbers.contains(QString::number(window.winId()));
}

/// Counts how often a window is hidden.
class HideCounter : public QObject {
public:
    explicit HideCounter(QWidget &window) { window.installEventFilter(this); }

    int count() const { return count_; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Hide && !event->spontaneous()) {
            ++count_;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    int count_ = 0;
};

/// Runs the event loop until it is told to quit. Its exit code, which is not 0 when nobody does.
int runUntilQuit()
{
    // Gone when the loop ends: an exit that comes in a later test would end every loop of that one.
    QTimer patience;
    patience.setSingleShot(true);
    QObject::connect(&patience, &QTimer::timeout, qApp, [] { QCoreApplication::exit(3); });
    patience.start(patienceMs);
    return QApplication::exec();
}

} // namespace

/// The window and its icon in a real tray, clicked on by a real mouse.
class tst_Tray : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void iconIsSeenInTheTray();
    void settingMakesAndRemovesTheIcon();
    void enablingTwiceMakesOneIcon();
    void disablingWithoutAnIconStillEndsWithTheLastWindow();
    void menuAndToolTipTellTheStatus();
    void statusOfTheTimeWithoutAnIconIsShownAtOnce();
    void menuGoesWithTheIcon();
    void contextMenuStandsInOrder();

    void minimisingHidesTheWindow();
    void hiddenWindowHasLeftTheScreen();
    void geometryIsSavedBeforeTheWindowIsHidden();
    void clickBringsTheWindowBack();
    void doubleClickBringsTheWindowBack();
    void menuBringsTheWindowBack();
    void otherClicksDoNothing();
    void maximizedWindowComesBackMaximized();
    void maximizedWindowComesBackNormalWhereGeometryIsNotKept();
    void windowThatIsBackAtOnceStays();
    void lateReportDoesNotHideTheReturningWindow_data();
    void lateReportDoesNotHideTheReturningWindow();
    void hidingThatWaitsLeavesTheReturningWindow();
    void runningGameHidesTheWindow();
    void hidingTellsWhereTheWindowWent();
    void noticeIsShownOnce();
    void noticeWaitsForAnIcon();
    void switchingTheTrayOffBringsTheWindowBack();

    void quitActionSavesAndQuits();
    void closingTheWindowQuits();

    void programOpensToTheTray_data();
    void programOpensToTheTray();

private:
    QSystemTrayIcon *icon() const { return window_->findChild<QSystemTrayIcon *>(); }
    QAction *action(int index) const { return icon()->contextMenu()->actions().at(index); }
    /// Puts the window there, and waits until the window system has.
    void placeWindow(const QRect &place);
    /// Where the icon lies, once the tray has taken it up.
    QPoint spot() const;

    std::unique_ptr<LogCapture> log_;
    std::unique_ptr<ConfigManager> config_;
    std::unique_ptr<QNetworkAccessManager> network_;
    std::unique_ptr<ApiClient> api_;
    std::unique_ptr<GameManager> game_;
    std::unique_ptr<MainWindow> window_;
    TrayIcon *tray_ = nullptr;
};

void tst_Tray::initTestCase()
{
    QVERIFY2(demo::handIsThere(), "this test needs an X display and xdotool");
    QTRY_VERIFY2_WITH_TIMEOUT(TrayIcon::isSupported(), "this test needs a system tray", patienceMs);
    const LogCapture quiet;
    theme::Theme::apply();
}

void tst_Tray::init()
{
    log_ = std::make_unique<LogCapture>();
    config_ = std::make_unique<ConfigManager>();
    config_->setValue(u"launcher.minimizeToTray"_s, true);
    network_ = std::make_unique<QNetworkAccessManager>();
    api_ = std::make_unique<ApiClient>();
    game_ = std::make_unique<GameManager>(config_.get(), api_.get(), network_.get());
    window_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    tray_ = window_->findChild<TrayIcon *>();
    window_->show();
    QVERIFY(demo::bringForward(*window_));
    QVERIFY(tray_->isVisible());
}

void tst_Tray::cleanup()
{
    window_.reset();
    game_.reset();
    api_.reset();
    network_.reset();
    config_.reset();
    log_.reset();
}

void tst_Tray::placeWindow(const QRect &place)
{
    window_->setGeometry(place);
    QTRY_COMPARE(placeOnScreen(*window_), place);
    QTRY_COMPARE(window_->geometry(), place);
}

QPoint tst_Tray::spot() const
{
    const bool placed = QTest::qWaitFor(
        [this] {
            const QRect place = icon()->geometry();
            return place.width() > 4 && QGuiApplication::primaryScreen()->geometry().contains(place) && place.x() > 0;
        },
        patienceMs);
    return placed ? icon()->geometry().center() : QPoint(-1, -1);
}

void tst_Tray::iconIsSeenInTheTray()
{
    QVERIFY(spot().x() > 0);
    const QRect place = icon()->geometry();
    // The mark's warm end is in no other thing on this screen.
    const auto isWarm = [](const QColor &color) { return color.red() > 180 && color.blue() < 150; };
    QTRY_VERIFY([&] {
        const QImage seen = QGuiApplication::primaryScreen()
                                ->grabWindow(0, place.x(), place.y(), place.width(), place.height())
                                .toImage();
        for (int y = 0; y < seen.height(); ++y) {
            for (int x = 0; x < seen.width(); ++x) {
                if (isWarm(seen.pixelColor(x, y))) {
                    return true;
                }
            }
        }
        return false;
    }());
}

void tst_Tray::settingMakesAndRemovesTheIcon()
{
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    QVERIFY(log_->contains(QtInfoMsg, u"velmo.ui"_s, u"Tray icon active"_s));
    config_->setValue(u"launcher.minimizeToTray"_s, false);
    QVERIFY(!tray_->isVisible());
    QTRY_VERIFY(!icon()); // it goes when the loop turns
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
    QVERIFY(window_->isVisible());
    config_->setValue(u"launcher.minimizeToTray"_s, true);
    QVERIFY(tray_->isVisible());
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    QCOMPARE(log_->count(QtInfoMsg, u"velmo.ui"_s, u"Tray icon active"_s), 2);
}

void tst_Tray::enablingTwiceMakesOneIcon()
{
    const QSystemTrayIcon *const first = icon();
    tray_->setEnabled(true);
    QCOMPARE(window_->findChildren<QSystemTrayIcon *>().size(), 1);
    QCOMPARE(icon(), first);
    QCOMPARE(log_->count(QtInfoMsg, u"velmo.ui"_s, u"Tray icon active"_s), 1);
}

void tst_Tray::disablingWithoutAnIconStillEndsWithTheLastWindow()
{
    tray_->setEnabled(false);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    tray_->setEnabled(false);
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
}

void tst_Tray::menuAndToolTipTellTheStatus()
{
    emit game_->stateChanged(GameState::UpdateAvailable, u"1.2 GB to download"_s);
    QCOMPARE(icon()->toolTip(), u"HARROWFEN\n1.2 GB to download"_s);
    QCOMPARE(action(0)->text(), u"1.2 GB to download"_s);
    emit game_->stateChanged(GameState::Installed, QString());
    QCOMPARE(icon()->toolTip(), u"HARROWFEN\n"_s + GameManager::stateLabel(GameState::Installed));
    QCOMPARE(action(0)->text(), GameManager::stateLabel(GameState::Installed));
}

void tst_Tray::statusOfTheTimeWithoutAnIconIsShownAtOnce()
{
    tray_->setEnabled(false);
    config_->setValue(u"launcher.autoCheckUpdates"_s, false);
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(u".velmo"_s));
    QFile record(folder.filePath(u".velmo/installed.json"_s));
    QVERIFY(record.open(QIODevice::WriteOnly) && record.write("{}") > 0);
    record.close();
    config_->setValue(u"game.installPath"_s, folder.path());
    game_->start();
    QCOMPARE(game_->state(), GameState::UpdateAvailable);
    QCOMPARE(game_->detail(), u"Game files are incomplete"_s);
    QTRY_VERIFY(!icon());
    tray_->setEnabled(true);
    QCOMPARE(icon()->toolTip(), u"HARROWFEN\nGame files are incomplete"_s);
    QCOMPARE(action(0)->text(), u"Game files are incomplete"_s);
}

void tst_Tray::menuGoesWithTheIcon()
{
    const QPointer<QMenu> switchedOff = icon()->contextMenu();
    QVERIFY(switchedOff);
    tray_->setEnabled(false);
    QTRY_VERIFY(!switchedOff);
    tray_->setEnabled(true);
    const QPointer<QMenu> closed = icon()->contextMenu();
    QVERIFY(closed);
    window_.reset();
    QVERIFY(!closed);
}

void tst_Tray::contextMenuStandsInOrder()
{
    const QList<QAction *> actions = icon()->contextMenu()->actions();
    QCOMPARE(actions.size(), 5);
    QVERIFY(!actions.at(0)->isEnabled());
    QVERIFY(actions.at(1)->isSeparator());
    QCOMPARE(actions.at(2)->text(), u"Open launcher"_s);
    QVERIFY(actions.at(3)->isSeparator());
    QCOMPARE(actions.at(4)->text(), u"Quit"_s);
}

void tst_Tray::minimisingHidesTheWindow()
{
    placeWindow({90, 120, 900, 600});
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QCOMPARE(config_->intValue(u"window.width"_s, 0), 900); // the geometry went to the settings
}

void tst_Tray::hiddenWindowHasLeftTheScreen()
{
    QVERIFY(isOnScreen(*window_));
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    // The window manager takes one thing up after the other: with this window there, the other's have been done.
    QWidget last;
    last.show();
    QVERIFY(demo::bringForward(last));
    QVERIFY(isOnScreen(last));
    QVERIFY(!isOnScreen(*window_));
}

void tst_Tray::geometryIsSavedBeforeTheWindowIsHidden()
{
    config_->setValue(u"window.maximized"_s, true); // so that each of the five changes
    placeWindow({90, 120, 900, 600});
    QStringList keys;
    QList<bool> hidden;
    const QObject length; // of this function, which ends before the settings do
    connect(config_.get(), &ConfigManager::changed, &length, [&](const QString &key) {
        keys.append(key);
        hidden.append(window_->isHidden());
    });
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QCOMPARE(keys,
             QStringList({u"window.maximized"_s, u"window.width"_s, u"window.height"_s, u"window.x"_s, u"window.y"_s}));
    QCOMPARE(hidden, QList<bool>(5, false));
}

void tst_Tray::clickBringsTheWindowBack()
{
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QVERIFY(demo::clickAt(spot()));
    QTRY_VERIFY(isOnScreen(*window_) && !window_->isMinimized());
    QVERIFY(window_->isVisible());
}

void tst_Tray::doubleClickBringsTheWindowBack()
{
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    const QSignalSpy restored(tray_, &TrayIcon::restoreRequested);
    emit icon()->activated(QSystemTrayIcon::DoubleClick);
    QCOMPARE(restored.size(), 1);
    QTRY_VERIFY(window_->isVisible() && !window_->isMinimized());
}

void tst_Tray::menuBringsTheWindowBack()
{
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QVERIFY(demo::rightClickAt(spot()));
    QMenu *menu = icon()->contextMenu();
    QTRY_VERIFY(menu->isVisible());
    QVERIFY(window_->isHidden()); // the click for the menu opens nothing else
    QVERIFY(demo::clickAt(menu->mapToGlobal(menu->actionGeometry(action(2)).center())));
    QTRY_VERIFY(window_->isVisible());
}

void tst_Tray::otherClicksDoNothing()
{
    const QSignalSpy restored(tray_, &TrayIcon::restoreRequested);
    emit icon()->activated(QSystemTrayIcon::Context);
    emit icon()->activated(QSystemTrayIcon::MiddleClick);
    emit icon()->activated(QSystemTrayIcon::Unknown);
    QCOMPARE(restored.size(), 0);
}

void tst_Tray::maximizedWindowComesBackMaximized()
{
    window_->showMaximized();
    QTRY_VERIFY(window_->isMaximized());
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    window_->restoreFromTray();
    QTRY_VERIFY(window_->isVisible() && window_->isMaximized());
}

void tst_Tray::maximizedWindowComesBackNormalWhereGeometryIsNotKept()
{
    config_->setValue(u"launcher.rememberWindowGeometry"_s, false);
    window_->showMaximized();
    QTRY_VERIFY(window_->isMaximized());
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    window_->restoreFromTray();
    QTRY_VERIFY(window_->isVisible() && !window_->isMaximized() && !window_->isMinimized());
}

void tst_Tray::windowThatIsBackAtOnceStays()
{
    // As the window system tells it; the hiding waits for the event loop. A real window manager would have the last
    // word.
    window_->overrideWindowState(Qt::WindowMinimized);
    QVERIFY(window_->isMinimized());
    window_->restoreFromTray();
    QVERIFY(!QTest::qWaitFor([this] { return window_->isHidden(); }, 300)); // time is what this tests
    QVERIFY(!window_->isMinimized());
}

void tst_Tray::lateReportDoesNotHideTheReturningWindow_data()
{
    QTest::addColumn<int>("timesRestored");
    QTest::newRow("click") << 1;
    QTest::newRow("double click") << 2; // which restores with each of its clicks
}

void tst_Tray::lateReportDoesNotHideTheReturningWindow()
{
    QFETCH(const int, timesRestored);
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    const HideCounter hides(*window_);
    for (int i = 0; i < timesRestored; ++i) {
        window_->restoreFromTray();
    }
    window_->overrideWindowState(Qt::WindowMinimized); // as the window system tells it
    QCoreApplication::processEvents();
    QCOMPARE(hides.count(), 0);
    window_->overrideWindowState(Qt::WindowNoState);
    QTRY_VERIFY(isOnScreen(*window_));
    QVERIFY(!window_->isMinimized());
    QCOMPARE(hides.count(), 0);
}

void tst_Tray::hidingThatWaitsLeavesTheReturningWindow()
{
    window_->overrideWindowState(Qt::WindowMinimized); // as the window system tells it; the hiding waits for the loop
    emit game_->stateChanged(GameState::Running, QString());
    QVERIFY(window_->isHidden());
    const HideCounter hides(*window_);
    window_->restoreFromTray();
    window_->overrideWindowState(Qt::WindowMinimized);
    QCoreApplication::processEvents();
    QCOMPARE(hides.count(), 0);
    window_->overrideWindowState(Qt::WindowNoState);
    QTRY_VERIFY(isOnScreen(*window_));
    QCOMPARE(hides.count(), 0);
}

void tst_Tray::runningGameHidesTheWindow()
{
    emit game_->stateChanged(GameState::Launching, QString());
    QVERIFY(window_->isVisible());
    emit game_->stateChanged(GameState::Running, QString());
    QVERIFY(window_->isHidden());
    emit game_->stateChanged(GameState::Installed, QString());
    QVERIFY(window_->isHidden()); // whoever closed the game opens the launcher when they want it
}

void tst_Tray::hidingTellsWhereTheWindowWent()
{
    QVERIFY(spot().x() > 0);
    QVERIFY(!balloon());
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QTRY_VERIFY(balloon());
    QStringList texts;
    QImage picture;
    const QList<QLabel *> labels = balloon()->findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        if (!label->text().isEmpty()) {
            texts.append(label->text());
        }
        if (!label->pixmap().isNull()) {
            picture = label->pixmap().toImage();
        }
    }
    texts.sort();
    QCOMPARE(texts, QStringList({u"HARROWFEN"_s, u"Still running here. Click the icon to bring the launcher back."_s}));
    const QIcon information = QApplication::style()->standardIcon(QStyle::SP_MessageBoxInformation);
    QVERIFY(!picture.isNull());
    QCOMPARE(picture, information.pixmap(picture.size()).toImage());
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(balloon());
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.first().interval, 4000);
}

void tst_Tray::noticeIsShownOnce()
{
    QVERIFY(spot().x() > 0);
    tray_->showHiddenNotice();
    QTRY_VERIFY(balloon());
    balloon()->close();
    QTRY_VERIFY(!balloon());
    tray_->showHiddenNotice();
    tray_->setEnabled(false);
    tray_->setEnabled(true);
    tray_->showHiddenNotice();
    QTest::qWait(300); // time is what this tests: nothing comes
    QVERIFY(!balloon());
}

void tst_Tray::noticeWaitsForAnIcon()
{
    tray_->setEnabled(false);
    tray_->showHiddenNotice(); // nobody sees it
    QTRY_VERIFY(!icon());
    QVERIFY(!balloon());
    tray_->setEnabled(true);
    QVERIFY(spot().x() > 0);
    tray_->showHiddenNotice();
    QTRY_VERIFY(balloon());
}

void tst_Tray::switchingTheTrayOffBringsTheWindowBack()
{
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    config_->setValue(u"launcher.minimizeToTray"_s, false);
    QVERIFY(window_->isVisible());
    QVERIFY(!window_->isMinimized());
}

void tst_Tray::quitActionSavesAndQuits()
{
    placeWindow({120, 130, 900, 600});
    QVERIFY(!QTest::currentTestFailed());
    // A window that is still on the screen is closed on the way out, which saves too.
    window_->showMinimized();
    QTRY_VERIFY(window_->isHidden());
    QTimer::singleShot(0, this, [this] {
        config_->setValue(u"window.x"_s, 7); // so that what hiding saved is not what is found
        config_->setValue(u"window.y"_s, 8);
        action(4)->trigger();
    });
    QCOMPARE(runUntilQuit(), 0);
    QVERIFY(log_->contains(QtInfoMsg, u"velmo.app"_s, u"Quit requested from the tray"_s));
    ConfigManager reread;
    reread.load();
    QCOMPARE(reread.intValue(u"window.x"_s, -1), 120);
    QCOMPARE(reread.intValue(u"window.y"_s, -1), 130);
}

void tst_Tray::closingTheWindowQuits()
{
    QTimer::singleShot(0, window_.get(), &QWidget::close);
    QCOMPARE(runUntilQuit(), 0);
    QVERIFY(log_->contains(QtInfoMsg, u"velmo.app"_s, u"Launcher closing"_s));
}

void tst_Tray::programOpensToTheTray_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<bool>("maximized");
    QTest::addColumn<bool>("toTray");
    QTest::addColumn<bool>("visible");
    QTest::newRow("at sign-in") << u"--autostart"_s << false << true << false;
    QTest::newRow("by hand") << u"--other"_s << false << false << true;
    QTest::newRow("in capitals") << u"--AUTOSTART"_s << false << false << true;
    // A window that was saved maximised shows itself while it is made.
    QTest::newRow("at sign-in, maximised") << u"--autostart"_s << true << true << true;
}

void tst_Tray::programOpensToTheTray()
{
    QFETCH(const QString, argument);
    QFETCH(const bool, maximized);
    QFETCH(const bool, toTray);
    QFETCH(const bool, visible);
    const QTemporaryDir home;
    const QString folder = home.filePath(u".config/VelmoGames/Launcher"_s);
    QVERIFY(QDir().mkpath(folder));
    QFile settings(folder + u"/launcher.json"_s);
    QVERIFY(settings.open(QIODevice::WriteOnly));
    settings.write(maximized ? R"({"launcher":{"minimizeToTray":true,"autoCheckUpdates":false},
                                   "window":{"x":10,"y":10,"width":900,"height":600,"maximized":true}})"
                             : R"({"launcher":{"minimizeToTray":true,"autoCheckUpdates":false}})");
    settings.close();
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u".config"_s));
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(QStringLiteral(VELMO_LAUNCHER), {argument});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += program.readAll()).contains("Launcher ready."), patienceMs);
    QCOMPARE(output.contains("Autostart: opening to the tray"), toTray);
    QVERIFY(output.contains("Tray icon active"));
    const auto isSeen = [&program] {
        QProcess search;
        search.start(u"xdotool"_s, {u"search"_s, u"--all"_s, u"--onlyvisible"_s, u"--pid"_s,
                                    QString::number(program.processId()), u"--name"_s, u"HARROWFEN"_s});
        search.waitForFinished();
        return !search.readAllStandardOutput().trimmed().isEmpty();
    };
    QTRY_COMPARE_WITH_TIMEOUT(isSeen(), visible, patienceMs);
    program.kill();
    QVERIFY(program.waitForFinished());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Tray, QApplication>(argc, argv);
}

#include "tst_Tray.moc"
