#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Fonts.h"
#include "theme/Icons.h"
#include "theme/Palette.h"
#include "theme/ResourcePath.h"
#include "theme/Stylesheet.h"
#include "theme/Theme.h"

#include <QApplication>
#include <QFontDatabase>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::LogCapture;

/// The theme with nothing to draw on: no compiled resource, no file beside the program, no font on the machine.
class tst_BareTheme : public QObject {
    Q_OBJECT

private slots:
    void noFontFolderIsSilent();
    void familiesFallToTheirLastResort();
    void missingStylesheetIsToldAndEmpty();
    void missingIconIsTold();
    void applyRunsOnPaletteAndBaseFont();
};

void tst_BareTheme::noFontFolderIsSilent()
{
    QVERIFY(resolveResourcePath(u"fonts"_s).isEmpty());
    const LogCapture log;
    loadBundledFonts();
    QCOMPARE(log.texts(), QStringList());
}

void tst_BareTheme::familiesFallToTheirLastResort()
{
    // Of fonts, the machine has generic names alone, or none.
#ifdef Q_OS_WIN
    QCOMPARE(QFontDatabase::families(), QStringList());
#else
    QCOMPARE(QFontDatabase::families(), QStringList({u"Monospace"_s, u"Sans Serif"_s, u"Serif"_s}));
#endif
    QCOMPARE(titleFamily(), u"Arial"_s);
    QCOMPARE(displayFamily(), u"Segoe UI"_s);
    QCOMPARE(bodyFamily(), u"Arial"_s);
    QCOMPARE(monoFamily(), u"Courier New"_s);
}

void tst_BareTheme::missingStylesheetIsToldAndEmpty()
{
    const LogCapture log;
    QVERIFY(loadStylesheet().isEmpty());
    QCOMPARE(log.texts(), QStringList(u"WARN velmo.ui: Stylesheet resource missing; falling back to bare palette"_s));
}

void tst_BareTheme::missingIconIsTold()
{
    const LogCapture log;
    QVERIFY(iconPixmap(u"home"_s, 16, color::text, 1.0, 0.0).isNull());
    QCOMPARE(log.texts(), QStringList(uR"(WARN velmo.ui: Icon not in resources: "home")"_s));
}

void tst_BareTheme::applyRunsOnPaletteAndBaseFont()
{
    qApp->setStyleSheet(u"QLabel { color: red; }"_s);
    const LogCapture log;
    Theme::apply();
    QCOMPARE(log.texts(), QStringList({uR"(INFO velmo.ui: Type: "Arial" / "Segoe UI" / "Arial" / "Courier New")"_s,
                                       u"WARN velmo.ui: Stylesheet resource missing; falling back to bare palette"_s}));
    QVERIFY(qApp->styleSheet().isEmpty());
    QCOMPARE(QApplication::palette().color(QPalette::Window), QColor(color::ink));
    QCOMPARE(QApplication::font().family(), u"Arial"_s);
    QCOMPARE(QApplication::font().pixelSize(), 13);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_BareTheme, QApplication>(argc, argv);
}

#include "tst_BareTheme.moc"
