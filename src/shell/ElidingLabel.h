#pragma once

#include <QLabel>

namespace velmo {

/// A line of plain text that gives way: where its room is short it is cut at an ellipsis, and where it takes the mouse
/// the tool tip tells the rest. text() is the whole text always, for screen readers too.
class ElidingLabel : public QLabel {
    Q_OBJECT

public:
    explicit ElidingLabel(QWidget *parent = nullptr);

    /// Which end stays; the left one at first.
    void setElideMode(Qt::TextElideMode mode);

    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    /// The text as it fits, line by line.
    QString shownText() const;

    Qt::TextElideMode mode_ = Qt::ElideRight;
};

} // namespace velmo
