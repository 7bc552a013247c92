#include "shell/FramelessWindow.h"

#include "shell/ClientFrame.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <array>

namespace velmo {

namespace {

constexpr QSize smallest{820, 520};
constexpr double bandWidth = 6.0; // logical pixels
constexpr QMargins compositorMargins{0, 1, 0, 0};
constexpr quintptr overlappedWindowStyle = 0xCF0000; // caption, system menu, thick frame, minimise and maximise boxes

constexpr unsigned getMinMaxInfo = 36;
constexpr unsigned ncCalcSize = 131;
constexpr unsigned ncHitTest = 132;

} // namespace

FramelessWindow::FramelessWindow(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    setMinimumSize(smallest);
    setAutoFillBackground(true);
    if (!WindowSystem::instance().hasNativeFrame()) {
        setWindowFlag(Qt::FramelessWindowHint);
        clientFrame = new ClientFrame(this);
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

FramelessWindow::~FramelessWindow()
{
    if (QCoreApplication *application = QCoreApplication::instance()) {
        application->removeNativeEventFilter(this);
    }
}

void FramelessWindow::addCaptionRegion(QWidget *region)
{
    if (region && !captionRegions.contains(region)) {
        captionRegions.append(region);
    }
}

/// Where the frame is native, normalGeometry() takes off the margins of a frame that the restored window does not have.
QRect FramelessWindow::restoredGeometry() const
{
    if (!isMaximized()) {
        return geometry();
    }
    return WindowSystem::instance().hasNativeFrame() ? lastRestored : normalGeometry();
}

FramelessWindow::Hit FramelessWindow::hitTest(const QPoint &position) const
{
    const WindowSystem &system = WindowSystem::instance();
    const QRect window = system.windowRect(*this);
    const double ratio = devicePixelRatio();
    if (resizable && !system.isZoomed(*this)) {
        const int band = qRound(bandWidth * ratio);
        const bool inTop = position.y() < window.y() + band;
        const bool inBottom = position.y() >= window.y() + window.height() - band;
        const bool inLeft = position.x() < window.x() + band;
        const bool inRight = position.x() >= window.x() + window.width() - band;
        const std::array<std::pair<bool, Hit>, 8> bands = {{
            {inTop && inLeft, TopLeft},
            {inTop && inRight, TopRight},
            {inBottom && inLeft, BottomLeft},
            {inBottom && inRight, BottomRight},
            {inLeft, Left},
            {inRight, Right},
            {inTop, Top},
            {inBottom, Bottom},
        }};
        for (const auto &[holds, hit] : bands) {
            if (holds) {
                return hit;
            }
        }
    }
    return hitRegion({qRound((position.x() - window.x()) / ratio), qRound((position.y() - window.y()) / ratio)});
}

bool FramelessWindow::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result)
{
    if (eventType != "windows_generic_MSG") {
        return false;
    }
    const WindowSystem &system = WindowSystem::instance();
    const std::optional<WindowSystem::Message> unpacked = system.unpack(message);
    // The handle is read as it stands, since asking for it would make one.
    if (!unpacked || !internalWinId() || unpacked->window != internalWinId()) {
        return false;
    }
    switch (unpacked->id) {
    case getMinMaxInfo: {
        const std::optional<WindowSystem::SizeLimits> limits = sizeLimits();
        if (!limits) {
            return false;
        }
        system.setSizeLimits(*unpacked, *limits);
        *result = 0;
        return true;
    }
    case ncCalcSize:
        if (!unpacked->hasParameter) {
            return false;
        }
        if (system.isZoomed(*this)) {
            system.setClientArea(*unpacked, clientArea(system.proposedClientArea(*unpacked)));
        }
        *result = 0;
        return true;
    case ncHitTest:
        *result = hitTest(unpacked->position);
        return true;
    default:
        return false;
    }
}

void FramelessWindow::toggleMaximized()
{
    if (isMaximized()) {
        showNormal();
    } else {
        showMaximized();
    }
}

void FramelessWindow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && isMaximized() != maximized) {
        maximized = isMaximized();
        emit maximizedChanged(maximized);
    }
}

void FramelessWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    rememberPlace();
}

void FramelessWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    rememberPlace();
}

void FramelessWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (frameApplied) {
        return;
    }
    frameApplied = true;
    if (winId()) {
        applyFrame();
    }
}

FramelessWindow::Hit FramelessWindow::hitRegion(const QPoint &point) const
{
    for (const QPointer<QWidget> &region : captionRegions) {
        if (!region || !region->isVisible()) {
            continue;
        }
        const QPoint inside = region->mapFrom(this, point);
        if (!region->rect().contains(inside)) {
            continue;
        }
        const QWidget *child = region->childAt(inside);
        return !child || child->property("captionPassthrough").toBool() ? Caption : Client;
    }
    return Client;
}

/// A maximised window covers the work area alone, and no drag makes the window smaller than its minimum.
std::optional<WindowSystem::SizeLimits> FramelessWindow::sizeLimits() const
{
    const std::optional<WindowSystem::Monitor> monitor = WindowSystem::instance().nearestMonitor(*this);
    if (!monitor) {
        return {};
    }
    const double ratio = devicePixelRatio();
    return WindowSystem::SizeLimits{monitor->work.topLeft() - monitor->full.topLeft(), monitor->work.size(),
                                    QSize(qRound(minimumWidth() * ratio), qRound(minimumHeight() * ratio))};
}

/// The client area of the maximised window, without what the system pushes off the screen.
QRect FramelessWindow::clientArea(QRect proposed) const
{
    const QSize overhang = WindowSystem::instance().maximizedOverhang();
    proposed.adjust(overhang.width(), overhang.height(), -overhang.width(), -overhang.height());
    if (leavesRowForTaskbar()) {
        // One row for the pointer to call the bar back; always the bottom one, whichever edge the bar is on.
        proposed.adjust(0, 0, 0, -1);
    }
    return proposed;
}

/// Whether a task bar that hides itself waits at any edge of the window's monitor.
bool FramelessWindow::leavesRowForTaskbar() const
{
    using Edge = WindowSystem::Edge;
    const WindowSystem &system = WindowSystem::instance();
    if (!system.taskbarHidesItself()) {
        return false;
    }
    const std::optional<WindowSystem::Monitor> monitor = system.nearestMonitor(*this);
    if (!monitor) {
        return false;
    }
    const std::array<Edge, 4> edges = {Edge::Bottom, Edge::Top, Edge::Left, Edge::Right};
    return std::any_of(edges.begin(), edges.end(),
                       [&](Edge edge) { return system.hasHiddenTaskbar(edge, monitor->full); });
}

void FramelessWindow::applyFrame()
{
    WindowSystem &system = WindowSystem::instance();
    system.setStyle(*this, system.style(*this) | overlappedWindowStyle);
    system.extendFrame(*this, compositorMargins);
    system.recalculateFrame(*this);
    if (clientFrame) {
        clientFrame->attach();
    }
}

void FramelessWindow::rememberPlace()
{
    // The system maximises first, moves and resizes then, and isMaximized() says so last. A window that is maximised
    // before it is first shown tells its own place first.
    const bool isOwnPlace = !isMaximized() && !isMinimized() && !WindowSystem::instance().isZoomed(*this);
    if (isOwnPlace || lastRestored.isNull()) {
        lastRestored = geometry();
    }
}

} // namespace velmo
