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

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int columnWidth = 680;
constexpr int buttonWidth = 190;

/// The empty room in a column, in logical pixels from top to bottom.
struct Air {
    QMargins margins;
    int spacing;
    std::array<int, 4> gaps;
};

constexpr Air pageAir{{26, 26, 26, 26}, 0, {8, 28, 14, 14}};
constexpr Air cardAir{{24, 22, 24, 22}, 6, {14}};

void leave(double part, const Air &air, QLayout *column)
{
    const auto share = [part](int height) { return static_cast<int>(height * part); };
    const QMargins &full = air.margins;
    column->setContentsMargins(full.left(), share(full.top()), full.right(), share(full.bottom()));
    column->setSpacing(share(air.spacing));
    auto gap = air.gaps.begin();
    for (int i = 0; i < column->count(); ++i) {
        QSpacerItem *spacer = column->itemAt(i)->spacerItem();
        if (spacer && !spacer->expandingDirections()) {
            spacer->changeSize(0, share(*gap++), QSizePolicy::Minimum, QSizePolicy::Fixed);
        }
    }
    column->update();
}

/// The labels are frames too, but hold nothing.
QList<QFrame *> cards(const QWidget &page)
{
    QList<QFrame *> frames = page.findChildren<QFrame *>(Qt::FindDirectChildrenOnly);
    frames.removeIf([](const QFrame *frame) { return !frame->layout(); });
    return frames;
}

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
    column->addWidget(makeLabel(u"Community"_s, theme::titleFont(26), color::text, this));
    column->addSpacing(pageAir.gaps[0]);
    column->addWidget(intro);
    column->addSpacing(pageAir.gaps[1]);
    const GameProfile &profile = gameProfile();
    column->addWidget(
        makeCard(u"Official Discord"_s,
                 u"Announcements, playtest sign-ups, bug reports and the people you will end up playing with."_s,
                 u"Join Discord"_s, profile.discordUrl, this));
    column->addSpacing(pageAir.gaps[2]);
    column->addWidget(makeCard(u"Velmo Games"_s, u"The studio site, with the current state of the project."_s,
                               u"Open website"_s, profile.websiteUrl, this));
    column->addSpacing(pageAir.gaps[3]);
    column->addWidget(makeCard(u"Support"_s, u"Trouble with the launcher or your installation."_s, u"Get support"_s,
                               profile.supportUrl, this));
    column->addStretch(1);
    setAir(1.0);
}

/// In a low window the air between the widgets gives way before the widgets do.
void CommunityPage::resizeEvent(QResizeEvent *event)
{
    Page::resizeEvent(event);
    setAir(1.0);
    const int full = neededHeight();
    if (height() >= full) {
        return;
    }
    setAir(0.0);
    const int least = neededHeight();
    setAir(std::clamp(static_cast<double>(height() - least) / (full - least), 0.0, 1.0));
    layout()->activate();
    // At once, or a paint could come between this and the cards' turn.
    const QList<QFrame *> all = cards(*this);
    for (const QFrame *card : all) {
        card->layout()->activate();
    }
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
    column->addWidget(makeLabel(title, theme::displayFont(15, QFont::DemiBold, 1.2), color::text, card));
    column->addWidget(textLabel);
    column->addSpacing(cardAir.gaps[0]);
    column->addWidget(button, 0, Qt::AlignLeft);
    return card;
}

void CommunityPage::setAir(double part)
{
    const QList<QFrame *> all = cards(*this);
    for (QFrame *card : all) {
        leave(part, cardAir, card->layout());
        card->updateGeometry(); // or the page's column would go on with the height that it knows
    }
    leave(part, pageAir, layout());
}

} // namespace velmo
