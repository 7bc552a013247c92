#include "pages/PageParts.h"

#include "theme/Stylesheet.h"

#include <QLabel>
#include <QScrollArea>

namespace velmo {

namespace {

/// A scroll area that takes the room that it is given. Its contents would otherwise be measured for a hint that nobody
/// needs, at every start and for pages that may never be opened.
class PageScrollArea : public QScrollArea {
public:
    using QScrollArea::QScrollArea;

    QSize sizeHint() const override { return minimumSizeHint(); }
};

} // namespace

QLabel *makeLabel(const QString &text, const QFont &font, const QColor &color, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    dressLabel(label, font, color);
    return label;
}

void dressLabel(QLabel *label, const QFont &font, const QColor &color)
{
    label->setTextFormat(Qt::PlainText);
    label->setFont(font);
    label->setStyleSheet(theme::colorRule(color));
}

void setReadingWidth(QLabel *label, int width)
{
    label->setWordWrap(true);
    label->setFixedWidth(width);
    label->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Minimum);
}

QScrollArea *makeScrollArea(QWidget *content, QWidget *parent)
{
    auto *area = new PageScrollArea(parent);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(content);
    return area;
}

} // namespace velmo
