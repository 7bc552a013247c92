#include "shell/TitleBar.h"

#include "data/GameProfile.h"
#include "shell/ElidingLabel.h"
#include "shell/NavTab.h"
#include "shell/TitleBarButton.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"
#include "widgets/ChannelSelector.h"
#include "widgets/LogoView.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QShortcut>

#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int barHeight = 44;
constexpr int logoHeight = 13;

struct TabEntry {
    NavPage page;
    QStringView text;
    QStringView icon;
    Qt::Key key; ///< with Ctrl
};

constexpr std::array<TabEntry, 4> tabEntries = {{
    {NavPage::Home, u"Home", u"home", Qt::Key_1},
    {NavPage::News, u"News", u"news", Qt::Key_2},
    {NavPage::Community, u"Community", u"users", Qt::Key_3},
    {NavPage::Settings, u"Settings", u"settings", Qt::Key_4},
}};

/// Lets the mouse reach the caption through \a widget, so that it drags the window.
void makeDragThrough(QWidget *widget)
{
    widget->setProperty("captionPassthrough", true);
    widget->setAttribute(Qt::WA_TransparentForMouseEvents);
}

} // namespace

TitleBar::TitleBar(QWidget *parent)
    : QWidget(parent)
    , tabGroup(new QButtonGroup(this))
    , logo(new LogoView(this))
    , versionLabel(new ElidingLabel(this))
    , selector(new ChannelSelector(this))
    , minimizeButton(new TitleBarButton(TitleBarButton::Minimize, this))
    , maximizeButton(new TitleBarButton(TitleBarButton::Maximize, this))
    , closeButton(new TitleBarButton(TitleBarButton::Close, this))
{
    setFixedHeight(barHeight);
    setAttribute(Qt::WA_StyledBackground, false);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(16, 0, 0, 0);
    row->setSpacing(0);
    addLogo(row);
    row->addSpacing(26);
    addTabs(row);
    row->addStretch(1);
    addSelector(row);
    row->addSpacing(14);
    addVersion(row);
    row->addSpacing(18);
    addWindowButtons(row);
}

void TitleBar::setVersionText(const QString &text)
{
    versionLabel->setText(text.toUpper());
}

void TitleBar::setActivePage(int index)
{
    if (NavTab *tab = tabs.value(index)) {
        tab->setChecked(true);
    }
    activePage = index;
}

void TitleBar::setMaximized(bool maximized)
{
    maximizeButton->setKind(maximized ? TitleBarButton::Restore : TitleBarButton::Maximize);
}

void TitleBar::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), color::ink);
}

void TitleBar::addLogo(QBoxLayout *row)
{
    logo->setLogo(gameProfile().studioLogo, logoHeight);
    makeDragThrough(logo);
    logo->setAccessibleName(gameProfile().studio);
    row->addWidget(logo, 0, Qt::AlignVCenter);
    if (logo->sourcePixmap().isNull()) {
        auto *name = new QLabel(gameProfile().studio, this);
        name->setTextFormat(Qt::PlainText);
        name->setFont(theme::displayFont(12, QFont::DemiBold, 3.0));
        name->setStyleSheet(theme::colorRule(color::text));
        makeDragThrough(name);
        row->addWidget(name, 0, Qt::AlignVCenter);
    }
}

void TitleBar::addTabs(QBoxLayout *row)
{
    tabGroup->setExclusive(true);
    for (const TabEntry &entry : tabEntries) {
        const int index = static_cast<int>(entry.page);
        auto *tab = new NavTab(entry.icon.toString(), entry.text.toString(), this);
        tabGroup->addButton(tab, index);
        tabs.insert(index, tab);
        connect(tab, &NavTab::clicked, this, [this, index] {
            if (activePage != index) {
                activePage = index;
                emit pageRequested(static_cast<NavPage>(index));
            }
        });
        connect(new QShortcut(QKeySequence(Qt::CTRL | entry.key), this), &QShortcut::activated, tab, &NavTab::click);
        row->addWidget(tab, 0, Qt::AlignVCenter);
    }
}

void TitleBar::addSelector(QBoxLayout *row)
{
    selector->setAccessibleName(u"Build branch"_s);
    row->addWidget(selector, 0, Qt::AlignVCenter);
}

void TitleBar::addVersion(QBoxLayout *row)
{
    versionLabel->setFont(theme::monoFont(10, QFont::Normal, 0.6));
    versionLabel->setStyleSheet(theme::colorRule(color::textDim));
    versionLabel->setElideMode(Qt::ElideLeft); // the number says more than the word before it
    makeDragThrough(versionLabel);
    row->addWidget(versionLabel, 0, Qt::AlignVCenter);
}

void TitleBar::addWindowButtons(QBoxLayout *row)
{
    connect(minimizeButton, &TitleBarButton::clicked, this, &TitleBar::minimizeRequested);
    connect(maximizeButton, &TitleBarButton::clicked, this, &TitleBar::maximizeRestoreRequested);
    connect(closeButton, &TitleBarButton::clicked, this, &TitleBar::closeRequested);
    for (TitleBarButton *button : {minimizeButton, maximizeButton, closeButton}) {
        row->addWidget(button);
    }
}

} // namespace velmo
