#include "widgets/HeroBanner.h"

#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLinearGradient>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRandomGenerator>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

const QColor ink(0x0b, 0x0e, 0x14);

QSize deviceSize(QSize size, double ratio)
{
    return {static_cast<int>(std::round(size.width() * ratio)), static_cast<int>(std::round(size.height() * ratio))};
}

QColor inkAt(double alpha)
{
    QColor color = ink;
    color.setAlpha(static_cast<int>(alpha));
    return color;
}

void drawOverlay(QPainter &painter, double w, double h)
{
    QLinearGradient bottom(0, 0.35 * h, 0, h);
    bottom.setColorAt(0.0, inkAt(0));
    bottom.setColorAt(0.55, inkAt(158)); // of 255, truncated
    bottom.setColorAt(1.0, inkAt(247));
    painter.fillRect(QRectF(0, 0.35 * h, w, 0.65 * h), bottom);
    QLinearGradient left(0, 0, 0.55 * w, 0);
    left.setColorAt(0.0, inkAt(140));
    left.setColorAt(1.0, inkAt(0));
    painter.fillRect(QRectF(0, 0, 0.55 * w, h), left);
    QLinearGradient top(0, 0, 0, 0.18 * h);
    top.setColorAt(0.0, inkAt(150));
    top.setColorAt(1.0, inkAt(0));
    painter.fillRect(QRectF(0, 0, w, 0.18 * h), top);
}

/// The scene as the artist's notes have it, draw by draw, on its own random numbers. \a motes says how many were drawn.
QImage replayedScene(QSize size, double ratio, int *motes = nullptr)
{
    const double w = size.width();
    const double h = size.height();
    QImage image(deviceSize(size, ratio), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(ink);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);

    QLinearGradient sky(0, 0, 0, h);
    sky.setStops(
        {{0.0, QColor(12, 23, 42)}, {0.42, QColor(22, 40, 66)}, {0.62, QColor(14, 27, 47)}, {1.0, QColor(5, 11, 22)}});
    painter.fillRect(QRectF(0, 0, w, h), sky);
    QRadialGradient glow(0.68 * w, 0.52 * h, 0.45 * w);
    glow.setStops({{0.0, QColor(62, 51, 26, 90)}, {1.0, QColor(62, 51, 26, 0)}});
    painter.fillRect(QRectF(0, 0, w, h), glow);

    QRandomGenerator random(0x56454C4D);
    struct Row {
        double horizon, treeHeight;
        QColor color;
        int trees;
        double jitter;
    };
    const Row rows[] = {{0.60, 0.10, QColor(20, 34, 54), 46, 0.35},
                        {0.70, 0.16, QColor(13, 24, 40), 34, 0.45},
                        {0.82, 0.26, QColor(6, 13, 24), 24, 0.55}};
    for (const Row &row : rows) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(row.color);
        const double y = h * row.horizon;
        painter.drawRect(QRectF(0, y - 1, w, h - y + 1));
        const double step = w / row.trees;
        for (int i = -1; i <= row.trees + 1; ++i) {
            const double r1 = random.generateDouble();
            const double r2 = random.generateDouble();
            const double r3 = random.generateDouble();
            const double r4 = random.generateDouble();
            const double r5 = random.generateDouble();
            const double x = i * step + (r1 - 0.5) * step * row.jitter;
            const double th = h * row.treeHeight * (r2 * 0.56 + 0.72);
            const double tw = (r3 * 0.22 + 0.48) * th;
            const double by = (r4 - 0.5) * h * 0.012 + y + 2.0;
            const double lean = (r5 - 0.5) * tw * 0.12;
            painter.drawRect(QRectF(x - 0.04 * tw, by - 0.12 * th, 0.08 * tw, 0.12 * th));
            for (const double s : {0.0, 0.25, 0.5, 0.75}) {
                const double base = by - (s * 0.68 + 0.06) * th;
                const double half = (1.0 - s * 0.62) * tw * 0.5;
                const double centre = s * lean + x;
                QPainterPath bough;
                bough.moveTo(centre - half, base);
                bough.lineTo(centre, by - (s * 0.6 + 0.4) * th);
                bough.lineTo(centre + half, base);
                bough.closeSubpath();
                painter.drawPath(bough);
            }
        }
        QLinearGradient mist(0, y - h * row.treeHeight, 0, y + 0.04 * h);
        mist.setStops({{0.0, QColor(23, 41, 66, 0)}, {1.0, QColor(23, 41, 66, 120)}});
        painter.fillRect(QRectF(0, y - h * row.treeHeight, w, h * row.treeHeight + 0.04 * h), mist);
    }

    painter.setPen(Qt::NoPen);
    const int count = static_cast<int>(w * h / 5200.0);
    if (motes) {
        *motes = count;
    }
    for (int i = 0; i < count; ++i) {
        const double r1 = random.generateDouble();
        const double r2 = random.generateDouble();
        const double r3 = random.generateDouble();
        const double r4 = random.generateDouble();
        painter.setBrush(QColor(220, 230, 244, 8 + static_cast<int>(r4 * 26)));
        painter.drawEllipse(QPointF(r1 * w, r2 * h), r3 * 1.1 + 0.4, r3 * 1.1 + 0.4);
    }
    QRadialGradient vignette(0.5 * w, 0.45 * h, 0.75 * std::max(w, h));
    vignette.setStops({{0.55, QColor(0, 0, 0, 0)}, {1.0, QColor(0, 0, 0, 130)}});
    painter.fillRect(QRectF(0, 0, w, h), vignette);
    return image;
}

/// A banner as it is to look with \a background behind the overlay.
QImage expectation(const QWidget &widget, const QImage &background)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.drawPixmap(widget.rect(), QPixmap::fromImage(background));
    drawOverlay(painter, widget.width(), widget.height());
    return image;
}

/// Stripes of a colour each: red, green, blue, yellow, from left to right; their lower halves are darker.
QString writeStripes(const QDir &folder, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    const QColor colors[] = {Qt::red, Qt::green, Qt::blue, Qt::yellow};
    for (int i = 0; i < 4; ++i) {
        painter.fillRect(QRect(size.width() * i / 4, 0, size.width() / 4 + 1, size.height()), colors[i]);
    }
    painter.fillRect(QRect(QPoint(0, size.height() / 2), size), QColor(0, 0, 0, 128));
    painter.end();
    const QString path = folder.filePath(u"stripes-%1x%2.png"_s.arg(size.width()).arg(size.height()));
    return image.save(path) ? path : QString();
}

double difference(const QImage &a, const QImage &b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QColor left = a.pixelColor(x, y);
            const QColor right = b.pixelColor(x, y);
            sum += std::abs(left.red() - right.red()) + std::abs(left.green() - right.green()) +
                   std::abs(left.blue() - right.blue());
        }
    }
    return sum / (3.0 * a.width() * a.height());
}

} // namespace

class tst_HeroBanner : public PixelTest {
    Q_OBJECT

private slots:
    void bannerFillsItsPage();
    void everyTreeAndMoteIsWhereItWasDrawn_data();
    void everyTreeAndMoteIsWhereItWasDrawn();
    void tinyBannerHasNoMotes();
    void sceneIsTheSameAtEveryStart();
    void sceneLooksAsPublished_data();
    void sceneLooksAsPublished();
    void sceneIsKeptUntilTheSizeChanges();
    void pictureIsMadeOncePerSize_data();
    void pictureIsMadeOncePerSize();
    void emptyBannerPaintsNothing_data();
    void emptyBannerPaintsNothing();
    void missingArtworkIsToldOnce();
    void undecodableArtworkFallsBackAndRecovers();
    void samePathChangesNothing();
    void emptyPathSaysNothing();
    void artworkCoversAndIsCentred_data();
    void artworkCoversAndIsCentred();
    void artworkOfAnyNameCovers_data();
    void artworkOfAnyNameCovers();

private:
    QTemporaryDir folder_;
};

void tst_HeroBanner::bannerFillsItsPage()
{
    const HeroBanner banner;
    QCOMPARE(banner.sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding));
    QCOMPARE(banner.minimumHeight(), 320);
    QVERIFY(banner.testAttribute(Qt::WA_OpaquePaintEvent));
}

void tst_HeroBanner::everyTreeAndMoteIsWhereItWasDrawn_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("smallest window") << QSize(820, 404);
    QTest::newRow("usual window") << QSize(1400, 734);
    QTest::newRow("odd") << QSize(977, 611);
}

void tst_HeroBanner::everyTreeAndMoteIsWhereItWasDrawn()
{
    QFETCH(const QSize, size);
    HeroBanner banner;
    banner.resize(size);
    int motes = 0;
    const QImage scene = replayedScene(size, banner.devicePixelRatio(), &motes);
    QVERIFY(motes > 50);
    QCOMPARE(mismatch(snapshot(banner), expectation(banner, scene)), QString());
}

void tst_HeroBanner::tinyBannerHasNoMotes()
{
    HeroBanner banner;
    banner.setMinimumHeight(0);
    banner.resize(64, 80);
    int motes = 99;
    const QImage scene = replayedScene(banner.size(), banner.devicePixelRatio(), &motes);
    QCOMPARE(motes, 0);
    QCOMPARE(mismatch(snapshot(banner), expectation(banner, scene)), QString());
}

void tst_HeroBanner::sceneIsTheSameAtEveryStart()
{
    HeroBanner first;
    HeroBanner second;
    first.resize(900, 500);
    second.resize(900, 500);
    QCOMPARE(snapshot(first), snapshot(second));
    second.resize(900, 501);
    QVERIFY(snapshot(first) != snapshot(second));
}

void tst_HeroBanner::sceneLooksAsPublished_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("820x404") << QSize(820, 404);
    QTest::newRow("1400x734") << QSize(1400, 734);
}

/// The pictures were looked at and approved; they are kept at a quarter of their size.
void tst_HeroBanner::sceneLooksAsPublished()
{
    QFETCH(const QSize, size);
    const QString path = u":/golden/hero-%1.png"_s.arg(QLatin1StringView(QTest::currentDataTag()));
    const QImage golden(path);
    QVERIFY2(!golden.isNull(), qPrintable(path));
    HeroBanner banner;
    banner.resize(size);
    QImage seen = snapshot(banner);
    seen.setDevicePixelRatio(1.0);
    seen = seen.scaled(golden.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QVERIFY(difference(seen, golden) < 1.0);
}

void tst_HeroBanner::sceneIsKeptUntilTheSizeChanges()
{
    HeroBanner banner;
    banner.resize(2560, 1440);
    const auto paintMs = [&banner] {
        QElapsedTimer clock;
        clock.start();
        const QImage seen = snapshot(banner);
        return static_cast<double>(clock.nsecsElapsed()) / 1e6;
    };
    const double buildMs = paintMs();
    double againMs = paintMs();
    for (int i = 0; i < 5; ++i) {
        banner.resize(2560, 1440); // no change
        againMs = std::min(againMs, paintMs());
    }
    qInfo("2560 by 1440: built in %.1f ms, painted in %.1f ms", buildMs, againMs);
    QVERIFY(againMs < buildMs * 0.6);
    const QImage before = snapshot(banner);
    banner.resize(2560, 1441);
    QVERIFY(snapshot(banner) != before);
}

void tst_HeroBanner::pictureIsMadeOncePerSize_data()
{
    QTest::addColumn<QString>("artwork");
    QTest::addColumn<QSize>("other");
    QTest::newRow("scene") << QString() << QSize(501, 340);
    QTest::newRow("artwork") << writeStripes(QDir(folder_.path()), QSize(80, 60)) << QSize(500, 341);
}

void tst_HeroBanner::pictureIsMadeOncePerSize()
{
    QFETCH(const QString, artwork);
    QFETCH(const QSize, other);
    HeroBanner banner;
    banner.resize(500, 340);
    const LogCapture quiet;
    banner.setArtworkPath(artwork);
    const QList<qint64> first = drawnPixmaps(banner);
    QCOMPARE(first.size(), 1);
    QCOMPARE(drawnPixmaps(banner), first);
    QResizeEvent same(banner.size(), banner.size());
    QCoreApplication::sendEvent(&banner, &same);
    QCOMPARE(drawnPixmaps(banner), first);
    banner.resize(other);
    const QList<qint64> second = drawnPixmaps(banner);
    QVERIFY(second != first);
    QCOMPARE(drawnPixmaps(banner), second);
}

void tst_HeroBanner::emptyBannerPaintsNothing_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("nothing") << QSize(0, 0);
    QTest::newRow("no height") << QSize(10, 0);
    QTest::newRow("no width") << QSize(0, 10);
}

/// Qt paints no empty widget of its own accord, so the event comes by hand: a painter would complain.
void tst_HeroBanner::emptyBannerPaintsNothing()
{
    QFETCH(const QSize, size);
    HeroBanner banner;
    banner.setMinimumHeight(0);
    banner.resize(size);
    QCOMPARE(banner.size(), size);
    const LogCapture log;
    QPaintEvent event(QRect(QPoint(0, 0), size));
    QCoreApplication::sendEvent(&banner, &event);
    QCOMPARE(log.texts(), QStringList());
}

void tst_HeroBanner::missingArtworkIsToldOnce()
{
    HeroBanner banner;
    banner.resize(400, 330);
    const LogCapture log;
    banner.setArtworkPath(u"/nowhere/hero.jpg"_s);
    banner.setArtworkPath(u"/nowhere/hero.jpg"_s);
    QCOMPARE(log.texts(), QStringList{u"INFO velmo.ui: No hero artwork at \"/nowhere/hero.jpg\" - using the generated "
                                      "placeholder scene"_s});
    QCOMPARE(mismatch(snapshot(banner), expectation(banner, replayedScene(banner.size(), banner.devicePixelRatio()))),
             QString());
}

void tst_HeroBanner::undecodableArtworkFallsBackAndRecovers()
{
    const QString broken = folder_.filePath(u"broken.png"_s);
    writeFile(broken, "no picture");
    HeroBanner banner;
    banner.resize(400, 330);
    LogCapture log;
    banner.setArtworkPath(broken);
    QCOMPARE(log.texts(),
             QStringList{u"WARN velmo.ui: Hero artwork exists but could not be decoded: \"%1\""_s.arg(broken)});
    const QImage scene = expectation(banner, replayedScene(banner.size(), banner.devicePixelRatio()));
    QCOMPARE(mismatch(snapshot(banner), scene), QString());

    log.clear();
    const QString path = writeStripes(QDir(folder_.path()), QSize(80, 60));
    banner.setArtworkPath(path);
    QCOMPARE(log.texts(), QStringList{u"INFO velmo.ui: Loaded hero artwork from \"%1\""_s.arg(path)});
    QVERIFY(snapshot(banner) != scene);
    banner.setArtworkPath(QString());
    QCOMPARE(mismatch(snapshot(banner), scene), QString());
}

void tst_HeroBanner::samePathChangesNothing()
{
    const QString path = writeStripes(QDir(folder_.path()), QSize(80, 60));
    HeroBanner banner;
    banner.resize(400, 330);
    banner.show();
    QVERIFY(QTest::qWaitForWindowExposed(&banner));
    const LogCapture log;
    banner.setArtworkPath(path);
    PaintCounter paints(&banner);
    QTRY_COMPARE(paints.count(), 1);
    banner.setArtworkPath(path);
    QCoreApplication::processEvents();
    QCOMPARE(paints.count(), 1);
    QCOMPARE(log.texts().size(), 1);
}

void tst_HeroBanner::emptyPathSaysNothing()
{
    const LogCapture log;
    HeroBanner banner;
    banner.setArtworkPath(QString());
    QVERIFY(log.texts().isEmpty());
}

void tst_HeroBanner::artworkCoversAndIsCentred_data()
{
    QTest::addColumn<QSize>("picture");
    QTest::newRow("wider") << QSize(400, 100);
    QTest::newRow("taller") << QSize(100, 400);
    QTest::newRow("larger") << QSize(2400, 1800);
    QTest::newRow("same shape") << QSize(60, 40);
    QTest::newRow("wider by an odd number") << QSize(901, 400);
    QTest::newRow("taller by an odd number") << QSize(600, 801);
}

void tst_HeroBanner::artworkCoversAndIsCentred()
{
    QFETCH(const QSize, picture);
    const QString path = writeStripes(QDir(folder_.path()), picture);
    HeroBanner banner;
    banner.resize(600, 400);
    const LogCapture quiet;
    banner.setArtworkPath(path);

    const double ratio = banner.devicePixelRatio();
    const QSize target = deviceSize(banner.size(), ratio);
    const QPixmap scaled = QPixmap(path).scaled(target, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QVERIFY(scaled.width() >= target.width() && scaled.height() >= target.height());
    QImage background(target, QImage::Format_ARGB32_Premultiplied);
    background.setDevicePixelRatio(ratio);
    background.fill(ink);
    QPainter painter(&background);
    painter.drawPixmap((target.width() - scaled.width()) / 2, (target.height() - scaled.height()) / 2, scaled);
    painter.end();
    QCOMPARE(mismatch(snapshot(banner), expectation(banner, background)), QString());
}

void tst_HeroBanner::artworkOfAnyNameCovers_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("twice the resolution") << u"hero@2x.png"_s;
    QTest::newRow("three times the resolution") << u"hero@3x.png"_s;
}

/// A name can give a picture a device pixel ratio of its own.
void tst_HeroBanner::artworkOfAnyNameCovers()
{
    QFETCH(const QString, name);
    const QString plain = writeStripes(QDir(folder_.path()), QSize(400, 100));
    const QString named = folder_.filePath(name);
    QVERIFY(QFile::copy(plain, named));
    QVERIFY(QPixmap(named).devicePixelRatio() > 1.0);
    const LogCapture quiet;
    HeroBanner first;
    HeroBanner second;
    first.setArtworkPath(plain);
    second.setArtworkPath(named);
    for (HeroBanner *banner : {&first, &second}) {
        banner->resize(600, 400);
    }
    QCOMPARE(mismatch(snapshot(second), snapshot(first)), QString());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_HeroBanner>(argc, argv);
}

#include "tst_HeroBanner.moc"
