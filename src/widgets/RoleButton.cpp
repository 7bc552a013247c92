#include "widgets/RoleButton.h"

#include <QPushButton>

namespace velmo {

QPushButton *makeRoleButton(const QString &text, const QString &role, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setProperty("role", role);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

} // namespace velmo
