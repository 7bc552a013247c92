#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "shell/NavTab.h"
#include "shell/TitleBar.h"
#include "shell/TitleBarButton.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"
#include "widgets/ChannelSelector.h"

#include <QApplication>
#include <QNetworkAccessManager>
#include <QSignalSpy>

#include <qt_windows.h>

#include <shellapi.h>

#include <cmath>
#include <memory>
#include <set>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;

namespace {

HWND handleOf(const QWidget &window)
{
    return reinterpret_cast<HWND>(window.internalWinId());
}

QRect toRect(const RECT &rect)
{
    return {QPoint(rect.left, rect.top), QPoint(rect.right - 1, rect.bottom - 1)};
}

/// The window on the screen, with all that the system counts as its frame.
QRect windowRect(const QWidget &window)
{
    RECT rect{};
    GetWindowRect(handleOf(window), &rect);
    return toRect(rect);
}

/// What of it the program paints, on the screen.
QRect clientRect(const QWidget &window)
{
    RECT rect{};
    GetClientRect(handleOf(window), &rect);
    POINT corner{0, 0};
    ClientToScreen(handleOf(window), &corner);
    return toRect(rect).translated(corner.x, corner.y);
}

MONITORINFO monitorOf(const QWidget &window)
{
    MONITORINFO info{};
    info.cbSize = sizeof(info);
    GetMonitorInfoW(MonitorFromWindow(handleOf(window), MONITOR_DEFAULTTONEAREST), &info);
    return info;
}

LRESULT hitAt(const QWidget &window, QPoint position)
{
    return SendMessageW(handleOf(window), WM_NCHITTEST, 0, MAKELPARAM(position.x(), position.y()));
}

bool isTaskbarHidden(const QWidget &window)
{
    APPBARDATA state{};
    state.cbSize = sizeof(state);
    if ((SHAppBarMessage(ABM_GETSTATE, &state) & ABS_AUTOHIDE) == 0) {
        return false;
    }
    for (const int edge : {ABE_BOTTOM, ABE_TOP, ABE_LEFT, ABE_RIGHT}) {
        APPBARDATA bar{};
        bar.cbSize = sizeof(bar);
        bar.uEdge = static_cast<UINT>(edge);
        bar.rc = monitorOf(window).rcMonitor;
        if (SHAppBarMessage(ABM_GETAUTOHIDEBAREX, &bar) != 0) {
            return true;
        }
    }
    return false;
}

/// Every pixel next to \a length's either end and to a bit beyond a resize band, and a few between them.
std::set<int> offsetsAlong(int length, int band)
{
    std::set<int> offsets;
    for (const int fromEdge : {0, 1, band / 2, band - 1, band, band + 1}) {
        offsets.insert(fromEdge);
        offsets.insert(length - 1 - fromEdge);
    }
    constexpr int stations = 24;
    for (int i = 1; i < stations; ++i) {
        offsets.insert(length * i / stations);
    }
    return offsets;
}

} // namespace

/// What the launcher's window answers to the system's own messages, on the platform plugin that players have, at the
/// device pixel ratio that QT_SCALE_FACTOR gives the process.
class tst_WindowMessages : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void ratioIsTheOneAskedFor();
    void placeIsTheOneAskedFor();
    void placeIsTheOneAskedForOfAWindowMadeLongBefore();
    void placeIsKeptFromStartToStart();
    void placeIsKeptBehindAMaximizedWindow();
    void everyPointOfTheRestoredWindowIsKnown();
    void everyPointOfTheMaximizedWindowIsKnown();
    void positionLeftOfTheScreenIsSigned();
    void captionHoldsItsControls();
    void passThroughChildOfACaptionDrags();

    void firstShowAddsTheFramesStyle();
    void laterShowLeavesTheStyleAlone();

    void restoredClientAreaIsTheWholeWindow();
    void maximizedClientAreaIsInsetInTheWorkArea();
    void calcSizeWithoutParameterIsTheSystems();
    void calcSizeOfTheRestoredWindowKeepsTheProposal();

    void sizeLimitsAreTheWorkAreaAndTheMinimum();
    void resizeStopsAtTheSmallestSize();

    void systemCommandsMaximizeAndRestore();
    void doubleClickOnTheCaptionMaximizesAndRestores();
    void controlsOfTheMaximizedWindowLieWhereTheyAreSeen();

    void otherWindowAnswersForItself();
    void closedWindowAnswersNoMore();

private:
    void openWindow();
    /// Closes the window, which saves its place, and opens another.
    void restart();
    int expectedHit(QPoint inWindow, bool maximized) const;
    void compareGrid(bool maximized);
    double ratio() const { return window_->devicePixelRatio(); }
    int scaled(double logical) const { return static_cast<int>(std::lround(logical * ratio())); }

    std::unique_ptr<ConfigManager> config_;
    std::unique_ptr<QNetworkAccessManager> network_;
    std::unique_ptr<ApiClient> api_;
    std::unique_ptr<GameManager> game_;
    std::unique_ptr<MainWindow> window_;
};

void tst_WindowMessages::initTestCase()
{
    QCOMPARE(QGuiApplication::platformName(), u"windows"_s);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    theme::Theme::apply();
}

void tst_WindowMessages::init()
{
    config_ = std::make_unique<ConfigManager>();
    config_->setValue(u"window.width"_s, 900);
    config_->setValue(u"window.height"_s, 560);
    config_->setValue(u"window.x"_s, 200);
    config_->setValue(u"window.y"_s, 100);
    network_ = std::make_unique<QNetworkAccessManager>();
    api_ = std::make_unique<ApiClient>();
    game_ = std::make_unique<GameManager>(config_.get(), api_.get(), network_.get());
    openWindow();
}

void tst_WindowMessages::cleanup()
{
    window_.reset();
    game_.reset();
    api_.reset();
    network_.reset();
    config_.reset();
}

void tst_WindowMessages::openWindow()
{
    window_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    window_->show();
    QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
}

void tst_WindowMessages::restart()
{
    window_->close();
    window_.reset();
    openWindow();
}

void tst_WindowMessages::ratioIsTheOneAskedFor()
{
    QCOMPARE(ratio(), qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
}

void tst_WindowMessages::placeIsTheOneAskedFor()
{
    QCOMPARE(window_->geometry(), QRect(200, 100, 900, 560));
    QCOMPARE(windowRect(*window_), QRect(scaled(200), scaled(100), scaled(900), scaled(560)));
}

/// As after a start into the tray.
void tst_WindowMessages::placeIsTheOneAskedForOfAWindowMadeLongBefore()
{
    window_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    window_->winId();
    QTest::qWait(100);
    window_->restoreFromTray();
    QVERIFY(QTest::qWaitForWindowExposed(window_.get()));
    QTRY_COMPARE(window_->geometry(), QRect(200, 100, 900, 560));
    QCOMPARE(clientRect(*window_), windowRect(*window_));
}

void tst_WindowMessages::placeIsKeptFromStartToStart()
{
    for (int start = 0; start < 3; ++start) {
        restart();
        QCOMPARE(window_->geometry(), QRect(200, 100, 900, 560));
    }
    window_->setGeometry(260, 140, 1000, 600);
    restart();
    QTRY_COMPARE(window_->geometry(), QRect(260, 140, 1000, 600));
}

void tst_WindowMessages::placeIsKeptBehindAMaximizedWindow()
{
    window_->showMaximized();
    for (int start = 0; start < 3; ++start) {
        QTRY_VERIFY(window_->isMaximized() && IsZoomed(handleOf(*window_)));
        restart();
    }
    QTRY_VERIFY(window_->isMaximized() && IsZoomed(handleOf(*window_)));
    window_->toggleMaximized();
    QTRY_VERIFY(!IsZoomed(handleOf(*window_)));
    QTRY_COMPARE(window_->geometry(), QRect(200, 100, 900, 560));
}

/// The bands, the corners, the caption and its controls, from the edges of the whole window in physical pixels.
int tst_WindowMessages::expectedHit(QPoint inWindow, bool maximized) const
{
    const QSize size = windowRect(*window_).size();
    if (!maximized) {
        const int band = scaled(6);
        const bool left = inWindow.x() < band;
        const bool right = inWindow.x() >= size.width() - band;
        if (inWindow.y() < band) {
            return left ? HTTOPLEFT : right ? HTTOPRIGHT : HTTOP;
        }
        if (inWindow.y() >= size.height() - band) {
            return left ? HTBOTTOMLEFT : right ? HTBOTTOMRIGHT : HTBOTTOM;
        }
        if (left || right) {
            return left ? HTLEFT : HTRIGHT;
        }
    }
    const QPoint logical(static_cast<int>(std::lround(inWindow.x() / ratio())),
                         static_cast<int>(std::lround(inWindow.y() / ratio())));
    constexpr int captionHeight = 44;
    if (logical.y() >= captionHeight || logical.x() >= window_->width()) {
        return HTCLIENT;
    }
    const auto isOn = [this, logical](const QWidget *control) {
        return QRect(control->mapTo(window_.get(), QPoint(0, 0)), control->size()).contains(logical);
    };
    const QList<NavTab *> tabs = window_->findChildren<NavTab *>();
    const QList<TitleBarButton *> buttons = window_->findChildren<TitleBarButton *>();
    const bool onControl = std::any_of(tabs.begin(), tabs.end(), isOn) ||
                           std::any_of(buttons.begin(), buttons.end(), isOn) ||
                           isOn(window_->findChild<TitleBar *>()->channelSelector());
    return onControl ? HTCLIENT : HTCAPTION;
}

void tst_WindowMessages::compareGrid(bool maximized)
{
    const QRect rect = windowRect(*window_);
    std::set<int> rows = offsetsAlong(rect.height(), scaled(6));
    for (int row = 0; row <= 46; row += 4) { // the caption, where most of it happens
        rows.insert(scaled(row));
    }
    int points = 0;
    std::set<int> seen;
    for (const int x : offsetsAlong(rect.width(), scaled(6))) {
        for (const int y : rows) {
            const int hit = static_cast<int>(hitAt(*window_, rect.topLeft() + QPoint(x, y)));
            const int expected = expectedHit({x, y}, maximized);
            QVERIFY2(hit == expected, qPrintable(u"(%1, %2) is %3 and not %4"_s.arg(x).arg(y).arg(hit).arg(expected)));
            seen.insert(hit);
            ++points;
        }
    }
    QVERIFY2(points > 400, qPrintable(QString::number(points)));
    QCOMPARE(seen.size(), maximized ? size_t(2) : size_t(10));
}

void tst_WindowMessages::everyPointOfTheRestoredWindowIsKnown()
{
    compareGrid(false);
}

void tst_WindowMessages::everyPointOfTheMaximizedWindowIsKnown()
{
    window_->showMaximized();
    QTRY_VERIFY(IsZoomed(handleOf(*window_)));
    QTRY_COMPARE(window_->size(), (QSizeF(clientRect(*window_).size()) / ratio()).toSize());
    compareGrid(true);
}

void tst_WindowMessages::positionLeftOfTheScreenIsSigned()
{
    SetWindowPos(handleOf(*window_), nullptr, -60, -40, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    const QRect rect = windowRect(*window_);
    QVERIFY(rect.x() < 0 && rect.y() < 0);
    QCOMPARE(hitAt(*window_, rect.topLeft()), LRESULT(HTTOPLEFT));
    QCOMPARE(hitAt(*window_, rect.topLeft() + QPoint(scaled(6), scaled(6))), LRESULT(HTCAPTION));
    QCOMPARE(hitAt(*window_, {rect.x() + rect.width() - 1, rect.y() + scaled(100)}), LRESULT(HTRIGHT));
}

/// The same by plain numbers: three buttons of 44 pixels at the right end, and the logo, which drags.
void tst_WindowMessages::captionHoldsItsControls()
{
    const QRect rect = windowRect(*window_);
    const auto hit = [&](double x, double y) { return hitAt(*window_, rect.topLeft() + QPoint(scaled(x), scaled(y))); };
    QCOMPARE(hit(900 - 22, 22), LRESULT(HTCLIENT));
    QCOMPARE(hit(900 - 66, 22), LRESULT(HTCLIENT));
    QCOMPARE(hit(900 - 110, 22), LRESULT(HTCLIENT));
    QCOMPARE(hit(900 - 132 - 4, 22), LRESULT(HTCAPTION));
    QCOMPARE(hit(20, 22), LRESULT(HTCAPTION));
    QCOMPARE(hit(450, 43), LRESULT(HTCAPTION));
    QCOMPARE(hit(450, 45), LRESULT(HTCLIENT));
    QCOMPARE(hit(900 - 22, 3), LRESULT(HTTOP)); // above a button, the window's edge resizes
}

void tst_WindowMessages::passThroughChildOfACaptionDrags()
{
    FramelessWindow window;
    QWidget bar(&window);
    bar.setGeometry(0, 0, 400, 44);
    QWidget control(&bar);
    control.setGeometry(100, 0, 50, 44);
    QWidget ornament(&bar);
    ornament.setGeometry(200, 0, 50, 44);
    ornament.setProperty("captionPassthrough", true);
    window.addCaptionRegion(&bar);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const auto hit = [&](int x) { return hitAt(window, windowRect(window).topLeft() + QPoint(scaled(x), scaled(20))); };
    QCOMPARE(hit(50), LRESULT(HTCAPTION));
    QCOMPARE(hit(120), LRESULT(HTCLIENT));
    QCOMPARE(hit(220), LRESULT(HTCAPTION));
    QCOMPARE(hit(500), LRESULT(HTCLIENT));
}

void tst_WindowMessages::firstShowAddsTheFramesStyle()
{
    constexpr LONG_PTR frame = WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX;
    FramelessWindow bare;
    bare.setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    bare.winId();
    const LONG_PTR before = GetWindowLongPtrW(handleOf(bare), GWL_STYLE);
    QVERIFY(before != 0 && (before & frame) != frame);
    bare.show();
    QCOMPARE(GetWindowLongPtrW(handleOf(bare), GWL_STYLE), before | frame | WS_VISIBLE); // added to what was there
    QCOMPARE(clientRect(bare), windowRect(bare)); // and the frame was taken up at once
}

void tst_WindowMessages::laterShowLeavesTheStyleAlone()
{
    SetWindowLongPtrW(handleOf(*window_), GWL_STYLE,
                      GetWindowLongPtrW(handleOf(*window_), GWL_STYLE) & ~LONG_PTR(WS_MINIMIZEBOX));
    window_->hide();
    window_->show();
    QVERIFY((GetWindowLongPtrW(handleOf(*window_), GWL_STYLE) & WS_VISIBLE) != 0);
    QVERIFY((GetWindowLongPtrW(handleOf(*window_), GWL_STYLE) & WS_MINIMIZEBOX) == 0);
}

void tst_WindowMessages::restoredClientAreaIsTheWholeWindow()
{
    const QRect place = windowRect(*window_);
    QCOMPARE(clientRect(*window_), place);
    QCOMPARE(window_->geometry(), QRect(200, 100, 900, 560));
    // With no turn of the event loop between: another system's window manager may answer to the first after the second.
    window_->showMaximized();
    QVERIFY(IsZoomed(handleOf(*window_)));
    window_->showNormal();
    QVERIFY(!IsZoomed(handleOf(*window_)));
    QCOMPARE(windowRect(*window_), place);
    QCOMPARE(clientRect(*window_), place);
    QTRY_COMPARE(window_->geometry(), QRect(200, 100, 900, 560));
}

void tst_WindowMessages::maximizedClientAreaIsInsetInTheWorkArea()
{
    // At once, with no turn of the event loop between: what the window manager of another system does to the window
    // afterwards is not Windows' doing.
    ShowWindow(handleOf(*window_), SW_MAXIMIZE);
    QVERIFY(IsZoomed(handleOf(*window_)));
    const MONITORINFO monitor = monitorOf(*window_);
    QVERIFY(monitor.rcWork.left > monitor.rcMonitor.left); // the panel that the window must not cover
    QCOMPARE(windowRect(*window_), toRect(monitor.rcWork));
    const int padding = GetSystemMetrics(SM_CXPADDEDBORDER);
    const int across = padding + GetSystemMetrics(SM_CXSIZEFRAME);
    const int along = padding + GetSystemMetrics(SM_CYSIZEFRAME);
    const QRect inset = toRect(monitor.rcWork).adjusted(across, along, -across, -along);
    QCOMPARE(clientRect(*window_), inset.adjusted(0, 0, 0, isTaskbarHidden(*window_) ? -1 : 0));
    ShowWindow(handleOf(*window_), SW_RESTORE);
    QCOMPARE(clientRect(*window_), windowRect(*window_));
}

void tst_WindowMessages::calcSizeWithoutParameterIsTheSystems()
{
    const RECT proposed{100, 100, 1000, 700};
    RECT area = proposed;
    SendMessageW(handleOf(*window_), WM_NCCALCSIZE, FALSE, reinterpret_cast<LPARAM>(&area));
    QVERIFY(area.top >= proposed.top + GetSystemMetrics(SM_CYCAPTION)); // a caption such as any other window has
    QVERIFY(area.left > proposed.left && area.right < proposed.right && area.bottom < proposed.bottom);
}

void tst_WindowMessages::calcSizeOfTheRestoredWindowKeepsTheProposal()
{
    NCCALCSIZE_PARAMS parameters{};
    parameters.rgrc[0] = {-30, 50, 1000, 700};
    QCOMPARE(SendMessageW(handleOf(*window_), WM_NCCALCSIZE, TRUE, reinterpret_cast<LPARAM>(&parameters)), LRESULT(0));
    QCOMPARE(toRect(parameters.rgrc[0]), QRect(QPoint(-30, 50), QPoint(999, 699)));
}

void tst_WindowMessages::sizeLimitsAreTheWorkAreaAndTheMinimum()
{
    constexpr LONG untouched = 12345;
    MINMAXINFO info{};
    info.ptMaxTrackSize = {untouched, untouched};
    QCOMPARE(SendMessageW(handleOf(*window_), WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info)), LRESULT(0));
    const MONITORINFO monitor = monitorOf(*window_);
    const QRect work = toRect(monitor.rcWork);
    QCOMPARE(QPoint(info.ptMaxPosition.x, info.ptMaxPosition.y), work.topLeft() - toRect(monitor.rcMonitor).topLeft());
    QVERIFY(info.ptMaxPosition.x > 0);
    QCOMPARE(QSize(info.ptMaxSize.x, info.ptMaxSize.y), work.size());
    QCOMPARE(QSize(info.ptMinTrackSize.x, info.ptMinTrackSize.y), QSize(scaled(820), scaled(520)));
    QCOMPARE(QSize(info.ptMaxTrackSize.x, info.ptMaxTrackSize.y), QSize(untouched, untouched));
}

void tst_WindowMessages::resizeStopsAtTheSmallestSize()
{
    SetWindowPos(handleOf(*window_), nullptr, 0, 0, 100, 100, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    QCOMPARE(windowRect(*window_).size(), QSize(scaled(820), scaled(520)));
    QTRY_COMPARE(window_->size(), QSize(820, 520));
}

void tst_WindowMessages::systemCommandsMaximizeAndRestore()
{
    QSignalSpy changed(window_.get(), &FramelessWindow::maximizedChanged);
    SendMessageW(handleOf(*window_), WM_SYSCOMMAND, SC_MAXIMIZE, 0);
    QTRY_VERIFY(window_->isMaximized());
    QCOMPARE(window_->restoredGeometry(), QRect(200, 100, 900, 560));
    SendMessageW(handleOf(*window_), WM_SYSCOMMAND, SC_RESTORE, 0);
    QTRY_VERIFY(!window_->isMaximized());
    QCOMPARE(QList<QVariantList>(changed), QList<QVariantList>({{true}, {false}}));
    QTRY_COMPARE(window_->geometry(), QRect(200, 100, 900, 560));
}

void tst_WindowMessages::doubleClickOnTheCaptionMaximizesAndRestores()
{
    const QPoint caption = windowRect(*window_).topLeft() + QPoint(scaled(900 - 132 - 4), scaled(22));
    QCOMPARE(hitAt(*window_, caption), LRESULT(HTCAPTION));
    const LPARAM place = MAKELPARAM(caption.x(), caption.y());
    SendMessageW(handleOf(*window_), WM_NCLBUTTONDBLCLK, HTCAPTION, place);
    QTRY_VERIFY(window_->isMaximized());
    SendMessageW(handleOf(*window_), WM_NCLBUTTONDBLCLK, HTCAPTION, place);
    QTRY_VERIFY(!window_->isMaximized());
}

/// What is asked from the edge of the whole window and what is painted from the edge of the client area may not drift
/// apart by more than the frame that the maximised window has.
void tst_WindowMessages::controlsOfTheMaximizedWindowLieWhereTheyAreSeen()
{
    window_->toggleMaximized();
    QTRY_VERIFY(IsZoomed(handleOf(*window_)));
    QTRY_COMPARE(window_->size(), (QSizeF(clientRect(*window_).size()) / ratio()).toSize());
    const QList<TitleBarButton *> buttons = window_->findChildren<TitleBarButton *>();
    QCOMPARE(buttons.size(), 3);
    for (const TitleBarButton *button : buttons) {
        const QPoint middle = button->mapTo(window_.get(), button->rect().center());
        const QPoint seen = clientRect(*window_).topLeft() + QPoint(scaled(middle.x()), scaled(middle.y()));
        QCOMPARE(hitAt(*window_, seen), LRESULT(HTCLIENT));
    }
}

void tst_WindowMessages::otherWindowAnswersForItself()
{
    QWidget other;
    other.setGeometry(1200 / qRound(ratio()), 300, 300, 200);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    const QRect client = clientRect(other);
    QVERIFY(client != windowRect(other)); // its frame is the system's
    QCOMPARE(hitAt(other, client.center()), LRESULT(HTCLIENT));
    QCOMPARE(hitAt(other, client.topLeft() + QPoint(1, 1)), LRESULT(HTCLIENT));
    MINMAXINFO info{};
    SendMessageW(handleOf(other), WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info));
    QVERIFY(info.ptMinTrackSize.x < scaled(820));
    NCCALCSIZE_PARAMS parameters{};
    parameters.rgrc[0] = {0, 0, 500, 400};
    SendMessageW(handleOf(other), WM_NCCALCSIZE, TRUE, reinterpret_cast<LPARAM>(&parameters));
    QVERIFY(toRect(parameters.rgrc[0]) != QRect(0, 0, 500, 400));
}

void tst_WindowMessages::closedWindowAnswersNoMore()
{
    FramelessWindow second;
    second.show();
    QVERIFY(QTest::qWaitForWindowExposed(&second));
    window_.reset();
    QCOMPARE(hitAt(second, windowRect(second).topLeft()), LRESULT(HTTOPLEFT));
}

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    return velmo::test::runTest<tst_WindowMessages, QApplication>(argc, argv);
}

#include "tst_WindowMessages.moc"
