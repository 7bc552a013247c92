#pragma once

class QPushButton;
class QString;
class QWidget;

namespace velmo {

/// A button in the stylesheet's look \a role, "secondary", "danger" or "link", with a ring while it has the focus.
/// Owned by \a parent.
QPushButton *makeRoleButton(const QString &text, const QString &role, QWidget *parent);

} // namespace velmo
