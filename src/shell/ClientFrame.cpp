#include "shell/ClientFrame.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QStyleHints>
#include <QWindow>

#include <array>

namespace velmo {

namespace {

struct Band {
    FramelessWindow::Hit hit;
    Qt::Edges edges;
    Qt::CursorShape cursor;
};

constexpr std::array<Band, 8> bands = {{
    {FramelessWindow::TopLeft, Qt::TopEdge | Qt::LeftEdge, Qt::SizeFDiagCursor},
    {FramelessWindow::TopRight, Qt::TopEdge | Qt::RightEdge, Qt::SizeBDiagCursor},
    {FramelessWindow::BottomLeft, Qt::BottomEdge | Qt::LeftEdge, Qt::SizeBDiagCursor},
    {FramelessWindow::BottomRight, Qt::BottomEdge | Qt::RightEdge, Qt::SizeFDiagCursor},
    {FramelessWindow::Left, Qt::LeftEdge, Qt::SizeHorCursor},
    {FramelessWindow::Right, Qt::RightEdge, Qt::SizeHorCursor},
    {FramelessWindow::Top, Qt::TopEdge, Qt::SizeVerCursor},
    {FramelessWindow::Bottom, Qt::BottomEdge, Qt::SizeVerCursor},
}};

const Band *bandOf(FramelessWindow::Hit hit)
{
    for (const Band &band : bands) {
        if (band.hit == hit) {
            return &band;
        }
    }
    return nullptr;
}

} // namespace

ClientFrame::ClientFrame(FramelessWindow *window)
    : QObject(window)
    , window_(window)
{}

ClientFrame::~ClientFrame()
{
    showCursor({});
}

void ClientFrame::attach()
{
    window_->windowHandle()->installEventFilter(this);
}

bool ClientFrame::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        return press(static_cast<QMouseEvent &>(*event));
    case QEvent::MouseButtonDblClick:
        return doubleClick(static_cast<QMouseEvent &>(*event));
    case QEvent::MouseMove:
        return drag(static_cast<QMouseEvent &>(*event));
    case QEvent::MouseButtonRelease:
        captionPressed_ = false;
        break;
    case QEvent::Leave:
        showCursor({});
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

bool ClientFrame::press(const QMouseEvent &event)
{
    if (event.button() != Qt::LeftButton) {
        return false;
    }
    const FramelessWindow::Hit hit = hitAt(event);
    if (const Band *band = bandOf(hit)) {
        return window_->windowHandle()->startSystemResize(band->edges);
    }
    captionPressed_ = hit == FramelessWindow::Caption;
    pressPosition_ = event.globalPosition();
    return false;
}

/// The move begins with the drag and not with the press: the window manager takes the pointer then, and a double click
/// would never be seen.
bool ClientFrame::drag(const QMouseEvent &event)
{
    followPointer(event);
    const QPointF way = event.globalPosition() - pressPosition_;
    if (!captionPressed_ || !event.buttons().testFlag(Qt::LeftButton) ||
        way.manhattanLength() < QGuiApplication::styleHints()->startDragDistance()) {
        return false;
    }
    captionPressed_ = false;
    return window_->windowHandle()->startSystemMove();
}

bool ClientFrame::doubleClick(const QMouseEvent &event)
{
    if (event.button() != Qt::LeftButton || hitAt(event) != FramelessWindow::Caption) {
        return false;
    }
    captionPressed_ = false;
    window_->toggleMaximized();
    return true;
}

void ClientFrame::followPointer(const QMouseEvent &event)
{
    const Band *band = event.buttons() == Qt::NoButton ? bandOf(hitAt(event)) : nullptr;
    showCursor(band ? std::optional(band->cursor) : std::nullopt);
}

/// Each change costs a request to the window system, and the pointer moves a thousand times for each.
void ClientFrame::showCursor(std::optional<Qt::CursorShape> shape)
{
    if (shape == shownCursor_) {
        return;
    }
    if (shownCursor_) {
        QGuiApplication::restoreOverrideCursor();
    }
    if (shape) {
        QGuiApplication::setOverrideCursor(*shape);
    }
    shownCursor_ = shape;
}

FramelessWindow::Hit ClientFrame::hitAt(const QMouseEvent &event) const
{
    const QPoint offset = (event.position() * window_->devicePixelRatio()).toPoint();
    return window_->hitTest(WindowSystem::instance().windowRect(*window_).topLeft() + offset);
}

} // namespace velmo
