#pragma once

#include "data/NewsArticle.h"
#include "pages/Page.h"

#include <QList>

class QLabel;
class QScrollArea;
class QStackedWidget;
class QVBoxLayout;

namespace velmo {

class ApiClient;
class ArticleBody;
struct ApiResult;

/// The studio's articles: a list of cards and a view to read one. The page opens with the articles that are compiled in
/// and takes over the live feed when it arrives.
class NewsPage : public Page {
    Q_OBJECT

public:
    /// \a api is not owned. Nothing is loaded before the page is first shown.
    explicit NewsPage(ApiClient *api, QWidget *parent = nullptr);

    /// Loads the articles the first time.
    void onPageShown() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildListView();
    void buildArticleView();

    void loadArticles();
    void takeLiveFeed(const ApiResult &result);
    void rebuildList();
    void showList();
    void focusCardOf(const QString &id);
    void showArticle(const QString &id);
    void renderBody(const NewsArticle &article);

    ApiClient *api_;
    QList<NewsArticle> articles_;
    QString openId_; ///< of the article in the reading view
    QStackedWidget *stack_;
    QScrollArea *listView_ = nullptr;
    QVBoxLayout *listLayout_ = nullptr;
    QLabel *emptyLabel_ = nullptr;
    QScrollArea *articleView_ = nullptr;
    QLabel *categoryLabel_ = nullptr;
    QLabel *titleLabel_ = nullptr;
    QLabel *metaLabel_ = nullptr;
    QWidget *bodyWidget_ = nullptr;
    QVBoxLayout *bodyLayout_ = nullptr;
    ArticleBody *body_ = nullptr; ///< what fills bodyLayout_
    bool loaded_ = false;
};

} // namespace velmo
