#include "widgets/Accessible.h"

#include "widgets/ProgressTrack.h"
#include "widgets/StatusBadge.h"

#include <QAbstractButton>
#include <QAccessibleValueInterface>
#include <QAccessibleWidget>

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

QAccessibleInterface *makeInterface(const QString &className, QObject *object)
{
    if (className == "velmo::ProgressTrack"_L1) {
        return new AccessibleTrack(static_cast<ProgressTrack *>(object));
    }
    if (className == "velmo::NavTab"_L1) {
        return new AccessibleTab(static_cast<QAbstractButton *>(object));
    }
    if (className == "velmo::StatusBadge"_L1) {
        return new QAccessibleWidget(static_cast<StatusBadge *>(object), QAccessible::Indicator);
    }
    return nullptr;
}

} // namespace

void installAccessibility()
{
    QAccessible::installFactory(makeInterface);
}

} // namespace velmo
