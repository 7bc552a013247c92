#include "PageProbe.h"
#include "net/ApiClient.h"
#include "pages/NewsPage.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "support/TestStudio.h"
#include "widgets/NewsCard.h"

#include <QApplication>
#include <QJsonObject>
#include <QLabel>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

/// The articles compiled into this program cannot be read; the studio has some.
class tst_NewsPageWithDamagedFeed : public QObject {
    Q_OBJECT

private slots:
    void pageWarnsAndIsEmptyUntilTheLiveFeed();
};

void tst_NewsPageWithDamagedFeed::pageWarnsAndIsEmptyUntilTheLiveFeed()
{
    const QString feedPath = u"/api/v1/news"_s;
    TestStudio studio;
    studio.server().setDocument(feedPath, R"({"articles":[{"id":"a","title":"Newest","date":"2026-11-10"}]})");
    writeGameProfile({{u"endpoints"_s, QJsonObject{{u"news"_s, studio.url(feedPath).toString()}}}});
    const LogCapture log;
    ApiClient api;
    NewsPage page(&api);
    const QLabel *empty = emptyNewsLabel(page);
    page.onPageShown();
    QCOMPARE(log.texts(u"velmo.ui"_s),
             QStringList{u"WARN velmo.ui: Bundled news feed failed to parse: \"unterminated string\""_s});
    QVERIFY(!empty->isHidden());
    QVERIFY(page.findChildren<NewsCard *>().isEmpty());

    QTRY_COMPARE(page.findChildren<NewsCard *>().size(), 1);
    QVERIFY(empty->isHidden());
    QCOMPARE(log.texts(u"velmo.ui"_s).size(), 1);
}

int main(int argc, char **argv)
{
    return runTest<tst_NewsPageWithDamagedFeed, QApplication>(argc, argv);
}

#include "tst_NewsPageWithDamagedFeed.moc"
