#include "PageProbe.h"
#include "pages/CommunityPage.h"
#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Theme.h"

#include <QFrame>
#include <QJsonObject>
#include <QLabel>
#include <QMetaMethod>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <cstdlib>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::CommunityPage;
namespace theme = velmo::theme;
namespace color = velmo::theme::color;

namespace {

const QString intro =
    u"Development happens in the open. Playtest waves, patch discussion and direct contact with the team all run through the official Discord."_s;
const QString websiteHost = u"studio.example/"_s;
const QString discordAddress = u"https://discord.example/invite?from=launcher#now"_s;
const QString websiteAddress = u"https://player:secret@"_s + websiteHost;
const QString malformedAddress = u"not an address: [at all"_s;

void addCards()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("address");
    QTest::newRow("discord")
        << u"Official Discord"_s
        << u"Announcements, playtest sign-ups, bug reports and the people you will end up playing with."_s
        << u"Join Discord"_s << discordAddress;
    QTest::newRow("website") << u"Velmo Games"_s << u"The studio site, with the current state of the project."_s
                             << u"Open website"_s << websiteAddress;
    QTest::newRow("support") << u"Support"_s << u"Trouble with the launcher or your installation."_s << u"Get support"_s
                             << malformedAddress;
}

constexpr int narrowestPage = 820;
constexpr int lowestPage = 520 - 44 - 72; // between the bars of the smallest window

} // namespace

/// Runs with links of its own; the one to the support is no address at all.
class tst_CommunityPage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void declaresNothingBeyondAPage();
    void columnHasItsMeasures();
    void headingAndSentenceHaveTheirLook();
    void cardHasItsMeasuresAndTexts_data() { addCards(); }
    void cardHasItsMeasuresAndTexts();
    void cardsStandInThePanelLook();
    void buttonOpensTheAddress_data() { addCards(); }
    void buttonOpensTheAddress();
    void columnStopsGrowing();
    void smallWindowCompressesWithoutScrolling();
};

void tst_CommunityPage::initTestCase()
{
    const LogCapture quiet;
    writeGameProfile({{u"links"_s, QJsonObject{{u"discord"_s, discordAddress},
                                               {u"website"_s, websiteAddress},
                                               {u"support"_s, malformedAddress}}}});
    theme::Theme::apply();
}

void tst_CommunityPage::declaresNothingBeyondAPage()
{
    CommunityPage page;
    QVERIFY(qobject_cast<velmo::Page *>(static_cast<QWidget *>(&page)));
    const QMetaObject &meta = CommunityPage::staticMetaObject;
    QCOMPARE(meta.className(), "velmo::CommunityPage");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(velmo::Page::staticMetaObject.methodCount(), QWidget::staticMetaObject.methodCount());
    QCOMPARE(velmo::Page::staticMetaObject.propertyCount(), QWidget::staticMetaObject.propertyCount());
    page.onPageShown();                                                          // nothing to do, and nothing happens
    QCOMPARE(page.findChildren<QFrame *>(Qt::FindDirectChildrenOnly).size(), 5); // two labels, three cards
}

void tst_CommunityPage::columnHasItsMeasures()
{
    const CommunityPage page;
    const auto *column = qobject_cast<QVBoxLayout *>(page.layout());
    QVERIFY(column);
    QCOMPARE(column->contentsMargins(), QMargins(26, 26, 26, 26));
    QCOMPARE(column->spacing(), 0);
    QCOMPARE(itemsOf(*column), (QStringList{u"Community"_s, u"gap 8"_s, intro, u"gap 28"_s, u"QFrame"_s, u"gap 14"_s,
                                            u"QFrame"_s, u"gap 14"_s, u"QFrame"_s, u"stretch 1"_s}));
}

void tst_CommunityPage::headingAndSentenceHaveTheirLook()
{
    const CommunityPage page;
    const QLabel *heading = labelReading(page, u"Community"_s);
    QVERIFY(heading);
    QCOMPARE(look(*heading), plainLook(theme::titleFont(26), color::text));
    const QLabel *sentence = labelReading(page, intro);
    QVERIFY(sentence);
    QCOMPARE(look(*sentence), plainLook(theme::bodyFont(13, 400), color::textMuted));
    QVERIFY(sentence->wordWrap());
    QCOMPARE(sentence->maximumWidth(), 680);
}

void tst_CommunityPage::cardHasItsMeasuresAndTexts()
{
    QFETCH(const QString, title);
    QFETCH(const QString, text);
    QFETCH(const QString, button);
    const CommunityPage page;
    const QLabel *titleLabel = labelReading(page, title);
    QVERIFY(titleLabel);
    const auto *card = qobject_cast<QFrame *>(titleLabel->parentWidget());
    QVERIFY(card);
    QCOMPARE(card->property("role"), QVariant(u"panel"_s));
    QCOMPARE(card->maximumWidth(), 680);
    const auto *column = qobject_cast<QVBoxLayout *>(card->layout());
    QVERIFY(column);
    QCOMPARE(column->contentsMargins(), QMargins(24, 22, 24, 22));
    QCOMPARE(column->spacing(), 6);
    QCOMPARE(itemsOf(*column), (QStringList{title, text, u"gap 14"_s, button}));

    QCOMPARE(look(*titleLabel), plainLook(theme::displayFont(15, 600, 1.2), color::text));
    const QLabel *textLabel = labelReading(page, text);
    QVERIFY(textLabel);
    QCOMPARE(look(*textLabel), plainLook(theme::bodyFont(12, 400), color::textMuted));
    QVERIFY(textLabel->wordWrap());

    const QPushButton *push = buttonReading(page, button);
    QVERIFY(push);
    QCOMPARE(push->property("role"), QVariant(u"secondary"_s));
    QCOMPARE(push->cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(push->minimumWidth(), 190);
    QCOMPARE(push->maximumWidth(), 190);
    QCOMPARE(column->itemAt(3)->alignment(), Qt::AlignLeft);
    QVERIFY(push->isEnabled());
    QCOMPARE(push->toolTip(), QString());
}

void tst_CommunityPage::cardsStandInThePanelLook()
{
    CommunityPage page;
    page.resize(1000, 700);
    page.show();
    const QImage image = snapshot(page);
    const QLabel *title = labelReading(page, u"Support"_s);
    QVERIFY(title);
    const QRect card = title->parentWidget()->geometry();
    QCOMPARE(colorAt(image, QPointF(card.center().x(), card.top() + 0.5)), QColor(color::border));
    QCOMPARE(colorAt(image, QPointF(card.right() - 10, card.top() + 10)), QColor(color::panel));
}

void tst_CommunityPage::buttonOpensTheAddress()
{
    QFETCH(const QString, button);
    QFETCH(const QString, address);
    CommunityPage page;
    UrlCatcher desktop({u"https"_s, QString()});
    const LogCapture log;
    QPushButton *push = buttonReading(page, button);
    QVERIFY(push);
    QTest::mouseClick(push, Qt::LeftButton);
    const QString told = address == websiteAddress ? u"https://"_s + websiteHost : address; // without the password
    QCOMPARE(log.texts(), QStringList{u"INFO velmo.ui: Opening external link \"%1\""_s.arg(told)});
    QCOMPARE(desktop.urls(), QList<QUrl>{QUrl(address)});
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_CommunityPage::columnStopsGrowing()
{
    CommunityPage page;
    page.resize(1600, 900);
    page.show();
    const QLabel *title = labelReading(page, u"Velmo Games"_s);
    QVERIFY(title);
    QCOMPARE(title->parentWidget()->width(), 680);
    QCOMPARE(title->parentWidget()->x(), 26);
    QCOMPARE(labelReading(page, intro)->width(), 680);
}

void tst_CommunityPage::smallWindowCompressesWithoutScrolling()
{
    CommunityPage page;
    QVERIFY(page.findChildren<QAbstractScrollArea *>().isEmpty());
    page.resize(900, 900);
    page.show();
    const QList<QPushButton *> buttons = page.findChildren<QPushButton *>();
    QCOMPARE(buttons.size(), 3);
    const QMargins cardMargins = buttons.constFirst()->parentWidget()->layout()->contentsMargins();
    for (const int height : {lowestPage, lowestPage + 100}) {
        page.resize(narrowestPage, height);
        const QList<QWidget *> widgets = page.findChildren<QWidget *>();
        for (const QWidget *widget : widgets) {
            QVERIFY2(widget->parentWidget()->rect().contains(widget->geometry()), qPrintable(widget->objectName()));
            const int needed = widget->hasHeightForWidth() ? widget->heightForWidth(widget->width())
                                                           : widget->minimumSizeHint().height();
            QVERIFY2(widget->height() >= needed,
                     qPrintable(u"%1: %2 of %3"_s.arg(QLatin1String(widget->metaObject()->className()))
                                    .arg(widget->height())
                                    .arg(needed)));
        }
        const int margin = page.layout()->contentsMargins().bottom();
        QVERIFY(margin > 0 && margin < 26);
        // Everything gives the same part.
        const int gap = page.layout()->itemAt(3)->spacerItem()->sizeHint().height();
        QVERIFY2(std::abs(gap * 26 - margin * 28) <= 28 + 26, qPrintable(QString::number(gap)));
        QVERIFY(buttons.constFirst()->parentWidget()->layout()->spacing() < 6);
        const int left = page.height() - margin - buttons.constLast()->parentWidget()->geometry().bottom();
        QVERIFY2(left < 16, qPrintable(QString::number(left))); // nothing gives way without need
    }
    page.resize(900, 900);
    QCOMPARE(page.layout()->contentsMargins(), QMargins(26, 26, 26, 26));
    QCOMPARE(buttons.constFirst()->parentWidget()->layout()->contentsMargins(), cardMargins);
}

int main(int argc, char **argv)
{
    return runTest<tst_CommunityPage, QApplication>(argc, argv);
}

#include "tst_CommunityPage.moc"
