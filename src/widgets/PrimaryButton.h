#pragma once

#include <QAbstractButton>
#include <QString>

class QVariantAnimation;

namespace velmo {

/// The large main button of the action bar: a solid call to action, an outline when disabled, and an outline with a
/// sweep along its bottom while busy.
class PrimaryButton : public QAbstractButton {
    Q_OBJECT

public:
    explicit PrimaryButton(QWidget *parent = nullptr);

    /// Busy disables the button and runs the sweep.
    void setBusy(bool busy);
    bool isBusy() const { return busy; }
    /// A small second line below the caption, in the solid look alone. Nothing in the launcher sets it yet.
    void setSubText(const QString &text);

    QSize sizeHint() const override;

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void paintBusy(QPainter &painter) const;
    void paintDisabled(QPainter &painter) const;
    void paintEnabled(QPainter &painter) const;
    void paintCaption(QPainter &painter, int pressed) const;

    bool busy = false;
    QString subText;
    double hover = 0.0;
    double sweep = 0.0; ///< phase of the sweep
    QVariantAnimation *hoverAnimation;
    QVariantAnimation *sweepAnimation;
};

} // namespace velmo
