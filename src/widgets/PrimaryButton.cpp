#include "widgets/PrimaryButton.h"

#include "theme/Fonts.h"
#include "theme/Icons.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/UnseenRest.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int hoverMs = 110;
constexpr int sweepMs = 1200;
constexpr double cornerRadius = 6.0;
constexpr int buttonHeight = 54;
constexpr int narrowest = 210;
constexpr int captionPadding = 118; // both sides and the arrow
constexpr int arrowSize = 20;
constexpr int arrowReserve = 38; // right part that the caption leaves to the arrow
constexpr int pressedDarkening = 112;

QFont captionFont()
{
    return theme::displayFont(14, QFont::DemiBold, 0.0);
}

QRectF outlineRect(const QRect &rect)
{
    return QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5);
}

} // namespace

PrimaryButton::PrimaryButton(QWidget *parent)
    : QAbstractButton(parent)
    , hoverAnimation(new QVariantAnimation(this))
    , sweepAnimation(new QVariantAnimation(this))
{
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    hoverAnimation->setDuration(hoverMs);
    hoverAnimation->setEasingCurve(QEasingCurve::OutCubic);
    connect(hoverAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        hover = value.toDouble();
        update();
    });
    sweepAnimation->setDuration(sweepMs);
    sweepAnimation->setStartValue(0.0);
    sweepAnimation->setEndValue(1.0);
    sweepAnimation->setEasingCurve(QEasingCurve::InOutSine);
    sweepAnimation->setLoopCount(-1);
    connect(sweepAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        sweep = value.toDouble();
        update();
    });
    restWhileUnseen(this, sweepAnimation);
    connect(theme::Motion::instance(), &theme::Motion::animationsEnabledChanged, this,
            [this] { theme::setRunning(sweepAnimation, busy); });
}

void PrimaryButton::setBusy(bool busy)
{
    if (this->busy == busy) {
        return;
    }
    this->busy = busy;
    setEnabled(!busy);
    setCursor(busy ? Qt::ArrowCursor : Qt::PointingHandCursor);
    theme::setRunning(sweepAnimation, busy);
    update();
}

void PrimaryButton::setSubText(const QString &text)
{
    subText = text;
    update();
}

QSize PrimaryButton::sizeHint() const
{
    const int caption = QFontMetrics(captionFont()).horizontalAdvance(text());
    return {std::max(caption + captionPadding, narrowest), buttonHeight};
}

void PrimaryButton::enterEvent(QEnterEvent *event)
{
    QAbstractButton::enterEvent(event);
    if (isEnabled()) {
        theme::animate(hoverAnimation, hover, 1.0, hoverMs);
    }
}

void PrimaryButton::leaveEvent(QEvent *event)
{
    QAbstractButton::leaveEvent(event);
    theme::animate(hoverAnimation, hover, 0.0, hoverMs);
}

void PrimaryButton::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (busy) {
        paintBusy(painter);
    } else if (!isEnabled()) {
        paintDisabled(painter);
    } else {
        paintEnabled(painter);
    }
}

void PrimaryButton::paintBusy(QPainter &painter) const
{
    constexpr int sweepHeight = 2;
    const QRectF body = outlineRect(rect());
    painter.setPen(color::borderStrong);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(body, cornerRadius, cornerRadius);

    const int third = width() / 3;
    const int head = static_cast<int>((width() + third) * sweep);
    const int tail = head - third;
    painter.fillRect(0, height() - sweepHeight, width(), sweepHeight, color::border);
    QLinearGradient light(tail, 0, head, 0);
    light.setColorAt(0.0, theme::withAlpha(color::accent, 0.0));
    light.setColorAt(0.5, color::accent);
    light.setColorAt(1.0, theme::withAlpha(color::accent, 0.0));
    painter.fillRect(QRect(tail, height() - sweepHeight, third, sweepHeight), light);

    painter.setPen(color::textMuted);
    painter.setFont(theme::displayFont(13, QFont::DemiBold, 0.0));
    painter.drawText(body, Qt::AlignCenter, text());
}

void PrimaryButton::paintDisabled(QPainter &painter) const
{
    const QRectF body = outlineRect(rect());
    painter.setPen(color::border);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(body, cornerRadius, cornerRadius);
    painter.setPen(color::textDim);
    painter.setFont(captionFont());
    painter.drawText(body, Qt::AlignCenter, text());
}

void PrimaryButton::paintEnabled(QPainter &painter) const
{
    QColor fill = hover > 0.0 ? theme::mix(color::action, color::actionHover, hover) : color::action;
    if (isDown()) {
        fill = fill.darker(pressedDarkening);
    }
    QPainterPath path;
    path.addRoundedRect(outlineRect(rect()), cornerRadius, cornerRadius);
    painter.fillPath(path, fill);

    const int pressed = isDown() ? 1 : 0;
    paintCaption(painter, pressed);

    const QPixmap arrow = theme::iconPixmap(u"arrow-right"_s, arrowSize, color::ink, devicePixelRatio(), 0.0);
    if (!arrow.isNull()) {
        painter.drawPixmap(QPointF(width() - 19 - 10 + hover * 3.0, (height() - arrowSize) * 0.5 + pressed), arrow);
    }
    if (hasFocus()) {
        painter.setPen(theme::withAlpha(color::ink, 0.35));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(3, 3, -4, -4));
    }
}

void PrimaryButton::paintCaption(QPainter &painter, int pressed) const
{
    const QRect textRect = rect().adjusted(0, 0, -arrowReserve, 0);
    painter.setPen(color::ink);
    painter.setFont(captionFont());
    if (subText.isEmpty()) {
        painter.drawText(textRect.translated(0, pressed), Qt::AlignCenter, text());
        return;
    }
    painter.drawText(textRect.translated(0, pressed - 8), Qt::AlignCenter, text());
    painter.setPen(theme::withAlpha(color::ink, 0.62));
    painter.setFont(theme::bodyFont(10, QFont::Normal));
    painter.drawText(textRect.translated(0, pressed + 12), Qt::AlignCenter, subText);
}

} // namespace velmo
