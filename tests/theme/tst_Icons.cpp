#include "support/LogCapture.h"
#include "support/PixelProbe.h"
#include "theme/Icons.h"
#include "theme/Palette.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::colorAt;
using velmo::test::LogCapture;
using velmo::test::mismatch;

namespace {

const QStringList stockIcons = {
    u"alert-triangle"_s, u"arrow-right"_s, u"chevron-right"_s, u"download"_s,     u"folder"_s, u"home"_s,  u"news"_s,
    u"player-play"_s,    u"refresh"_s,     u"settings"_s,      u"shield-check"_s, u"users"_s,  u"world"_s,
};

QString iconFile(const QString &name)
{
    QFile file(u":/icons/tabler/%1.svg"_s.arg(name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// \a svg as an icon of \a size logical pixels shows it.
QImage drawn(const QString &svg, int size, double ratio)
{
    QSvgRenderer renderer(svg.toUtf8());
    QImage image(qRound(size * ratio), qRound(size * ratio), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, size, size));
    return image;
}

} // namespace

class tst_Icons : public QObject {
    Q_OBJECT

private slots:
    void resourcesHoldTheThirteenIcons();
    void everyIconIsStock_data();
    void everyIconIsStock();
    void everyIconRendersInItsTint_data();
    void everyIconRendersInItsTint();
    void nothingIsAskedForNothing_data();
    void nothingIsAskedForNothing();
    void missingIconIsToldOnceForEachKey();
    void unreadableIconIsToldOnce();
    void emptyIconIsSilent();
    void pixelsFollowTheRatio_data();
    void pixelsFollowTheRatio();
    void picturesAreKeptByWhatTheyShow_data();
    void picturesAreKeptByWhatTheyShow();
    void alphaMakesAnotherEntryOfTheSamePixels();
    void onlyTheExactStrokeIsReplaced_data();
    void onlyTheExactStrokeIsReplaced();
    void noStrokeHasItsOwnEntry();
};

void tst_Icons::resourcesHoldTheThirteenIcons()
{
    QStringList names;
    const QStringList files = QDir(u":/icons/tabler"_s).entryList(QDir::Files, QDir::Name);
    for (const QString &file : files) {
        if (!file.startsWith("probe-"_L1)) {
            names.append(file.chopped(4));
        }
    }
    QCOMPARE(names, stockIcons);
}

void tst_Icons::everyIconIsStock_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : stockIcons) {
        QTest::newRow(qPrintable(name)) << name;
    }
}

void tst_Icons::everyIconIsStock()
{
    QFETCH(const QString, name);
    const QString svg = iconFile(name);
    const QString root = svg.left(svg.indexOf(u'>'));
    QVERIFY(root.startsWith("<svg"_L1));
    QVERIFY(root.contains(uR"(stroke="currentColor")"_s));
    QVERIFY(root.contains(uR"(stroke-width="2")"_s));
    QVERIFY(root.contains(uR"(viewBox="0 0 24 24")"_s));
    QVERIFY(root.contains(u"icon-tabler-%1\""_s.arg(name)));
}

void tst_Icons::everyIconRendersInItsTint_data()
{
    everyIconIsStock_data();
}

void tst_Icons::everyIconRendersInItsTint()
{
    QFETCH(const QString, name);
    const LogCapture log;
    const QImage image = iconPixmap(name, 24, color::accent, 1.0, 0.0).toImage();
    const QString tinted = iconFile(name).replace("currentColor"_L1, "#6b9bd4"_L1);
    QCOMPARE(mismatch(image, drawn(tinted, 24, 1.0)), QString());
    QVERIFY(!velmo::test::extents(image, color::accent).isEmpty());
    QCOMPARE(colorAt(image, {0.5, 0.5}).alpha(), 0);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Icons::nothingIsAskedForNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("size");
    QTest::newRow("no name") << QString() << 16;
    QTest::newRow("no size") << u"home"_s << 0;
    QTest::newRow("negative size") << u"home"_s << -4;
    QTest::newRow("no size of an unknown icon") << u"probe-missing"_s << 0;
}

void tst_Icons::nothingIsAskedForNothing()
{
    QFETCH(const QString, name);
    QFETCH(const int, size);
    const LogCapture log;
    QVERIFY(iconPixmap(name, size, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(), QStringList()); // neither looked up nor painted
}

void tst_Icons::missingIconIsToldOnceForEachKey()
{
    const LogCapture log;
    const QString line = uR"(WARN velmo.ui: Icon not in resources: "probe-missing")"_s;
    QVERIFY(iconPixmap(u"probe-missing"_s, 16, color::text, 1.0, 0.0).isNull());
    QVERIFY(iconPixmap(u"probe-missing"_s, 16, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(), QStringList(line));
    QVERIFY(iconPixmap(u"probe-missing"_s, 20, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(), QStringList({line, line}));
}

void tst_Icons::unreadableIconIsToldOnce()
{
    // The SVG reader has words of its own to say, under its own category.
    const LogCapture log;
    QVERIFY(iconPixmap(u"probe-broken"_s, 16, color::text, 1.0, 0.0).isNull());
    QVERIFY(iconPixmap(u"probe-broken"_s, 16, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(u"velmo.ui"_s), QStringList(uR"(WARN velmo.ui: Icon failed to parse: "probe-broken")"_s));
}

void tst_Icons::emptyIconIsSilent()
{
    const LogCapture log;
    QVERIFY(QFile::exists(u":/icons/tabler/probe-empty.svg"_s));
    QVERIFY(iconPixmap(u"probe-empty"_s, 16, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(), QStringList());
}

void tst_Icons::pixelsFollowTheRatio_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<double>("ratio");
    QTest::addColumn<int>("pixels");
    QTest::newRow("whole") << 16 << 1.0 << 16;
    QTest::newRow("a quarter more") << 16 << 1.25 << 20;
    QTest::newRow("half a pixel rounds up") << 15 << 1.5 << 23;
    QTest::newRow("below half a pixel rounds down") << 17 << 1.25 << 21;
    QTest::newRow("double") << 20 << 2.0 << 40;
}

void tst_Icons::pixelsFollowTheRatio()
{
    QFETCH(const int, size);
    QFETCH(const double, ratio);
    QFETCH(const int, pixels);
    const QPixmap icon = iconPixmap(u"home"_s, size, color::text, ratio, 0.0);
    QCOMPARE(icon.size(), QSize(pixels, pixels));
    QCOMPARE(icon.devicePixelRatio(), ratio);
    QCOMPARE(icon.deviceIndependentSize(), QSizeF(pixels / ratio, pixels / ratio));
    const QString tinted = iconFile(u"home"_s).replace("currentColor"_L1, "#e8ebf0"_L1);
    QCOMPARE(mismatch(icon.toImage(), drawn(tinted, size, ratio)), QString());
}

void tst_Icons::picturesAreKeptByWhatTheyShow_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("size");
    QTest::addColumn<QColor>("tint");
    QTest::addColumn<double>("ratio");
    QTest::addColumn<double>("stroke");
    QTest::addColumn<bool>("same");
    const QColor tint(color::text);
    QTest::newRow("the same") << u"news"_s << 18 << tint << 1.25 << 1.6 << true;
    QTest::newRow("ratio beyond two decimals") << u"news"_s << 18 << tint << 1.254 << 1.6 << true;
    QTest::newRow("stroke beyond two decimals") << u"news"_s << 18 << tint << 1.25 << 1.604 << true;
    QTest::newRow("name") << u"users"_s << 18 << tint << 1.25 << 1.6 << false;
    QTest::newRow("size") << u"news"_s << 19 << tint << 1.25 << 1.6 << false;
    QTest::newRow("colour") << u"news"_s << 18 << QColor(color::textDim) << 1.25 << 1.6 << false;
    QTest::newRow("ratio") << u"news"_s << 18 << tint << 1.26 << 1.6 << false;
    QTest::newRow("stroke") << u"news"_s << 18 << tint << 1.25 << 1.61 << false;
}

void tst_Icons::picturesAreKeptByWhatTheyShow()
{
    QFETCH(const QString, name);
    QFETCH(const int, size);
    QFETCH(const QColor, tint);
    QFETCH(const double, ratio);
    QFETCH(const double, stroke);
    QFETCH(const bool, same);
    const QPixmap first = iconPixmap(u"news"_s, 18, color::text, 1.25, 1.6);
    const QPixmap second = iconPixmap(name, size, tint, ratio, stroke);
    QVERIFY(!first.isNull());
    QCOMPARE(first.cacheKey() == second.cacheKey(), same);
}

void tst_Icons::alphaMakesAnotherEntryOfTheSamePixels()
{
    const QPixmap opaque = iconPixmap(u"world"_s, 20, color::accent, 1.0, 0.0);
    const QPixmap faint = iconPixmap(u"world"_s, 20, withAlpha(color::accent, 0.3), 1.0, 0.0);
    QVERIFY(opaque.cacheKey() != faint.cacheKey());
    QCOMPARE(mismatch(faint.toImage(), opaque.toImage()), QString());
}

void tst_Icons::onlyTheExactStrokeIsReplaced_data()
{
    QTest::addColumn<double>("stroke");
    QTest::addColumn<QString>("written");
    QTest::newRow("thinner") << 1.6 << uR"(stroke-width="1.6")"_s;
    QTest::newRow("whole") << 3.0 << uR"(stroke-width="3")"_s;
    QTest::newRow("none") << 0.0 << uR"(stroke-width="2")"_s;
    QTest::newRow("negative") << -1.0 << uR"(stroke-width="2")"_s;
}

void tst_Icons::onlyTheExactStrokeIsReplaced()
{
    QFETCH(const double, stroke);
    QFETCH(const QString, written);
    // The file also holds a stroke of 2.5, one in single quotes, and a colour in capitals: none of them is touched.
    const QString expected = iconFile(u"probe-strokes"_s)
                                 .replace(u"\"currentColor\""_s, u"\"#9aa4b4\""_s)
                                 .replace(uR"(stroke-width="2")"_s, written);
    const QImage image = iconPixmap(u"probe-strokes"_s, 48, color::textMuted, 1.0, stroke).toImage();
    QCOMPARE(mismatch(image, drawn(expected, 48, 1.0)), QString());
}

void tst_Icons::noStrokeHasItsOwnEntry()
{
    const QPixmap own = iconPixmap(u"folder"_s, 24, color::text, 1.0, 0.0);
    const QPixmap same = iconPixmap(u"folder"_s, 24, color::text, 1.0, 2.0);
    QVERIFY(own.cacheKey() != same.cacheKey());
    QCOMPARE(mismatch(own.toImage(), same.toImage()), QString());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Icons, QApplication>(argc, argv);
}

#include "tst_Icons.moc"
