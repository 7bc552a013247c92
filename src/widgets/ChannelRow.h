#pragma once

#include <QString>
#include <QWidget>

namespace velmo {

struct GameChannel;

/// One build branch in the list; the pop-up that holds it handles the mouse.
class ChannelRow : public QWidget {
public:
    /// \a active marks the branch that was the current one when the list opened.
    ChannelRow(const GameChannel &channel, bool active, QWidget *parent);

    QString id() const { return id_; }
    bool isActive() const { return active_; }

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString id_;
    QString name_;
    QString description_;
    [[maybe_unused]] QString manifest_;
    bool active_;
    bool hovered_ = false;
};

} // namespace velmo
