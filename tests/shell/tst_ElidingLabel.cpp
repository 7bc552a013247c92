#include "shell/ElidingLabel.h"

#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Palette.h"
#include "theme/Stylesheet.h"

#include <QAccessible>
#include <QHelpEvent>
#include <QToolTip>

using namespace Qt::Literals::StringLiterals;
using namespace velmo;
using namespace velmo::test;

namespace {

constexpr char16_t ellipsis = u'\u2026';
const QString path = u"Harrowfen/Content/Paks/pakchunk0-Windows.ucas"_s;

/// A label as the action bar has them, as wide as its text.
struct Fixture {
    explicit Fixture(const QString &text = path)
    {
        label.setFont(theme::monoFont(10, QFont::Normal, 0.5));
        label.setStyleSheet(theme::colorRule(theme::color::textDim));
        label.setText(text);
        label.ensurePolished();
        label.resize(label.sizeHint());
    }

    void narrow() { label.resize(label.sizeHint().width() / 2, label.sizeHint().height()); }

    QString askToolTip()
    {
        QToolTip::hideText();
        QHelpEvent event(QEvent::ToolTip, QPoint(2, 2), label.mapToGlobal(QPoint(2, 2)));
        QApplication::sendEvent(&label, &event);
        return QToolTip::isVisible() ? QToolTip::text() : QString();
    }

    ElidingLabel label;
};

} // namespace

class tst_ElidingLabel : public PixelTest {
    Q_OBJECT

private slots:
    void textThatFitsLooksAsInAnyLabel();
    void textThatDoesNotFitEndsInAnEllipsis();
    void otherEndMayStay();
    void cutTextKeepsItsLook();
    void eachLineIsCutForItself();
    void givesWayInALayoutButAsksForItsWholeText();
    void cutTextIsWholeForAScreenReader();
    void toolTipTellsWhatIsCut();
    void toolTipTakesNoTextForMarkup();
};

void tst_ElidingLabel::textThatFitsLooksAsInAnyLabel()
{
    Fixture f;
    QLabel plain;
    plain.setFont(f.label.font());
    plain.setStyleSheet(f.label.styleSheet());
    plain.setText(path);
    plain.resize(f.label.size());
    QCOMPARE(f.label.sizeHint(), plain.sizeHint());
    QCOMPARE(mismatch(snapshot(f.label), snapshot(plain)), QString());
    QVERIFY(!extents(snapshot(f.label), theme::color::textDim, 20).isEmpty());
}

void tst_ElidingLabel::textThatDoesNotFitEndsInAnEllipsis()
{
    Fixture f;
    QCOMPARE(drawnText(f.label), path);
    f.label.resize(f.label.width() - 1, f.label.height());
    QVERIFY(drawnText(f.label).endsWith(ellipsis));
    f.narrow();
    const QString shown = drawnText(f.label);
    QVERIFY(shown.endsWith(ellipsis));
    QVERIFY(path.startsWith(shown.chopped(1)));
    QVERIFY(f.label.fontMetrics().horizontalAdvance(shown) <= f.label.width());
    QCOMPARE(f.label.text(), path);
}

void tst_ElidingLabel::otherEndMayStay()
{
    Fixture f;
    f.narrow();
    f.label.setElideMode(Qt::ElideLeft);
    const QString shown = drawnText(f.label);
    QVERIFY(shown.startsWith(ellipsis));
    QVERIFY(path.endsWith(shown.sliced(1)));
}

void tst_ElidingLabel::cutTextKeepsItsLook()
{
    Fixture f;
    f.narrow();
    QLabel plain;
    plain.setFont(f.label.font());
    plain.setStyleSheet(f.label.styleSheet());
    plain.setText(drawnText(f.label));
    plain.resize(f.label.size());
    QCOMPARE(mismatch(snapshot(f.label), snapshot(plain)), QString());
}

void tst_ElidingLabel::eachLineIsCutForItself()
{
    Fixture f(path + u"\nshort"_s);
    f.narrow();
    const QStringList lines = drawnText(f.label).split(u' ');
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().endsWith(ellipsis));
    QCOMPARE(lines.last(), u"short"_s);
}

void tst_ElidingLabel::givesWayInALayoutButAsksForItsWholeText()
{
    const Fixture f;
    QLabel plain(path);
    plain.setFont(f.label.font());
    QCOMPARE(f.label.minimumSizeHint().width(), 0);
    QCOMPARE(f.label.minimumSizeHint().height(), plain.minimumSizeHint().height());
    QVERIFY(f.label.sizeHint().width() >= f.label.fontMetrics().horizontalAdvance(path));
}

void tst_ElidingLabel::cutTextIsWholeForAScreenReader()
{
    Fixture f;
    f.narrow();
    QCOMPARE(QAccessible::queryAccessibleInterface(&f.label)->text(QAccessible::Name), path);
}

void tst_ElidingLabel::toolTipTellsWhatIsCut()
{
    Fixture f;
    f.label.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.label));
    f.label.resize(f.label.sizeHint());
    QCOMPARE(f.askToolTip(), QString());
    f.narrow();
    QVERIFY(f.askToolTip().contains(path));
    f.label.setToolTip(u"of its own"_s);
    f.label.resize(f.label.sizeHint());
    QCOMPARE(f.askToolTip(), u"of its own"_s);
}

void tst_ElidingLabel::toolTipTakesNoTextForMarkup()
{
    Fixture f(u"data/<b>bold</b>.pak and a tail that is long enough"_s);
    f.label.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.label));
    f.narrow();
    QVERIFY(f.askToolTip().contains(u"&lt;b&gt;bold"_s));
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_ElidingLabel>(argc, argv);
}

#include "tst_ElidingLabel.moc"
