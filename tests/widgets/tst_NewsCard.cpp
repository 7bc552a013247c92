#include "widgets/NewsCard.h"

#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "support/TestFiles.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"

#include <QEasingCurve>
#include <QElapsedTimer>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QResizeEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

constexpr Qt::Alignment middleLeft = Qt::AlignLeft | Qt::AlignVCenter;

NewsArticle article()
{
    NewsArticle result;
    result.id = u"the-water"_s;
    result.title = u"The water moves now"_s;
    result.category = u"UPDATE"_s;
    result.date = QDate(2026, 10, 29);
    result.summary = u"Harrowfen's fen used to be scenery. Since this spring it rises at dusk."_s;
    result.body = u"One two three."_s;
    return result;
}

QSize deviceSize(QSize size, double ratio)
{
    return {static_cast<int>(std::round(size.width() * ratio)), static_cast<int>(std::round(size.height() * ratio))};
}

/// The waves of an article without a picture, drawn from its seed.
QImage pattern(const QString &seed, QSize size, double ratio)
{
    QImage image(deviceSize(size, ratio), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QRandomGenerator random(static_cast<quint32>(qHash(seed, 0)));
    const int shift = static_cast<int>(random.generateDouble() * 18.0);
    QLinearGradient ground(0, 0, size.width(), size.height());
    ground.setColorAt(0.0, QColor(18 + shift, 32 + shift, 52 + shift));
    ground.setColorAt(1.0, QColor(7, 15, 28));
    painter.fillRect(QRect(QPoint(0, 0), size), ground);
    QColor line(0x6b, 0x9b, 0xd4);
    line.setAlphaF(0.1F);
    painter.setPen(QPen(line, 1.0));
    for (int i = 0; i < 5; ++i) {
        const int base = static_cast<int>(size.height() * (i * 0.16 + 0.25));
        const int amplitude = 6 + static_cast<int>(random.generateDouble() * 10);
        QPainterPath wave;
        wave.moveTo(0, base);
        for (int x = 0; x <= size.width(); x += 16) {
            wave.lineTo(x, base + std::sin((i * 40 + x) / 46.0) * amplitude);
        }
        painter.drawPath(wave);
    }
    return image;
}

/// A card as it is to look with \a picture in its image area.
QImage expectation(const QWidget &widget, const NewsArticle &news, bool compact, const QColor &ground, double hover,
                   const QImage &picture)
{
    const int width = widget.width();
    const int height = widget.height();
    const QRect area = compact ? QRect(0, 0, 168, height) : QRect(0, 0, width, 168);
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.fillRect(widget.rect(), ground);
    painter.drawPixmap(area, QPixmap::fromImage(picture));
    QLinearGradient shade(0, area.bottom() - area.height() * 0.5, 0, area.bottom());
    shade.setColorAt(0.0, QColor(11, 10, 9, 0));
    shade.setColorAt(1.0, QColor(11, 10, 9, 160));
    painter.fillRect(area, shade);
    painter.setPen(hover > 0 ? QColor(0x30, 0x3a, 0x49) : QColor(0x20, 0x27, 0x33));
    painter.drawRect(QRect(0, 0, width - 1, height - 1));
    if (hover > 0) {
        const int bar = static_cast<int>(height * hover);
        painter.fillRect(QRect(0, (height - bar) / 2, 2, bar), QColor(0x6b, 0x9b, 0xd4));
    }

    const QRect text = compact ? QRect(188, 16, width - 208, height - 32) : QRect(20, 184, width - 40, height - 188);
    int y = text.top();
    const auto line = [&](const QFont &font, const QColor &color, int top, const QString &words) {
        const int lineHeight = QFontMetrics(font).height();
        painter.setFont(font);
        painter.setPen(color);
        painter.drawText(QRect(text.left(), top, text.width(), lineHeight), middleLeft, words);
        return lineHeight;
    };
    if (!news.category.isEmpty()) {
        y += line(theme::displayFont(9, 600, 2.0), QColor(0x6b, 0x9b, 0xd4), y, news.category) + 8;
    }
    const QFont title = theme::titleFont(compact ? 17 : 22);
    y += line(title, QColor(0xe8, 0xeb, 0xf0), y,
              QFontMetrics(title).elidedText(news.title, Qt::ElideRight, text.width()));
    const QFont summary = theme::bodyFont(12, 400);
    const int room = text.bottom() - y - QFontMetrics(summary).height() - 10;
    if (room > 0) {
        painter.setFont(summary);
        painter.setPen(QColor(0x9a, 0xa4, 0xb4));
        painter.drawText(QRect(text.left(), y + 6, text.width(), room), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                         news.summary);
    }
    const QFont date = theme::monoFont(10, 400, 0.6);
    line(date, QColor(0x67, 0x71, 0x81), text.bottom() - QFontMetrics(date).height(),
         u"OCTOBER 29, 2026   ·   1 MIN READ"_s);
    return image;
}

const QColor panel(0x12, 0x17, 0x1f);

} // namespace

class tst_NewsCard : public PixelTest {
    Q_OBJECT

private slots:
    void formsHaveTheirHeights_data();
    void formsHaveTheirHeights();
    void look_data();
    void look();
    void hoverBlendsGroundBorderAndMarker_data();
    void hoverBlendsGroundBorderAndMarker();
    void hoverRunsForATenthOfASecond();
    void hoverIsPaintedAsItRuns();
    void articleWithoutCategoryMovesUp();
    void longTitleIsElided();
    void summaryWithoutRoomIsSkipped_data();
    void summaryWithoutRoomIsSkipped();
    void patternComesFromTheIdOrTheTitle();
    void equalArticlesHaveEqualPatterns();
    void pictureCoversItsArea_data();
    void pictureCoversItsArea();
    void pictureOfAnyNameCoversItsArea_data();
    void pictureOfAnyNameCoversItsArea();
    void brokenPictureGivesThePatternInSilence();
    void pictureOnAnotherHostIsNotLookedFor();
    void imageFollowsTheSize();
    void imageIsBuiltOncePerSize();
    void cardWithoutWidthBuildsNoImage();
    void clickActivates_data();
    void clickActivates();
    void releaseBetweenTwoPixelsCountsForTheNearerOne_data();
    void releaseBetweenTwoPixelsCountsForTheNearerOne();
    void clicksReachThePageBehind_data();
    void clicksReachThePageBehind();
    void articleWithoutIdActivatesEmptily();
    void keysActivate_data();
    void keysActivate();
    void heldKeyActivatesOnce();
    void focusIsSeen_data();
    void focusIsSeen();
    void hostileTextsArePaintedAsText_data();
    void hostileTextsArePaintedAsText();
    void onlyWhatCanBeSeenIsLaidOut_data();
    void onlyWhatCanBeSeenIsLaidOut();
    void bodyIsReadOnce();
    void nothingIsPaintedAtRest();
    void cardIsNamedByItsArticle();

private:
    QTemporaryDir folder_;
};

void tst_NewsCard::formsHaveTheirHeights_data()
{
    QTest::addColumn<bool>("compact");
    QTest::addColumn<int>("height");
    QTest::newRow("compact") << true << 116;
    QTest::newRow("large") << false << 300;
}

void tst_NewsCard::formsHaveTheirHeights()
{
    QFETCH(const bool, compact);
    QFETCH(const int, height);
    const NewsCard card(article(), compact);
    QCOMPARE(card.minimumHeight(), height);
    QCOMPARE(card.maximumHeight(), height);
    QCOMPARE(card.sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed));
    QCOMPARE(card.cursor().shape(), Qt::PointingHandCursor);
    QVERIFY(card.testAttribute(Qt::WA_Hover));
}

void tst_NewsCard::look_data()
{
    QTest::addColumn<bool>("compact");
    QTest::addColumn<int>("width");
    QTest::newRow("compact") << true << 900;
    QTest::newRow("compact and narrow") << true << 420;
    QTest::newRow("large") << false << 1348;
    QTest::newRow("large and narrow") << false << 300;
    QTest::newRow("large, ending on a point of the waves") << false << 640;
}

void tst_NewsCard::look()
{
    QFETCH(const bool, compact);
    QFETCH(const int, width);
    NewsCard card(article(), compact);
    card.resize(width, card.minimumHeight());
    const QSize area = compact ? QSize(168, 116) : QSize(width, 168);
    const QImage picture = pattern(u"the-water"_s, area, card.devicePixelRatio());
    QCOMPARE(mismatch(snapshot(card), expectation(card, article(), compact, panel, 0.0, picture)), QString());
}

void tst_NewsCard::hoverBlendsGroundBorderAndMarker_data()
{
    QTest::addColumn<double>("hover");
    QTest::addColumn<QColor>("ground");
    QTest::newRow("half-way") << 0.5 << QColor(0x16, 0x1c, 0x25);
    QTest::newRow("marker of 75.98 pixels") << 0.655 << QColor(0x17, 0x1e, 0x27);
    QTest::newRow("whole") << 1.0 << QColor(0x1a, 0x21, 0x2b);
}

void tst_NewsCard::hoverBlendsGroundBorderAndMarker()
{
    QFETCH(const double, hover);
    QFETCH(const QColor, ground);
    NewsCard card(article(), true);
    card.resize(900, 116);
    holdAt(card.findChild<QVariantAnimation *>(), hover);
    const QImage picture = pattern(u"the-water"_s, QSize(168, 116), card.devicePixelRatio());
    const QImage seen = snapshot(card);
    QVERIFY(isNear(colorAt(seen, QPointF(600, 60)), ground, 1));
    const QColor exact = colorAt(seen, QPointF(600, 60));
    QCOMPARE(mismatch(seen, expectation(card, article(), true, exact, hover, picture)), QString());
}

void tst_NewsCard::hoverRunsForATenthOfASecond()
{
    NewsCard card(article(), true);
    card.resize(900, 116);
    auto *animation = card.findChild<QVariantAnimation *>();
    QCOMPARE(animation->duration(), 110);
    QCOMPARE(animation->easingCurve().type(), QEasingCurve::OutCubic);
    enter(card);
    QCOMPARE(animation->state(), QAbstractAnimation::Running);
    QCOMPARE(animation->endValue().toDouble(), 1.0);
    QCOMPARE(animation->duration(), 110);
    holdAt(animation, 0.5);
    leave(card);
    QCOMPARE(animation->startValue().toDouble(), 0.5);
    QCOMPARE(animation->endValue().toDouble(), 0.0);
    QCOMPARE(animation->duration(), 110);
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    enter(card);
    QCOMPARE(colorAt(snapshot(card), QPointF(1, 58)), QColor(0x6b, 0x9b, 0xd4)); // the marker, at once
}

void tst_NewsCard::hoverIsPaintedAsItRuns()
{
    NewsCard card(article(), true);
    card.resize(600, 116);
    card.show();
    QVERIFY(QTest::qWaitForWindowExposed(&card));
    QCoreApplication::processEvents();
    PaintCounter paints(&card);
    for (const double step : {0.25, 0.5}) {
        paints.reset();
        holdAt(card.findChild<QVariantAnimation *>(), step);
        QTRY_VERIFY(paints.count() > 0);
    }
}

void tst_NewsCard::articleWithoutCategoryMovesUp()
{
    NewsArticle plain = article();
    plain.category.clear();
    NewsCard card(plain, true);
    card.resize(900, 116);
    const QImage picture = pattern(u"the-water"_s, QSize(168, 116), card.devicePixelRatio());
    QCOMPARE(mismatch(snapshot(card), expectation(card, plain, true, panel, 0.0, picture)), QString());
}

void tst_NewsCard::longTitleIsElided()
{
    NewsArticle longer = article();
    longer.title = QString(300, u'W');
    NewsCard card(longer, false);
    card.resize(600, 300);
    const QImage picture = pattern(u"the-water"_s, QSize(600, 168), card.devicePixelRatio());
    QCOMPARE(mismatch(snapshot(card), expectation(card, longer, false, panel, 0.0, picture)), QString());
}

void tst_NewsCard::summaryWithoutRoomIsSkipped_data()
{
    QTest::addColumn<int>("room");
    QTest::addColumn<bool>("written");
    QTest::newRow("a line") << 20 << true;
    QTest::newRow("hardly any") << 1 << true;
    QTest::newRow("none") << 0 << false;
    QTest::newRow("less than none") << -12 << false;
}

void tst_NewsCard::summaryWithoutRoomIsSkipped()
{
    QFETCH(const int, room);
    QFETCH(const bool, written);
    // What category, title, date and the gaps leave of the text area decides on the summary.
    const int used =
        QFontMetrics(theme::displayFont(9, 600, 2.0)).height() + 8 + QFontMetrics(theme::titleFont(17)).height();
    NewsCard card(article(), true);
    card.setFixedHeight(32 + used + room + 1 + QFontMetrics(theme::bodyFont(12, 400)).height() + 10);
    card.resize(900, card.minimumHeight());
    const QString text = drawnText(card);
    QVERIFY(text.contains(article().title));
    QVERIFY(text.contains(u"MIN READ"_s));
    QCOMPARE(text.contains(u"Harrowfen's fen"_s), written);
}

void tst_NewsCard::patternComesFromTheIdOrTheTitle()
{
    NewsArticle nameless = article();
    nameless.id.clear();
    NewsCard card(nameless, true);
    card.resize(900, 116);
    const QImage picture = pattern(nameless.title, QSize(168, 116), card.devicePixelRatio());
    QCOMPARE(mismatch(snapshot(card), expectation(card, nameless, true, panel, 0.0, picture)), QString());
}

void tst_NewsCard::equalArticlesHaveEqualPatterns()
{
    NewsCard first(article(), true);
    NewsCard second(article(), true);
    NewsArticle other = article();
    other.id = u"another"_s;
    NewsCard third(other, true);
    for (NewsCard *card : {&first, &second, &third}) {
        card->resize(900, 116);
    }
    QCOMPARE(snapshot(first), snapshot(second));
    QVERIFY(snapshot(first) != snapshot(third));
}

void tst_NewsCard::pictureCoversItsArea_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("wide") << QSize(800, 90);
    QTest::newRow("tall") << QSize(90, 800);
}

void tst_NewsCard::pictureCoversItsArea()
{
    QFETCH(const QSize, size);
    QImage stripes(size, QImage::Format_RGB32);
    stripes.fill(Qt::red);
    QPainter(&stripes).fillRect(QRect(size.width() / 2, 0, size.width(), size.height() / 2), Qt::blue);
    NewsArticle news = article();
    news.image = folder_.filePath(u"picture.png"_s);
    QVERIFY(stripes.save(news.image));
    NewsCard card(news, true);
    card.resize(900, 116);

    const double ratio = card.devicePixelRatio();
    const QSize pixels = deviceSize(QSize(168, 116), ratio);
    const QPixmap scaled = QPixmap(news.image).scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QImage picture(pixels, QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawPixmap(static_cast<int>((168 * ratio - scaled.width()) * 0.5),
                       static_cast<int>((116 * ratio - scaled.height()) * 0.5), scaled);
    painter.end();
    QCOMPARE(mismatch(snapshot(card), expectation(card, news, true, panel, 0.0, picture)), QString());
}

void tst_NewsCard::pictureOfAnyNameCoversItsArea_data()
{
    QTest::addColumn<bool>("compact");
    QTest::newRow("compact") << true;
    QTest::newRow("large") << false;
}

/// A name can give a picture a device pixel ratio of its own.
void tst_NewsCard::pictureOfAnyNameCoversItsArea()
{
    QFETCH(const bool, compact);
    QImage red(400, 300, QImage::Format_RGB32);
    red.fill(Qt::red);
    NewsArticle plain = article();
    plain.image = folder_.filePath(u"red.png"_s);
    NewsArticle named = article();
    named.image = folder_.filePath(u"red-%1@2x.png"_s.arg(QLatin1StringView(QTest::currentDataTag())));
    QVERIFY(red.save(plain.image) && red.save(named.image));
    QCOMPARE(QPixmap(named.image).devicePixelRatio(), 2.0);
    NewsCard first(plain, compact);
    NewsCard second(named, compact);
    for (NewsCard *card : {&first, &second}) {
        card->resize(600, card->minimumHeight());
    }
    QCOMPARE(mismatch(snapshot(second), snapshot(first)), QString());
}

void tst_NewsCard::brokenPictureGivesThePatternInSilence()
{
    NewsArticle news = article();
    news.image = folder_.filePath(u"broken.png"_s);
    writeFile(news.image, "no picture");
    const LogCapture log;
    NewsCard broken(news, true);
    news.image = u"/nowhere.png"_s;
    NewsCard missing(news, true);
    NewsCard plain(article(), true);
    for (NewsCard *card : {&broken, &missing, &plain}) {
        card->resize(900, 116);
    }
    QCOMPARE(snapshot(broken), snapshot(plain));
    QCOMPARE(snapshot(missing), snapshot(plain));
    QVERIFY(log.texts().isEmpty());
}

/// Where two slashes lead to no other host, they lead to a picture that is there.
void tst_NewsCard::pictureOnAnotherHostIsNotLookedFor()
{
    QImage red(168, 116, QImage::Format_RGB32);
    red.fill(Qt::red);
    NewsArticle news = article();
    news.image = folder_.filePath(u"picture.png"_s);
    QVERIFY(red.save(news.image));
    NewsCard near(news, true);
    news.image.prepend(u'/');
    NewsCard far(news, true);
    NewsCard plain(article(), true);
    for (NewsCard *card : {&near, &far, &plain}) {
        card->resize(900, 116);
    }
    QVERIFY(snapshot(near) != snapshot(plain));
    QCOMPARE(snapshot(far), snapshot(plain));
}

void tst_NewsCard::imageFollowsTheSize()
{
    NewsCard card(article(), false);
    for (const int width : {500, 900, 700}) {
        card.resize(width, 300);
        const QImage picture = pattern(u"the-water"_s, QSize(width, 168), card.devicePixelRatio());
        QCOMPARE(mismatch(snapshot(card), expectation(card, article(), false, panel, 0.0, picture)), QString());
    }
}

void tst_NewsCard::imageIsBuiltOncePerSize()
{
    NewsCard card(article(), false);
    card.resize(500, 300);
    const QList<qint64> first = drawnPixmaps(card);
    QCOMPARE(first.size(), 1);
    holdAt(card.findChild<QVariantAnimation *>(), 0.5); // hovering paints the same image
    QCOMPARE(drawnPixmaps(card), first);
    QResizeEvent same(card.size(), card.size());
    QCoreApplication::sendEvent(&card, &same);
    QCOMPARE(drawnPixmaps(card), first);
    card.resize(501, 300);
    const QList<qint64> second = drawnPixmaps(card);
    QVERIFY(second != first);
    QCOMPARE(drawnPixmaps(card), second);
}

void tst_NewsCard::cardWithoutWidthBuildsNoImage()
{
    /// Qt paints no empty widget of its own accord, so the event comes by hand, and what it paints goes here.
    class EmptyCard : public NewsCard {
    public:
        using NewsCard::NewsCard;

    protected:
        QPaintDevice *redirected(QPoint * /*offset*/) const override { return &sheet_; }

    private:
        mutable QImage sheet_ = QImage(400, 400, QImage::Format_ARGB32_Premultiplied);
    };
    EmptyCard card(article(), false);
    card.resize(0, 300);
    QCOMPARE(card.size(), QSize(0, 300));
    const LogCapture log;
    QPaintEvent event(QRect(0, 0, 0, 300));
    QCoreApplication::sendEvent(&card, &event);
    QCOMPARE(log.texts(), QStringList()); // an image without pixels would be complained of
}

void tst_NewsCard::clickActivates_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<QPoint>("release");
    QTest::addColumn<int>("count");
    QTest::newRow("left") << Qt::LeftButton << QPoint(400, 50) << 1;
    QTest::newRow("right") << Qt::RightButton << QPoint(400, 50) << 0;
    QTest::newRow("released outside") << Qt::LeftButton << QPoint(400, 200) << 0;
}

void tst_NewsCard::clickActivates()
{
    QFETCH(const Qt::MouseButton, button);
    QFETCH(const QPoint, release);
    QFETCH(const int, count);
    NewsCard card(article(), true);
    card.resize(900, 116);
    const QSignalSpy activated(&card, &NewsCard::activated);
    QTest::mousePress(&card, button, {}, QPoint(400, 50));
    QTest::mouseRelease(&card, button, {}, release);
    QCOMPARE(activated.size(), count);
    if (count > 0) {
        QCOMPARE(activated.first().first().toString(), u"the-water"_s);
    }
}

void tst_NewsCard::releaseBetweenTwoPixelsCountsForTheNearerOne_data()
{
    QTest::addColumn<QPointF>("release");
    QTest::addColumn<int>("count");
    QTest::newRow("just left of the card") << QPointF(-0.4, 50) << 1;
    QTest::newRow("further left") << QPointF(-0.6, 50) << 0;
    QTest::newRow("just inside the right edge") << QPointF(899.4, 50) << 1;
    QTest::newRow("nearer to the pixel behind it") << QPointF(899.6, 50) << 0;
    QTest::newRow("just inside the lower edge") << QPointF(400, 115.4) << 1;
    QTest::newRow("nearer to the pixel below it") << QPointF(400, 115.6) << 0;
}

void tst_NewsCard::releaseBetweenTwoPixelsCountsForTheNearerOne()
{
    QFETCH(const QPointF, release);
    QFETCH(const int, count);
    NewsCard card(article(), true);
    card.resize(900, 116);
    const QSignalSpy activated(&card, &NewsCard::activated);
    QMouseEvent event(QEvent::MouseButtonRelease, release, release, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&card, &event);
    QCOMPARE(activated.size(), count);
}

void tst_NewsCard::clicksReachThePageBehind_data()
{
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::newRow("left") << Qt::LeftButton;
    QTest::newRow("right") << Qt::RightButton;
}

/// A card keeps no click to itself.
void tst_NewsCard::clicksReachThePageBehind()
{
    QFETCH(const Qt::MouseButton, button);
    QWidget page;
    NewsCard card(article(), true, &page);
    page.resize(900, 200);
    card.resize(900, 116);
    const MouseCounter behind(&page);
    QTest::mousePress(&card, button, {}, QPoint(400, 50));
    QCOMPARE(behind.presses(), 1);
    QCOMPARE(behind.releases(), 0);
    QTest::mouseRelease(&card, button, {}, QPoint(400, 50));
    QCOMPARE(behind.releases(), 1);
}

void tst_NewsCard::articleWithoutIdActivatesEmptily()
{
    NewsArticle nameless = article();
    nameless.id.clear();
    NewsCard card(nameless, true);
    card.resize(900, 116);
    const QSignalSpy activated(&card, &NewsCard::activated);
    QTest::mouseClick(&card, Qt::LeftButton);
    QCOMPARE(activated.size(), 1);
    QCOMPARE(activated.first().first().toString(), QString());
}

void tst_NewsCard::keysActivate_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<int>("count");
    QTest::newRow("return") << Qt::Key_Return << 1;
    QTest::newRow("enter") << Qt::Key_Enter << 1;
    QTest::newRow("space") << Qt::Key_Space << 1;
    QTest::newRow("escape") << Qt::Key_Escape << 0;
    QTest::newRow("down") << Qt::Key_Down << 0; // scrolls the list
}

void tst_NewsCard::keysActivate()
{
    QFETCH(const Qt::Key, key);
    QFETCH(const int, count);
    const NewsArticle news = article();
    NewsCard card(news, true);
    QCOMPARE(card.focusPolicy(), Qt::StrongFocus);
    const QSignalSpy activated(&card, &NewsCard::activated);
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&card, &press);
    QCOMPARE(activated.size(), count);
    QCOMPARE(press.isAccepted(), count > 0); // what opens nothing is left to the page
    if (count > 0) {
        QCOMPARE(activated.first().first().toString(), news.id);
    }
}

void tst_NewsCard::heldKeyActivatesOnce()
{
    NewsCard card(article(), true);
    const QSignalSpy activated(&card, &NewsCard::activated);
    for (const bool repeated : {false, true, true}) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_s, repeated);
        QCoreApplication::sendEvent(&card, &press);
        QVERIFY(press.isAccepted());
    }
    QCOMPARE(activated.size(), 1);
}

void tst_NewsCard::focusIsSeen_data()
{
    formsHaveTheirHeights_data();
}

void tst_NewsCard::focusIsSeen()
{
    QFETCH(const bool, compact);
    QFETCH(const int, height);
    NewsCard card(article(), compact);
    card.resize(600, height);
    const QImage picture =
        pattern(u"the-water"_s, compact ? QSize(168, 116) : QSize(600, 168), card.devicePixelRatio());
    QImage expected = expectation(card, article(), compact, panel, 0.0, picture);
    card.show();
    card.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&card));
    holdAt(card.findChild<QVariantAnimation *>(), 0.0); // wherever the pointer is
    card.clearFocus();
    QCOMPARE(mismatch(snapshot(card), expected), QString());
    PaintCounter paints(&card);
    card.setFocus();
    QTRY_VERIFY(paints.count() > 0);
    QPainter painter(&expected);
    painter.setPen(QColor(0x6b, 0x9b, 0xd4));
    painter.drawRect(QRect(3, 3, 600 - 7, height - 7));
    painter.end();
    QCOMPARE(mismatch(snapshot(card), expected), QString());
}

void tst_NewsCard::hostileTextsArePaintedAsText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("markup") << u"<h1>Big</h1> <img src='x'> & <b>bold</b>"_s;
    QTest::newRow("right to left") << u"שלום עולם العربية"_s;
    QTest::newRow("emoji") << u"🕯🌲🌫"_s;
    QTest::newRow("huge") << QString(10000, u'w');
    QTest::newRow("narrow letters") << QString(10000, u'i');
    QTest::newRow("many words") << u"A word or two, it is 1. "_s.repeated(500);
    QTest::newRow("lines") << QString(500, u'\n');
}

void tst_NewsCard::hostileTextsArePaintedAsText()
{
    QFETCH(const QString, text);
    NewsArticle news = article();
    news.title = text;
    news.summary = text;
    news.category = text;
    for (const bool compact : {true, false}) {
        NewsCard card(news, compact);
        card.resize(600, card.minimumHeight());
        const QSize area = compact ? QSize(168, 116) : QSize(600, 168);
        const QImage picture = pattern(u"the-water"_s, area, card.devicePixelRatio());
        QCOMPARE(mismatch(snapshot(card), expectation(card, news, compact, panel, 0.0, picture)), QString());
    }
}

void tst_NewsCard::onlyWhatCanBeSeenIsLaidOut_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("category");
    QTest::addColumn<QString>("summary");
    const QString letters(1'000'000, u'w');
    const QString lines = u"a\n"_s.repeated(500'000);
    const QString words = u"word "_s.repeated(200'000);
    // No width makes no text of these too long for one line.
    const QString nothings(1'000'000, QChar(0x200b));
    QTest::newRow("title") << nothings << u"C"_s << u"S"_s;
    QTest::newRow("category") << u"T"_s << letters << u"S"_s;
    QTest::newRow("category of lines") << u"T"_s << lines << u"S"_s;
    QTest::newRow("summary") << u"T"_s << u"C"_s << words;
    QTest::newRow("summary of one word") << u"T"_s << u"C"_s << letters;
    QTest::newRow("summary of lines") << u"T"_s << u"C"_s << lines;
}

void tst_NewsCard::onlyWhatCanBeSeenIsLaidOut()
{
    QFETCH(const QString, title);
    QFETCH(const QString, category);
    QFETCH(const QString, summary);
    NewsArticle news = article();
    news.title = title;
    news.category = category;
    news.summary = summary;
    for (const bool compact : {true, false}) {
        NewsCard card(news, compact);
        card.resize(1348, card.minimumHeight());
        const auto written = drawnText(card).size();
        QVERIFY2(written < 20'000, qPrintable(QString::number(written)));
    }
}

/// Measured against one reading on this machine in its present state: a paint with a reading in it takes longer.
void tst_NewsCard::bodyIsReadOnce()
{
    NewsArticle news = article();
    news.body = u"word "_s.repeated(1'000'000);
    NewsCard card(news, true);
    card.resize(600, 116);
    const QImage first = snapshot(card);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(news.readingMinutes(), 4545);
    const qint64 reading = clock.nsecsElapsed();
    qint64 quickest = reading;
    for (int i = 0; i < 20; ++i) {
        clock.restart();
        snapshot(card);
        quickest = std::min(quickest, clock.nsecsElapsed());
    }
    QVERIFY2(quickest < reading / 2, qPrintable(u"%1 of %2 ns"_s.arg(quickest).arg(reading)));
}

void tst_NewsCard::nothingIsPaintedAtRest()
{
    NewsCard card(article(), true);
    card.resize(600, 116);
    QCOMPARE(problemAtRest(card), QString());
}

void tst_NewsCard::cardIsNamedByItsArticle()
{
    const NewsCard card(article(), true);
    QCOMPARE(card.accessibleName(), article().title);
    QCOMPARE(card.accessibleDescription(), article().summary);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_NewsCard>(argc, argv);
}

#include "tst_NewsCard.moc"
