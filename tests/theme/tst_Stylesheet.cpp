#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::LogCapture;

namespace {

struct Rule {
    QString selector; ///< selectors of one rule, joined by ", "
    QStringList declarations;
};

const QString displayText = u"font-family: \"@displayFamily\""_s;

QStringList outlineButton(const QString &border, const QString &text)
{
    return {u"background-color: transparent"_s,
            u"border: 1px solid "_s + border,
            u"color: "_s + text,
            u"padding: 10px 20px"_s,
            displayText,
            u"font-size: 12px"_s,
            u"font-weight: 600"_s,
            u"letter-spacing: 0.2px"_s,
            u"border-radius: 6px"_s};
}

const QStringList disabledButton = {u"background-color: transparent"_s, u"color: @textDim"_s,
                                    u"border: 1px solid @border"_s};

/// Every rule, in the file's order.
const QList<Rule> rules = {
    {u"QWidget"_s, {u"color: @text"_s}},
    {u"QWidget#RootSurface, QWidget#ContentArea"_s, {u"background-color: @ink"_s}},
    {u"QToolTip"_s,
     {u"background-color: @panelRaised"_s, u"color: @text"_s, u"border: 1px solid @borderStrong"_s,
      u"padding: 5px 8px"_s, u"border-radius: 10px"_s}},
    {u"QLabel[role=\"pageTitle\"]"_s,
     {displayText, u"font-size: 28px"_s, u"font-weight: 600"_s, u"color: @text"_s, u"letter-spacing: 0.2px"_s}},
    {u"QLabel[role=\"sectionLabel\"]"_s,
     {displayText, u"font-size: 11px"_s, u"font-weight: 600"_s, u"color: @textDim"_s, u"letter-spacing: 0.2px"_s}},
    {u"QLabel[role=\"body\"]"_s, {u"color: @textMuted"_s, u"font-size: 13px"_s}},
    {u"QLabel[role=\"meta\"]"_s, {u"color: @textDim"_s, u"font-size: 11px"_s, u"letter-spacing: 0.2px"_s}},
    {u"QLabel[role=\"cardTitle\"]"_s,
     {displayText, u"font-size: 16px"_s, u"font-weight: 600"_s, u"color: @text"_s, u"letter-spacing: 0.2px"_s}},
    {u"QFrame[role=\"panel\"]"_s,
     {u"background-color: @panel"_s, u"border: 1px solid @border"_s, u"border-radius: 10px"_s}},
    {u"QFrame[role=\"divider\"]"_s,
     {u"background-color: @border"_s, u"border: none"_s, u"max-height: 1px"_s, u"min-height: 1px"_s}},
    {u"QScrollArea"_s, {u"background: transparent"_s, u"border: none"_s}},
    {u"QScrollArea > QWidget > QWidget"_s, {u"background: transparent"_s}},
    {u"QScrollBar:vertical"_s, {u"background: transparent"_s, u"width: 10px"_s, u"margin: 0"_s}},
    {u"QScrollBar::handle:vertical"_s,
     {u"background: @border"_s, u"min-height: 40px"_s, u"border-radius: 3px"_s, u"margin: 2px 3px"_s}},
    {u"QScrollBar::handle:vertical:hover"_s, {u"background: @borderStrong"_s}},
    {u"QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical, QScrollBar::add-page:vertical, "
     "QScrollBar::sub-page:vertical"_s,
     {u"background: none"_s, u"height: 0"_s}},
    {u"QScrollBar:horizontal"_s, {u"background: transparent"_s, u"height: 10px"_s}},
    {u"QScrollBar::handle:horizontal"_s,
     {u"background: @border"_s, u"min-width: 40px"_s, u"border-radius: 3px"_s, u"margin: 3px 2px"_s}},
    {u"QScrollBar::add-line:horizontal, QScrollBar::sub-line:horizontal, QScrollBar::add-page:horizontal, "
     "QScrollBar::sub-page:horizontal"_s,
     {u"background: none"_s, u"width: 0"_s}},
    {u"QLineEdit"_s,
     {u"background-color: @panelSunken"_s, u"border: 1px solid @border"_s, u"padding: 8px 10px"_s, u"color: @text"_s,
      u"selection-background-color: @accent"_s, u"selection-color: @ink"_s, u"border-radius: 6px"_s}},
    {u"QLineEdit:focus"_s, {u"border: 1px solid @accent"_s}},
    {u"QLineEdit:disabled"_s, {u"color: @textDim"_s, u"background-color: @panelSunken"_s}},
    {u"QComboBox"_s,
     {u"background-color: @panelSunken"_s, u"border: 1px solid @border"_s, u"padding: 7px 10px"_s, u"color: @text"_s,
      u"border-radius: 6px"_s}},
    {u"QComboBox:hover"_s, {u"border: 1px solid @borderStrong"_s}},
    {u"QComboBox::drop-down"_s, {u"border: none"_s, u"width: 22px"_s}},
    {u"QComboBox QAbstractItemView"_s,
     {u"background-color: @panelRaised"_s, u"border: 1px solid @borderStrong"_s,
      u"selection-background-color: @border"_s, u"selection-color: @text"_s, u"outline: none"_s,
      u"border-radius: 10px"_s}},
    {u"QCheckBox"_s, {u"spacing: 10px"_s, u"color: @text"_s}},
    {u"QCheckBox::indicator"_s,
     {u"width: 16px"_s, u"height: 16px"_s, u"background-color: @panelSunken"_s, u"border: 1px solid @borderStrong"_s,
      u"border-radius: 6px"_s}},
    {u"QCheckBox::indicator:hover"_s, {u"border: 1px solid @accent"_s}},
    {u"QCheckBox::indicator:checked"_s, {u"background-color: @accent"_s, u"border: 1px solid @accent"_s}},
    {u"QCheckBox::indicator:disabled"_s, {u"border: 1px solid @border"_s, u"background-color: @panelSunken"_s}},
    {u"QSlider::groove:horizontal"_s, {u"background: @panelSunken"_s, u"height: 3px"_s}},
    {u"QSlider::sub-page:horizontal"_s, {u"background: @accent"_s, u"height: 3px"_s}},
    {u"QSlider::handle:horizontal"_s,
     {u"background: @text"_s, u"width: 10px"_s, u"height: 14px"_s, u"margin: -6px 0"_s, u"border-radius: 6px"_s}},
    {u"QPushButton[role=\"secondary\"]"_s, outlineButton(u"@borderStrong"_s, u"@text"_s)},
    {u"QPushButton[role=\"secondary\"]:hover"_s,
     {u"background-color: @accent"_s, u"border: 1px solid @accent"_s, u"color: @ink"_s}},
    {u"QPushButton[role=\"secondary\"]:pressed"_s,
     {u"background-color: @accentDim"_s, u"border: 1px solid @accentDim"_s, u"color: @ink"_s}},
    {u"QPushButton[role=\"secondary\"]:disabled"_s, disabledButton},
    {u"QPushButton[role=\"danger\"]"_s, outlineButton(u"@danger"_s, u"@danger"_s)},
    {u"QPushButton[role=\"danger\"]:hover"_s, {u"background-color: @danger"_s, u"color: @text"_s}},
    {u"QPushButton[role=\"danger\"]:pressed"_s, {u"background-color: @dangerHover"_s, u"color: @text"_s}},
    {u"QPushButton[role=\"danger\"]:disabled"_s, disabledButton},
    {u"QPushButton[role=\"link\"]"_s,
     {u"background: transparent"_s, u"border: none"_s, u"color: @accent"_s, u"padding: 2px 0"_s,
      u"text-align: left"_s}},
    {u"QPushButton[role=\"link\"]:hover"_s, {u"color: @accentBright"_s}},
};

QString stylesheetFile()
{
    QFile file(u":/styles/velmo.qss"_s);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString withoutComments(QString text)
{
    static const QRegularExpression comment(uR"(/\*.*?\*/)"_s, QRegularExpression::DotMatchesEverythingOption);
    return text.remove(comment);
}

QList<Rule> parse(const QString &stylesheet)
{
    QList<Rule> found;
    const QStringList blocks = withoutComments(stylesheet).split(u'}', Qt::SkipEmptyParts);
    for (const QString &block : blocks) {
        if (block.trimmed().isEmpty()) {
            continue;
        }
        const qsizetype brace = block.indexOf(u'{');
        Rule rule{block.left(brace).simplified(), {}};
        const QStringList declarations = block.mid(brace + 1).split(u';');
        for (const QString &declaration : declarations) {
            if (!declaration.trimmed().isEmpty()) {
                rule.declarations.append(declaration.simplified());
            }
        }
        found.append(rule);
    }
    return found;
}

} // namespace

class tst_Stylesheet : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void everyRuleStandsInItsPlace_data();
    void everyRuleStandsInItsPlace();
    void fileHoldsNoOtherRule();
    void fileNamesColoursByTokenAlone();
    void blanketRuleHasNoFont();
    void everyTokenIsExpanded_data();
    void everyTokenIsExpanded();
    void longerTokensGoFirst();
    void tokensAreCaseSensitive();
    void unknownTokenStaysAsItIs();
    void loadedSheetIsTheFileExpanded();
    void colorRuleIsOneDeclaration();
    void ownFontSurvivesTheSheet();
    void rolesReachTheirWidgets();
};

void tst_Stylesheet::initTestCase()
{
    const LogCapture quiet;
    loadBundledFonts();
}

void tst_Stylesheet::everyRuleStandsInItsPlace_data()
{
    QTest::addColumn<qsizetype>("place");
    for (qsizetype i = 0; i < rules.size(); ++i) {
        QTest::newRow(qPrintable(rules.at(i).selector)) << i;
    }
}

void tst_Stylesheet::everyRuleStandsInItsPlace()
{
    QFETCH(const qsizetype, place);
    const QList<Rule> found = parse(stylesheetFile());
    QVERIFY(place < found.size());
    QCOMPARE(found.at(place).selector, rules.at(place).selector);
    QCOMPARE(found.at(place).declarations, rules.at(place).declarations);
}

void tst_Stylesheet::fileHoldsNoOtherRule()
{
    QCOMPARE(parse(stylesheetFile()).size(), rules.size());
}

void tst_Stylesheet::fileNamesColoursByTokenAlone()
{
    static const QRegularExpression hexadecimal(u"#[0-9a-fA-F]{3,8}\\b"_s);
    QVERIFY(!hexadecimal.match(stylesheetFile()).hasMatch());
    QVERIFY(!loadStylesheet().contains(u'@'));
}

void tst_Stylesheet::blanketRuleHasNoFont()
{
    const QList<Rule> found = parse(stylesheetFile());
    for (const Rule &rule : found) {
        if (rule.selector == "QWidget"_L1 || rule.selector == "*"_L1) {
            QCOMPARE(rule.declarations, QStringList(u"color: @text"_s));
        }
    }
}

void tst_Stylesheet::everyTokenIsExpanded_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<QString>("value");
    QTest::newRow("ink") << u"@ink"_s << u"#0b0e14"_s;
    QTest::newRow("panel") << u"@panel"_s << u"#12171f"_s;
    QTest::newRow("panelRaised") << u"@panelRaised"_s << u"#1a212b"_s;
    QTest::newRow("panelSunken") << u"@panelSunken"_s << u"#080b10"_s;
    QTest::newRow("border") << u"@border"_s << u"#202733"_s;
    QTest::newRow("borderStrong") << u"@borderStrong"_s << u"#303a49"_s;
    QTest::newRow("text") << u"@text"_s << u"#e8ebf0"_s;
    QTest::newRow("textMuted") << u"@textMuted"_s << u"#9aa4b4"_s;
    QTest::newRow("textDim") << u"@textDim"_s << u"#677181"_s;
    QTest::newRow("accent") << u"@accent"_s << u"#6b9bd4"_s;
    QTest::newRow("accentBright") << u"@accentBright"_s << u"#9cc1e8"_s;
    QTest::newRow("accentDim") << u"@accentDim"_s << u"#2b3b51"_s;
    QTest::newRow("action") << u"@action"_s << u"#eceff4"_s;
    QTest::newRow("actionHover") << u"@actionHover"_s << u"#ffffff"_s;
    QTest::newRow("online") << u"@online"_s << u"#63a57f"_s;
    QTest::newRow("warning") << u"@warning"_s << u"#c88a52"_s;
    QTest::newRow("danger") << u"@danger"_s << u"#c25048"_s;
    QTest::newRow("dangerHover") << u"@dangerHover"_s << u"#d76259"_s;
    QTest::newRow("displayFamily") << u"@displayFamily"_s << displayFamily();
    QTest::newRow("bodyFamily") << u"@bodyFamily"_s << bodyFamily();
    QTest::newRow("monoFamily") << u"@monoFamily"_s << monoFamily();
}

void tst_Stylesheet::everyTokenIsExpanded()
{
    QFETCH(const QString, token);
    QFETCH(const QString, value);
    QCOMPARE(expandTokens(u"a: %1; b: %1 c"_s.arg(token)), u"a: %1; b: %1 c"_s.arg(value));
}

void tst_Stylesheet::longerTokensGoFirst()
{
    QCOMPARE(expandTokens(u"@panelRaised@panel @textDim,@text @borderStrong/@border"_s),
             u"#1a212b#12171f #677181,#e8ebf0 #303a49/#202733"_s);
}

void tst_Stylesheet::tokensAreCaseSensitive()
{
    QCOMPARE(expandTokens(u"@Ink @INK @displayfamily"_s), u"@Ink @INK @displayfamily"_s);
}

void tst_Stylesheet::unknownTokenStaysAsItIs()
{
    QCOMPARE(expandTokens(u"color: @nothing; family: @titleFamily"_s), u"color: @nothing; family: @titleFamily"_s);
}

void tst_Stylesheet::loadedSheetIsTheFileExpanded()
{
    const LogCapture log;
    QCOMPARE(loadStylesheet(), expandTokens(stylesheetFile()));
    QCOMPARE(log.texts(), QStringList());
    const QList<Rule> loaded = parse(loadStylesheet());
    QCOMPARE(loaded.at(2).declarations.first(), u"background-color: #1a212b"_s);
    QCOMPARE(loaded.at(3).declarations.first(), u"font-family: \"Inter\""_s);
}

void tst_Stylesheet::colorRuleIsOneDeclaration()
{
    QCOMPARE(colorRule(color::textMuted), u"color: #9aa4b4;"_s);
}

void tst_Stylesheet::ownFontSurvivesTheSheet()
{
    qApp->setStyleSheet(loadStylesheet());
    QLabel label;
    label.setFont(monoFont(21, 700, 0.0));
    label.ensurePolished();
    QCOMPARE(label.font().pixelSize(), 21);
    QCOMPARE(label.font().family(), u"JetBrains Mono"_s);
    QCOMPARE(label.palette().color(QPalette::WindowText), QColor(color::text));
    qApp->setStyleSheet(QString());
}

void tst_Stylesheet::rolesReachTheirWidgets()
{
    qApp->setStyleSheet(loadStylesheet());
    QLabel title;
    title.setProperty("role", u"pageTitle"_s);
    title.ensurePolished();
    QCOMPARE(title.font().family(), u"Inter"_s);
    QCOMPARE(title.font().pixelSize(), 28);
    QCOMPARE(title.font().weight(), 600);

    QPushButton danger(u"Delete"_s);
    danger.setProperty("role", u"danger"_s);
    danger.ensurePolished();
    QCOMPARE(danger.palette().color(QPalette::ButtonText), QColor(color::danger));
    QCOMPARE(danger.font().pixelSize(), 12);
    qApp->setStyleSheet(QString());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Stylesheet, QApplication>(argc, argv);
}

#include "tst_Stylesheet.moc"
