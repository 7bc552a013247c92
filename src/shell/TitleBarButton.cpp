#include "shell/TitleBarButton.h"

#include "theme/Motion.h"
#include "theme/Palette.h"

#include <QEasingCurve>
#include <QPainter>
#include <QVariantAnimation>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int hoverMs = 110;
constexpr int buttonSize = 44;
constexpr double glyphSize = 10.0;

constexpr std::array<QStringView, 4> nameByKind = {u"Minimise", u"Maximise", u"Restore", u"Close"};

} // namespace

TitleBarButton::TitleBarButton(Kind kind, QWidget *parent)
    : QAbstractButton(parent)
    , kind(kind)
    , hoverAnimation(new QVariantAnimation(this))
{
    setCursor(Qt::ArrowCursor);
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_Hover);
    setFixedSize(buttonSize, buttonSize);
    describe(nameByKind.at(static_cast<size_t>(kind)).toString());
    hoverAnimation->setDuration(hoverMs);
    hoverAnimation->setEasingCurve(QEasingCurve::OutCubic);
    connect(hoverAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        hover = value.toDouble();
        update();
    });
}

void TitleBarButton::setKind(Kind kind)
{
    if (this->kind == kind) {
        return;
    }
    this->kind = kind;
    describe(kind == Restore ? u"Restore"_s : u"Maximise"_s);
    update();
}

QSize TitleBarButton::sizeHint() const
{
    return {buttonSize, buttonSize};
}

void TitleBarButton::enterEvent(QEnterEvent *event)
{
    QAbstractButton::enterEvent(event);
    theme::animate(hoverAnimation, hover, 1.0, hoverMs);
}

void TitleBarButton::leaveEvent(QEvent *event)
{
    QAbstractButton::leaveEvent(event);
    theme::animate(hoverAnimation, hover, 0.0, hoverMs);
}

void TitleBarButton::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    paintWash(painter);
    paintGlyph(painter);
}

void TitleBarButton::describe(const QString &text)
{
    setToolTip(text);
    setAccessibleName(text);
}

void TitleBarButton::paintWash(QPainter &painter) const
{
    QColor wash = color::text;
    double strength = isDown() ? 0.16 : 0.09;
    if (kind == Close) {
        wash = isDown() ? color::danger : color::dangerHover;
        strength = isDown() ? 1.0 : 0.92;
    }
    const double alpha = hover * strength;
    if (alpha > 0.0) {
        painter.fillRect(rect(), theme::withAlpha(wash, alpha));
    }
}

void TitleBarButton::paintGlyph(QPainter &painter) const
{
    QColor tone = hover > 0.0 ? color::text : color::textMuted;
    if (!isEnabled()) {
        tone = color::textDim;
    }
    QPen pen(tone, 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);

    const QRectF box((width() - glyphSize) / 2.0, (height() - glyphSize) / 2.0, glyphSize, glyphSize);
    const auto crisp = [](double value) { return qRound(value) + 0.5; };
    switch (kind) {
    case Minimize: {
        const double y = crisp(box.center().y());
        painter.drawLine(QPointF(box.left(), y), QPointF(box.right(), y));
        break;
    }
    case Maximize:
        painter.drawRect(QRectF(crisp(box.left()), crisp(box.top()), 9.0, 9.0));
        break;
    case Restore:
        painter.drawRect(QRectF(crisp(box.left() + 2.5), crisp(box.top()), 6.5, 6.5));
        painter.drawRect(QRectF(crisp(box.left()), crisp(box.top() + 2.5), 6.5, 6.5));
        break;
    case Close:
        painter.setRenderHint(QPainter::Antialiasing);
        painter.drawLine(box.topLeft(), box.bottomRight());
        painter.drawLine(box.bottomLeft(), box.topRight());
        painter.setRenderHint(QPainter::Antialiasing, false);
        break;
    }
}

} // namespace velmo
