#pragma once

#include <QString>
#include <QWidget>

class QVariantAnimation;

namespace velmo {

class ChannelPopup;

/// The small box that shows the build branch and opens a list of all. It only proposes: it shows another branch when it
/// is told to.
class ChannelSelector : public QWidget {
    Q_OBJECT

public:
    explicit ChannelSelector(QWidget *parent = nullptr);
    ~ChannelSelector() override;

    /// Shows the branch \a channelId and takes the width of its name. Emits nothing.
    void setChannelId(const QString &channelId);
    /// The name of the branch that is shown, in capitals.
    QString shownName() const;
    /// The list of all branches while it is open, null otherwise.
    ChannelPopup *popup() const { return popup_; }

    QSize sizeHint() const override;

signals:
    /// The user chose a branch, perhaps the present one.
    void channelSelected(const QString &channelId);

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QSize boxSize() const;
    void showPopup();
    QPoint popupPosition(int popupHeight) const;

    QString channelId_;
    double hover_ = 0.0;
    QVariantAnimation *hoverAnim_;
    ChannelPopup *popup_ = nullptr; ///< the open pop-up; deletes itself when it closes
};

} // namespace velmo
