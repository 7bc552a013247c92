#pragma once

#include <QDate>
#include <QList>
#include <QString>

class QByteArray;

namespace velmo {

/// One piece of an article's body.
struct ArticleBlock {
    enum Kind { Paragraph, Heading, Bullet };

    Kind kind = Paragraph;
    QString text;

    bool operator==(const ArticleBlock &other) const = default;
};

/// One item of the news feed. A plain value.
struct NewsArticle {
    QString id; ///< stable, but may be empty
    QString title;
    QString category; ///< in capitals
    QDate date;
    QString summary;
    QString body;          ///< lines; "## " begins a heading, "- " a bullet, an empty line ends a paragraph
    QString image;         ///< may be empty
    QString link;          ///< may be empty
    bool featured = false; ///< carried along; the page's first card goes by position

    /// The body as paragraphs, headings and bullets.
    QList<ArticleBlock> blocks() const;
    /// At 220 words a minute, at least 1.
    int readingMinutes() const;
};

/// The articles of a feed, newest first; those of one day in no certain order. An article without a title or a valid
/// date is left out. What is no JSON object gives an empty list and the parser's text in \a error, which may be null.
QList<NewsArticle> parseNewsFeed(const QByteArray &json, QString *error);

} // namespace velmo
