#include "theme/Motion.h"

#include "core/Logging.h"

#include <QAbstractAnimation>
#include <QVariantAnimation>

namespace velmo::theme {

namespace {

bool enabledState = true;

} // namespace

Motion *Motion::instance()
{
    static Motion motion;
    return &motion;
}

bool animationsEnabled()
{
    return enabledState;
}

void setAnimationsEnabled(bool enabled)
{
    if (enabled == enabledState) {
        return;
    }
    enabledState = enabled;
    qCInfo(lcUi) << "Interface animations" << (enabled ? "on" : "off");
    emit Motion::instance()->animationsEnabledChanged(enabled);
}

void animate(QVariantAnimation *animation, double from, double to, int durationMs)
{
    if (!animation) {
        return;
    }
    animation->stop();
    // Set back to its beginning first: a run that ended at the same value would not tell it again.
    animation->setDuration(durationMs);
    animation->setCurrentTime(0);
    animation->setStartValue(from);
    animation->setEndValue(to);
    animation->setDuration(animationsEnabled() ? durationMs : 0);
    animation->start(QAbstractAnimation::KeepWhenStopped);
}

void setRunning(QAbstractAnimation *animation, bool run)
{
    if (!animation) {
        return;
    }
    if (!run || !animationsEnabled()) {
        animation->stop(); // from a pause too, so that nobody lets it go on
    } else if (animation->state() != QAbstractAnimation::Running) {
        animation->start(QAbstractAnimation::KeepWhenStopped);
    }
}

} // namespace velmo::theme
