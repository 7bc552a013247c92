#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Fonts.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::LogCapture;

namespace {

const QStringList sans = {u"Inter"_s,    u"Inter Display"_s, u"Segoe UI Variable Text"_s,
                          u"Segoe UI"_s, u"Roboto"_s,        u"Arial"_s};
const QStringList mono = {u"JetBrains Mono"_s, u"IBM Plex Mono"_s, u"Cascadia Mono"_s, u"Consolas"_s};

bool hasOwnSpacing(const QFont &font)
{
    return (font.resolveMask() & QFont::LetterSpacingResolved) != 0;
}

QString loadedLine(const QString &file, const QStringList &families)
{
    QString line;
    QDebug(&line) << "Loaded bundled font" << file << families;
    return line.trimmed();
}

} // namespace

class tst_Fonts : public QObject {
    Q_OBJECT

private slots:
    void bundledFontsLoadWithALineEach();
    void pickTakesTheFirstOfTheChain_data();
    void pickTakesTheFirstOfTheChain();
    void eachOfAChainServesWhereThoseBeforeItAreMissing_data();
    void eachOfAChainServesWhereThoseBeforeItAreMissing();
    void familiesAreTheBundledOnes();
    void familiesAreFrozenOnFirstUse();
    void bodyFontHasSizeAndWeightAlone();
    void displayFontSpacing_data();
    void displayFontSpacing();
    void titleFontIsTighterWhenLarge_data();
    void titleFontIsTighterWhenLarge();
    void monoFontSpacing_data();
    void monoFontSpacing();
};

void tst_Fonts::bundledFontsLoadWithALineEach()
{
    QStringList lines;
    {
        const LogCapture log;
        loadBundledFonts();
        lines = log.texts();
    }
    const QDir folder(u":/fonts"_s);
    const QStringList files = folder.entryList(QDir::Files, QDir::Name);
    QCOMPARE(files.size(), 8);
    QStringList expected;
    for (const QString &file : files) {
        const int id = QFontDatabase::addApplicationFont(folder.filePath(file));
        const QStringList families = QFontDatabase::applicationFontFamilies(id);
        QCOMPARE(families.first(), file.startsWith("Inter-"_L1) ? u"Inter"_s : u"JetBrains Mono"_s);
        expected.append(u"INFO velmo.ui: "_s + loadedLine(file, families));
    }
    lines.sort();
    QCOMPARE(lines, expected);
}

void tst_Fonts::pickTakesTheFirstOfTheChain_data()
{
    QTest::addColumn<QStringList>("chain");
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QString>("family");
    const QString last = u"Last Resort"_s;
    QTest::newRow("the first") << sansChain() << QStringList{u"Arial"_s, u"Roboto"_s, u"Inter"_s} << u"Inter"_s;
    QTest::newRow("the chain's order, not the machine's")
        << sansChain() << QStringList{u"Arial"_s, u"Roboto"_s, u"Segoe UI"_s} << u"Segoe UI"_s;
    QTest::newRow("small letters") << sans << QStringList{u"dejavu"_s, u"inter"_s} << u"Inter"_s;
    QTest::newRow("capitals") << sans << QStringList{u"INTER"_s} << u"Inter"_s;
    QTest::newRow("mixed letters") << mono << QStringList{u"jetBRAINS mono"_s, u"Consolas"_s} << u"JetBrains Mono"_s;
    QTest::newRow("whole names only") << sans << QStringList{u"Inter Tight"_s, u"Arial Black"_s} << last;
    QTest::newRow("the last of the chain") << mono << QStringList{u"Consolas"_s} << u"Consolas"_s;
    QTest::newRow("none of the chain") << sans << QStringList{u"DejaVu Sans"_s} << last;
    QTest::newRow("no font at all") << mono << QStringList{} << last;
}

void tst_Fonts::pickTakesTheFirstOfTheChain()
{
    QFETCH(const QStringList, chain);
    QFETCH(const QStringList, installed);
    QFETCH(const QString, family);
    QCOMPARE(pickFamily(chain, installed, u"Last Resort"_s), family);
}

void tst_Fonts::eachOfAChainServesWhereThoseBeforeItAreMissing_data()
{
    QTest::addColumn<QStringList>("chain");
    QTest::addColumn<QStringList>("preference");
    QTest::newRow("sans") << sansChain() << sans;
    QTest::newRow("mono") << monoChain() << mono;
}

void tst_Fonts::eachOfAChainServesWhereThoseBeforeItAreMissing()
{
    QFETCH(const QStringList, chain);
    QFETCH(const QStringList, preference);
    QCOMPARE(chain.size(), preference.size());
    QStringList installed = preference;
    std::reverse(installed.begin(), installed.end());
    for (const QString &family : preference) {
        QCOMPARE(pickFamily(chain, installed, u"Last Resort"_s), family);
        installed.removeOne(family);
    }
    QCOMPARE(pickFamily(chain, installed, u"Last Resort"_s), u"Last Resort"_s);
}

void tst_Fonts::familiesAreTheBundledOnes()
{
    QCOMPARE(titleFamily(), u"Inter"_s);
    QCOMPARE(displayFamily(), u"Inter"_s);
    QCOMPARE(bodyFamily(), u"Inter"_s);
    QCOMPARE(monoFamily(), u"JetBrains Mono"_s);
    QCOMPARE(QFontInfo(bodyFont(13, 400)).family(), u"Inter"_s);
    QCOMPARE(QFontInfo(monoFont(13, 400, 0.0)).family(), u"JetBrains Mono"_s);
}

void tst_Fonts::familiesAreFrozenOnFirstUse()
{
    const QString before = bodyFamily();
    QVERIFY(QFontDatabase::removeAllApplicationFonts());
    QCOMPARE(bodyFamily(), before);
    loadBundledFonts();
}

void tst_Fonts::bodyFontHasSizeAndWeightAlone()
{
    const QFont font = bodyFont(17, 500);
    QCOMPARE(font.family(), bodyFamily());
    QCOMPARE(font.pixelSize(), 17);
    QCOMPARE(font.weight(), 500);
    QVERIFY(!hasOwnSpacing(font));
}

void tst_Fonts::displayFontSpacing_data()
{
    QTest::addColumn<double>("tracking");
    QTest::addColumn<double>("spacing");
    QTest::newRow("one step") << 1.0 << 0.18;
    QTest::newRow("half a step") << 0.5 << 0.09;
    QTest::newRow("the badge's") << 1.6 << 0.288;
    QTest::newRow("just below the widest") << 1.9 << 0.342;
    QTest::newRow("just above the widest") << 2.0 << 0.35;
    QTest::newRow("far above the widest") << 5.0 << 0.35;
    QTest::newRow("tiny but there") << 1e-11 << 1.8e-12;
    QTest::newRow("none") << 0.0 << 0.0;
    QTest::newRow("too small to matter") << 5e-12 << 0.0;
    QTest::newRow("negative") << -1.0 << 0.0;
}

void tst_Fonts::displayFontSpacing()
{
    QFETCH(const double, tracking);
    QFETCH(const double, spacing);
    const QFont font = displayFont(12, 600, tracking);
    QCOMPARE(font.family(), displayFamily());
    QCOMPARE(font.pixelSize(), 12);
    QCOMPARE(font.weight(), 600);
    QCOMPARE(hasOwnSpacing(font), spacing > 0.0);
    if (hasOwnSpacing(font)) {
        QCOMPARE(font.letterSpacingType(), QFont::AbsoluteSpacing);
    }
    // QFont keeps spacing in 64ths of a pixel.
    QVERIFY(qAbs(font.letterSpacing() - spacing) <= 1.0 / 64);
}

void tst_Fonts::titleFontIsTighterWhenLarge_data()
{
    QTest::addColumn<int>("pixelSize");
    QTest::addColumn<double>("spacing");
    QTest::newRow("small") << 12 << -0.2;
    QTest::newRow("just below large") << 27 << -0.2;
    QTest::newRow("large") << 28 << -0.8;
    QTest::newRow("very large") << 64 << -0.8;
}

void tst_Fonts::titleFontIsTighterWhenLarge()
{
    QFETCH(const int, pixelSize);
    QFETCH(const double, spacing);
    const QFont font = titleFont(pixelSize);
    QCOMPARE(font.family(), titleFamily());
    QCOMPARE(font.pixelSize(), pixelSize);
    QCOMPARE(font.weight(), 700);
    QCOMPARE(font.letterSpacingType(), QFont::AbsoluteSpacing);
    QVERIFY(qAbs(font.letterSpacing() - spacing) <= 1.0 / 64);
}

void tst_Fonts::monoFontSpacing_data()
{
    QTest::addColumn<double>("spacing");
    QTest::addColumn<bool>("set");
    QTest::newRow("wide") << 1.5 << true;
    QTest::newRow("tight") << -0.5 << true;
    QTest::newRow("no limit") << 5.0 << true;
    QTest::newRow("tiny but there") << 2e-12 << true;
    QTest::newRow("tiny, negative") << -2e-12 << true;
    QTest::newRow("too small to matter") << 1e-12 << false;
    QTest::newRow("none") << 0.0 << false;
}

void tst_Fonts::monoFontSpacing()
{
    QFETCH(const double, spacing);
    QFETCH(const bool, set);
    const QFont font = monoFont(11, 500, spacing);
    QCOMPARE(font.family(), monoFamily());
    QCOMPARE(font.pixelSize(), 11);
    QCOMPARE(font.weight(), 500);
    QCOMPARE(hasOwnSpacing(font), set);
    if (set) {
        QCOMPARE(font.letterSpacingType(), QFont::AbsoluteSpacing);
        QVERIFY(qAbs(font.letterSpacing() - spacing) <= 1.0 / 64);
    }
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Fonts, QApplication>(argc, argv);
}

#include "tst_Fonts.moc"
