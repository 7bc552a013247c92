#include "Hand.h"

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "shell/NavTab.h"
#include "shell/TitleBarButton.h"
#include "support/TestEnvironment.h"
#include "theme/Theme.h"
#include "widgets/LogoView.h"
#include "widgets/ModalDialog.h"

#include <QNetworkAccessManager>
#include <QPushButton>
#include <QScreen>
#include <QStyleHints>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <array>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;

namespace {

/// Whether \a moved has the size of \a expected and lies there but for the way that makes a press a drag.
bool isNear(const QRect &moved, const QRect &expected)
{
    const int off = (moved.topLeft() - expected.topLeft()).manhattanLength();
    return moved.size() == expected.size() && off <= QGuiApplication::styleHints()->startDragDistance();
}

constexpr QRgb desktopColor = 0xffff00ff; // in no part of the window

/// A ground below every window, by which a picture of the screen tells where the window is.
class Desktop : public QWidget {
public:
    Desktop()
        : QWidget(nullptr, Qt::X11BypassWindowManagerHint)
    {
        setGeometry(screen()->geometry());
        setPalette(QColor(desktopColor));
        show();
        lower();
    }
};

/// What a picture of the screen shows of the window: the extent of all that is not desktop, and its four corners.
struct WindowSeen {
    QRect extent;
    std::array<QRgb, 4> corners{};

    explicit WindowSeen(const QImage &screen)
    {
        const int row = screen.height() / 2; // the window reaches over the screen's middle
        const int column = screen.width() / 2;
        const auto isWindow = [&screen](int x, int y) { return screen.pixel(x, y) != desktopColor; };
        int left = column;
        int right = column;
        int top = row;
        int bottom = row;
        while (left > 0 && isWindow(left - 1, row)) {
            --left;
        }
        while (right < screen.width() - 1 && isWindow(right + 1, row)) {
            ++right;
        }
        while (top > 0 && isWindow(column, top - 1)) {
            --top;
        }
        while (bottom < screen.height() - 1 && isWindow(column, bottom + 1)) {
            ++bottom;
        }
        extent = QRect(QPoint(left, top), QPoint(right, bottom));
        corners = {screen.pixel(left, top), screen.pixel(right, top), screen.pixel(left, bottom),
                   screen.pixel(right, bottom)};
    }
};

} // namespace

/// The window on a real display with a window manager, moved and resized by a real mouse.
class tst_WindowFrame : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void emptyCaptionMovesTheWindow();
    void logoMovesTheWindow();
    void tabDoesNotMoveTheWindow();
    void bandsResizeTheWindow_data();
    void bandsResizeTheWindow();
    void resizeStopsAtTheSmallestSize();
    void resizeShowsNoUnpaintedStrip();
    void doubleClickOnTheCaptionMaximisesAndRestores();
    void bandsShowTheirCursor_data();
    void bandsShowTheirCursor();
    void closedWindowLeavesNoCursorBehind();
    void windowButtonsAct();
    void questionIsAnsweredByOneClick_data();
    void questionIsAnsweredByOneClick();

private:
    /// Between the tabs and the window buttons, where nothing is.
    QPoint emptyCaption() const { return window_->mapToGlobal(QPoint(560, 22)); }
    TitleBarButton *button(const QString &toolTip) const;

    std::unique_ptr<ConfigManager> config_;
    std::unique_ptr<QNetworkAccessManager> network_;
    std::unique_ptr<ApiClient> api_;
    std::unique_ptr<GameManager> game_;
    std::unique_ptr<MainWindow> window_;
};

void tst_WindowFrame::initTestCase()
{
    QVERIFY2(demo::handIsThere(), "this test needs an X display and xdotool");
    QGuiApplication::setQuitOnLastWindowClosed(false);
    theme::Theme::apply();
}

void tst_WindowFrame::init()
{
    config_ = std::make_unique<ConfigManager>();
    config_->setValue(u"window.width"_s, 1000);
    config_->setValue(u"window.height"_s, 600);
    network_ = std::make_unique<QNetworkAccessManager>();
    api_ = std::make_unique<ApiClient>();
    game_ = std::make_unique<GameManager>(config_.get(), api_.get(), network_.get());
    window_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    window_->show();
    QVERIFY(demo::bringForward(*window_));
    QCOMPARE(window_->size(), QSize(1000, 600));
}

void tst_WindowFrame::cleanup()
{
    window_.reset();
    game_.reset();
    api_.reset();
    network_.reset();
    config_.reset();
}

TitleBarButton *tst_WindowFrame::button(const QString &toolTip) const
{
    const QList<TitleBarButton *> buttons = window_->findChildren<TitleBarButton *>();
    for (TitleBarButton *candidate : buttons) {
        if (candidate->toolTip() == toolTip) {
            return candidate;
        }
    }
    qFatal("No button %s", qPrintable(toolTip));
}

void tst_WindowFrame::emptyCaptionMovesTheWindow()
{
    const QRect before = window_->geometry();
    QVERIFY(demo::drag(emptyCaption(), emptyCaption() + QPoint(-120, 90)));
    QTRY_VERIFY(isNear(window_->geometry(), before.translated(-120, 90)));
}

void tst_WindowFrame::logoMovesTheWindow()
{
    const QRect before = window_->geometry();
    const auto *logo = window_->findChild<LogoView *>();
    const QPoint grip = logo->mapToGlobal(logo->rect().center());
    QVERIFY(demo::drag(grip, grip + QPoint(60, -40)));
    QTRY_VERIFY(isNear(window_->geometry(), before.translated(60, -40)));
}

void tst_WindowFrame::tabDoesNotMoveTheWindow()
{
    const QRect before = window_->geometry();
    const auto *tab = window_->findChild<NavTab *>();
    const QPoint grip = tab->mapToGlobal(tab->rect().center());
    QVERIFY(demo::drag(grip, grip + QPoint(60, 60)));
    // The drag below arrives after this one, so that a move of the window would have been seen by then.
    QVERIFY(demo::drag(emptyCaption(), emptyCaption() + QPoint(10, 10)));
    QTRY_VERIFY(isNear(window_->geometry(), before.translated(10, 10)));
}

void tst_WindowFrame::bandsResizeTheWindow_data()
{
    QTest::addColumn<QPoint>("grip");
    QTest::addColumn<QMargins>("growth");
    QTest::newRow("left") << QPoint(2, 300) << QMargins(40, 0, 0, 0);
    QTest::newRow("right") << QPoint(997, 300) << QMargins(0, 0, 40, 0);
    QTest::newRow("top") << QPoint(500, 2) << QMargins(0, 30, 0, 0);
    QTest::newRow("bottom") << QPoint(500, 597) << QMargins(0, 0, 0, 30);
    QTest::newRow("top left") << QPoint(2, 2) << QMargins(40, 30, 0, 0);
    QTest::newRow("top right") << QPoint(997, 2) << QMargins(0, 30, 40, 0);
    QTest::newRow("bottom left") << QPoint(2, 597) << QMargins(40, 0, 0, 30);
    QTest::newRow("bottom right") << QPoint(997, 597) << QMargins(0, 0, 40, 30);
}

void tst_WindowFrame::bandsResizeTheWindow()
{
    QFETCH(const QPoint, grip);
    QFETCH(const QMargins, growth);
    const QRect before = window_->geometry();
    const QPoint from = window_->mapToGlobal(grip);
    const QPoint way(growth.right() - growth.left(), growth.bottom() - growth.top());
    QVERIFY(demo::drag(from, from + way));
    QTRY_COMPARE(window_->geometry(), before.marginsAdded(growth));
}

void tst_WindowFrame::resizeStopsAtTheSmallestSize()
{
    const QRect before = window_->geometry();
    const QPoint corner = window_->mapToGlobal(QPoint(997, 597));
    QVERIFY(demo::drag(corner, corner - QPoint(700, 400)));
    QTRY_COMPARE(window_->geometry(), QRect(before.topLeft(), window_->minimumSize()));
}

void tst_WindowFrame::resizeShowsNoUnpaintedStrip()
{
    const Desktop desktop;
    const QRect screen = desktop.screen()->geometry();
    window_->setGeometry(screen.center().x() - 500, screen.center().y() - 330, 820, 520);
    QTRY_COMPARE(window_->geometry().topLeft(), screen.center() - QPoint(500, 330));
    const auto look = [&desktop] { return WindowSeen(desktop.screen()->grabWindow(0).toImage()); };
    const auto isWhole = [this, &look] { return look().extent == window_->geometry(); };
    QTRY_VERIFY(isWhole());
    const std::array<QRgb, 4> corners = look().corners;

    constexpr int enough = 10;
    QList<WindowSeen> seen;
    QTimer eye;
    connect(&eye, &QTimer::timeout, &eye, [&] { seen.append(look()); });
    // Drawn larger time after time, until enough was seen of it: a busy machine takes few pictures of each.
    while (seen.size() <= enough) {
        const QPoint corner = window_->geometry().bottomRight() - QPoint(2, 2);
        const QPoint far = screen.bottomRight() - QPoint(8, 8);
        eye.start(10);
        QVERIFY(demo::drag(corner, far));
        QTRY_VERIFY(isWhole());
        seen.append(look());
        eye.stop(); // made smaller, the window shows what it has painted already
        window_->resize(820, 520);
        QTRY_VERIFY(isWhole());
    }

    int largest = 0;
    for (const WindowSeen &one : seen) {
        largest = std::max(largest, one.extent.width());
        QCOMPARE(one.corners, corners); // a strip laid bare would end the window in another colour
    }
    QVERIFY2(largest > 1300, qPrintable(QString::number(largest)));
}

void tst_WindowFrame::doubleClickOnTheCaptionMaximisesAndRestores()
{
    const QRect before = window_->geometry();
    QVERIFY(demo::doubleClickAt(emptyCaption()));
    QTRY_VERIFY(window_->isMaximized());
    QTRY_COMPARE(window_->geometry(), window_->screen()->availableGeometry());
    QCOMPARE(button(u"Restore"_s)->toolTip(), u"Restore"_s);
    QVERIFY(demo::doubleClickAt(emptyCaption()));
    QTRY_VERIFY(!window_->isMaximized());
    QTRY_COMPARE(window_->geometry(), before);
}

void tst_WindowFrame::bandsShowTheirCursor_data()
{
    QTest::addColumn<QPoint>("point");
    QTest::addColumn<Qt::CursorShape>("shape");
    QTest::newRow("left") << QPoint(2, 300) << Qt::SizeHorCursor;
    QTest::newRow("top right") << QPoint(997, 2) << Qt::SizeBDiagCursor;
    QTest::newRow("bottom") << QPoint(500, 597) << Qt::SizeVerCursor;
    QTest::newRow("bottom right") << QPoint(997, 597) << Qt::SizeFDiagCursor;
}

void tst_WindowFrame::bandsShowTheirCursor()
{
    QFETCH(const QPoint, point);
    QFETCH(const Qt::CursorShape, shape);
    QVERIFY(demo::moveTo(window_->mapToGlobal(point)));
    QTRY_VERIFY(QGuiApplication::overrideCursor());
    QCOMPARE(QGuiApplication::overrideCursor()->shape(), shape);
    QVERIFY(demo::moveTo(window_->mapToGlobal(QPoint(500, 300))));
    QTRY_VERIFY(!QGuiApplication::overrideCursor());
    QVERIFY(demo::moveTo(window_->mapToGlobal(point)));
    QTRY_VERIFY(QGuiApplication::overrideCursor());
    QVERIFY(demo::moveTo(window_->mapToGlobal(QPoint(-60, -60))));
    QTRY_VERIFY(!QGuiApplication::overrideCursor());
}

void tst_WindowFrame::closedWindowLeavesNoCursorBehind()
{
    QVERIFY(demo::moveTo(window_->mapToGlobal(QPoint(2, 300))));
    QTRY_VERIFY(QGuiApplication::overrideCursor());
    window_.reset();
    QVERIFY(!QGuiApplication::overrideCursor());
}

void tst_WindowFrame::windowButtonsAct()
{
    QVERIFY(demo::click(*button(u"Maximise"_s)));
    QTRY_VERIFY(window_->isMaximized());
    QVERIFY(demo::click(*button(u"Restore"_s)));
    QTRY_VERIFY(!window_->isMaximized());
    QVERIFY(demo::click(*button(u"Minimise"_s)));
    QTRY_VERIFY(window_->isMinimized());
    window_->showNormal();
    QVERIFY(demo::bringForward(*window_));
    QVERIFY(demo::click(*button(u"Close"_s)));
    QTRY_VERIFY(!window_->isVisible());
}

void tst_WindowFrame::questionIsAnsweredByOneClick_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<bool>("agreed");
    QTest::newRow("yes") << u"Close anyway"_s << true;
    QTest::newRow("no") << u"Cancel"_s << false;
}

void tst_WindowFrame::questionIsAnsweredByOneClick()
{
    QFETCH(const QString, caption);
    QFETCH(const bool, agreed);
    constexpr int settlingMs = 300;
    constexpr int patienceMs = 30'000;
    bool givenUp = false;
    const auto answer = [&caption] {
        const QList<QPushButton *> buttons = QApplication::activeModalWidget()->findChildren<QPushButton *>();
        const auto found = std::find_if(buttons.begin(), buttons.end(),
                                        [&caption](const QPushButton *button) { return button->text() == caption; });
        QVERIFY(found != buttons.end() && demo::click(**found));
    };
    const auto giveUp = [&givenUp] {
        givenUp = true;
        QApplication::activeModalWidget()->close();
    };
    for (int i = 0; i < 5 && !givenUp; ++i) { // a manager does not place each dialog in the same way
        QTimer patience;
        patience.setSingleShot(true);
        connect(&patience, &QTimer::timeout, this, giveUp);
        patience.start(patienceMs);
        // A person's time after the dialog is seen, which a busy machine shows late.
        QTimer seen;
        connect(&seen, &QTimer::timeout, this, [&] {
            const QWidget *dialog = QApplication::activeModalWidget();
            if (dialog && dialog->windowHandle()->isExposed()) {
                seen.stop();
                QTimer::singleShot(settlingMs, this, answer);
            }
        });
        seen.start(20);
        QCOMPARE(ModalDialog::confirm(window_.get(), u"Close the launcher"_s, u"A download is still in progress."_s,
                                      u"Close anyway"_s),
                 agreed);
    }
    QVERIFY(!givenUp);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_WindowFrame, QApplication>(argc, argv);
}

#include "tst_WindowFrame.moc"
