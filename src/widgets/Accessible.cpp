#include "widgets/Accessible.h"

#include "widgets/ChannelPopup.h"
#include "widgets/ChannelSelector.h"
#include "widgets/LogoView.h"
#include "widgets/NewsCard.h"
#include "widgets/ProgressTrack.h"
#include "widgets/StatusBadge.h"

#include <QAbstractButton>
#include <QAccessibleValueInterface>
#include <QAccessibleWidget>
#include <QApplication>
#include <QMouseEvent>
#include <QPointer>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

class AccessibleTrack : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit AccessibleTrack(ProgressTrack *track)
        : QAccessibleWidget(track, QAccessible::ProgressBar)
        , track_(track)
    {}

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ValueInterface ? static_cast<QAccessibleValueInterface *>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.busy = track_->isIndeterminate();
        state.readOnly = true;
        return state;
    }

    QString text(QAccessible::Text text) const override
    {
        if (text == QAccessible::Value && !track_->isIndeterminate()) {
            return u"%1%"_s.arg(qRound(track_->fraction() * 100.0));
        }
        return QAccessibleWidget::text(text);
    }

    QVariant currentValue() const override { return track_->isIndeterminate() ? QVariant() : track_->fraction(); }
    void setCurrentValue(const QVariant & /*value*/) override {}
    QVariant maximumValue() const override { return 1.0; }
    QVariant minimumValue() const override { return 0.0; }
    QVariant minimumStepSize() const override { return {}; }

private:
    ProgressTrack *track_;
};

/// A button of a navigation of which one is chosen.
class AccessibleTab : public QAccessibleWidget {
public:
    explicit AccessibleTab(QAbstractButton *tab)
        : QAccessibleWidget(tab, QAccessible::PageTab)
        , tab_(tab)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = true;
        state.selected = tab_->isChecked();
        return state;
    }

    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString &name) override
    {
        if (name == pressAction()) {
            tab_->click();
        }
    }

private:
    QAbstractButton *tab_;
};

/// Whether a dialog holds \a widget back until it is answered.
bool isBehindADialog(const QWidget *widget)
{
    const QWidget *dialog = QApplication::activeModalWidget();
    const QWidget *window = widget->window();
    while (window && window != dialog) {
        const QWidget *owner = window->parentWidget(); // a list's box, for one
        window = owner ? owner->window() : nullptr;
    }
    return dialog && !window;
}

/// A press and a release in the middle of \a widget, if that is still there to be clicked.
void click(QWidget *widget)
{
    const QPointer<QWidget> still = widget;
    if (!widget->isVisible() || isBehindADialog(widget)) {
        return;
    }
    const QPointF middle = QRectF(widget->rect()).center();
    const QPointF global = widget->mapToGlobal(middle);
    QMouseEvent press(QEvent::MouseButtonPress, middle, global, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &press);
    if (still) {
        QMouseEvent release(QEvent::MouseButtonRelease, middle, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(widget, &release);
    }
}

/// A painted widget that does what it does on a click.
class AccessibleClickable : public QAccessibleWidget {
public:
    using QAccessibleWidget::QAccessibleWidget;

    QStringList actionNames() const override { return QStringList{pressAction()} + QAccessibleWidget::actionNames(); }
    void doAction(const QString &name) override
    {
        if (name != pressAction()) {
            QAccessibleWidget::doAction(name);
            return;
        }
        // Once the reader has its answer: what follows may take its time, or the widget away.
        QWidget *clicked = widget();
        QMetaObject::invokeMethod(
            clicked, [clicked] { click(clicked); }, Qt::QueuedConnection);
    }
};

/// Its list is a window of its own, which nobody would find unless it hangs below its box.
class AccessibleSelector : public AccessibleClickable {
public:
    explicit AccessibleSelector(ChannelSelector *selector)
        : AccessibleClickable(selector, QAccessible::ButtonMenu)
        , selector_(selector)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = AccessibleClickable::state();
        state.hasPopup = true;
        state.expandable = true;
        state.expanded = selector_->popup() != nullptr;
        state.collapsed = !state.expanded;
        return state;
    }

    int childCount() const override { return selector_->popup() ? 1 : 0; }
    QAccessibleInterface *child(int index) const override
    {
        return index == 0 ? QAccessible::queryAccessibleInterface(selector_->popup()) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return child && selector_->popup() && child->object() == selector_->popup() ? 0 : -1;
    }

private:
    ChannelSelector *selector_;
};

class AccessibleList : public QAccessibleWidget {
public:
    explicit AccessibleList(ChannelPopup *list)
        : QAccessibleWidget(list, QAccessible::PopupMenu)
    {}

    QAccessibleInterface *parent() const override
    {
        return QAccessible::queryAccessibleInterface(widget()->parentWidget());
    }
};

class AccessibleRow : public AccessibleClickable {
public:
    explicit AccessibleRow(ChannelRow *row)
        : AccessibleClickable(row, QAccessible::MenuItem)
        , row_(row)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = AccessibleClickable::state();
        state.checkable = true;
        state.checked = row_->isActive();
        return state;
    }

private:
    ChannelRow *row_;
};

/// For the parts of the list of branches, which have no class name of their own.
QAccessibleInterface *makeListInterface(QObject *object)
{
    if (auto *row = dynamic_cast<ChannelRow *>(object)) {
        return new AccessibleRow(row);
    }
    if (auto *popup = dynamic_cast<ChannelPopup *>(object)) {
        return new AccessibleList(popup);
    }
    return nullptr;
}

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className == "velmo::ProgressTrack"_L1) {
        return new AccessibleTrack(static_cast<ProgressTrack *>(object));
    }
    if (className == "velmo::NavTab"_L1) {
        return new AccessibleTab(static_cast<QAbstractButton *>(object));
    }
    if (className == "velmo::StatusBadge"_L1) {
        // Not an indicator: the accessibility bus does not know that role, and readers pass over what has none.
        return new QAccessibleWidget(static_cast<StatusBadge *>(object), QAccessible::StaticText);
    }
    if (className == "velmo::FramelessWindow"_L1) {
        return new QAccessibleWidget(static_cast<QWidget *>(object), QAccessible::Window);
    }
    if (className == "velmo::NewsCard"_L1) {
        return new AccessibleClickable(static_cast<NewsCard *>(object), QAccessible::Button);
    }
    if (className == "velmo::ChannelSelector"_L1) {
        return new AccessibleSelector(static_cast<ChannelSelector *>(object));
    }
    if (className == "velmo::LogoView"_L1) {
        return new QAccessibleWidget(static_cast<LogoView *>(object), QAccessible::Graphic);
    }
    return className == "QWidget"_L1 ? makeListInterface(object) : nullptr;
}

} // namespace

void installAccessibility()
{
    QAccessible::installFactory(makeInterface);
}

} // namespace velmo
