#pragma once

#include <QWidget>

class QHBoxLayout;
class QLabel;

namespace velmo {

/// One line of the settings page: a name and an explanation at the left, the control at the right, a hairline below.
class SettingRow : public QWidget {
    Q_OBJECT

public:
    SettingRow(const QString &label, const QString &description, QWidget *parent = nullptr);

    /// Takes \a control over. Screen readers hear the row's label as the name of what the player uses of it: of
    /// \a control, or of the first widget in it that takes the focus. A label keeps its own text. Called once.
    void setControl(QWidget *control);
    /// Marks the row as one that does nothing yet and disables its control.
    void setPlanned(bool planned);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QLabel *label_;
    QLabel *description_;
    QLabel *plannedTag_;
    QWidget *control_ = nullptr;
    QHBoxLayout *layout_;
};

} // namespace velmo
