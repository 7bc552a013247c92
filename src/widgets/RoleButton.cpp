#include "widgets/RoleButton.h"

#include "theme/Palette.h"

#include <QPainter>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr double focusOpacity = 0.5;

/// A button that shows its focus, for which the stylesheet has no rule.
class RoleButton : public QPushButton {
public:
    RoleButton(const QString &text, const QString &role, QWidget *parent)
        : QPushButton(text, parent)
        , role_(role)
    {
        setProperty("role", role);
        setCursor(Qt::PointingHandCursor);
    }

protected:
    void paintEvent(QPaintEvent *event) override
    {
        QPushButton::paintEvent(event);
        if (hasFocus()) {
            QPainter painter(this);
            painter.setPen(theme::withAlpha(captionColor(), focusOpacity));
            painter.drawRect(focusRect());
        }
    }

private:
    /// The one of "secondary" turns dark on the light fill that it has under the pointer; all others stay light.
    QColor captionColor() const
    {
        const bool isFilled = role_ == "secondary"_L1 && (isDown() || underMouse());
        return isFilled ? color::ink : color::text;
    }

    /// Inside the outline; a link has none, and no room inside it.
    QRect focusRect() const
    {
        return role_ == "link"_L1 ? rect().adjusted(0, 0, -1, -1) : rect().adjusted(3, 3, -4, -4);
    }

    QString role_;
};

} // namespace

QPushButton *makeRoleButton(const QString &text, const QString &role, QWidget *parent)
{
    return new RoleButton(text, role, parent);
}

} // namespace velmo
