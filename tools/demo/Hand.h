#pragma once

#include <QPoint>
#include <QStringList>

class QWidget;

namespace velmo::demo {

// A hand on the real mouse, by way of xdotool: what a player's click is to the window system. The event loop runs while
// the hand moves. Points are global logical pixels.

/// Whether there is a mouse to move: an X display and the xdotool program.
bool handIsThere();
/// Waits until the window manager has made \a window the active one. It may need to be asked twice: one that has only
/// just started gives no window its attention.
bool bringForward(QWidget &window);
/// Moves the pointer to the middle of \a widget and clicks. False when the widget cannot be clicked on.
bool click(const QWidget &widget);
bool moveTo(QPoint point);
bool clickAt(QPoint point);
bool rightClickAt(QPoint point);
bool doubleClickAt(QPoint point);
/// Presses at \a from, moves to \a to on the way a person's hand would take, and lets go.
bool drag(QPoint from, QPoint to);
/// Strikes keys one after the other, each by its X11 name, say "Return".
bool strike(const QStringList &keys);

} // namespace velmo::demo
