#include "pages/PageParts.h"

#include "theme/Stylesheet.h"

#include <QLabel>
#include <QScrollArea>

namespace velmo {

QLabel *makeLabel(const QString &text, const QFont &font, const QColor &color, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(font);
    label->setStyleSheet(theme::colorRule(color));
    return label;
}

QScrollArea *makeScrollArea(QWidget *content, QWidget *parent)
{
    auto *area = new QScrollArea(parent);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(content);
    return area;
}

} // namespace velmo
