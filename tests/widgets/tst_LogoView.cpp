#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "widgets/LogoView.h"

#include <QHBoxLayout>
#include <QPainter>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::LogoView;

namespace {

const QColor leftHalf(0xc0, 0x40, 0x20);
const QColor rightHalf(0x20, 0x40, 0xc0);

QString besideTheProgram(const QString &name)
{
    return QCoreApplication::applicationDirPath() + u'/' + name;
}

} // namespace

/// Runs in a folder that holds "logos/wide.png" and the undecodable "logos/broken.png".
class tst_LogoView : public PixelTest {
    Q_OBJECT

private slots:
    void initTestCase();
    void startsWithoutImage();
    void neverTakesTheMouse();
    void imageHasExactHeightAndItsOwnShape_data();
    void imageHasExactHeightAndItsOwnShape();
    void imageIsScaledForTheScreen();
    void heightIsAtLeastOne_data();
    void heightIsAtLeastOne();
    void fileIsFoundBesideTheProgram();
    void missingFileIsToldAndHasNoWidth();
    void missingResourceIsNotSearchedFor();
    void undecodableResourceIsTold();
    void undecodableFileIsToldWithItsFullPath();
    void laterFailureClearsTheImage();
    void newLogoAsksForLayoutAndPaint();
    void anotherImageOfTheSameSizeIsPainted();
    void nothingIsPaintedAtRest();
};

void tst_LogoView::initTestCase()
{
    QCOMPARE(QPixmap(u":/art/wide.png"_s).size(), QSize(1000, 100));
    PixelTest::initTestCase();
}

void tst_LogoView::startsWithoutImage()
{
    LogoView logo;
    QVERIFY(logo.sourcePixmap().isNull());
    QCOMPARE(logo.sizeHint(), QSize(0, 24));
    QCOMPARE(logo.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(logo.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    logo.resize(20, 20);
    QCOMPARE(mismatch(snapshot(logo), canvas(logo)), QString());
}

void tst_LogoView::neverTakesTheMouse()
{
    const LogoView logo;
    QVERIFY(logo.testAttribute(Qt::WA_TransparentForMouseEvents));
    QCOMPARE(logo.property("captionPassthrough"), QVariant(true));
}

void tst_LogoView::imageHasExactHeightAndItsOwnShape_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("widthAt150");
    QTest::newRow("title bar") << u":/art/wide.png"_s << 13 << 130 << 133;
    QTest::newRow("home page") << u":/art/wide.png"_s << 76 << 760 << 760;
    QTest::newRow("enlarged") << u":/art/tall.png"_s << 160 << 80 << 80;
    QTest::newRow("reduced") << u":/art/tall.png"_s << 41 << 21 << 21; // 61.5 pixels at 1.5
}

void tst_LogoView::imageHasExactHeightAndItsOwnShape()
{
    QFETCH(const QString, path);
    QFETCH(const int, height);
    QFETCH(const int, width);
    QFETCH(const int, widthAt150);
    const LogCapture log;
    LogoView logo;
    logo.setLogo(path, height);
    const QSize expected(expectedRatio() > 1.0 ? widthAt150 : width, height);
    QCOMPARE(logo.size(), expected);
    QCOMPARE(logo.minimumSize(), expected);
    QCOMPARE(logo.maximumSize(), expected);
    QCOMPARE(logo.sizeHint(), expected);
    QCOMPARE(logo.sourcePixmap().size(), QPixmap(path).size());
    QCOMPARE(log.texts(), QStringList());
}

void tst_LogoView::imageIsScaledForTheScreen()
{
    LogoView logo;
    logo.setLogo(u":/art/wide.png"_s, 13);
    QPixmap scaled =
        QPixmap(u":/art/wide.png"_s).scaledToHeight(expectedRatio() > 1.0 ? 20 : 13, Qt::SmoothTransformation);
    QCOMPARE(scaled.width(), expectedRatio() > 1.0 ? 200 : 130);
    scaled.setDevicePixelRatio(expectedRatio());
    QImage expected = canvas(logo);
    QPainter painter(&expected);
    painter.drawPixmap(0, 0, scaled);
    painter.end();
    const QImage look = snapshot(logo);
    QCOMPARE(mismatch(look, expected), QString());
    QCOMPARE(colorAt(look, {1, 1}), leftHalf); // opaque, from the very corner
    QCOMPARE(colorAt(look, {60, 6}), leftHalf);
    QCOMPARE(colorAt(look, {70, 12}), rightHalf);
}

void tst_LogoView::heightIsAtLeastOne_data()
{
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("height");
    QTest::newRow("two") << 2 << 2;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("none") << 0 << 1;
    QTest::newRow("negative") << -13 << 1;
}

void tst_LogoView::heightIsAtLeastOne()
{
    QFETCH(const int, asked);
    QFETCH(const int, height);
    const LogCapture quiet;
    LogoView logo;
    logo.setLogo(u":/art/wide.png"_s, asked);
    QCOMPARE(logo.height(), height);
    logo.setLogo(u"missing.png"_s, asked);
    QCOMPARE(logo.size(), QSize(0, height));
}

void tst_LogoView::fileIsFoundBesideTheProgram()
{
    const LogCapture log;
    LogoView logo;
    logo.setLogo(u"logos/wide.png"_s, 76);
    QCOMPARE(logo.sourcePixmap().size(), QSize(1000, 100));
    QCOMPARE(logo.size(), QSize(760, 76));
    QCOMPARE(log.texts(), QStringList());
}

void tst_LogoView::missingFileIsToldAndHasNoWidth()
{
    const LogCapture log;
    LogoView logo;
    logo.setLogo(u"logos/missing.png"_s, 13);
    QCOMPARE(log.texts(), QStringList(uR"(WARN velmo.ui: Logo not found: "logos/missing.png")"_s));
    QVERIFY(logo.sourcePixmap().isNull());
    QCOMPARE(logo.size(), QSize(0, 13));
    QCOMPARE(logo.sizeHint(), QSize(0, 13));
}

void tst_LogoView::missingResourceIsNotSearchedFor()
{
    const LogCapture log;
    LogoView logo;
    logo.setLogo(u":/logos/wide.png"_s, 13);
    QCOMPARE(log.texts(), QStringList(uR"(WARN velmo.ui: Logo could not be decoded: ":/logos/wide.png")"_s));
    QVERIFY(logo.sourcePixmap().isNull());
    QCOMPARE(logo.size(), QSize(0, 13));
}

void tst_LogoView::undecodableResourceIsTold()
{
    const LogCapture log;
    LogoView logo;
    logo.setLogo(u":/art/broken.png"_s, 13);
    QCOMPARE(log.texts(u"velmo.ui"_s),
             QStringList(uR"(WARN velmo.ui: Logo could not be decoded: ":/art/broken.png")"_s));
    QCOMPARE(logo.size(), QSize(0, 13));
}

void tst_LogoView::undecodableFileIsToldWithItsFullPath()
{
    const LogCapture log;
    LogoView logo;
    logo.setLogo(u"logos/broken.png"_s, 13);
    QCOMPARE(log.texts(u"velmo.ui"_s), QStringList(uR"(WARN velmo.ui: Logo could not be decoded: "%1")"_s.arg(
                                           besideTheProgram(u"logos/broken.png"_s))));
    QCOMPARE(logo.size(), QSize(0, 13));
}

void tst_LogoView::laterFailureClearsTheImage()
{
    const LogCapture quiet;
    LogoView logo;
    logo.setLogo(u":/art/wide.png"_s, 20);
    logo.setLogo(u"logos/missing.png"_s, 20);
    QVERIFY(logo.sourcePixmap().isNull());
    QCOMPARE(logo.sizeHint(), QSize(0, 20));
    logo.setLogo(u":/art/tall.png"_s, 20);
    QCOMPARE(logo.size(), QSize(10, 20));
}

void tst_LogoView::newLogoAsksForLayoutAndPaint()
{
    QWidget window;
    auto *row = new QHBoxLayout(&window);
    row->setContentsMargins(0, 0, 0, 0);
    auto *logo = new LogoView(&window);
    auto *rest = new QWidget(&window);
    row->addWidget(logo);
    row->addWidget(rest, 1);
    window.resize(400, 60);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const PaintCounter paints(logo);
    logo->setLogo(u":/art/tall.png"_s, 40);
    QTRY_COMPARE(rest->x(), 20 + row->spacing());
    QTRY_VERIFY(paints.count() > 0);
}

void tst_LogoView::anotherImageOfTheSameSizeIsPainted()
{
    LogoView logo;
    logo.setLogo(u":/art/wide.png"_s, 20);
    logo.show();
    QVERIFY(QTest::qWaitForWindowExposed(&logo));
    QCoreApplication::processEvents();
    const QSize size = logo.size();
    const PaintCounter paints(&logo);
    logo.setLogo(u"logos/wide.png"_s, 20);
    QCOMPARE(logo.size(), size);
    QTRY_VERIFY(paints.count() > 0);
}

void tst_LogoView::nothingIsPaintedAtRest()
{
    LogoView logo;
    logo.setLogo(u":/art/wide.png"_s, 20);
    QCOMPARE(problemAtRest(logo), QString());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_LogoView>(argc, argv);
}

#include "tst_LogoView.moc"
