// The news feed as the studio's web host sends it.

#include "Target.h"
#include "data/NewsArticle.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::NewsArticle;
using velmo::fuzz::require;

namespace {

/// How many articles of \a feed can be shown.
qsizetype completeArticles(const QJsonArray &feed)
{
    return std::count_if(feed.begin(), feed.end(), [](const QJsonValue &element) {
        const QJsonObject article = element.toObject();
        const QDate date = QDate::fromString(article.value("date"_L1).toString(), Qt::ISODate);
        return date.isValid() && !article.value("title"_L1).toString().isEmpty();
    });
}

void checkArticle(const NewsArticle &article)
{
    require(!article.title.isEmpty() && article.date.isValid(), "every article has a title and a date");
    require(article.category.isEmpty() || article.category == article.category.toUpper(), "categories are in capitals");
    require(article.readingMinutes() >= 1, "an article takes a minute to read at least");
    require(article.body.isEmpty() || article.blocks().size() <= article.body.size(), "blocks come from the body");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    QString error = u"untouched"_s;
    const QList<NewsArticle> articles = parseNewsFeed(input, &error);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(input, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        require(articles.isEmpty(), "what is no feed has no articles");
        require(!error.isEmpty() && error != "untouched"_L1, "what is no feed is refused with a reason");
        return;
    }
    require(error == "untouched"_L1, "a feed that is read brings no error");
    require(articles.size() == completeArticles(document.object().value("articles"_L1).toArray()),
            "every article with a title and a date is kept, and no other");
    require(std::is_sorted(articles.begin(), articles.end(),
                           [](const NewsArticle &a, const NewsArticle &b) { return a.date > b.date; }),
            "the newest article comes first");
    std::for_each(articles.begin(), articles.end(), checkArticle);
}
