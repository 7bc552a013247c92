#pragma once

#include <QWidget>

class QVariantAnimation;

namespace velmo {

/// The thin bar of progress: glides forward, snaps backward, and sweeps while nobody knows how far it is.
class ProgressTrack : public QWidget {
    Q_OBJECT

public:
    explicit ProgressTrack(QWidget *parent = nullptr);

    /// Held between 0 and 1; kept, though not shown, while indeterminate.
    void setFraction(double fraction);
    double fraction() const { return target_; }
    void setIndeterminate(bool on);
    bool isIndeterminate() const { return indeterminate_; }
    /// Height in logical pixels, at least 1.
    void setThickness(int pixels);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void announceValue();
    void paintSweep(QPainter &painter) const;
    void paintFill(QPainter &painter) const;

    double target_ = 0.0; ///< last fraction asked for
    double shown_ = 0.0;  ///< on screen, on its way to target_
    double sweep_ = 0.0;  ///< phase of the sweep
    bool indeterminate_ = false;
    QVariantAnimation *glideAnim_;
    QVariantAnimation *sweepAnim_;
};

} // namespace velmo
