#include "widgets/StatusBadge.h"

#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/UnseenRest.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QPainter>
#include <QVariantAnimation>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int pulseMs = 1400;
constexpr double faintestPulse = 0.25;
constexpr int badgeHeight = 16;
constexpr int wordIndent = 16;
constexpr double dotRadius = 3.0;
constexpr double haloRadius = 6.6;
constexpr double haloOpacity = 0.18;

struct Look {
    ServiceStatus status;
    QStringView word;
    QColor dot;
};

constexpr std::array<Look, 5> looks = {{
    {ServiceStatus::Connecting, u"CONNECTING", color::textDim},
    {ServiceStatus::Online, u"ONLINE", color::online},
    {ServiceStatus::Offline, u"OFFLINE", color::textDim},
    {ServiceStatus::Maintenance, u"MAINTENANCE", color::warning},
    {ServiceStatus::Degraded, u"DEGRADED", color::warning},
}};

Look lookOf(ServiceStatus status)
{
    for (const Look &look : looks) {
        if (look.status == status) {
            return look;
        }
    }
    return {status, u"", color::textDim};
}

QFont wordFont()
{
    return theme::displayFont(10, QFont::DemiBold, 1.6);
}

} // namespace

StatusBadge::StatusBadge(QWidget *parent)
    : QWidget(parent)
    , pulseAnim_(new QVariantAnimation(this))
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setFixedHeight(badgeHeight);
    setAccessibleName(lookOf(status_).word.toString());
    pulseAnim_->setDuration(pulseMs);
    pulseAnim_->setStartValue(faintestPulse);
    pulseAnim_->setEndValue(1.0);
    pulseAnim_->setEasingCurve(QEasingCurve::InOutSine);
    pulseAnim_->setLoopCount(-1);
    connect(pulseAnim_, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        pulse_ = value.toDouble();
        update();
    });
    restWhileUnseen(this, pulseAnim_);
    theme::setRunning(pulseAnim_, true);
    connect(theme::Motion::instance(), &theme::Motion::animationsEnabledChanged, this, [this](bool enabled) {
        theme::setRunning(pulseAnim_, status_ == ServiceStatus::Connecting);
        if (!enabled) {
            pulse_ = 1.0;
            update();
        }
    });
}

void StatusBadge::setStatus(ServiceStatus status, const QString &detail)
{
    status_ = status;
    const QString word = lookOf(status).word.toString();
    setToolTip(detail.isEmpty() ? word : detail);
    setAccessibleName(word);
    setAccessibleDescription(detail);
    const bool connecting = status == ServiceStatus::Connecting;
    theme::setRunning(pulseAnim_, connecting);
    if (!connecting || !theme::animationsEnabled()) {
        pulse_ = 1.0;
    }
    updateGeometry();
    update();
}

QSize StatusBadge::sizeHint() const
{
    return {QFontMetrics(wordFont()).horizontalAdvance(lookOf(status_).word.toString()) + wordIndent, badgeHeight};
}

/// The word is never cut: what stands beside the badge gives way.
QSize StatusBadge::minimumSizeHint() const
{
    return sizeHint();
}

void StatusBadge::paintEvent(QPaintEvent * /*event*/)
{
    const Look look = lookOf(status_);
    const QPointF centre(dotRadius, height() * 0.5);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme::withAlpha(look.dot, status_ == ServiceStatus::Connecting ? pulse_ : 1.0));
    painter.drawEllipse(centre, dotRadius, dotRadius);
    if (status_ == ServiceStatus::Online) {
        // Its left part is clipped by the widget, which is accepted.
        painter.setBrush(theme::withAlpha(color::online, haloOpacity));
        painter.drawEllipse(centre, haloRadius, haloRadius);
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(color::textMuted);
    painter.setFont(wordFont());
    painter.drawText(QRect(wordIndent, 0, width(), height()), Qt::AlignLeft | Qt::AlignVCenter, look.word.toString());
}

} // namespace velmo
