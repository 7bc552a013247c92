#include "widgets/ChannelPopup.h"

#include "data/GameProfile.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"

#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

ChannelPopup::ChannelPopup(const QString &currentChannelId, std::function<void(const QString &)> onSelected,
                           QWidget *parent)
    : QWidget(parent, Qt::Popup)
    , onSelected_(std::move(onSelected))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setFixedWidth(fixedWidth);
    setAccessibleName(u"Build branch"_s);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(1, 30, 1, 1);
    column->setSpacing(0);
    for (const GameChannel &channel : gameProfile().channels) {
        auto *row = new ChannelRow(channel, channel.id == currentChannelId, this);
        column->addWidget(row);
        rows_.append(row);
    }
}

void ChannelPopup::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint point = event->position().toPoint();
    for (const ChannelRow *row : std::as_const(rows_)) {
        if (row->geometry().contains(point)) {
            const QString id = row->id();
            close();
            onSelected_(id);
            return;
        }
    }
    close();
}

void ChannelPopup::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), color::panel);
    painter.setPen(color::borderStrong);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    painter.setPen(color::textDim);
    painter.setFont(theme::displayFont(10, QFont::DemiBold, 2.0));
    painter.drawText(QRect(16, 8, width() - 32, 16), Qt::AlignLeft | Qt::AlignVCenter, u"BUILD BRANCH"_s);
    painter.fillRect(0, 29, width(), 1, color::border);
}

} // namespace velmo
