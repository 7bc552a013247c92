#include "WindowTwin.h"

#include "pages/SettingsPage.h"
#include "shell/ActionBar.h"
#include "shell/NavTab.h"
#include "shell/TitleBar.h"
#include "shell/TitleBarButton.h"
#include "widgets/ChannelPopup.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ModalDialog.h"
#include "widgets/NewsCard.h"
#include "widgets/PrimaryButton.h"

#include <QApplication>
#include <QPushButton>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

WindowTwin::WindowTwin(QSize size, bool startsAtSignIn)
    : game_(&config_, &api_, &network_)
{
    if (startsAtSignIn) {
        AutostartStore::replaceInstance(&signInPlace_);
    }
    api_.hold();
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

void WindowTwin::resize(QSize size)
{
    window_->resize(size);
    QApplication::processEvents();
}

QPoint WindowTwin::primaryButton()
{
    return middleOf(window_->findChild<PrimaryButton *>());
}

QPoint WindowTwin::cancelButton()
{
    emit game_.stateChanged(GameState::Downloading, {});
    QPushButton *cancel = window_->findChild<ActionBar *>()->findChild<QPushButton *>();
    cancel->show();
    QApplication::processEvents();
    const QPoint middle = middleOf(cancel);
    emit game_.stateChanged(GameState::NotInstalled, {});
    return middle;
}

QPoint WindowTwin::minimiseButton()
{
    return middleOf(window_->findChild<TitleBarButton *>());
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

QPoint WindowTwin::branchSelector(const QString &branch)
{
    auto *selector = window_->findChild<TitleBar *>()->findChild<ChannelSelector *>();
    selector->setChannelId(branch);
    QApplication::processEvents();
    return middleOf(selector);
}

QPoint WindowTwin::branchRow(const QString &name)
{
    ChannelPopup list(
        u"release"_s, [](const QString & /*id*/) {}, nullptr);
    list.setAttribute(Qt::WA_DeleteOnClose, false);
    list.setAttribute(Qt::WA_DontShowOnScreen);
    list.show();
    const QList<QWidget *> rows = list.findChildren<QWidget *>();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&name](const QWidget *row) { return row->accessibleName() == name; });
    return found == rows.end() ? QPoint(-1, -1) : (*found)->mapTo(&list, (*found)->rect().center());
}

QRect WindowTwin::firstCard()
{
    findTab(u"News"_s)->click();
    QApplication::processEvents();
    const auto *card = window_->findChild<NewsCard *>();
    return card ? QRect(card->mapTo(window_.get(), QPoint(0, 0)), card->size()) : QRect();
}

const WindowTwin::Question WindowTwin::close = {
    u"Close the launcher"_s,
    u"A download is still in progress.\n\nClosing now keeps everything downloaded so far and resumes "
    "where it left off the next time you open the launcher."_s,
    u"Close anyway"_s};

const WindowTwin::Question WindowTwin::reset = {
    u"Reset launcher settings"_s,
    u"Every launcher setting will return to its default, including your chosen installation folder.\n\nInstalled "
    "game files are not affected."_s,
    u"Reset settings"_s};

QPoint WindowTwin::questionButton(const Question &question, const QString &button)
{
    ModalDialog dialog(ModalDialog::Confirm, question.title, question.text);
    const QList<QPushButton *> buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *candidate : buttons) {
        if (candidate->text() == u"Confirm"_s) {
            candidate->setText(question.agreement);
        }
    }
    dialog.setAttribute(Qt::WA_DontShowOnScreen);
    dialog.show();
    const auto found = std::find_if(buttons.begin(), buttons.end(),
                                    [&button](const QPushButton *candidate) { return candidate->text() == button; });
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

} // namespace velmo::demo
