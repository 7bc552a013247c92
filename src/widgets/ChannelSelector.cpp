#include "widgets/ChannelSelector.h"

#include "data/GameProfile.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/ChannelPopup.h"

#include <QAccessible>
#include <QEasingCurve>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int hoverMs = 110;
constexpr int boxHeight = 26;
constexpr int namePadding = 36;
constexpr int popupGap = 4;
constexpr int screenGap = 8;

QFont nameFont()
{
    return theme::monoFont(11, QFont::DemiBold, 0.8);
}

/// That the list has opened or closed.
void announceList(ChannelSelector *selector)
{
    QAccessible::State changed;
    changed.expanded = true;
    changed.collapsed = true;
    QAccessibleStateChangeEvent event(selector, changed);
    QAccessible::updateAccessibility(&event);
}

} // namespace

ChannelSelector::ChannelSelector(QWidget *parent)
    : QWidget(parent)
    , hoverAnim_(new QVariantAnimation(this))
{
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFixedHeight(boxHeight);
    setToolTip(u"Choose which build of the game the launcher follows"_s);
    hoverAnim_->setDuration(hoverMs);
    hoverAnim_->setEasingCurve(QEasingCurve::OutCubic);
    connect(hoverAnim_, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        hover_ = value.toDouble();
        update();
    });
    setChannelId(gameProfile().defaultChannel);
}

ChannelSelector::~ChannelSelector()
{
    // Here and not with the other children: the list reports its end to this object, which must still be whole.
    delete popup_;
}

void ChannelSelector::setChannelId(const QString &channelId)
{
    channelId_ = channelId;
    setFixedWidth(boxSize().width());
    setAccessibleDescription(shownName());
    updateGeometry();
    update();
}

QString ChannelSelector::shownName() const
{
    return gameProfile().channel(channelId_).name.toUpper();
}

QSize ChannelSelector::sizeHint() const
{
    return boxSize();
}

void ChannelSelector::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    theme::animate(hoverAnim_, hover_, 1.0, hoverMs);
}

void ChannelSelector::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    theme::animate(hoverAnim_, hover_, 0.0, hoverMs);
}

void ChannelSelector::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        event->accept();
    } else {
        QWidget::mousePressEvent(event);
    }
}

void ChannelSelector::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
        showPopup();
    }
    QWidget::mouseReleaseEvent(event);
}

void ChannelSelector::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(rect(), theme::mix(color::panelSunken, color::panelRaised, hover_));
    painter.setPen(theme::mix(color::border, color::accent, hover_));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    painter.setPen(theme::mix(color::textMuted, color::text, hover_));
    painter.setFont(nameFont());
    painter.drawText(QRect(10, 0, width() - 28, height()), Qt::AlignLeft | Qt::AlignVCenter, shownName());

    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(
        QPen(theme::mix(color::textDim, color::accent, hover_), 1.3, Qt::SolidLine, Qt::RoundCap, Qt::BevelJoin));
    const double cx = width() - 10 - 4.0;
    const double cy = height() * 0.5 - 1.0;
    QPainterPath chevron(QPointF(cx - 3.5, cy - 1.5));
    chevron.lineTo(cx, cy + 2.0);
    chevron.lineTo(cx + 3.5, cy - 1.5);
    painter.drawPath(chevron);
}

QSize ChannelSelector::boxSize() const
{
    return {QFontMetrics(nameFont()).horizontalAdvance(shownName()) + namePadding, boxHeight};
}

void ChannelSelector::showPopup()
{
    if (popup_) {
        return;
    }
    popup_ = new ChannelPopup(
        channelId_, [this](const QString &id) { emit channelSelected(id); }, this);
    connect(popup_, &QObject::destroyed, this, [this] {
        popup_ = nullptr;
        announceList(this);
    });
    popup_->adjustSize();
    popup_->move(popupPosition(popup_->height()));
    popup_->show();
    announceList(this);
}

/// Below the box, flush with its right edge; held inside the screen, and above the box where there is no room below.
QPoint ChannelSelector::popupPosition(int popupHeight) const
{
    QPoint position = mapToGlobal(QPoint(width() - ChannelPopup::fixedWidth, height() + popupGap));
    const QPoint topLeft = mapToGlobal(QPoint(0, 0));
    if (const QScreen *screen = QGuiApplication::screenAt(topLeft)) {
        const QRect area = screen->availableGeometry();
        const int rightmost = area.right() - ChannelPopup::fixedWidth - screenGap;
        position.setX(std::max(area.left() + screenGap, std::min(rightmost, position.x())));
        if (position.y() + popupHeight > area.bottom()) {
            position.setY(topLeft.y() - popupHeight - popupGap);
        }
    }
    return position;
}

} // namespace velmo
