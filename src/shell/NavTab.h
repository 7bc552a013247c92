#pragma once

#include <QAbstractButton>
#include <QString>

class QVariantAnimation;

namespace velmo {

/// One tab of the page navigation: an icon and a word on a plate that comes with hover and stays while active.
class NavTab : public QAbstractButton {
    Q_OBJECT

public:
    NavTab(const QString &iconName, const QString &text, QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void checkStateSet() override;
    void nextCheckState() override;

private:
    void paintPlate(QPainter &painter) const;
    void paintContent(QPainter &painter) const;
    void paintDot(QPainter &painter) const;

    QString iconName;
    double hover = 0.0;
    double active = 0.0;
    QVariantAnimation *hoverAnimation;
    QVariantAnimation *activeAnimation;
};

} // namespace velmo
