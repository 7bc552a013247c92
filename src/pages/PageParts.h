#pragma once

#include <QString>

class QColor;
class QFont;
class QLabel;
class QScrollArea;
class QWidget;

namespace velmo {

// What the pages are made of. Everything is owned by the parent that it is given.

/// A label that shows \a text as it stands, never as markup.
QLabel *makeLabel(const QString &text, const QFont &font, const QColor &color, QWidget *parent);
/// Makes any label one like that.
void dressLabel(QLabel *label, const QFont &font, const QColor &color);

/// The width of an article's text, in logical pixels.
constexpr int readingWidth = 720;
/// Wraps \a label at a width of its own, and gives it the height that this needs.
void setReadingWidth(QLabel *label, int width);

/// A frameless area that scrolls \a content up and down and gives it its own width. Hand over the content while it is
/// empty and fill it afterwards: what it holds is then not measured before it is shown.
QScrollArea *makeScrollArea(QWidget *content, QWidget *parent);

} // namespace velmo
