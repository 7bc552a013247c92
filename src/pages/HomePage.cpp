#include "pages/HomePage.h"

#include "data/GameProfile.h"
#include "pages/PageParts.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/ResourcePath.h"
#include "widgets/HeroBanner.h"
#include "widgets/LogoView.h"

#include <QLabel>
#include <QStackedLayout>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int wordmarkHeight = 76;
constexpr int taglineWidth = 460;

/// A row in which \a widget keeps its own width at the left.
QHBoxLayout *leftRow(QWidget *widget, Qt::Alignment alignment = {})
{
    auto *row = new QHBoxLayout;
    row->addWidget(widget, 0, alignment);
    row->addStretch(1);
    return row;
}

} // namespace

HomePage::HomePage(GameManager *game, QWidget *parent)
    : Page(parent)
    , game_(game)
    , hero_(new HeroBanner(this))
{
    hero_->setArtworkPath(theme::resolveResourcePath(gameProfile().heroImage));
    // All layers show at once; the one added first lies on top.
    auto *layers = new QStackedLayout(this);
    layers->setStackingMode(QStackedLayout::StackAll);
    layers->setContentsMargins(0, 0, 0, 0);
    layers->addWidget(buildContent());
    layers->addWidget(hero_);
}

QWidget *HomePage::buildContent()
{
    const GameProfile &profile = gameProfile();
    auto *content = new QWidget(this);
    content->setAttribute(Qt::WA_TranslucentBackground);

    stageLabel_ =
        makeLabel(profile.developmentStage, theme::displayFont(10, QFont::DemiBold, 1.0), color::accentBright, content);
    stageLabel_->setStyleSheet(u"color: %1; border: 1px solid %2; border-radius: 9px; padding: 3px 10px;"_s.arg(
        theme::colorName(color::accentBright), theme::colorName(color::accentDim)));
    stageLabel_->setVisible(!profile.developmentStage.isEmpty());
    logo_ = new LogoView(content);
    logo_->setLogo(profile.gameLogo, wordmarkHeight);
    logo_->setAccessibleName(profile.title);
    titleLabel_ = makeLabel(profile.title, theme::titleFont(40), color::action, content);
    titleLabel_->setVisible(logo_->sourcePixmap().isNull());
    taglineLabel_ = makeLabel(profile.tagline, theme::bodyFont(12, QFont::Normal), color::textMuted, content);
    taglineLabel_->setWordWrap(true);
    taglineLabel_->setMaximumWidth(taglineWidth);
    taglineLabel_->setVisible(!profile.tagline.isEmpty());

    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(32, 26, 32, 26);
    column->setSpacing(0);
    column->addStretch(1);
    column->addLayout(leftRow(stageLabel_));
    column->addSpacing(14);
    column->addLayout(leftRow(logo_, Qt::AlignLeft | Qt::AlignBottom));
    column->addWidget(titleLabel_);
    column->addSpacing(10);
    column->addWidget(taglineLabel_);
    column->addSpacing(16);
    return content;
}

} // namespace velmo
