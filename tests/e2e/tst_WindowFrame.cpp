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

#include <QNetworkAccessManager>
#include <QStyleHints>

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
    void doubleClickOnTheCaptionMaximisesAndRestores();
    void bandsShowTheirCursor_data();
    void bandsShowTheirCursor();
    void closedWindowLeavesNoCursorBehind();
    void windowButtonsAct();

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
    QVERIFY(QTest::qWaitForWindowActive(window_.get()));
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
    QVERIFY(QTest::qWaitForWindowActive(window_.get()));
    QVERIFY(demo::click(*button(u"Close"_s)));
    QTRY_VERIFY(!window_->isVisible());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_WindowFrame, QApplication>(argc, argv);
}

#include "tst_WindowFrame.moc"
