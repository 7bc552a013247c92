#include "shell/NavTab.h"

#include "theme/Fonts.h"
#include "theme/Icons.h"
#include "theme/Motion.h"
#include "theme/Palette.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

#include <algorithm>

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int blendMs = 110;
constexpr int tabHeight = 30;
constexpr int iconPixels = 15;
constexpr int textOffset = 23;   // the icon and the gap of 8
constexpr int totalPadding = 51; // icon, gap and 14 at either side
constexpr double plateRadius = 6.0;

QFont tabFont()
{
    return theme::displayFont(11, QFont::Medium, 0.0);
}

} // namespace

NavTab::NavTab(const QString &iconName, const QString &text, QWidget *parent)
    : QAbstractButton(parent)
    , iconName(iconName)
    , hoverAnimation(new QVariantAnimation(this))
    , activeAnimation(new QVariantAnimation(this))
{
    setText(text);
    setAccessibleName(text);
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_Hover);
    setFixedHeight(tabHeight);
    hoverAnimation->setEasingCurve(QEasingCurve::OutCubic);
    connect(hoverAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        hover = value.toDouble();
        update();
    });
    activeAnimation->setEasingCurve(QEasingCurve::OutCubic);
    connect(activeAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        active = value.toDouble();
        update();
    });
}

QSize NavTab::sizeHint() const
{
    return {QFontMetrics(tabFont()).horizontalAdvance(text()) + totalPadding, tabHeight};
}

void NavTab::enterEvent(QEnterEvent *event)
{
    QAbstractButton::enterEvent(event);
    theme::animate(hoverAnimation, hover, 1.0, blendMs);
}

void NavTab::leaveEvent(QEvent *event)
{
    QAbstractButton::leaveEvent(event);
    theme::animate(hoverAnimation, hover, 0.0, blendMs);
}

void NavTab::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintPlate(painter);
    paintContent(painter);
    paintDot(painter);
}

void NavTab::checkStateSet()
{
    QAbstractButton::checkStateSet();
    theme::animate(activeAnimation, active, isChecked() ? 1.0 : 0.0, blendMs);
}

void NavTab::nextCheckState()
{
    QAbstractButton::nextCheckState();
}

void NavTab::paintPlate(QPainter &painter) const
{
    const double plate = std::max(active, hover * 0.55);
    if (plate > 0.0) {
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()).adjusted(1.0, 3.0, -1.0, -3.0), plateRadius, plateRadius);
        painter.fillPath(path, theme::withAlpha(color::panelRaised, plate));
    }
}

void NavTab::paintContent(QPainter &painter) const
{
    const QColor tone = theme::mix(color::textMuted, color::text, std::max(active, hover * 0.6));
    const QFont font = tabFont();
    const int advance = QFontMetrics(font).horizontalAdvance(text());
    const int x = (width() - textOffset - advance) / 2;
    const QPixmap icon = theme::iconPixmap(iconName, iconPixels, tone, devicePixelRatio(), 0.0);
    if (!icon.isNull()) {
        painter.drawPixmap(QPointF(x, (height() - iconPixels) * 0.5), icon);
    }
    painter.setPen(tone);
    painter.setFont(font);
    painter.drawText(QRect(x + textOffset, 0, advance, height()), Qt::AlignLeft | Qt::AlignVCenter, text());
}

void NavTab::paintDot(QPainter &painter) const
{
    if (active > 0.0) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(theme::withAlpha(color::accentBright, active));
        painter.drawEllipse(QPointF(width() * 0.5, height() - 4.0), active * 2.0, active * 2.0);
    }
}

} // namespace velmo
