#include "WindowTwin.h"

#include "pages/SettingsPage.h"
#include "shell/NavTab.h"
#include "shell/TitleBarButton.h"
#include "widgets/ModalDialog.h"
#include "widgets/PrimaryButton.h"

#include <QApplication>
#include <QPushButton>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

WindowTwin::WindowTwin(QSize size, bool startsAtSignIn)
    : game_(&config_, &api_, &network_)
{
    if (startsAtSignIn) {
        AutostartStore::replaceInstance(&signInPlace_);
    }
    window_ = std::make_unique<MainWindow>(&config_, &game_, &api_);
    window_->setAttribute(Qt::WA_DontShowOnScreen);
    window_->resize(size);
    window_->show();
}

WindowTwin::~WindowTwin()
{
    window_.reset();
    AutostartStore::replaceInstance(nullptr);
}

QPoint WindowTwin::primaryButton()
{
    return middleOf(window_->findChild<PrimaryButton *>());
}

QPoint WindowTwin::closeButton()
{
    return middleOf(window_->findChildren<TitleBarButton *>().constLast());
}

QPoint WindowTwin::tab(const QString &text)
{
    const NavTab *tab = findTab(text);
    return tab ? middleOf(tab) : QPoint(-1, -1);
}

QPoint WindowTwin::setting(const QString &label)
{
    findTab(u"Settings"_s)->click();
    QApplication::processEvents();
    const auto *page = window_->findChild<SettingsPage *>();
    const QList<QWidget *> widgets = page->findChildren<QWidget *>();
    const auto control = std::find_if(widgets.begin(), widgets.end(), [&label](const QWidget *candidate) {
        return candidate->accessibleName() == label && candidate->parentWidget()->inherits("velmo::SettingRow");
    });
    return control == widgets.end() ? QPoint(-1, -1) : middleOf(*control);
}

QPoint WindowTwin::questionButton(const QString &text)
{
    ModalDialog dialog(
        ModalDialog::Confirm, u"Close the launcher"_s,
        u"A download is still in progress.\n\nClosing now keeps everything downloaded so far and resumes "
        "where it left off the next time you open the launcher."_s);
    const QList<QPushButton *> buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        if (button->text() == u"Confirm"_s) {
            button->setText(u"Close anyway"_s);
        }
    }
    dialog.setAttribute(Qt::WA_DontShowOnScreen);
    dialog.show();
    const auto found = std::find_if(buttons.begin(), buttons.end(),
                                    [&text](const QPushButton *button) { return button->text() == text; });
    return found == buttons.end() ? QPoint(-1, -1) : (*found)->mapTo(&dialog, (*found)->rect().center());
}

NavTab *WindowTwin::findTab(const QString &text) const
{
    const QList<NavTab *> tabs = window_->findChildren<NavTab *>();
    const auto found =
        std::find_if(tabs.begin(), tabs.end(), [&text](const NavTab *tab) { return tab->text() == text; });
    return found == tabs.end() ? nullptr : *found;
}

QPoint WindowTwin::middleOf(const QWidget *widget) const
{
    return widget->mapTo(window_.get(), widget->rect().center());
}

} // namespace velmo::test
