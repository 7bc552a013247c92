#include "pages/NewsPage.h"

#include "core/Format.h"
#include "core/Logging.h"
#include "data/GameProfile.h"
#include "net/ApiClient.h"
#include "pages/ArticleBody.h"
#include "pages/PageParts.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "widgets/NewsCard.h"
#include "widgets/RoleButton.h"

#include <QFile>
#include <QFocusEvent>
#include <QFrame>
#include <QJsonDocument>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int pageMargin = 26;
constexpr int cardGap = 14;
constexpr int backButtonWidth = 180;
constexpr qsizetype longestTitle = 20'000; // far more than a page shows; a longer one is laid out for nobody

/// A scrolling column; its layout comes back in \a column.
QScrollArea *makeScrollView(QWidget *parent, QVBoxLayout **column)
{
    auto *content = new QWidget;
    QScrollArea *area = makeScrollArea(content, parent);
    *column = new QVBoxLayout(content);
    (*column)->setContentsMargins(pageMargin, pageMargin, pageMargin, pageMargin);
    (*column)->setSpacing(cardGap);
    return area;
}

/// "VELMO GAMES" as a normal name, "Velmo Games".
QString titleCase(const QString &text)
{
    QString result = text.toLower();
    bool wordBegins = true;
    for (QChar &letter : result) {
        if (wordBegins) {
            letter = letter.toUpper();
        }
        wordBegins = letter.isSpace();
    }
    return result;
}

} // namespace

NewsPage::NewsPage(ApiClient *api, QWidget *parent)
    : Page(parent)
    , api_(api)
    , stack_(new QStackedWidget(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(stack_);
    buildListView();
    buildArticleView();
    stack_->addWidget(listView_);
    stack_->addWidget(articleView_);
    stack_->setCurrentWidget(listView_);
}

void NewsPage::onPageShown()
{
    if (!loaded_) {
        loadArticles();
    }
}

void NewsPage::buildListView()
{
    listView_ = makeScrollView(stack_, &listLayout_);
    QWidget *content = listView_->widget();
    listLayout_->addWidget(makeLabel(u"News"_s, theme::titleFont(30), color::text, content));
    listLayout_->addWidget(
        makeLabel(u"Development updates and announcements from %1."_s.arg(titleCase(gameProfile().studio)),
                  theme::bodyFont(13, QFont::Normal), color::textMuted, content));
    listLayout_->addSpacing(14);
    emptyLabel_ = makeLabel(u"There is nothing to show yet.\nNews will appear here once the launcher can reach the "
                            "Velmo Games servers."_s,
                            theme::bodyFont(13, QFont::Normal), color::textDim, content);
    emptyLabel_->hide();
    listLayout_->addWidget(emptyLabel_);
}

void NewsPage::buildArticleView()
{
    QVBoxLayout *column = nullptr;
    articleView_ = makeScrollView(stack_, &column);
    column->setSpacing(0);
    QWidget *content = articleView_->widget();

    QPushButton *back = makeRoleButton(u"Back to news"_s, u"secondary"_s, content);
    back->setFixedWidth(backButtonWidth);
    connect(back, &QPushButton::clicked, this, &NewsPage::showList);
    categoryLabel_ = makeLabel({}, theme::displayFont(10, QFont::DemiBold, 2.2), color::accent, content);
    titleLabel_ = makeLabel({}, theme::titleFont(38), color::text, content);
    setReadingWidth(titleLabel_, readingWidth);
    metaLabel_ = makeLabel({}, theme::monoFont(10, QFont::Normal, 0.8), color::textDim, content);
    auto *divider = new QFrame(content);
    divider->setFixedHeight(1);
    divider->setMaximumWidth(readingWidth);
    divider->setStyleSheet(u"background-color: %1;"_s.arg(theme::colorName(color::border)));
    bodyWidget_ = new QWidget(content);
    bodyWidget_->setMaximumWidth(readingWidth);
    bodyLayout_ = new QVBoxLayout(bodyWidget_);
    bodyLayout_->setContentsMargins(0, 0, 0, 0);
    bodyLayout_->setSpacing(0);
    body_ = new ArticleBody(bodyLayout_);

    column->addWidget(back, 0, Qt::AlignLeft);
    column->addSpacing(26);
    column->addWidget(categoryLabel_);
    column->addSpacing(10);
    column->addWidget(titleLabel_);
    column->addSpacing(12);
    column->addWidget(metaLabel_);
    column->addSpacing(22);
    column->addWidget(divider);
    column->addSpacing(24);
    column->addWidget(bodyWidget_);
    column->addStretch(1);
}

void NewsPage::loadArticles()
{
    loaded_ = true;
    QFile file(u":/data/news.json"_s);
    if (file.open(QIODevice::ReadOnly)) {
        QString error;
        articles_ = parseNewsFeed(file.readAll(), &error);
        if (!error.isEmpty()) {
            qCWarning(lcUi) << "Bundled news feed failed to parse:" << error;
        }
    }
    rebuildList();
    // The reply can outlive the page: cancelled requests are answered late.
    api_->getJson(gameProfile().newsEndpoint, [page = QPointer(this)](const ApiResult &result) {
        if (page) {
            page->takeLiveFeed(result);
        }
    });
}

void NewsPage::takeLiveFeed(const ApiResult &result)
{
    if (!result.ok) {
        qCInfo(lcUi) << "News feed unavailable, showing bundled articles:" << result.message;
        return;
    }
    // Back to bytes, so that one parser serves both sources.
    QString error;
    const QList<NewsArticle> live = parseNewsFeed(QJsonDocument(result.data).toJson(QJsonDocument::Compact), &error);
    if (live.isEmpty()) {
        qCWarning(lcUi) << "News feed contained no usable articles:" << error;
        return;
    }
    articles_ = live;
    rebuildList();
}

void NewsPage::rebuildList()
{
    for (int index = listLayout_->count() - 1; index >= 0; --index) {
        QLayoutItem *item = listLayout_->itemAt(index);
        if (qobject_cast<NewsCard *>(item->widget())) {
            const std::unique_ptr<QLayoutItem> taken(listLayout_->takeAt(index));
            taken->widget()->deleteLater();
        } else if (item->spacerItem() && index == listLayout_->count() - 1) {
            // The stretch of the last build; the fixed gap below the heading never stands last.
            const std::unique_ptr<QLayoutItem> taken(listLayout_->takeAt(index));
        }
    }
    emptyLabel_->setVisible(articles_.isEmpty());
    // The window's own, for the launcher need not be the program that is used at the moment.
    const bool isUsedByKeys = qobject_cast<NewsCard *>(window()->focusWidget()) && listView_->isVisible();
    QWidget *before = listView_;
    for (qsizetype i = 0; i < articles_.size(); ++i) {
        auto *card = new NewsCard(articles_.at(i), i > 0, listView_);
        connect(card, &NewsCard::activated, this, &NewsPage::showArticle);
        card->installEventFilter(this);
        listLayout_->addWidget(card);
        QWidget::setTabOrder(std::exchange(before, card), card); // not behind all that the window already has
        if (i == 0 && isUsedByKeys) {
            card->show();     // what is not yet seen gets no focus
            card->setFocus(); // it was on a card that goes
        }
    }
    listLayout_->addStretch(1);
}

/// Brings a card into view when the focus comes to it by key. On a click the list stays where it is, and so it does
/// when the focus only comes back to where it was.
bool NewsPage::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::FocusIn) {
        const Qt::FocusReason reason = static_cast<QFocusEvent *>(event)->reason();
        if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason) {
            listView_->ensureWidgetVisible(static_cast<QWidget *>(watched));
        }
    }
    return Page::eventFilter(watched, event);
}

void NewsPage::showList()
{
    body_->stop(); // whoever opens the article again gets it from its beginning
    const bool isUsedByKeys = articleView_->isAncestorOf(window()->focusWidget());
    stack_->setCurrentWidget(listView_);
    if (isUsedByKeys && !qobject_cast<NewsCard *>(window()->focusWidget())) {
        focusCardOf(openId_); // the one that was left has gone, for another feed
    }
}

/// Takes the focus to the card of an article, or to the first one when it has none any more.
void NewsPage::focusCardOf(const QString &id)
{
    NewsCard *first = nullptr;
    qsizetype article = 0;
    for (int index = 0; index < listLayout_->count(); ++index) {
        auto *card = qobject_cast<NewsCard *>(listLayout_->itemAt(index)->widget());
        if (card && articles_.at(article++).id == id) {
            card->setFocus();
            return;
        }
        first = first ? first : card;
    }
    if (first) {
        first->setFocus();
    }
}

void NewsPage::showArticle(const QString &id)
{
    const auto article = std::find_if(articles_.cbegin(), articles_.cend(),
                                      [&id](const NewsArticle &candidate) { return candidate.id == id; });
    if (article == articles_.cend()) {
        return;
    }
    openId_ = id;
    categoryLabel_->setText(article->category.left(longestTitle));
    categoryLabel_->setVisible(!article->category.isEmpty());
    titleLabel_->setText(article->title.left(longestTitle));
    metaLabel_->setText(u"%1   ·   %2 MIN READ"_s.arg(formatDate(article->date)).arg(article->readingMinutes()));
    renderBody(*article);
    articleView_->verticalScrollBar()->setValue(0);
    stack_->setCurrentWidget(articleView_);
}

void NewsPage::renderBody(const NewsArticle &article)
{
    body_->setBlocks(article.blocks());
}

} // namespace velmo
