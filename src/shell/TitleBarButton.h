#pragma once

#include <QAbstractButton>

class QVariantAnimation;

namespace velmo {

/// One of the window buttons of the painted caption.
class TitleBarButton : public QAbstractButton {
    Q_OBJECT

public:
    enum Kind { Minimize, Maximize, Restore, Close };
    Q_ENUM(Kind)

    explicit TitleBarButton(Kind kind, QWidget *parent = nullptr);

    void setKind(Kind kind);
    QSize sizeHint() const override;

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void describe(const QString &text);
    void paintWash(QPainter &painter) const;
    void paintGlyph(QPainter &painter) const;

    Kind kind;
    double hover = 0.0;
    QVariantAnimation *hoverAnimation;
};

} // namespace velmo
