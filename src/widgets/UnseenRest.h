#pragma once

class QAbstractAnimation;
class QWidget;

namespace velmo {

/// Lets an endless \a animation pause while nobody can see \a widget, hidden or in a minimised window, and go on from
/// where it stood once it is seen: a launcher that waits in the tray wakes no processor. Starting and stopping it stay
/// with \a widget; one that is started unseen pauses at the event loop's next turn. \a animation lives as long as
/// \a widget. GUI thread only.
void restWhileUnseen(QWidget *widget, QAbstractAnimation *animation);

} // namespace velmo
