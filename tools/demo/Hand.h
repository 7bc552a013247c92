#pragma once

class QWidget;

namespace velmo::demo {

// A hand on the real mouse, by way of xdotool: what a player's click is to the window system.

/// Whether there is a mouse to move: an X display and the xdotool program.
bool handIsThere();
/// Moves the pointer to the middle of \a widget and clicks. False when the widget cannot be clicked on.
bool click(const QWidget &widget);

} // namespace velmo::demo
