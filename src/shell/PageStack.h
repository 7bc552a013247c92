#pragma once

#include <QStackedWidget>

namespace velmo {

/// The stack of pages between the bars. It takes the room that the window leaves: its pages are not asked for theirs,
/// so that a low window squeezes the page and not the bars, and a page that is never opened is never measured.
class PageStack : public QStackedWidget {
    Q_OBJECT

public:
    using QStackedWidget::QStackedWidget;

    QSize sizeHint() const override { return {0, 0}; }
    QSize minimumSizeHint() const override { return {0, 0}; }
    bool hasHeightForWidth() const override { return false; }
};

} // namespace velmo
