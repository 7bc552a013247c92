#include "PageProbe.h"
#include "game/GameManager.h"
#include "pages/HomePage.h"
#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Theme.h"
#include "widgets/HeroBanner.h"
#include "widgets/LogoView.h"

#include "core/ConfigManager.h"
#include "net/ApiClient.h"

#include <QJsonObject>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::GameState;
using velmo::HeroBanner;
using velmo::HomePage;
using velmo::LogoView;
namespace theme = velmo::theme;
namespace color = velmo::theme::color;

namespace {

const QString stage = u"CLOSED <b>ALPHA</b>"_s;
const QString tagline =
    u"One line or a few of copy, long enough to need a second line in a column of four hundred and sixty."_s;
const QColor heroColor(0x20, 0x90, 0x40);
const QColor wordmarkColor(0xd0, 0x30, 0x90);
constexpr QSize pageSize(1100, 640);

bool writePicture(const QString &name, QSize size, const QColor &fill)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(fill);
    const QDir folder(QCoreApplication::applicationDirPath());
    return folder.mkpath(u"own"_s) && image.save(folder.filePath(name));
}

/// The page on screen, and its content layer.
struct Shown {
    Shown()
    {
        page.resize(pageSize);
        page.show();
        layers = qobject_cast<QStackedLayout *>(page.layout());
        content = layers->widget(0);
        column = qobject_cast<QVBoxLayout *>(content->layout());
    }

    QLabel *label(const QString &text) const { return labelReading(page, text); }
    QRect placeOf(const QWidget *widget) const { return {widget->mapTo(&page, QPoint(0, 0)), widget->size()}; }

    HomePage page{nullptr};
    QStackedLayout *layers;
    QWidget *content;
    QVBoxLayout *column;
};

} // namespace

/// Runs with a profile, a hero picture and a wordmark of its own beside the program.
class tst_HomePage : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void declaresNothingBeyondAPage();
    void textLiesOverTheArt();
    void heroFillsThePageWithItsPicture();
    void columnHasItsMeasures();
    void badgeHugsItsText();
    void wordmarkReplacesTheTitle();
    void taglineWrapsAtItsWidth();
    void textsAreNeverMarkup();
    void blockStandsInTheLowerLeftCorner();
    void stretchAbsorbsTheHeight_data();
    void stretchAbsorbsTheHeight();
    void gameStateChangesNothing();
};

void tst_HomePage::initTestCase()
{
    const LogCapture quiet;
    QVERIFY(writePicture(u"own/hero.png"_s, {400, 200}, heroColor));
    QVERIFY(writePicture(u"own/wordmark.png"_s, {500, 152}, wordmarkColor));
    writeGameProfile(
        {{u"developmentStage"_s, stage},
         {u"tagline"_s, tagline},
         {u"title"_s, u"MARSH LIGHTS"_s},
         {u"artwork"_s, QJsonObject{{u"hero"_s, u"own/hero.png"_s}, {u"gameLogo"_s, u"own/wordmark.png"_s}}}});
    theme::Theme::apply();
    velmo::gameProfile();
}

void tst_HomePage::declaresNothingBeyondAPage()
{
    HomePage page(nullptr);
    QVERIFY(qobject_cast<velmo::Page *>(static_cast<QWidget *>(&page)));
    const QMetaObject &meta = HomePage::staticMetaObject;
    QCOMPARE(meta.className(), "velmo::HomePage");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    page.resize(pageSize);
    const QImage before = snapshot(page);
    page.onPageShown();
    QCOMPARE(mismatch(snapshot(page), before), QString());
}

void tst_HomePage::textLiesOverTheArt()
{
    const Shown shown;
    QCOMPARE(shown.layers->stackingMode(), QStackedLayout::StackAll);
    QCOMPARE(shown.layers->contentsMargins(), QMargins());
    QCOMPARE(shown.layers->count(), 2);
    QCOMPARE(shown.layers->currentIndex(), 0);
    QVERIFY(qobject_cast<HeroBanner *>(shown.layers->widget(1)));
    QVERIFY(shown.content->testAttribute(Qt::WA_TranslucentBackground));
    QCOMPARE(QByteArray(shown.content->metaObject()->className()), "QWidget");
    // The later sibling paints on top.
    const QObjectList siblings = shown.page.children();
    QVERIFY(siblings.indexOf(shown.content) > siblings.indexOf(shown.layers->widget(1)));
    QVERIFY(shown.content->isVisible());
    QVERIFY(shown.layers->widget(1)->isVisible());
}

void tst_HomePage::heroFillsThePageWithItsPicture()
{
    LogCapture log;
    Shown shown;
    const QString path = QDir(QCoreApplication::applicationDirPath()).filePath(u"own/hero.png"_s);
    QVERIFY(log.contains(QtInfoMsg, u"velmo.ui"_s, u"Loaded hero artwork from \"%1\""_s.arg(path)));
    auto *hero = shown.page.findChild<HeroBanner *>();
    QCOMPARE(hero->geometry(), QRect(QPoint(0, 0), pageSize));
    HeroBanner expected;
    expected.setArtworkPath(path);
    expected.resize(pageSize);
    QCOMPARE(mismatch(snapshot(*hero), snapshot(expected)), QString());
    // It shows through wherever no text stands.
    const QImage page = snapshot(shown.page);
    QCOMPARE(colorAt(page, {900, 100}), colorAt(snapshot(expected), {900, 100}));
    QCOMPARE(colorAt(page, {40, 100}), colorAt(snapshot(expected), {40, 100}));
}

void tst_HomePage::columnHasItsMeasures()
{
    const Shown shown;
    QVERIFY(shown.column);
    QCOMPARE(shown.column->contentsMargins(), QMargins(32, 26, 32, 26));
    QCOMPARE(shown.column->spacing(), 0);
    QCOMPARE(itemsOf(*shown.column), (QStringList{u"stretch 1"_s, u"row"_s, u"gap 14"_s, u"row"_s, u"MARSH LIGHTS"_s,
                                                  u"gap 10"_s, tagline, u"gap 16"_s}));
    const auto *badgeRow = qobject_cast<QHBoxLayout *>(shown.column->itemAt(1)->layout());
    QVERIFY(badgeRow);
    QCOMPARE(itemsOf(*badgeRow), (QStringList{stage, u"stretch 1"_s}));
    const auto *logoRow = qobject_cast<QHBoxLayout *>(shown.column->itemAt(3)->layout());
    QVERIFY(logoRow);
    QCOMPARE(itemsOf(*logoRow), (QStringList{u"velmo::LogoView"_s, u"stretch 1"_s}));
    QCOMPARE(logoRow->itemAt(0)->alignment(), Qt::AlignLeft | Qt::AlignBottom);
}

void tst_HomePage::badgeHugsItsText()
{
    Shown shown;
    const QLabel *badge = shown.label(stage);
    QVERIFY(badge);
    QVERIFY(badge->isVisible());
    QCOMPARE(badge->font(), theme::displayFont(10, 600, 1.0));
    QCOMPARE(badge->styleSheet(), u"color: %1; border: 1px solid %2; border-radius: 9px; padding: 3px 10px;"_s.arg(
                                      theme::colorName(color::accentBright), theme::colorName(color::accentDim)));
    QCOMPARE(badge->width(), badge->sizeHint().width());
    const QRect place = shown.placeOf(badge);
    const QImage image = snapshot(shown.page);
    QCOMPARE(colorAt(image, QPointF(place.center().x(), place.top() + 0.5)), QColor(color::accentDim));
}

void tst_HomePage::wordmarkReplacesTheTitle()
{
    Shown shown;
    const auto *logo = shown.page.findChild<LogoView *>();
    QVERIFY(!logo->sourcePixmap().isNull());
    QCOMPARE(logo->size(), QSize(250, 76));
    QCOMPARE(shown.placeOf(logo).left(), 32);
    QCOMPARE(colorAt(snapshot(shown.page), shown.placeOf(logo).center()), wordmarkColor);
    const QLabel *title = shown.label(u"MARSH LIGHTS"_s);
    QVERIFY(title);
    QVERIFY(title->isHidden());
    QCOMPARE(look(*title), plainLook(theme::titleFont(40), color::action));
}

void tst_HomePage::taglineWrapsAtItsWidth()
{
    const Shown shown;
    const QLabel *label = shown.label(tagline);
    QVERIFY(label);
    QVERIFY(label->isVisible());
    QCOMPARE(look(*label), plainLook(theme::bodyFont(12, 400), color::textMuted));
    QVERIFY(label->wordWrap());
    QCOMPARE(label->maximumWidth(), 460);
    QCOMPARE(label->width(), 460);
    QVERIFY(label->height() >= 2 * label->fontMetrics().height());
}

void tst_HomePage::textsAreNeverMarkup()
{
    const Shown shown;
    const QList<QLabel *> labels = shown.page.findChildren<QLabel *>();
    QCOMPARE(labels.size(), 3);
    for (const QLabel *label : labels) {
        QCOMPARE(label->textFormat(), Qt::PlainText);
    }
}

void tst_HomePage::blockStandsInTheLowerLeftCorner()
{
    const Shown shown;
    const QRect text = shown.placeOf(shown.label(tagline));
    const QRect logo = shown.placeOf(shown.page.findChild<LogoView *>());
    const QRect badge = shown.placeOf(shown.label(stage));
    QCOMPARE(pageSize.height() - (text.bottom() + 1), 42);
    QCOMPARE(text.top() - (logo.bottom() + 1), 10);
    QCOMPARE(logo.top() - (badge.bottom() + 1), 14);
    QCOMPARE(text.left(), 32);
    QCOMPARE(badge.left(), 32);
}

void tst_HomePage::stretchAbsorbsTheHeight_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("lowest window") << QSize(820, 360);
    QTest::newRow("usual") << QSize(1400, 700);
    QTest::newRow("large") << QSize(2560, 1300);
}

void tst_HomePage::stretchAbsorbsTheHeight()
{
    QFETCH(const QSize, size);
    Shown shown;
    const QLabel *text = shown.label(tagline);
    const QLabel *badge = shown.label(stage);
    const int blockHeight = shown.placeOf(text).bottom() - shown.placeOf(badge).top();
    shown.page.resize(size);
    QCOMPARE(shown.page.size(), size);
    QVERIFY(shown.page.findChildren<QAbstractScrollArea *>().isEmpty());
    QCOMPARE(shown.page.findChild<HeroBanner *>()->geometry(), shown.page.rect());
    QCOMPARE(shown.content->geometry(), shown.page.rect());
    QCOMPARE(size.height() - (shown.placeOf(text).bottom() + 1), 42);
    QCOMPARE(shown.placeOf(text).bottom() - shown.placeOf(badge).top(), blockHeight);
}

void tst_HomePage::gameStateChangesNothing()
{
    const LogCapture quiet;
    velmo::ConfigManager settings;
    velmo::ApiClient api;
    QNetworkAccessManager network;
    velmo::GameManager game(&settings, &api, &network);
    HomePage page(&game);
    page.resize(pageSize);
    page.show();
    const QImage before = snapshot(page);
    const QStringList states = {u"Downloading"_s, u"Running"_s, u"Error"_s};
    emit game.stateChanged(GameState::Downloading, states.at(0));
    emit game.stateChanged(GameState::Running, states.at(1));
    emit game.stateChanged(GameState::Error, states.at(2));
    emit game.errorOccurred(u"It failed"_s, {});
    emit game.channelChanged(u"beta"_s);
    emit game.serviceStatusChanged(velmo::ServiceStatus::Offline, {});
    QCoreApplication::processEvents();
    QCOMPARE(mismatch(snapshot(page), before), QString());
    for (const char *member :
         {SIGNAL(stateChanged(velmo::GameState, QString)), SIGNAL(errorOccurred(QString, QString)),
          SIGNAL(channelChanged(QString)), SIGNAL(serviceStatusChanged(velmo::ServiceStatus, QString))}) {
        QVERIFY2(!QObject::disconnect(&game, member, &page, nullptr), member);
    }
}

int main(int argc, char **argv)
{
    return runTest<tst_HomePage, QApplication>(argc, argv);
}

#include "tst_HomePage.moc"
