#include "data/NewsArticle.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr double wordsPerMinute = 220.0;
constexpr QStringView headingPrefix = u"## ";
constexpr QStringView bulletPrefix = u"- ";

NewsArticle articleFromJson(const QJsonObject &object)
{
    NewsArticle article;
    article.id = object.value("id"_L1).toString();
    article.title = object.value("title"_L1).toString();
    article.category = object.value("category"_L1).toString().toUpper();
    article.date = QDate::fromString(object.value("date"_L1).toString(), Qt::ISODate);
    article.summary = object.value("summary"_L1).toString();
    article.body = object.value("body"_L1).toString();
    article.image = object.value("image"_L1).toString();
    article.link = object.value("link"_L1).toString();
    article.featured = object.value("featured"_L1).toBool(false);
    return article;
}

/// Appends what \a buffer has gathered, if anything, and empties it.
void flushParagraph(QString &buffer, QList<ArticleBlock> &blocks)
{
    if (!buffer.isEmpty()) {
        blocks.append({ArticleBlock::Paragraph, buffer.trimmed()});
        buffer.clear();
    }
}

/// A lone dash between two blanks is no word.
bool isWord(QStringView part)
{
    return std::any_of(part.begin(), part.end(), [](QChar character) { return character.isLetterOrNumber(); });
}

} // namespace

QList<ArticleBlock> NewsArticle::blocks() const
{
    QList<ArticleBlock> result;
    QString paragraph;
    const QStringList lines = body.split(u'\n');
    for (const QString &untrimmed : lines) {
        const QString line = untrimmed.trimmed();
        if (line.isEmpty()) {
            flushParagraph(paragraph, result);
        } else if (line.startsWith(headingPrefix)) {
            flushParagraph(paragraph, result);
            result.append({ArticleBlock::Heading, line.mid(headingPrefix.size()).trimmed()});
        } else if (line.startsWith(bulletPrefix)) {
            flushParagraph(paragraph, result);
            result.append({ArticleBlock::Bullet, line.mid(bulletPrefix.size()).trimmed()});
        } else {
            if (!paragraph.isEmpty()) {
                paragraph.append(u' ');
            }
            paragraph.append(line);
        }
    }
    flushParagraph(paragraph, result);
    return result;
}

int NewsArticle::readingMinutes() const
{
    const QList<QStringView> parts = QStringView(body).split(u' ', Qt::SkipEmptyParts);
    const auto words = std::count_if(parts.begin(), parts.end(), isWord);
    const auto minutes = static_cast<int>(std::lround(static_cast<double>(words) / wordsPerMinute));
    return std::max(minutes, 1);
}

QList<NewsArticle> parseNewsFeed(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        if (error) {
            *error = parseError.errorString();
        }
        return {};
    }
    QList<NewsArticle> articles;
    const QJsonArray array = document.object().value("articles"_L1).toArray();
    for (const auto &element : array) {
        const NewsArticle article = articleFromJson(element.toObject());
        if (!article.title.isEmpty() && article.date.isValid()) {
            articles.append(article);
        }
    }
    std::sort(articles.begin(), articles.end(),
              [](const NewsArticle &a, const NewsArticle &b) { return a.date > b.date; });
    return articles;
}

} // namespace velmo
