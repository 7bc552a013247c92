#include "support/TestEnvironment.h"
#include "theme/Palette.h"

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;

class tst_Palette : public QObject {
    Q_OBJECT

private slots:
    void everyTokenHasItsValue_data();
    void everyTokenHasItsValue();
    void colorNameIsLowerCaseAndDropsAlpha();
    void withAlphaChangesOnlyTheOpacity();
    void mixBlendsEachComponent();
    void mixHoldsItsWeightBetweenTheColours_data();
    void mixHoldsItsWeightBetweenTheColours();
    void mixIsOpaqueWhateverComesIn();
};

void tst_Palette::everyTokenHasItsValue_data()
{
    QTest::addColumn<QColor>("token");
    QTest::addColumn<QString>("value");
    QTest::newRow("ink") << QColor(color::ink) << u"#ff0b0e14"_s;
    QTest::newRow("panel") << QColor(color::panel) << u"#ff12171f"_s;
    QTest::newRow("panelRaised") << QColor(color::panelRaised) << u"#ff1a212b"_s;
    QTest::newRow("panelSunken") << QColor(color::panelSunken) << u"#ff080b10"_s;
    QTest::newRow("border") << QColor(color::border) << u"#ff202733"_s;
    QTest::newRow("borderStrong") << QColor(color::borderStrong) << u"#ff303a49"_s;
    QTest::newRow("text") << QColor(color::text) << u"#ffe8ebf0"_s;
    QTest::newRow("textMuted") << QColor(color::textMuted) << u"#ff9aa4b4"_s;
    QTest::newRow("textDim") << QColor(color::textDim) << u"#ff677181"_s;
    QTest::newRow("accent") << QColor(color::accent) << u"#ff6b9bd4"_s;
    QTest::newRow("accentBright") << QColor(color::accentBright) << u"#ff9cc1e8"_s;
    QTest::newRow("accentDim") << QColor(color::accentDim) << u"#ff2b3b51"_s;
    QTest::newRow("action") << QColor(color::action) << u"#ffeceff4"_s;
    QTest::newRow("actionHover") << QColor(color::actionHover) << u"#ffffffff"_s;
    QTest::newRow("online") << QColor(color::online) << u"#ff63a57f"_s;
    QTest::newRow("warning") << QColor(color::warning) << u"#ffc88a52"_s;
    QTest::newRow("danger") << QColor(color::danger) << u"#ffc25048"_s;
    QTest::newRow("dangerHover") << QColor(color::dangerHover) << u"#ffd76259"_s;
}

void tst_Palette::everyTokenHasItsValue()
{
    QFETCH(const QColor, token);
    QFETCH(const QString, value);
    QCOMPARE(token.name(QColor::HexArgb), value);
}

void tst_Palette::colorNameIsLowerCaseAndDropsAlpha()
{
    QCOMPARE(colorName(color::panelRaised), u"#1a212b"_s);
    QCOMPARE(colorName(QColor(0xAB, 0xCD, 0xEF, 0x40)), u"#abcdef"_s);
}

void tst_Palette::withAlphaChangesOnlyTheOpacity()
{
    const QColor faint = withAlpha(color::accent, 0.5);
    QCOMPARE(faint.name(QColor::HexRgb), u"#6b9bd4"_s);
    QCOMPARE(faint.alpha(), 128);
    QCOMPARE(withAlpha(color::accent, 0.0).alpha(), 0);
}

void tst_Palette::mixBlendsEachComponent()
{
    const QColor quarter = mix(QColor(0, 200, 100), QColor(100, 0, 100), 0.25);
    QCOMPARE(quarter, QColor(25, 150, 100));
    QCOMPARE(mix(color::action, color::actionHover, 0.5).name(), u"#f6f7fa"_s);
}

void tst_Palette::mixHoldsItsWeightBetweenTheColours_data()
{
    QTest::addColumn<double>("weight");
    QTest::addColumn<QColor>("expected");
    const QColor from(color::ink);
    const QColor to(color::accent);
    QTest::newRow("nothing") << 0.0 << from;
    QTest::newRow("below nothing") << -0.5 << from;
    QTest::newRow("all") << 1.0 << to;
    QTest::newRow("more than all") << 1.5 << to;
}

void tst_Palette::mixHoldsItsWeightBetweenTheColours()
{
    QFETCH(const double, weight);
    QFETCH(const QColor, expected);
    QCOMPARE(mix(color::ink, color::accent, weight), expected);
}

void tst_Palette::mixIsOpaqueWhateverComesIn()
{
    const QColor clear(10, 20, 30, 0);
    const QColor half(50, 60, 70, 128);
    for (const double weight : {-1.0, 0.0, 0.5, 1.0, 2.0}) {
        QCOMPARE(mix(clear, half, weight).alpha(), 255);
    }
    QCOMPARE(mix(clear, half, 0.0), QColor(10, 20, 30));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Palette>(argc, argv);
}

#include "tst_Palette.moc"
