#include "PageProbe.h"
#include "net/ApiClient.h"
#include "pages/NewsPage.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "widgets/NewsCard.h"

#include <QApplication>
#include <QLabel>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

/// No article was compiled into this program, and its profile has no address to ask for any.
class tst_NewsPageWithoutFeed : public QObject {
    Q_OBJECT

private slots:
    void pageSaysThatThereIsNothing();
};

void tst_NewsPageWithoutFeed::pageSaysThatThereIsNothing()
{
    const LogCapture log;
    ApiClient api;
    NewsPage page(&api);
    const QLabel *empty = emptyNewsLabel(page);
    QVERIFY(empty->isHidden());
    page.onPageShown();
    QVERIFY(!empty->isHidden());
    QTRY_COMPARE(log.texts(u"velmo.ui"_s).size(), 1); // of the feed that is out of reach; the missing file says nothing
    QVERIFY(log.texts(u"velmo.ui"_s).first().startsWith(u"INFO velmo.ui: News feed unavailable"_s));
    QVERIFY(!empty->isHidden());
    QVERIFY(page.findChildren<NewsCard *>().isEmpty());
}

int main(int argc, char **argv)
{
    return runTest<tst_NewsPageWithoutFeed, QApplication>(argc, argv);
}

#include "tst_NewsPageWithoutFeed.moc"
