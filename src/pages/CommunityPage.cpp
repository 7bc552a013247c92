#include "pages/CommunityPage.h"

#include "core/Logging.h"
#include "data/GameProfile.h"
#include "pages/PageParts.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "widgets/RoleButton.h"

#include <QDesktopServices>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int pageMargin = 26;
constexpr int columnWidth = 680;
constexpr int cardGap = 14;
constexpr int buttonWidth = 190;

} // namespace

CommunityPage::CommunityPage(QWidget *parent)
    : Page(parent)
{
    QLabel *intro = makeLabel(u"Development happens in the open. Playtest waves, patch discussion and direct contact "
                              "with the team all run through the official Discord."_s,
                              theme::bodyFont(13, QFont::Normal), color::textMuted, this);
    intro->setWordWrap(true);
    intro->setMaximumWidth(columnWidth);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(pageMargin, pageMargin, pageMargin, pageMargin);
    column->setSpacing(0);
    column->addWidget(makeLabel(u"Community"_s, theme::titleFont(26), color::text, this));
    column->addSpacing(8);
    column->addWidget(intro);
    column->addSpacing(28);
    const GameProfile &profile = gameProfile();
    column->addWidget(
        makeCard(u"Official Discord"_s,
                 u"Announcements, playtest sign-ups, bug reports and the people you will end up playing with."_s,
                 u"Join Discord"_s, profile.discordUrl, this));
    column->addSpacing(cardGap);
    column->addWidget(makeCard(u"Velmo Games"_s, u"The studio site, with the current state of the project."_s,
                               u"Open website"_s, profile.websiteUrl, this));
    column->addSpacing(cardGap);
    column->addWidget(makeCard(u"Support"_s, u"Trouble with the launcher or your installation."_s, u"Get support"_s,
                               profile.supportUrl, this));
    column->addStretch(1);
}

QFrame *CommunityPage::makeCard(const QString &title, const QString &text, const QString &buttonText,
                                const QString &url, QWidget *parent)
{
    auto *card = new QFrame(parent);
    card->setProperty("role", u"panel"_s);
    card->setMaximumWidth(columnWidth);
    QLabel *textLabel = makeLabel(text, theme::bodyFont(12, QFont::Normal), color::textMuted, card);
    textLabel->setWordWrap(true);
    QPushButton *button = makeRoleButton(buttonText, u"secondary"_s, card);
    button->setFixedWidth(buttonWidth);
    if (url.isEmpty()) {
        button->setEnabled(false);
        button->setToolTip(u"Not configured in this build."_s);
    } else {
        connect(button, &QPushButton::clicked, card, [url] {
            qCInfo(lcUi) << "Opening external link" << url;
            QDesktopServices::openUrl(QUrl(url));
        });
    }

    auto *column = new QVBoxLayout(card);
    column->setContentsMargins(24, 22, 24, 22);
    column->setSpacing(6);
    column->addWidget(makeLabel(title, theme::displayFont(15, QFont::DemiBold, 1.2), color::text, card));
    column->addWidget(textLabel);
    column->addSpacing(14);
    column->addWidget(button, 0, Qt::AlignLeft);
    return card;
}

} // namespace velmo
