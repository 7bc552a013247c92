#include "PageProbe.h"
#include "pages/HomePage.h"
#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "widgets/HeroBanner.h"
#include "widgets/LogoView.h"

#include <QJsonObject>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::HeroBanner;
using velmo::HomePage;
using velmo::LogoView;
namespace theme = velmo::theme;

namespace {

constexpr QSize pageSize(900, 560);

} // namespace

/// Runs where the game profile has neither stage nor tagline, and names pictures that are not there.
class tst_HomePageWithoutProfile : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void titleStandsInForTheWordmark();
    void emptyTextsAreHidden();
    void gapsStayWhereTextsAreHidden();
    void artIsTheGeneratedScene();
};

void tst_HomePageWithoutProfile::initTestCase()
{
    writeGameProfile({{u"artwork"_s, QJsonObject{{u"hero"_s, u"images/no-hero.png"_s},
                                                 {u"gameLogo"_s, u"images/no-wordmark.png"_s}}}});
}

void tst_HomePageWithoutProfile::titleStandsInForTheWordmark()
{
    HomePage page(nullptr);
    page.resize(pageSize);
    page.show();
    const QLabel *title = labelReading(page, u"HARROWFEN"_s);
    QVERIFY(title);
    QVERIFY(title->isVisible());
    QCOMPARE(look(*title), plainLook(theme::titleFont(40), theme::color::action));
    const auto *logo = page.findChild<LogoView *>();
    QVERIFY(logo->sourcePixmap().isNull());
    QCOMPARE(logo->width(), 0);
    QCOMPARE(title->mapTo(&page, QPoint(0, 0)).x(), 32);
}

void tst_HomePageWithoutProfile::emptyTextsAreHidden()
{
    HomePage page(nullptr);
    page.resize(pageSize);
    page.show();
    const QList<QLabel *> labels = page.findChildren<QLabel *>();
    QCOMPARE(labels.size(), 3);
    for (const QLabel *label : labels) {
        QCOMPARE(label->isVisible(), !label->text().isEmpty());
    }
}

void tst_HomePageWithoutProfile::gapsStayWhereTextsAreHidden()
{
    HomePage page(nullptr);
    page.resize(pageSize);
    page.show();
    const QLabel *title = labelReading(page, u"HARROWFEN"_s);
    const int bottom = title->mapTo(&page, QPoint(0, title->height())).y();
    QCOMPARE(pageSize.height() - bottom, 10 + 16 + 26);
    const auto *column = qobject_cast<QVBoxLayout *>(title->parentWidget()->layout());
    QVERIFY(column);
    QCOMPARE(column->sizeHint().height(), 26 + 14 + 76 + title->sizeHint().height() + 10 + 16 + 26);
}

void tst_HomePageWithoutProfile::artIsTheGeneratedScene()
{
    const LogCapture log;
    HomePage page(nullptr);
    page.resize(pageSize);
    page.show();
    HeroBanner expected;
    expected.resize(pageSize);
    QCOMPARE(mismatch(snapshot(*page.findChild<HeroBanner *>()), snapshot(expected)), QString());
    QCOMPARE(log.texts(u"velmo.ui"_s), QStringList{u"WARN velmo.ui: Logo not found: \"images/no-wordmark.png\""_s});
}

int main(int argc, char **argv)
{
    return runTest<tst_HomePageWithoutProfile, QApplication>(argc, argv);
}

#include "tst_HomePageWithoutProfile.moc"
