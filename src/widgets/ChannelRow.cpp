#include "widgets/ChannelRow.h"

#include "data/GameProfile.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"

#include <QFontMetrics>
#include <QPainter>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int rowHeight = 54;
constexpr int markerWidth = 2;

} // namespace

ChannelRow::ChannelRow(const GameChannel &channel, bool active, QWidget *parent)
    : QWidget(parent)
    , id_(channel.id)
    , name_(channel.name)
    , description_(channel.description)
    , manifest_(channel.manifest)
    , active_(active)
{
    setFixedHeight(rowHeight);
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setAccessibleName(name_);
    setAccessibleDescription(description_);
}

void ChannelRow::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    hovered_ = true;
    update();
}

void ChannelRow::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    hovered_ = false;
    update();
}

void ChannelRow::paintEvent(QPaintEvent * /*event*/)
{
    constexpr Qt::Alignment middleLeft = Qt::AlignLeft | Qt::AlignVCenter;
    QPainter painter(this);
    if (hovered_) {
        painter.fillRect(rect(), color::panelRaised);
    }
    if (active_) {
        painter.fillRect(0, 0, markerWidth, height(), color::accent);
    }
    painter.setPen(color::text);
    painter.setFont(theme::displayFont(13, QFont::DemiBold, 1.2));
    painter.drawText(QRect(16, 9, width() - 90, 18), middleLeft, name_.toUpper());
    painter.setPen(color::textMuted);
    painter.setFont(theme::bodyFont(11, QFont::Normal));
    painter.drawText(QRect(16, 28, width() - 32, 18), middleLeft,
                     painter.fontMetrics().elidedText(description_, Qt::ElideRight, width() - 32));
    if (active_) {
        painter.setPen(color::accent);
        painter.setFont(theme::displayFont(10, QFont::DemiBold, 1.6));
        painter.drawText(QRect(width() - 74, 9, 58, 18), Qt::AlignRight | Qt::AlignVCenter, u"ACTIVE"_s);
    }
}

} // namespace velmo
