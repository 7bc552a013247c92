#include "shell/NavTab.h"

#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Icons.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/Accessible.h"

#include <QAccessible>
#include <QEasingCurve>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QSignalSpy>
#include <QVariantAnimation>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::NavTab;
namespace theme = velmo::theme;

namespace {

const QColor plateColor(0x1a, 0x21, 0x2b);
const QColor textColor(0xe8, 0xeb, 0xf0);
const QColor mutedColor(0x9a, 0xa4, 0xb4);
const QColor dotColor(0x9c, 0xc1, 0xe8);

/// A tab in its own size, with its two animations at hand.
struct Fixture {
    explicit Fixture(const QString &icon = u"users"_s)
        : tab(icon, u"Community"_s)
        , hover(tab.findChildren<QVariantAnimation *>().at(0))
        , active(tab.findChildren<QVariantAnimation *>().at(1))
    {
        tab.resize(tab.sizeHint());
    }

    NavTab tab;
    QVariantAnimation *hover;
    QVariantAnimation *active;
};

int advance()
{
    return QFontMetrics(theme::displayFont(11, 500, 0.0)).horizontalAdvance(u"Community"_s);
}

/// A tab as it is to look.
QImage expectation(const QWidget &widget, double hover, double active, bool hasIcon = true)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const double plate = std::max(active, hover * 0.55);
    if (plate > 0.0) {
        QColor ground = plateColor;
        ground.setAlphaF(static_cast<float>(plate));
        QPainterPath path;
        path.addRoundedRect(QRectF(1, 3, widget.width() - 2, widget.height() - 6), 6, 6);
        painter.fillPath(path, ground);
    }
    const QColor tone = theme::mix(mutedColor, textColor, std::max(active, hover * 0.6));
    const int x = (widget.width() - 23 - advance()) / 2;
    if (hasIcon) {
        painter.drawPixmap(QPointF(x, (widget.height() - 15) * 0.5),
                           theme::iconPixmap(u"users"_s, 15, tone, widget.devicePixelRatio(), 0));
    }
    painter.setPen(tone);
    painter.setFont(theme::displayFont(11, 500, 0.0));
    painter.drawText(QRect(x + 23, 0, advance(), widget.height()), Qt::AlignLeft | Qt::AlignVCenter, u"Community"_s);
    if (active > 0.0) {
        QColor dot = dotColor;
        dot.setAlphaF(static_cast<float>(active));
        painter.setPen(Qt::NoPen);
        painter.setBrush(dot);
        painter.drawEllipse(QPointF(widget.width() * 0.5, widget.height() - 4.0), active * 2, active * 2);
    }
    return image;
}

} // namespace

class tst_NavTab : public PixelTest {
    Q_OBJECT

private slots:
    void initTestCase();
    void tabIsCheckableAndTakesNoFocus();
    void sizeHintHasRoomForIconAndPadding();
    void blendsRunForATenthOfASecond();
    void look_data();
    void look();
    void contentIsCentredInAWiderTab();
    void missingIconKeepsItsRoom();
    void checkingMovesTheActiveBlend();
    void blendsJumpWithoutMotion();
    void nothingIsPaintedAtRest();
    void tabIsAPageTabToScreenReaders();
};

void tst_NavTab::initTestCase()
{
    velmo::installAccessibility();
    PixelTest::initTestCase();
}

void tst_NavTab::tabIsCheckableAndTakesNoFocus()
{
    const Fixture f;
    QVERIFY(f.tab.isCheckable());
    QVERIFY(!f.tab.isChecked());
    QCOMPARE(f.tab.cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(f.tab.focusPolicy(), Qt::NoFocus);
    QVERIFY(f.tab.testAttribute(Qt::WA_Hover));
    QCOMPARE(f.tab.minimumHeight(), 30);
    QCOMPARE(f.tab.maximumHeight(), 30);
}

void tst_NavTab::sizeHintHasRoomForIconAndPadding()
{
    QCOMPARE(Fixture().tab.sizeHint(), QSize(advance() + 51, 30));
}

void tst_NavTab::blendsRunForATenthOfASecond()
{
    Fixture f;
    QCOMPARE(f.hover->easingCurve().type(), QEasingCurve::OutCubic);
    QCOMPARE(f.active->easingCurve().type(), QEasingCurve::OutCubic);
    enter(f.tab);
    QCOMPARE(f.hover->duration(), 110);
    QCOMPARE(f.hover->endValue().toDouble(), 1.0);
    holdAt(f.hover, 0.25);
    leave(f.tab);
    QCOMPARE(f.hover->startValue().toDouble(), 0.25);
    QCOMPARE(f.hover->endValue().toDouble(), 0.0);
    f.tab.setChecked(true);
    QCOMPARE(f.active->duration(), 110);
    QCOMPARE(f.active->endValue().toDouble(), 1.0);
}

void tst_NavTab::look_data()
{
    QTest::addColumn<double>("hover");
    QTest::addColumn<double>("active");
    QTest::newRow("rest") << 0.0 << 0.0;
    QTest::newRow("hover half-way") << 0.5 << 0.0;
    QTest::newRow("hover") << 1.0 << 0.0;
    QTest::newRow("becoming active") << 1.0 << 0.25;
    QTest::newRow("active half-way") << 0.0 << 0.5;
    QTest::newRow("active") << 0.0 << 1.0;
    QTest::newRow("active and hovered") << 1.0 << 1.0;
}

void tst_NavTab::look()
{
    QFETCH(const double, hover);
    QFETCH(const double, active);
    Fixture f;
    holdAt(f.hover, hover);
    holdAt(f.active, active);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, hover, active)), QString());
}

void tst_NavTab::contentIsCentredInAWiderTab()
{
    Fixture f;
    f.tab.resize(f.tab.width() + 41, 30);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 0.0, 0.0)), QString());
}

void tst_NavTab::missingIconKeepsItsRoom()
{
    const LogCapture log;
    Fixture f(u"no-such-icon"_s);
    QCOMPARE(f.tab.sizeHint(), QSize(advance() + 51, 30));
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 0.0, 0.0, false)), QString());
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().startsWith("WARN velmo.ui: "_L1));
}

void tst_NavTab::checkingMovesTheActiveBlend()
{
    Fixture f;
    f.tab.setChecked(true);
    QTRY_COMPARE(f.active->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 0.0, 1.0)), QString());
    f.tab.setChecked(false);
    QCOMPARE(f.active->endValue().toDouble(), 0.0);
    QTRY_COMPARE(f.active->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 0.0, 0.0)), QString());
    // A click checks the tab; the blend waits for whoever navigates to say so.
    QTest::mouseClick(&f.tab, Qt::LeftButton);
    QVERIFY(f.tab.isChecked());
    QCOMPARE(f.active->endValue().toDouble(), 0.0);
    f.tab.setChecked(true);
    QCOMPARE(f.active->endValue().toDouble(), 1.0);
}

void tst_NavTab::blendsJumpWithoutMotion()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    enter(f.tab);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 1.0, 0.0)), QString());
    f.tab.setChecked(true);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 1.0, 1.0)), QString());
    leave(f.tab);
    QCOMPARE(mismatch(snapshot(f.tab), expectation(f.tab, 0.0, 1.0)), QString());
}

void tst_NavTab::nothingIsPaintedAtRest()
{
    Fixture f;
    holdAt(f.active, 1.0);
    QCOMPARE(problemAtRest(f.tab), QString());
}

void tst_NavTab::tabIsAPageTabToScreenReaders()
{
    Fixture f;
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(&f.tab);
    QCOMPARE(accessible->role(), QAccessible::PageTab);
    QCOMPARE(accessible->text(QAccessible::Name), u"Community"_s);
    QVERIFY(accessible->state().selectable);
    QVERIFY(!accessible->state().selected);
    const QSignalSpy clicked(&f.tab, &QAbstractButton::clicked);
    QCOMPARE(accessible->actionInterface()->actionNames(), QStringList{QAccessibleActionInterface::pressAction()});
    accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_COMPARE(clicked.count(), 1);
    QVERIFY(accessible->state().selected);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_NavTab>(argc, argv);
}

#include "tst_NavTab.moc"
