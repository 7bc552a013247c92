#pragma once

#include "game/GameState.h"

#include <QWidget>

class QVariantAnimation;

namespace velmo {

/// The state of the studio's services: a dot and a word, with a slow pulse while it is not known yet.
class StatusBadge : public QWidget {
    Q_OBJECT

public:
    explicit StatusBadge(QWidget *parent = nullptr);

    /// \a detail goes into the tool tip, or the state's word when it is empty.
    void setStatus(ServiceStatus status, const QString &detail);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    ServiceStatus status_ = ServiceStatus::Connecting;
    double pulse_ = 0.0; ///< opacity of the dot while connecting
    QVariantAnimation *pulseAnim_;
};

} // namespace velmo
