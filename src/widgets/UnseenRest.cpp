#include "widgets/UnseenRest.h"

#include <QAbstractAnimation>
#include <QEvent>
#include <QMetaObject>
#include <QWidget>

namespace velmo {

namespace {

class UnseenRest : public QObject {
public:
    UnseenRest(QWidget *widget, QAbstractAnimation *animation);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void settle();

    QWidget *widget_;
    QAbstractAnimation *animation_;
    bool resting_ = false; ///< paused by this object and not by somebody else
};

UnseenRest::UnseenRest(QWidget *widget, QAbstractAnimation *animation)
    : QObject(widget)
    , widget_(widget)
    , animation_(animation)
{
    widget->installEventFilter(this);
    connect(animation, &QAbstractAnimation::stateChanged, this, [this](QAbstractAnimation::State state) {
        if (state != QAbstractAnimation::Paused) {
            resting_ = false;
        }
        if (state == QAbstractAnimation::Running) {
            // Not at once: the animation is in the middle of its start, and a widget that is being built is shown soon.
            QMetaObject::invokeMethod(this, &UnseenRest::settle, Qt::QueuedConnection);
        }
    });
    QMetaObject::invokeMethod(this, &UnseenRest::settle, Qt::QueuedConnection);
}

bool UnseenRest::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    const bool ofWidget = watched == widget_;
    if (ofWidget && type == QEvent::Show) {
        // Here, since a widget that has been moved into another window is shown anew.
        widget_->window()->installEventFilter(this);
    }
    if (type == QEvent::WindowStateChange || (ofWidget && (type == QEvent::Show || type == QEvent::Hide))) {
        settle();
    }
    return false;
}

void UnseenRest::settle()
{
    const bool seen = widget_->isVisible() && !widget_->window()->isMinimized();
    if (!seen && animation_->state() == QAbstractAnimation::Running) {
        resting_ = true;
        animation_->pause();
    } else if (seen && resting_) {
        animation_->resume();
    }
}

} // namespace

void restWhileUnseen(QWidget *widget, QAbstractAnimation *animation)
{
    new UnseenRest(widget, animation);
}

} // namespace velmo
