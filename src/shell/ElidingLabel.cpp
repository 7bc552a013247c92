#include "shell/ElidingLabel.h"

#include <QFontMetrics>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextDocument>
#include <QToolTip>

namespace velmo {

ElidingLabel::ElidingLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

void ElidingLabel::setElideMode(Qt::TextElideMode mode)
{
    mode_ = mode;
    update();
}

QSize ElidingLabel::minimumSizeHint() const
{
    return {0, QLabel::minimumSizeHint().height()};
}

bool ElidingLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && shownText() != text()) {
        const auto *help = static_cast<QHelpEvent *>(event);
        // A tool tip would take a file's name for markup that looks like it.
        QToolTip::showText(help->globalPos(), Qt::convertFromPlainText(text(), Qt::WhiteSpaceNormal), this);
        return true;
    }
    return QLabel::event(event);
}

void ElidingLabel::paintEvent(QPaintEvent *event)
{
    const QString shown = shownText();
    if (shown == text()) {
        QLabel::paintEvent(event);
        return;
    }
    const auto align = static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment()).toInt());
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), align, palette(), isEnabled(), shown, foregroundRole());
}

QString ElidingLabel::shownText() const
{
    QStringList lines = text().split(u'\n');
    for (QString &line : lines) {
        line = fontMetrics().elidedText(line, mode_, contentsRect().width());
    }
    return lines.join(u'\n');
}

} // namespace velmo
