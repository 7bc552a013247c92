#include "shell/FramelessWindow.h"

#include "FakeWindowSystem.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QCursor>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QWindow>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

using velmo::FramelessWindow;
using velmo::WindowSystem;
using velmo::test::FakeWindowSystem;

namespace {

constexpr unsigned getMinMaxInfo = 36;
constexpr unsigned ncCalcSize = 131;
constexpr unsigned ncHitTest = 132;

std::atomic<long> allocations = 0;

/// The window of these tests stands at (300, 200) in physical pixels.
constexpr QPoint corner(300, 200);

} // namespace

// Counted, so that a test can prove a path free of allocations. None of the three is inlined: GCC
// would then see malloc() or free() meet the other's operator, and take them for a mismatch.
[[gnu::noinline]] void *operator new(std::size_t size)
{
    ++allocations;
    if (void *memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    std::abort();
}

[[gnu::noinline]] void operator delete(void *memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

/// Runs at the device pixel ratio that QT_SCALE_FACTOR gives the process.
class tst_FramelessWindow : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isATopLevelWithItsSmallestSize();
    void keepsTheNativeFrameWherePossible();
    void isFramelessWhereThereIsNoNativeFrame();

    void edgeCursorIsSetOnlyWhenItChanges();

    void firstShowSetsTheFrameUpOnce();
    void ratioIsTheOneAskedFor();

    void bandsOfTheRestoredWindow_data();
    void bandsOfTheRestoredWindow();
    void bandIsSixLogicalPixelsWide();
    void bandWinsOverTheCaption();
    void maximizedWindowHasNoBands();
    void bandDecisionAllocatesNothing();

    void groundOfARegionDrags();
    void childOfARegionTakesClicks();
    void passThroughChildDrags();
    void childThatDeclinesPassThroughTakesClicks();
    void pointOutsideOfAllRegionsIsClient();
    void hiddenRegionIsSkipped();
    void destroyedRegionIsSkipped();
    void firstRegionThatHoldsThePointDecides();
    void regionEdgesAreInside();
    void pointIsRoundedToTheNearestLogicalOne();
    void regionIsAddedOnceAndNullNever();

    void hitTestMessageIsAnswered();
    void foreignEventTypeIsLeftAlone();
    void emptyMessageIsLeftAlone();
    void otherWindowsMessageIsLeftAlone();
    void messageBeforeTheNativeWindowIsLeftAloneAndMakesNone();
    void otherMessageIsLeftAlone();

    void sizeLimitsAreTheWorkAreaAndTheMinimum();
    void sizeLimitsWithoutAMonitorAreLeftToTheSystem();

    void restoredClientAreaIsTheWholeWindow();
    void maximizedClientAreaIsInset();
    void calcSizeWithoutParameterIsLeftAlone();
    void hiddenTaskbarTakesTheBottomRow_data();
    void hiddenTaskbarTakesTheBottomRow();
    void edgesAreAskedInOrderAndOnlyUpToTheFirst();
    void noEdgeIsAskedWhileTheTaskbarStays();
    void noMonitorSkipsTheRow();

    void maximizedChangeIsToldOnce();
    void toggleGoesThereAndBack();
    void restoredGeometryIsTheLastThatWasNotMaximized();
    void restoredGeometryWaitsForNoState();

private:
    double ratio() const { return window_->devicePixelRatio(); }
    int band() const { return qRound(6.0 * ratio()); }
    /// The physical screen position of a logical point of the window.
    QPoint at(double x, double y) const { return corner + QPoint(qRound(x * ratio()), qRound(y * ratio())); }
    bool send(FakeWindowSystem::FakeMessage &message, qintptr *result);

    std::unique_ptr<FakeWindowSystem> system_;
    std::unique_ptr<FramelessWindow> window_;
};

void tst_FramelessWindow::init()
{
    system_ = std::make_unique<FakeWindowSystem>();
    system_->monitor = WindowSystem::Monitor{QRect(0, 0, 1920, 1080), QRect(0, 40, 1920, 1040)};
    window_ = std::make_unique<FramelessWindow>();
    window_->resize(900, 600);
    window_->show();
    system_->rect = QRect(corner, QSize(qRound(900 * ratio()), qRound(600 * ratio())));
}

void tst_FramelessWindow::cleanup()
{
    window_.reset();
    system_.reset();
}

bool tst_FramelessWindow::send(FakeWindowSystem::FakeMessage &message, qintptr *result)
{
    return window_->nativeEventFilter("windows_generic_MSG", &message, result);
}

void tst_FramelessWindow::isATopLevelWithItsSmallestSize()
{
    QVERIFY(window_->isWindow());
    QCOMPARE(window_->minimumSize(), QSize(820, 520));
    QVERIFY(window_->autoFillBackground());
}

void tst_FramelessWindow::keepsTheNativeFrameWherePossible()
{
    QVERIFY(!window_->windowFlags().testFlag(Qt::FramelessWindowHint));
}

void tst_FramelessWindow::isFramelessWhereThereIsNoNativeFrame()
{
    system_->nativeFrame = false;
    const FramelessWindow window;
    QVERIFY(window.windowFlags().testFlag(Qt::FramelessWindowHint));
}

void tst_FramelessWindow::edgeCursorIsSetOnlyWhenItChanges()
{
    system_->nativeFrame = false;
    FramelessWindow window;
    window.resize(900, 600);
    window.show();
    const auto hover = [&window](QPoint point) {
        QMouseEvent move(QEvent::MouseMove, point, window.mapToGlobal(point), Qt::NoButton, Qt::NoButton, {});
        QApplication::sendEvent(window.windowHandle(), &move);
    };
    const auto shape = [] {
        const QCursor *cursor = QGuiApplication::overrideCursor();
        return cursor ? cursor->shape() : Qt::ArrowCursor;
    };
    hover({1, 300});
    QCOMPARE(shape(), Qt::SizeHorCursor);
    QGuiApplication::changeOverrideCursor(Qt::WaitCursor); // what stands until the next change
    hover({2, 310});
    QCOMPARE(shape(), Qt::WaitCursor);
    hover({450, 1});
    QCOMPARE(shape(), Qt::SizeVerCursor);
    hover({450, 300});
    QVERIFY(!QGuiApplication::overrideCursor());
    hover({1, 300});
    QCOMPARE(shape(), Qt::SizeHorCursor);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(window.windowHandle(), &leave);
    QVERIFY(!QGuiApplication::overrideCursor());
}

void tst_FramelessWindow::firstShowSetsTheFrameUpOnce()
{
    system_->diary.clear();
    system_->styleBits = 0x10000001;
    FramelessWindow window;
    QVERIFY(system_->diary.isEmpty());
    window.show();
    QCOMPARE(system_->diary,
             QStringList({QStringLiteral("style"), QStringLiteral("extend"), QStringLiteral("recalculate")}));
    QCOMPARE(system_->styleBits, quintptr(0x10CF0001));
    QCOMPARE(system_->compositorMargins, QMargins(0, 1, 0, 0));
    window.hide();
    window.show();
    QCOMPARE(system_->diary.size(), 3);
}

void tst_FramelessWindow::ratioIsTheOneAskedFor()
{
    const double wanted = qEnvironmentVariable("QT_SCALE_FACTOR", QStringLiteral("1")).toDouble();
    QCOMPARE(ratio(), wanted);
}

void tst_FramelessWindow::bandsOfTheRestoredWindow_data()
{
    // Offsets in physical pixels from the near edge: 0 left or top, 1 middle, 2 right or bottom.
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("hit");
    QTest::newRow("top left") << 0 << 0 << 13;
    QTest::newRow("top right") << 2 << 0 << 14;
    QTest::newRow("bottom left") << 0 << 2 << 16;
    QTest::newRow("bottom right") << 2 << 2 << 17;
    QTest::newRow("left") << 0 << 1 << 10;
    QTest::newRow("right") << 2 << 1 << 11;
    QTest::newRow("top") << 1 << 0 << 12;
    QTest::newRow("bottom") << 1 << 2 << 15;
    QTest::newRow("inside") << 1 << 1 << 1;
}

void tst_FramelessWindow::bandsOfTheRestoredWindow()
{
    QFETCH(int, column);
    QFETCH(int, row);
    QFETCH(int, hit);
    const QRect rect = system_->rect;
    // The outermost and the innermost pixel of each band.
    const auto places = [this](int which, int first, int length) -> QList<int> {
        switch (which) {
        case 0:
            return {first, first + band() - 1};
        case 1:
            return {first + band(), first + length / 2, first + length - band() - 1};
        default:
            return {first + length - band(), first + length - 1};
        }
    };
    for (const int x : places(column, rect.x(), rect.width())) {
        for (const int y : places(row, rect.y(), rect.height())) {
            QCOMPARE(int(window_->hitTest({x, y})), hit);
        }
    }
}

void tst_FramelessWindow::bandIsSixLogicalPixelsWide()
{
    const QHash<double, int> widths = {{1.0, 6}, {1.25, 8}, {1.5, 9}, {2.0, 12}};
    const int width = widths.value(ratio());
    QVERIFY(width > 0);
    const int y = corner.y() + system_->rect.height() / 2;
    QCOMPARE(int(window_->hitTest({corner.x() + width - 1, y})), int(FramelessWindow::Left));
    QCOMPARE(int(window_->hitTest({corner.x() + width, y})), int(FramelessWindow::Client));
}

void tst_FramelessWindow::bandWinsOverTheCaption()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    QPushButton button(&bar);
    button.setGeometry(856, 0, 44, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(1, 1))), int(FramelessWindow::TopLeft));
    // Above a button, the window's top edge resizes.
    QCOMPARE(int(window_->hitTest(at(870, 2))), int(FramelessWindow::Top));
    QCOMPARE(int(window_->hitTest(at(870, 20))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::maximizedWindowHasNoBands()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    system_->zoomed = true;
    QCOMPARE(int(window_->hitTest(at(0, 0))), int(FramelessWindow::Caption));
    QCOMPARE(int(window_->hitTest(at(450, 1))), int(FramelessWindow::Caption));
    QCOMPARE(int(window_->hitTest(at(0, 300))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(899, 599))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::bandDecisionAllocatesNothing()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    const QPoint point = at(1, 300);
    int hits = 0;
    const long before = allocations.load();
    for (int i = 0; i < 1000; ++i) {
        hits += window_->hitTest(point) == FramelessWindow::Left ? 1 : 0;
    }
    const long after = allocations.load();
    QCOMPARE(hits, 1000);
    QCOMPARE(after, before);
}

void tst_FramelessWindow::groundOfARegionDrags()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(450, 20))), int(FramelessWindow::Caption));
    QCOMPARE(int(window_->hitTest(at(450, 60))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::childOfARegionTakesClicks()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    QPushButton button(&bar);
    button.setGeometry(100, 0, 50, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(120, 20))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(160, 20))), int(FramelessWindow::Caption));
}

void tst_FramelessWindow::passThroughChildDrags()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    QWidget logo(&bar);
    logo.setGeometry(100, 0, 50, 44);
    logo.setProperty("captionPassthrough", true);
    bar.show();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(120, 20))), int(FramelessWindow::Caption));
}

void tst_FramelessWindow::childThatDeclinesPassThroughTakesClicks()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    QWidget control(&bar);
    control.setGeometry(100, 0, 50, 44);
    control.setProperty("captionPassthrough", false);
    bar.show();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(120, 20))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::pointOutsideOfAllRegionsIsClient()
{
    QCOMPARE(int(window_->hitTest(at(450, 20))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::hiddenRegionIsSkipped()
{
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    bar.hide();
    window_->addCaptionRegion(&bar);
    QCOMPARE(int(window_->hitTest(at(450, 20))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::destroyedRegionIsSkipped()
{
    auto *bar = new QWidget(window_.get());
    bar->setGeometry(0, 0, 900, 44);
    bar->show();
    QWidget second(window_.get());
    second.setGeometry(0, 0, 400, 44);
    second.show();
    window_->addCaptionRegion(bar);
    window_->addCaptionRegion(&second);
    delete bar;
    QCOMPARE(int(window_->hitTest(at(450, 20))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(200, 20))), int(FramelessWindow::Caption));
}

void tst_FramelessWindow::firstRegionThatHoldsThePointDecides()
{
    QWidget first(window_.get());
    first.setGeometry(0, 0, 400, 44);
    QPushButton button(&first);
    button.setGeometry(100, 0, 50, 44);
    QWidget second(window_.get());
    second.setGeometry(0, 0, 900, 44);
    first.show();
    second.show();
    window_->addCaptionRegion(&first);
    window_->addCaptionRegion(&second);
    QCOMPARE(int(window_->hitTest(at(120, 20))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(600, 20))), int(FramelessWindow::Caption));
}

void tst_FramelessWindow::regionEdgesAreInside()
{
    QWidget region(window_.get());
    region.setGeometry(100, 100, 50, 40);
    region.show();
    window_->addCaptionRegion(&region);
    QCOMPARE(int(window_->hitTest(at(100, 100))), int(FramelessWindow::Caption));
    QCOMPARE(int(window_->hitTest(at(149, 139))), int(FramelessWindow::Caption));
    QCOMPARE(int(window_->hitTest(at(99, 100))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(150, 139))), int(FramelessWindow::Client));
    QCOMPARE(int(window_->hitTest(at(149, 140))), int(FramelessWindow::Client));
}

void tst_FramelessWindow::pointIsRoundedToTheNearestLogicalOne()
{
    constexpr int edge = 101;
    QWidget region(window_.get());
    region.setGeometry(edge, edge, 50, 50);
    region.show();
    window_->addCaptionRegion(&region);
    const int inside = qRound(120 * ratio());
    for (int offset = qRound(95 * ratio()); offset < inside; ++offset) {
        const bool reached = offset >= (edge - 0.5) * ratio(); // half a logical pixel before the edge
        const int expected = reached ? FramelessWindow::Caption : FramelessWindow::Client;
        QCOMPARE(int(window_->hitTest(corner + QPoint(offset, inside))), expected);
        QCOMPARE(int(window_->hitTest(corner + QPoint(inside, offset))), expected);
    }
}

void tst_FramelessWindow::regionIsAddedOnceAndNullNever()
{
    window_->addCaptionRegion(nullptr);
    QCOMPARE(window_->captionRegionCount(), 0);
    QWidget bar(window_.get());
    bar.setGeometry(0, 0, 900, 44);
    bar.show();
    window_->addCaptionRegion(&bar);
    window_->addCaptionRegion(&bar);
    QCOMPARE(window_->captionRegionCount(), 1);
    QCOMPARE(int(window_->hitTest(at(450, 20))), int(FramelessWindow::Caption));
}

void tst_FramelessWindow::hitTestMessageIsAnswered()
{
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncHitTest, true, at(2, 300), {}, {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(result, qintptr(10));
}

void tst_FramelessWindow::foreignEventTypeIsLeftAlone()
{
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncHitTest, true, at(2, 300), {}, {}};
    qintptr result = -1;
    QVERIFY(!window_->nativeEventFilter("xcb_generic_event_t", &message, &result));
    QVERIFY(!window_->nativeEventFilter("windows_generic_msg", &message, &result));
    QCOMPARE(result, qintptr(-1));
}

void tst_FramelessWindow::emptyMessageIsLeftAlone()
{
    qintptr result = -1;
    QVERIFY(!window_->nativeEventFilter("windows_generic_MSG", nullptr, &result));
    FakeWindowSystem::FakeMessage message{0, ncHitTest, true, at(2, 300), {}, {}};
    QVERIFY(!send(message, &result));
}

void tst_FramelessWindow::otherWindowsMessageIsLeftAlone()
{
    FakeWindowSystem::FakeMessage message{window_->internalWinId() + 1, ncHitTest, true, at(2, 300), {}, {}};
    qintptr result = -1;
    QVERIFY(!send(message, &result));
    QCOMPARE(result, qintptr(-1));
}

void tst_FramelessWindow::messageBeforeTheNativeWindowIsLeftAloneAndMakesNone()
{
    FramelessWindow unshown;
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncHitTest, true, at(2, 300), {}, {}};
    qintptr result = -1;
    QVERIFY(!unshown.nativeEventFilter("windows_generic_MSG", &message, &result));
    QCOMPARE(unshown.internalWinId(), WId(0));
}

void tst_FramelessWindow::otherMessageIsLeftAlone()
{
    qintptr result = -1;
    for (const unsigned id : {0U, 1U, 35U, 37U, 130U, 133U, 160U}) {
        FakeWindowSystem::FakeMessage message{window_->internalWinId(), id, true, at(2, 300), {}, {}};
        QVERIFY(!send(message, &result));
    }
}

void tst_FramelessWindow::sizeLimitsAreTheWorkAreaAndTheMinimum()
{
    system_->monitor = WindowSystem::Monitor{QRect(1920, -200, 2560, 1440), QRect(1980, -160, 2500, 1400)};
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), getMinMaxInfo, true, {}, {}, {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(result, qintptr(0));
    QCOMPARE(message.limits.maximizedPosition, QPoint(60, 40));
    QCOMPARE(message.limits.maximizedSize, QSize(2500, 1400));
    QCOMPARE(message.limits.minimumTrack, QSize(qRound(820 * ratio()), qRound(520 * ratio())));
}

void tst_FramelessWindow::sizeLimitsWithoutAMonitorAreLeftToTheSystem()
{
    system_->monitor.reset();
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), getMinMaxInfo, true, {}, {}, {}};
    qintptr result = -1;
    QVERIFY(!send(message, &result));
    QCOMPARE(result, qintptr(-1));
}

void tst_FramelessWindow::restoredClientAreaIsTheWholeWindow()
{
    system_->overhang = QSize(8, 9);
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, true, {}, QRect(10, 20, 900, 600), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(result, qintptr(0));
    QCOMPARE(message.clientArea, QRect(10, 20, 900, 600));
}

void tst_FramelessWindow::maximizedClientAreaIsInset()
{
    system_->zoomed = true;
    system_->overhang = QSize(8, 9);
    FakeWindowSystem::FakeMessage message{window_->internalWinId(),  ncCalcSize, true, {},
                                          QRect(-8, -9, 1936, 1058), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(result, qintptr(0));
    QCOMPARE(message.clientArea, QRect(0, 0, 1920, 1040));
}

void tst_FramelessWindow::calcSizeWithoutParameterIsLeftAlone()
{
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, false, {}, QRect(1, 2, 3, 4), {}};
    qintptr result = -1;
    QVERIFY(!send(message, &result));
    QCOMPARE(message.clientArea, QRect(1, 2, 3, 4));
}

void tst_FramelessWindow::hiddenTaskbarTakesTheBottomRow_data()
{
    QTest::addColumn<int>("edge");
    QTest::newRow("bottom") << int(WindowSystem::Edge::Bottom);
    QTest::newRow("top") << int(WindowSystem::Edge::Top);
    QTest::newRow("left") << int(WindowSystem::Edge::Left);
    QTest::newRow("right") << int(WindowSystem::Edge::Right);
}

void tst_FramelessWindow::hiddenTaskbarTakesTheBottomRow()
{
    QFETCH(int, edge);
    system_->zoomed = true;
    system_->autoHide = true;
    system_->hiddenEdge = static_cast<WindowSystem::Edge>(edge);
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, true, {}, QRect(0, 0, 1920, 1080), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(message.clientArea, QRect(0, 0, 1920, 1079));
    QCOMPARE(system_->askedMonitor, QRect(0, 0, 1920, 1080));
}

void tst_FramelessWindow::edgesAreAskedInOrderAndOnlyUpToTheFirst()
{
    using Edge = WindowSystem::Edge;
    system_->zoomed = true;
    system_->autoHide = true;
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, true, {}, QRect(0, 0, 1920, 1080), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(system_->askedEdges, QList<Edge>({Edge::Bottom, Edge::Top, Edge::Left, Edge::Right}));
    QCOMPARE(message.clientArea, QRect(0, 0, 1920, 1080));
    system_->askedEdges.clear();
    system_->hiddenEdge = Edge::Top;
    QVERIFY(send(message, &result));
    QCOMPARE(system_->askedEdges, QList<Edge>({Edge::Bottom, Edge::Top}));
}

void tst_FramelessWindow::noEdgeIsAskedWhileTheTaskbarStays()
{
    system_->zoomed = true;
    system_->hiddenEdge = WindowSystem::Edge::Bottom;
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, true, {}, QRect(0, 0, 1920, 1080), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QVERIFY(system_->askedEdges.isEmpty());
    QCOMPARE(message.clientArea, QRect(0, 0, 1920, 1080));
}

void tst_FramelessWindow::noMonitorSkipsTheRow()
{
    system_->zoomed = true;
    system_->autoHide = true;
    system_->hiddenEdge = WindowSystem::Edge::Bottom;
    system_->monitor.reset();
    FakeWindowSystem::FakeMessage message{window_->internalWinId(), ncCalcSize, true, {}, QRect(0, 0, 1920, 1080), {}};
    qintptr result = -1;
    QVERIFY(send(message, &result));
    QCOMPARE(result, qintptr(0));
    QCOMPARE(message.clientArea, QRect(0, 0, 1920, 1080));
}

void tst_FramelessWindow::maximizedChangeIsToldOnce()
{
    QSignalSpy changed(window_.get(), &FramelessWindow::maximizedChanged);
    window_->showMaximized();
    QTRY_COMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toBool(), true);
    window_->showMaximized();
    window_->showNormal();
    QTRY_COMPARE(changed.size(), 2);
    QCOMPARE(changed.at(1).at(0).toBool(), false);
}

void tst_FramelessWindow::toggleGoesThereAndBack()
{
    window_->toggleMaximized();
    QVERIFY(window_->isMaximized());
    window_->toggleMaximized();
    QVERIFY(!window_->isMaximized());
}

void tst_FramelessWindow::restoredGeometryIsTheLastThatWasNotMaximized()
{
    window_->setGeometry(40, 50, 900, 600);
    QCOMPARE(window_->restoredGeometry(), QRect(40, 50, 900, 600));
    window_->setGeometry(60, 70, 950, 610);
    window_->showMaximized();
    QTRY_VERIFY(window_->geometry() != QRect(60, 70, 950, 610));
    QCOMPARE(window_->restoredGeometry(), QRect(60, 70, 950, 610));
    window_->showNormal();
    QCOMPARE(window_->restoredGeometry(), window_->geometry());
}

/// The system maximises the window, and its state follows.
void tst_FramelessWindow::restoredGeometryWaitsForNoState()
{
    window_->setGeometry(60, 70, 950, 610);
    system_->zoomed = true;
    window_->setGeometry(0, 0, 1920, 1040);
    window_->setWindowState(Qt::WindowMaximized);
    QCOMPARE(window_->restoredGeometry(), QRect(60, 70, 950, 610));
}

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    return velmo::test::runTest<tst_FramelessWindow, QApplication>(argc, argv);
}

#include "tst_FramelessWindow.moc"
