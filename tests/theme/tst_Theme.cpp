#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"
#include "theme/Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>
#include <QLabel>
#include <QPalette>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::LogCapture;

namespace {

/// The families of the font database without the generic names that it always has.
QStringList ownFamilies()
{
    QStringList families = QFontDatabase::families();
    families.removeIf([](const QString &family) {
        return QStringList({u"Monospace"_s, u"Sans Serif"_s, u"Serif"_s}).contains(family);
    });
    return families;
}

/// Writes down in which order the parts of a look reach the application, and how much was logged before the first.
class LookRecorder : public QObject {
public:
    explicit LookRecorder(const LogCapture &log)
        : log_(log)
    {}

    QStringList seen() const { return seen_; }
    qsizetype linesBefore() const { return linesBefore_; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::ApplicationPaletteChange) {
            note(u"palette"_s);
        } else if (event->type() == QEvent::ApplicationFontChange) {
            note(u"font"_s);
        } else if (event->type() == QEvent::StyleChange) {
            note(u"stylesheet"_s);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void note(const QString &part)
    {
        if (seen_.isEmpty()) {
            linesBefore_ = log_.lines().size();
        }
        if (!seen_.contains(part)) {
            seen_.append(part);
        }
    }

    const LogCapture &log_;
    QStringList seen_;
    qsizetype linesBefore_ = 0;
};

} // namespace

/// Runs on a machine without fonts.
class tst_Theme : public QObject {
    Q_OBJECT

private slots:
    void applyGoesInOrder();
    void paletteHasEveryEntry_data();
    void paletteHasEveryEntry();
    void paletteBrushesAreSolid();
    void baseFontIsBodyText();
    void lettersComeFromTheBundledFonts();
    void stylesheetIsInstalled();
};

void tst_Theme::applyGoesInOrder()
{
    QCOMPARE(ownFamilies(), QStringList());
    QWidget window;
    window.ensurePolished();
    const LogCapture log;
    LookRecorder recorder(log);
    qApp->installEventFilter(&recorder);
    Theme::apply();
    QCOMPARE(recorder.seen(), QStringList({u"palette"_s, u"font"_s, u"stylesheet"_s}));
    QCOMPARE(recorder.linesBefore(), 9);

    const QStringList lines = log.texts(u"velmo.ui"_s);
    QCOMPARE(lines.size(), 9);
    QCOMPARE(lines.filter(u"INFO velmo.ui: Loaded bundled font "_s).size(), 8);
    QCOMPARE(lines.last(), uR"(INFO velmo.ui: Type: "Inter" / "Inter" / "Inter" / "JetBrains Mono")"_s);
}

void tst_Theme::paletteHasEveryEntry_data()
{
    QTest::addColumn<QPalette::ColorRole>("role");
    QTest::addColumn<QColor>("enabled");
    QTest::addColumn<QColor>("disabled");
    const auto row = [](const char *name, QPalette::ColorRole role, const QColor &enabled, const QColor &disabled) {
        QTest::newRow(name) << role << enabled << disabled;
    };
    row("window", QPalette::Window, color::ink, color::ink);
    row("window text", QPalette::WindowText, color::text, color::text);
    row("base", QPalette::Base, color::panelSunken, color::panelSunken);
    row("alternate base", QPalette::AlternateBase, color::panel, color::panel);
    row("text", QPalette::Text, color::text, color::textDim);
    row("placeholder text", QPalette::PlaceholderText, color::textDim, color::textDim);
    row("button", QPalette::Button, color::panel, color::panel);
    row("button text", QPalette::ButtonText, color::text, color::textDim);
    row("highlight", QPalette::Highlight, color::accent, color::accent);
    row("highlighted text", QPalette::HighlightedText, color::ink, color::ink);
    row("tool tip base", QPalette::ToolTipBase, color::panelRaised, color::panelRaised);
    row("tool tip text", QPalette::ToolTipText, color::text, color::text);
}

void tst_Theme::paletteHasEveryEntry()
{
    QFETCH(const QPalette::ColorRole, role);
    QFETCH(const QColor, enabled);
    QFETCH(const QColor, disabled);
    const QPalette palette = QApplication::palette();
    QCOMPARE(palette.color(QPalette::Active, role), enabled);
    QCOMPARE(palette.color(QPalette::Inactive, role), enabled);
    QCOMPARE(palette.color(QPalette::Disabled, role), disabled);
}

void tst_Theme::paletteBrushesAreSolid()
{
    const QPalette palette = QApplication::palette();
    for (const QPalette::ColorRole role : {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::ToolTipBase}) {
        QCOMPARE(palette.brush(QPalette::Active, role).style(), Qt::SolidPattern);
    }
}

void tst_Theme::baseFontIsBodyText()
{
    const QFont font = QApplication::font();
    QCOMPARE(font.family(), bodyFamily());
    QCOMPARE(font.pixelSize(), 13);
    QCOMPARE(font.weight(), 400);
    QLabel label(u"Base"_s);
    label.ensurePolished();
    QCOMPARE(label.font().pixelSize(), 13);
    QCOMPARE(label.font().family(), bodyFamily());
}

void tst_Theme::lettersComeFromTheBundledFonts()
{
    const QStringList families = ownFamilies();
    QVERIFY(families.contains(u"Inter"_s));
    QVERIFY(families.contains(u"JetBrains Mono"_s));
    for (const QString &family : families) {
        QVERIFY2(family.startsWith("Inter"_L1) || family.startsWith("JetBrains Mono"_L1), qPrintable(family));
    }
    for (const int weight : {400, 500, 600, 700}) {
        const QFontInfo sans(bodyFont(13, weight));
        QCOMPARE(sans.family(), u"Inter"_s);
        QCOMPARE(sans.weight(), weight);
        const QFontInfo mono(monoFont(13, weight, 0.0));
        QCOMPARE(mono.family(), u"JetBrains Mono"_s);
        QCOMPARE(mono.weight(), weight);
        QVERIFY(mono.fixedPitch());
    }
}

void tst_Theme::stylesheetIsInstalled()
{
    QVERIFY(!qApp->styleSheet().isEmpty());
    QCOMPARE(qApp->styleSheet(), loadStylesheet());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Theme, QApplication>(argc, argv);
}

#include "tst_Theme.moc"
