#include "pages/CommunityPage.h"

#include "core/Logging.h"
#include "data/GameProfile.h"
#include "net/LoggedAddress.h"
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
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int columnWidth = 680;
constexpr int buttonWidth = 190;

/// A column whose margins, spacing and gaps can be thinned out together.
class Column : public QVBoxLayout {
public:
    Column(QWidget *parent, const QMargins &margins, int spacing)
        : QVBoxLayout(parent)
        , margins_(margins)
        , spacing_(spacing)
    {
        setAir(1.0);
    }

    void addGap(int height)
    {
        addSpacing(height);
        gaps_.append({itemAt(count() - 1)->spacerItem(), height});
    }

    /// Leaves \a part of all of it, from 0 to 1.
    void setAir(double part)
    {
        const auto share = [part](int height) { return static_cast<int>(height * part); };
        setContentsMargins(margins_.left(), share(margins_.top()), margins_.right(), share(margins_.bottom()));
        setSpacing(share(spacing_));
        for (const auto &[spacer, height] : std::as_const(gaps_)) {
            spacer->changeSize(0, share(height), QSizePolicy::Minimum, QSizePolicy::Fixed);
        }
        update();
    }

private:
    QMargins margins_;
    int spacing_;
    QList<std::pair<QSpacerItem *, int>> gaps_; ///< each with its full height
};

/// The columns of the cards in \a page, whose labels have none.
QList<Column *> cardColumns(const QWidget &page)
{
    QList<Column *> columns;
    for (int i = 0; i < page.layout()->count(); ++i) {
        const QWidget *widget = page.layout()->itemAt(i)->widget();
        if (widget && widget->layout()) {
            columns.append(static_cast<Column *>(widget->layout()));
        }
    }
    return columns;
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

    auto *column = new Column(this, {26, 26, 26, 26}, 0);
    column->addWidget(makeLabel(u"Community"_s, theme::titleFont(26), color::text, this));
    column->addGap(8);
    column->addWidget(intro);
    column->addGap(28);
    const GameProfile &profile = gameProfile();
    column->addWidget(
        makeCard(u"Official Discord"_s,
                 u"Announcements, playtest sign-ups, bug reports and the people you will end up playing with."_s,
                 u"Join Discord"_s, profile.discordUrl, this));
    column->addGap(14);
    column->addWidget(makeCard(u"Velmo Games"_s, u"The studio site, with the current state of the project."_s,
                               u"Open website"_s, profile.websiteUrl, this));
    column->addGap(14);
    column->addWidget(makeCard(u"Support"_s, u"Trouble with the launcher or your installation."_s, u"Get support"_s,
                               profile.supportUrl, this));
    column->addStretch(1);
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
    const QList<Column *> cards = cardColumns(*this);
    for (Column *card : cards) {
        card->activate();
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
            qCInfo(lcUi) << "Opening external link" << loggedAddress(url);
            QDesktopServices::openUrl(QUrl(url));
        });
    }

    auto *column = new Column(card, {24, 22, 24, 22}, 6);
    column->addWidget(makeLabel(title, theme::displayFont(15, QFont::DemiBold, 1.2), color::text, card));
    column->addWidget(textLabel);
    column->addGap(14);
    column->addWidget(button, 0, Qt::AlignLeft);
    return card;
}

void CommunityPage::setAir(double part)
{
    const QList<Column *> cards = cardColumns(*this);
    for (Column *card : cards) {
        card->setAir(part);
        card->parentWidget()->updateGeometry(); // or the page's column would go on with the height that it knows
    }
    static_cast<Column *>(layout())->setAir(part);
}

} // namespace velmo
