#include "widgets/ProgressTrack.h"

#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/UnseenRest.h"

#include <QAccessible>
#include <QEasingCurve>
#include <QLinearGradient>
#include <QPainter>
#include <QVariantAnimation>

#include <algorithm>

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int glideMs = 180;
constexpr int sweepMs = 1500;
constexpr int defaultHeight = 4;
constexpr int shortestSegment = 60;
constexpr int brightEdge = 2; // columns at the front of the fill

} // namespace

ProgressTrack::ProgressTrack(QWidget *parent)
    : QWidget(parent)
    , glideAnim_(new QVariantAnimation(this))
    , sweepAnim_(new QVariantAnimation(this))
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(defaultHeight);
    glideAnim_->setDuration(glideMs);
    glideAnim_->setEasingCurve(QEasingCurve::OutCubic);
    connect(glideAnim_, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        shown_ = value.toDouble();
        update();
    });
    sweepAnim_->setDuration(sweepMs);
    sweepAnim_->setStartValue(0.0);
    sweepAnim_->setEndValue(1.0);
    sweepAnim_->setLoopCount(-1);
    sweepAnim_->setEasingCurve(QEasingCurve::InOutSine);
    connect(sweepAnim_, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        sweep_ = value.toDouble();
        update();
    });
    restWhileUnseen(this, sweepAnim_);
    connect(theme::Motion::instance(), &theme::Motion::animationsEnabledChanged, this, [this](bool enabled) {
        theme::setRunning(sweepAnim_, indeterminate_);
        if (!enabled) {
            glideAnim_->stop();
            shown_ = target_;
            update();
        }
    });
}

void ProgressTrack::setFraction(double fraction)
{
    const double value = std::clamp(fraction, 0.0, 1.0);
    // Equal reports must not start the glide anew, or a steady stream of them would stall the bar.
    if (qFuzzyCompare(target_ + 1.0, value + 1.0)) {
        return;
    }
    target_ = value;
    if (shown_ > value) {
        // Never backward in motion: a job begun anew must not appear to unwind.
        glideAnim_->stop();
        shown_ = value;
        update();
    } else {
        theme::animate(glideAnim_, shown_, value, glideMs);
    }
    announceValue();
}

void ProgressTrack::setIndeterminate(bool on)
{
    if (indeterminate_ == on) {
        return;
    }
    indeterminate_ = on;
    theme::setRunning(sweepAnim_, on);
    update();
    QAccessible::State changed;
    changed.busy = true;
    QAccessibleStateChangeEvent event(this, changed);
    QAccessible::updateAccessibility(&event);
    announceValue();
}

void ProgressTrack::setThickness(int pixels)
{
    setFixedHeight(std::max(pixels, 1));
}

void ProgressTrack::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), color::panelSunken);
    if (indeterminate_) {
        paintSweep(painter);
    } else {
        paintFill(painter);
    }
}

/// Nothing while indeterminate: there is no value then, for a screen reader either.
void ProgressTrack::announceValue()
{
    if (!indeterminate_) {
        QAccessibleValueChangeEvent event(this, target_);
        QAccessible::updateAccessibility(&event);
    }
}

void ProgressTrack::paintSweep(QPainter &painter) const
{
    const int segment = std::max(width() / 4, shortestSegment);
    const int head = static_cast<int>((width() + segment) * sweep_);
    const int x = head - segment;
    QLinearGradient light(x, 0, head, 0);
    light.setColorAt(0.0, theme::withAlpha(color::accent, 0.0));
    light.setColorAt(0.5, color::accent);
    light.setColorAt(1.0, theme::withAlpha(color::accent, 0.0));
    painter.fillRect(QRect(x, 0, segment, height()), light);
}

void ProgressTrack::paintFill(QPainter &painter) const
{
    const int filled = qRound(width() * shown_);
    if (filled <= 0) {
        return;
    }
    const int edge = std::min(filled, brightEdge);
    painter.fillRect(0, 0, filled, height(), color::accent);
    painter.fillRect(filled - edge, 0, edge, height(), color::accentBright);
}

} // namespace velmo
