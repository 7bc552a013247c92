#pragma once

#include <QDialog>
#include <QPoint>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace velmo {

/// The launcher's only dialog: frameless, application-modal, dragged by its body. The two static functions are how it
/// is shown; both block until it is closed.
class ModalDialog : public QDialog {
    Q_OBJECT

public:
    enum Kind { Info, Warning, Error, Confirm };
    Q_ENUM(Kind)

    ModalDialog(Kind kind, const QString &title, const QString &message, QWidget *parent = nullptr);

    /// Asks; true when the primary button was pressed. An empty \a confirmText leaves that button "Confirm".
    static bool confirm(QWidget *parent, const QString &title, const QString &message, const QString &confirmText);
    /// Tells of an error. \a details, when not empty, wait behind a link.
    static void showError(QWidget *parent, const QString &title, const QString &message, const QString &details);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void buildButtons();
    void toggleDetails();

    Kind kind_;
    QLabel *titleLabel_;
    QLabel *messageLabel_;
    QPushButton *detailsToggle_;
    QPlainTextEdit *detailsView_;
    QPushButton *primaryButton_;
    QPushButton *cancelButton_;
    QPoint dragOffset_; ///< of the press from the frame's top left
};

} // namespace velmo
