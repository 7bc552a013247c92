#include "data/NewsArticle.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;
using velmo::ArticleBlock;
using velmo::NewsArticle;
using velmo::parseNewsFeed;
using velmo::test::LogCapture;

Q_DECLARE_METATYPE(QList<ArticleBlock>)

namespace {

QByteArray feedOf(const QByteArray &articles)
{
    return R"({"articles":[)" + articles + "]}";
}

/// A feed of one article, which has a title and a date and \a members besides.
QByteArray oneArticle(const QByteArray &members)
{
    return feedOf(R"({"title":"T","date":"2026-08-31",)" + members + '}');
}

QStringList titlesOf(const QList<NewsArticle> &articles)
{
    QStringList titles;
    for (const NewsArticle &article : articles) {
        titles.append(article.title);
    }
    return titles;
}

NewsArticle withBody(const QString &body)
{
    NewsArticle article;
    article.body = body;
    return article;
}

ArticleBlock paragraph(const QString &text)
{
    return {ArticleBlock::Paragraph, text};
}

ArticleBlock heading(const QString &text)
{
    return {ArticleBlock::Heading, text};
}

ArticleBlock bullet(const QString &text)
{
    return {ArticleBlock::Bullet, text};
}

QString words(int count)
{
    return QStringList(count, u"word"_s).join(u' ');
}

} // namespace

class tst_NewsArticle : public QObject {
    Q_OBJECT

private slots:
    void bundledFeedHoldsOneFullArticle();
    void everyMemberIsRead();
    void missingMembersReadAsEmpty();
    void foreignTypesReadAsEmpty();
    void unknownKeysAreIgnored();
    void categoryIsUpperCased_data();
    void categoryIsUpperCased();
    void featured_data();
    void featured();
    void articleWithoutTitleOrDateIsDropped_data();
    void articleWithoutTitleOrDateIsDropped();
    void date_data();
    void date();
    void newestComesFirst();
    void featuredHasNoPartInTheOrder();
    void articlesOfOneDayAreAllKept();
    void unreadableDocumentGivesTheParsersText_data();
    void unreadableDocumentGivesTheParsersText();
    void errorMayBeNull();
    void feedWithoutArticlesSucceeds_data();
    void feedWithoutArticlesSucceeds();
    void hugeFeedIsRead();
    void nothingIsLogged();

    void blockKindsHaveTheirValues();
    void bodyFallsIntoBlocks_data();
    void bodyFallsIntoBlocks();
    void readingMinutes_data();
    void readingMinutes();
};

void tst_NewsArticle::bundledFeedHoldsOneFullArticle()
{
    QFile bundled(u":/data/news.json"_s);
    QVERIFY(bundled.open(QIODevice::ReadOnly));
    QString error;
    const QList<NewsArticle> articles = parseNewsFeed(bundled.readAll(), &error);
    QCOMPARE(error, QString());
    QCOMPARE(articles.size(), 1);
    const NewsArticle &article = articles.first();
    QVERIFY(!article.id.isEmpty());
    QVERIFY(!article.title.isEmpty());
    QVERIFY(!article.category.isEmpty());
    QVERIFY(article.date.isValid());
    QVERIFY(article.featured);
    QVERIFY(!article.summary.isEmpty());
    QVERIFY(article.blocks().size() > 1);
}

void tst_NewsArticle::everyMemberIsRead()
{
    const QList<NewsArticle> articles = parseNewsFeed(
        feedOf(R"({"id":"i-1","title":"Ein Titel – 題","category":"Patch notes","date":"2026-08-31","summary":"S",)"
               R"("body":"B\n## H","image":"images/x.png","link":"https://x.example/","featured":true})"),
        nullptr);
    QCOMPARE(articles.size(), 1);
    const NewsArticle &article = articles.first();
    QCOMPARE(article.id, u"i-1"_s);
    QCOMPARE(article.title, u"Ein Titel – 題"_s);
    QCOMPARE(article.category, u"PATCH NOTES"_s);
    QCOMPARE(article.date, QDate(2026, 8, 31));
    QCOMPARE(article.summary, u"S"_s);
    QCOMPARE(article.body, u"B\n## H"_s);
    QCOMPARE(article.image, u"images/x.png"_s);
    QCOMPARE(article.link, u"https://x.example/"_s);
    QCOMPARE(article.featured, true);
}

void tst_NewsArticle::missingMembersReadAsEmpty()
{
    const QList<NewsArticle> articles = parseNewsFeed(feedOf(R"({"title":"T","date":"2026-08-31"})"), nullptr);
    QCOMPARE(articles.size(), 1);
    const NewsArticle &article = articles.first();
    QCOMPARE(article.id + article.category + article.summary + article.body + article.image + article.link, QString());
    QVERIFY(!article.featured);
}

void tst_NewsArticle::foreignTypesReadAsEmpty()
{
    const QList<NewsArticle> articles = parseNewsFeed(
        oneArticle(R"("id":1,"category":["x"],"summary":null,"body":{"a":"b"},"image":true,"link":1.5)"), nullptr);
    QCOMPARE(articles.size(), 1);
    const NewsArticle &article = articles.first();
    QCOMPARE(article.id + article.category + article.summary + article.body + article.image + article.link, QString());
}

void tst_NewsArticle::unknownKeysAreIgnored()
{
    const QByteArray json = R"({"version":9,"articles":[{"title":"T","date":"2026-08-31","author":{"name":"x"}}],)"
                            R"("Articles":[{"title":"U","date":"2026-08-31"}]})";
    QCOMPARE(titlesOf(parseNewsFeed(json, nullptr)), QStringList{u"T"_s});
}

void tst_NewsArticle::categoryIsUpperCased_data()
{
    QTest::addColumn<QByteArray>("category");
    QTest::addColumn<QString>("expected");
    QTest::newRow("lower") << QByteArrayLiteral("development update") << u"DEVELOPMENT UPDATE"_s;
    QTest::newRow("mixed") << QByteArrayLiteral("Patch") << u"PATCH"_s;
    QTest::newRow("beyond ASCII") << QByteArrayLiteral("größe") << u"GRÖSSE"_s;
    QTest::newRow("empty") << QByteArrayLiteral("") << QString();
}

void tst_NewsArticle::categoryIsUpperCased()
{
    QFETCH(QByteArray, category);
    QFETCH(QString, expected);
    const QList<NewsArticle> articles = parseNewsFeed(oneArticle("\"category\":\"" + category + '"'), nullptr);
    QCOMPARE(articles.size(), 1);
    QCOMPARE(articles.first().category, expected);
}

void tst_NewsArticle::featured_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("expected");
    QTest::newRow("true") << QByteArrayLiteral("true") << true;
    QTest::newRow("false") << QByteArrayLiteral("false") << false;
    QTest::newRow("string") << QByteArrayLiteral(R"("true")") << false;
    QTest::newRow("number") << QByteArrayLiteral("1") << false;
    QTest::newRow("null") << QByteArrayLiteral("null") << false;
}

void tst_NewsArticle::featured()
{
    QFETCH(QByteArray, value);
    QFETCH(bool, expected);
    const QList<NewsArticle> articles = parseNewsFeed(oneArticle("\"featured\":" + value), nullptr);
    QCOMPARE(articles.size(), 1);
    QCOMPARE(articles.first().featured, expected);
}

void tst_NewsArticle::articleWithoutTitleOrDateIsDropped_data()
{
    QTest::addColumn<QByteArray>("article");
    QTest::newRow("no title") << QByteArrayLiteral(R"({"date":"2026-08-31"})");
    QTest::newRow("empty title") << QByteArrayLiteral(R"({"title":"","date":"2026-08-31"})");
    QTest::newRow("title of another type") << QByteArrayLiteral(R"({"title":5,"date":"2026-08-31"})");
    QTest::newRow("no date") << QByteArrayLiteral(R"({"title":"X"})");
    QTest::newRow("empty date") << QByteArrayLiteral(R"({"title":"X","date":""})");
    QTest::newRow("date that never was") << QByteArrayLiteral(R"({"title":"X","date":"2026-02-30"})");
    QTest::newRow("date in words") << QByteArrayLiteral(R"({"title":"X","date":"yesterday"})");
    QTest::newRow("date of another form") << QByteArrayLiteral(R"({"title":"X","date":"31.08.2026"})");
    QTest::newRow("date as a number") << QByteArrayLiteral(R"({"title":"X","date":20260831})");
    QTest::newRow("null") << QByteArrayLiteral("null");
    QTest::newRow("string") << QByteArrayLiteral(R"("article")");
    QTest::newRow("number") << QByteArrayLiteral("1e300");
    QTest::newRow("array") << QByteArrayLiteral(R"([{"title":"X","date":"2026-08-31"}])");
    QTest::newRow("empty object") << QByteArrayLiteral("{}");
}

void tst_NewsArticle::articleWithoutTitleOrDateIsDropped()
{
    QFETCH(QByteArray, article);
    const QByteArray before = R"({"title":"newer","date":"2026-08-30"},)";
    const QByteArray after = R"(,{"title":"older","date":"2026-08-29"})";
    QString error = u"as it was"_s;
    const QList<NewsArticle> articles = parseNewsFeed(feedOf(before + article + after), &error);
    QCOMPARE(titlesOf(articles), QStringList({u"newer"_s, u"older"_s}));
    QCOMPARE(error, u"as it was"_s);
}

void tst_NewsArticle::date_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QDate>("expected");
    QTest::newRow("plain") << QByteArrayLiteral("2026-01-05") << QDate(2026, 1, 5);
    QTest::newRow("leap day") << QByteArrayLiteral("2024-02-29") << QDate(2024, 2, 29);
    QTest::newRow("far future") << QByteArrayLiteral("9999-12-31") << QDate(9999, 12, 31);
}

void tst_NewsArticle::date()
{
    QFETCH(QByteArray, text);
    QFETCH(QDate, expected);
    const QList<NewsArticle> articles = parseNewsFeed(feedOf(R"({"title":"T","date":")" + text + R"("})"), nullptr);
    QCOMPARE(articles.size(), 1);
    QCOMPARE(articles.first().date, expected);
}

void tst_NewsArticle::newestComesFirst()
{
    const QByteArray json = feedOf(R"({"title":"b","date":"2026-05-01"},{"title":"a","date":"2026-12-31"},)"
                                   R"({"title":"d","date":"2025-12-31"},{"title":"c","date":"2026-04-30"})");
    QCOMPARE(titlesOf(parseNewsFeed(json, nullptr)), QStringList({u"a"_s, u"b"_s, u"c"_s, u"d"_s}));
}

void tst_NewsArticle::featuredHasNoPartInTheOrder()
{
    const QByteArray json = feedOf(R"({"title":"old","date":"2026-01-01","featured":true},)"
                                   R"({"title":"new","date":"2026-01-02"})");
    QCOMPARE(titlesOf(parseNewsFeed(json, nullptr)), QStringList({u"new"_s, u"old"_s}));
}

void tst_NewsArticle::articlesOfOneDayAreAllKept()
{
    QByteArray articles;
    QStringList expected;
    for (int i = 0; i < 100; ++i) {
        articles += (i > 0 ? "," : "") +
                    QByteArray(R"({"title":"T%1","date":"2026-08-31"})").replace("%1", QByteArray::number(i));
        expected.append(u"T%1"_s.arg(i));
    }
    QStringList titles = titlesOf(parseNewsFeed(feedOf(articles), nullptr));
    titles.sort(); // their order is nobody's business
    expected.sort();
    QCOMPARE(titles, expected);
}

void tst_NewsArticle::unreadableDocumentGivesTheParsersText_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QByteArray("") << u"illegal value"_s;
    QTest::newRow("cut off") << QByteArray(R"({"articles":[{"title":"T","date":"2026-08-31"})")
                             << u"unterminated array"_s;
    QTest::newRow("array") << QByteArray(R"([{"title":"T","date":"2026-08-31"}])") << u"no error occurred"_s;
    QTest::newRow("a web page") << QByteArray("<!DOCTYPE html><html></html>") << u"illegal value"_s;
    QTest::newRow("not UTF-8") << QByteArray("{\"articles\":\"\xC3\x28\"}") << u"invalid UTF8 string"_s;
    QTest::newRow("deep nesting") << QByteArray("{\"articles\":") + QByteArray(1'000'000, '[')
                                  << u"too deeply nested document"_s;
    QTest::newRow("ten million zeros") << QByteArray(10'000'000, '\0') << u"illegal value"_s;
}

void tst_NewsArticle::unreadableDocumentGivesTheParsersText()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(parseNewsFeed(json, &error).isEmpty());
    QCOMPARE(error, expected);
}

void tst_NewsArticle::errorMayBeNull()
{
    QVERIFY(parseNewsFeed("nonsense", nullptr).isEmpty());
    QVERIFY(parseNewsFeed("[]", nullptr).isEmpty());
    QVERIFY(parseNewsFeed("{}", nullptr).isEmpty());
}

void tst_NewsArticle::feedWithoutArticlesSucceeds_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty array") << QByteArrayLiteral(R"({"articles":[]})");
    QTest::newRow("missing") << QByteArrayLiteral("{}");
    QTest::newRow("object") << QByteArrayLiteral(R"({"articles":{"title":"T","date":"2026-08-31"}})");
    QTest::newRow("string") << QByteArrayLiteral(R"({"articles":"T"})");
    QTest::newRow("null") << QByteArrayLiteral(R"({"articles":null})");
    QTest::newRow("number") << QByteArrayLiteral(R"({"articles":1e300})");
    QTest::newRow("nested array") << QByteArrayLiteral(R"({"articles":[[[[]]]]})");
}

void tst_NewsArticle::feedWithoutArticlesSucceeds()
{
    QFETCH(QByteArray, json);
    QString error = u"as it was"_s;
    QVERIFY(parseNewsFeed(json, &error).isEmpty());
    QCOMPARE(error, u"as it was"_s);
}

void tst_NewsArticle::hugeFeedIsRead()
{
    constexpr int count = 20000;
    QJsonArray articles;
    const QDate first(2000, 1, 1);
    for (int i = 0; i < count; ++i) {
        articles.append(QJsonObject{{u"title"_s, u"T"_s}, {u"date"_s, first.addDays(i).toString(Qt::ISODate)}});
    }
    const QByteArray json = QJsonDocument(QJsonObject{{u"articles"_s, articles}}).toJson();
    const QList<NewsArticle> read = parseNewsFeed(json, nullptr);
    QCOMPARE(read.size(), count);
    QCOMPARE(read.first().date, first.addDays(count - 1));
    QCOMPARE(read.last().date, first);
}

void tst_NewsArticle::nothingIsLogged()
{
    const LogCapture log;
    parseNewsFeed("nonsense", nullptr);
    parseNewsFeed(feedOf(R"({"title":"","date":"x"})"), nullptr);
    QCOMPARE(log.texts(), QStringList());
}

void tst_NewsArticle::blockKindsHaveTheirValues()
{
    QCOMPARE(int(ArticleBlock::Paragraph), 0);
    QCOMPARE(int(ArticleBlock::Heading), 1);
    QCOMPARE(int(ArticleBlock::Bullet), 2);
}

void tst_NewsArticle::bodyFallsIntoBlocks_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QList<ArticleBlock>>("expected");
    const auto row = [](const char *name, const QString &body, const QList<ArticleBlock> &expected) {
        QTest::newRow(name) << body << expected;
    };
    row("empty", QString(), {});
    row("blank lines only", u"\n  \n\t\n"_s, {});
    row("one line", u"a"_s, {paragraph(u"a"_s)});
    row("lines join until an empty one", u"a\nb\n\nc"_s, {paragraph(u"a b"_s), paragraph(u"c"_s)});
    row("line of blanks ends a paragraph", u"a\n \t \nb"_s, {paragraph(u"a"_s), paragraph(u"b"_s)});
    row("many empty lines", u"\n\na\n\n\n\nb\n\n"_s, {paragraph(u"a"_s), paragraph(u"b"_s)});
    row("lines are trimmed before they join", u"  a  \n\tb "_s, {paragraph(u"a b"_s)});
    row("blanks inside a line stay", u"a   b"_s, {paragraph(u"a   b"_s)});
    row("lines of Windows", u"a\r\nb\r\n\r\n- c\r\n"_s, {paragraph(u"a b"_s), bullet(u"c"_s)});
    row("heading needs no empty line", u"text\n## Title\nmore"_s,
        {paragraph(u"text"_s), heading(u"Title"_s), paragraph(u"more"_s)});
    row("bullets", u"- one\n- two\ntail"_s, {bullet(u"one"_s), bullet(u"two"_s), paragraph(u"tail"_s)});
    row("bullet ends a paragraph", u"text\n- one"_s, {paragraph(u"text"_s), bullet(u"one"_s)});
    row("heading text is trimmed", u"##    Title  "_s, {heading(u"Title"_s)});
    row("bullet text is trimmed", u"-    one  "_s, {bullet(u"one"_s)});
    row("indented markers count", u"   ## Title\n\t- one"_s, {heading(u"Title"_s), bullet(u"one"_s)});
    row("no nested bullets", u"- - one"_s, {bullet(u"- one"_s)});
    row("marker inside a marker", u"- ## one\n## - two"_s, {bullet(u"## one"_s), heading(u"- two"_s)});
    row("lone dash is text", u"-"_s, {paragraph(u"-"_s)});
    row("dash and blank is text", u"a\n- \nb"_s, {paragraph(u"a - b"_s)});
    row("lone hashes are text", u"##"_s, {paragraph(u"##"_s)});
    row("hashes and blanks are text", u"##   "_s, {paragraph(u"##"_s)});
    row("dash without a blank is text", u"-one"_s, {paragraph(u"-one"_s)});
    row("hashes without a blank are text", u"##Title"_s, {paragraph(u"##Title"_s)});
    row("one hash is text", u"# Title"_s, {paragraph(u"# Title"_s)});
    row("three hashes are text", u"### Title"_s, {paragraph(u"### Title"_s)});
    row("tab after a marker is text", u"-\tone\n\n##\tTitle"_s, {paragraph(u"-\tone"_s), paragraph(u"##\tTitle"_s)});
    row("other markup is text", u"**bold** [link](x)\n* star"_s, {paragraph(u"**bold** [link](x) * star"_s)});
}

void tst_NewsArticle::bodyFallsIntoBlocks()
{
    QFETCH(QString, body);
    QFETCH(QList<ArticleBlock>, expected);
    QCOMPARE(withBody(body).blocks(), expected);
}

void tst_NewsArticle::readingMinutes_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<int>("minutes");
    QTest::newRow("empty") << QString() << 1;
    QTest::newRow("one word") << words(1) << 1;
    QTest::newRow("110 words") << words(110) << 1;
    QTest::newRow("220 words") << words(220) << 1;
    QTest::newRow("329 words") << words(329) << 1;
    QTest::newRow("330 words") << words(330) << 2; // a half rounds up
    QTest::newRow("549 words") << words(549) << 2;
    QTest::newRow("550 words") << words(550) << 3;
    QTest::newRow("22000 words") << words(22000) << 100;
    QTest::newRow("only blanks") << QString(5000, u' ') << 1;
    QTest::newRow("blanks in a row separate once") << words(329).replace(u" "_s, u"    "_s) << 1;
    QTest::newRow("lone dashes are no words") << words(329) + u" -"_s.repeated(200) << 1;
    QTest::newRow("dash within a word counts once") << words(329) + u" -a-"_s << 2;
    QTest::newRow("a digit makes a word") << words(329) + u" (1)"_s << 2;
    QTest::newRow("newlines separate nothing") << words(1000).replace(u' ', u'\n') << 1;
    QTest::newRow("tabs separate nothing") << words(1000).replace(u' ', u'\t') << 1;
    QTest::newRow("letters of any script") << QStringList(330, u"語"_s).join(u' ') << 2;
}

void tst_NewsArticle::readingMinutes()
{
    QFETCH(QString, body);
    QFETCH(int, minutes);
    QCOMPARE(withBody(body).readingMinutes(), minutes);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_NewsArticle>(argc, argv);
}

#include "tst_NewsArticle.moc"
