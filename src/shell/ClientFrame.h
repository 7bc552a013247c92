#pragma once

#include "shell/FramelessWindow.h"

#include <QObject>
#include <QPointF>

#include <optional>

class QMouseEvent;

namespace velmo {

/// Gives a window without a native frame what a frame does: its edges resize and its caption moves it, by the window
/// manager's own hands, a double click on the caption maximises, and the pointer shows the resize bands.
class ClientFrame : public QObject {
    Q_OBJECT

public:
    /// \a window becomes the parent.
    explicit ClientFrame(FramelessWindow *window);
    ~ClientFrame() override;

    /// Begins to watch the window's input; call it once the native window exists.
    void attach();

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool press(const QMouseEvent &event);
    bool drag(const QMouseEvent &event);
    bool doubleClick(const QMouseEvent &event);
    void followPointer(const QMouseEvent &event);
    void showCursor(std::optional<Qt::CursorShape> shape);
    FramelessWindow::Hit hitAt(const QMouseEvent &event) const;

    FramelessWindow *window_;
    QPointF pressPosition_; ///< on the screen
    bool captionPressed_ = false;
    std::optional<Qt::CursorShape> shownCursor_; ///< an edge's, in the place of the widget's own
};

} // namespace velmo
