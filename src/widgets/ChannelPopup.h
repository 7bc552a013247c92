#pragma once

#include "widgets/ChannelRow.h"

#include <QList>

#include <functional>

namespace velmo {

/// The list of build branches below a ChannelSelector. Deletes itself when it closes.
class ChannelPopup : public QWidget {
public:
    static constexpr int fixedWidth = 372;

    /// \a onSelected is called with the chosen branch after the pop-up has closed.
    ChannelPopup(const QString &currentChannelId, std::function<void(const QString &)> onSelected, QWidget *parent);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QList<ChannelRow *> rows_; ///< in profile order
    std::function<void(const QString &)> onSelected_;
};

} // namespace velmo
