#include "shell/TrayIcon.h"

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QSystemTrayIcon>
#include <QTimer>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using velmo::test::LogCapture;

namespace {

bool desktopHasATray = true;

} // namespace

// In the place of the library's own, so that a desktop's tray can come and go.
bool QSystemTrayIcon::isSystemTrayAvailable()
{
    return desktopHasATray;
}

namespace {

const QString refused = u"Tray requested but this desktop has no system tray"_s;
const QString active = u"Tray icon active"_s;

struct Fixture {
    Fixture() { desktopHasATray = true; }
    ~Fixture() { tray.setEnabled(false); }
    Q_DISABLE_COPY_MOVE(Fixture)

    QSystemTrayIcon *icon() const { return tray.findChild<QSystemTrayIcon *>(); }
    QAction *status() const { return icon()->contextMenu()->actions().first(); }

    LogCapture log;
    ConfigManager config;
    QNetworkAccessManager network;
    ApiClient api;
    GameManager game{&config, &api, &network};
    TrayIcon tray{&config, &game};
};

/// The whole window, with an icon of its own, in the moment after it was asked to come back from the tray. Its system
/// tells that it is minimised, and has not brought it to the front yet.
struct ReturningWindow : Fixture {
    ReturningWindow()
    {
        config.setValue(u"launcher.minimizeToTray"_s, true);
        window = std::make_unique<MainWindow>(&config, &game, &api);
        window->show();
        emit game.stateChanged(GameState::Running, QString()); // hides it
        QVERIFY(window->isHidden());
        window->restoreFromTray();
        window->overrideWindowState(Qt::WindowMinimized);
        QCoreApplication::processEvents();
        QVERIFY(!window->isHidden());
    }

    std::unique_ptr<MainWindow> window;
};

} // namespace

/// The icon on a desktop without a window system, whose tray comes and goes.
class tst_TrayIcon : public QObject {
    Q_OBJECT

private slots:
    void iconStaysWhereItsTrayGoes();
    void iconIsRefusedUntilThereIsATray();
    void ampersandsAreShownAndMarkNoLetter();
    void windowThatDoesNotComeBackIsHiddenAgain();
    void windowThatCameBackUnnoticedIsHiddenAsUsual();
};

void tst_TrayIcon::iconStaysWhereItsTrayGoes()
{
    Fixture f;
    f.tray.setEnabled(true);
    const QSystemTrayIcon *const first = f.icon();
    QVERIFY(f.tray.isVisible());
    desktopHasATray = false; // as while a desktop starts its panel anew
    f.tray.setEnabled(true);
    QCOMPARE(f.log.count(QtWarningMsg, u"velmo.ui"_s, refused), 1);
    QVERIFY(f.tray.isVisible());
    QCOMPARE(f.icon(), first);
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    emit f.game.stateChanged(GameState::Installed, u"Ready"_s);
    QCOMPARE(f.status()->text(), u"Ready"_s);
    f.tray.setEnabled(false);
    QVERIFY(!f.tray.isVisible());
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
}

void tst_TrayIcon::iconIsRefusedUntilThereIsATray()
{
    Fixture f;
    QGuiApplication::setQuitOnLastWindowClosed(true);
    desktopHasATray = false;
    f.tray.setEnabled(true);
    QVERIFY(!f.icon());
    QVERIFY(!f.tray.isVisible());
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
    QCOMPARE(f.log.count(QtWarningMsg, u"velmo.ui"_s, refused), 1);
    QCOMPARE(f.log.count(QtInfoMsg, u"velmo.ui"_s, active), 0);
    desktopHasATray = true;
    f.tray.setEnabled(true);
    QVERIFY(f.tray.isVisible());
    QCOMPARE(f.log.count(QtInfoMsg, u"velmo.ui"_s, active), 1);
}

void tst_TrayIcon::ampersandsAreShownAndMarkNoLetter()
{
    Fixture f;
    f.tray.setEnabled(true);
    emit f.game.stateChanged(GameState::Downloading, u"Sword & Sorcery && more"_s);
    QCOMPARE(f.status()->text(), u"Sword && Sorcery &&&& more"_s);
    QCOMPARE(f.icon()->toolTip(), u"NORTH & SOUTH\nSword & Sorcery && more"_s);
    emit f.game.stateChanged(GameState::Installed, u"NORTH & SOUTH"_s);
    QCOMPARE(f.status()->text(), u"NORTH && SOUTH"_s);
}

void tst_TrayIcon::windowThatDoesNotComeBackIsHiddenAgain()
{
    const ReturningWindow f;
    QTRY_VERIFY_WITH_TIMEOUT(f.window->isHidden(), 60'000); // it has five seconds
}

void tst_TrayIcon::windowThatCameBackUnnoticedIsHiddenAsUsual()
{
    const ReturningWindow f;
    bool over = false; // in the same loop as the window's own five seconds, and so after them
    QTimer::singleShot(6000, f.window.get(), [&over] { over = true; });
    QWidget other;
    other.show();
    QTRY_VERIFY(other.isActiveWindow());
    f.window->overrideWindowState(Qt::WindowNoState); // on the screen, behind the other one
    QTRY_VERIFY(over);
    QVERIFY(!f.window->isHidden());
    f.window->overrideWindowState(Qt::WindowMinimized);
    QCoreApplication::processEvents();
    QVERIFY(f.window->isHidden());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_TrayIcon, QApplication>(argc, argv);
}

#include "tst_TrayIcon.moc"
