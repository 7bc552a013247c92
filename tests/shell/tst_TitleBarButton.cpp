#include "shell/TitleBarButton.h"

#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Motion.h"

#include <QAccessible>
#include <QEasingCurve>
#include <QMetaEnum>
#include <QPainter>
#include <QSignalSpy>
#include <QVariantAnimation>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::TitleBarButton;
namespace theme = velmo::theme;

namespace {

const QColor textColor(0xe8, 0xeb, 0xf0);
const QColor mutedColor(0x9a, 0xa4, 0xb4);
const QColor dimColor(0x67, 0x71, 0x81);
const QColor dangerColor(0xc2, 0x50, 0x48);
const QColor dangerHoverColor(0xd7, 0x62, 0x59);

QColor atAlpha(QColor color, double alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

/// A button as it is to look: \a wash over all of it, then the glyph in \a tone.
QImage expectation(const QWidget &widget, TitleBarButton::Kind kind, const QColor &wash, const QColor &tone)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.fillRect(QRect(0, 0, 44, 44), wash);
    QPen pen(tone, 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    painter.setPen(pen);
    switch (kind) {
    case TitleBarButton::Minimize:
        painter.drawLine(QPointF(17, 22.5), QPointF(27, 22.5));
        break;
    case TitleBarButton::Maximize:
        painter.drawRect(QRectF(17.5, 17.5, 9, 9));
        break;
    case TitleBarButton::Restore:
        painter.drawRect(QRectF(20.5, 17.5, 6.5, 6.5));
        painter.drawRect(QRectF(17.5, 20.5, 6.5, 6.5));
        break;
    case TitleBarButton::Close:
        painter.setRenderHint(QPainter::Antialiasing);
        painter.drawLine(QPointF(17, 17), QPointF(27, 27));
        painter.drawLine(QPointF(17, 27), QPointF(27, 17));
        break;
    }
    return image;
}

void addKinds()
{
    QTest::addColumn<TitleBarButton::Kind>("kind");
    QTest::addColumn<QString>("name");
    QTest::newRow("minimize") << TitleBarButton::Minimize << u"Minimise"_s;
    QTest::newRow("maximize") << TitleBarButton::Maximize << u"Maximise"_s;
    QTest::newRow("restore") << TitleBarButton::Restore << u"Restore"_s;
    QTest::newRow("close") << TitleBarButton::Close << u"Close"_s;
}

} // namespace

class tst_TitleBarButton : public PixelTest {
    Q_OBJECT

private slots:
    void kindIsAMetaEnum();
    void buttonIsFixedAndTakesNoFocus();
    void hoverRunsForATenthOfASecond();
    void restLook_data() { addKinds(); }
    void restLook();
    void hoverWash_data();
    void hoverWash();
    void disabledGlyphIsDimEvenWhileHovered();
    void toolTipAndNameFollowTheKind_data() { addKinds(); }
    void toolTipAndNameFollowTheKind();
    void setKindNamesAllButRestoreMaximise();
    void setKindPaintsOnlyOnAChange();
    void releaseOutsideRunsNoActionAndFadesTheWash();
    void hoverJumpsWithoutMotion();
    void nothingIsPaintedAtRest();
    void buttonIsAButtonToScreenReaders();
};

void tst_TitleBarButton::kindIsAMetaEnum()
{
    const auto kinds = QMetaEnum::fromType<TitleBarButton::Kind>();
    QCOMPARE(kinds.keyCount(), 4);
    QCOMPARE(kinds.keyToValue("Minimize"), 0);
    QCOMPARE(kinds.keyToValue("Maximize"), 1);
    QCOMPARE(kinds.keyToValue("Restore"), 2);
    QCOMPARE(kinds.keyToValue("Close"), 3);
}

void tst_TitleBarButton::buttonIsFixedAndTakesNoFocus()
{
    const TitleBarButton button(TitleBarButton::Minimize);
    QCOMPARE(button.sizeHint(), QSize(44, 44));
    QCOMPARE(button.minimumSize(), QSize(44, 44));
    QCOMPARE(button.maximumSize(), QSize(44, 44));
    QCOMPARE(button.focusPolicy(), Qt::NoFocus);
    QCOMPARE(button.cursor().shape(), Qt::ArrowCursor);
    QVERIFY(button.testAttribute(Qt::WA_Hover));
}

void tst_TitleBarButton::hoverRunsForATenthOfASecond()
{
    TitleBarButton button(TitleBarButton::Minimize);
    auto *animation = button.findChild<QVariantAnimation *>();
    QCOMPARE(animation->easingCurve().type(), QEasingCurve::OutCubic);
    QCOMPARE(animation->duration(), 110);
    enter(button);
    QCOMPARE(animation->state(), QAbstractAnimation::Running);
    QCOMPARE(animation->duration(), 110);
    QCOMPARE(animation->endValue().toDouble(), 1.0);
    holdAt(animation, 0.5);
    leave(button);
    QCOMPARE(animation->startValue().toDouble(), 0.5); // from where it stood
    QCOMPARE(animation->endValue().toDouble(), 0.0);
}

void tst_TitleBarButton::restLook()
{
    QFETCH(const TitleBarButton::Kind, kind);
    TitleBarButton button(kind);
    QCOMPARE(mismatch(snapshot(button), expectation(button, kind, Qt::transparent, mutedColor)), QString());
}

void tst_TitleBarButton::hoverWash_data()
{
    QTest::addColumn<TitleBarButton::Kind>("kind");
    QTest::addColumn<double>("hover");
    QTest::addColumn<bool>("down");
    QTest::addColumn<QColor>("wash");
    for (const auto kind : {TitleBarButton::Minimize, TitleBarButton::Maximize, TitleBarButton::Restore}) {
        QTest::addRow("kind %d half-way", kind) << kind << 0.5 << false << atAlpha(textColor, 0.045);
        QTest::addRow("kind %d", kind) << kind << 1.0 << false << atAlpha(textColor, 0.09);
        QTest::addRow("kind %d pressed", kind) << kind << 1.0 << true << atAlpha(textColor, 0.16);
    }
    QTest::newRow("close half-way") << TitleBarButton::Close << 0.5 << false << atAlpha(dangerHoverColor, 0.46);
    QTest::newRow("close") << TitleBarButton::Close << 1.0 << false << atAlpha(dangerHoverColor, 0.92);
    QTest::newRow("close pressed half-way") << TitleBarButton::Close << 0.5 << true << atAlpha(dangerColor, 0.5);
    QTest::newRow("close pressed") << TitleBarButton::Close << 1.0 << true << dangerColor;
}

void tst_TitleBarButton::hoverWash()
{
    QFETCH(const TitleBarButton::Kind, kind);
    QFETCH(const double, hover);
    QFETCH(const bool, down);
    QFETCH(const QColor, wash);
    TitleBarButton button(kind);
    holdAt(button.findChild<QVariantAnimation *>(), hover);
    button.setDown(down);
    QCOMPARE(mismatch(snapshot(button), expectation(button, kind, wash, textColor)), QString());
}

void tst_TitleBarButton::disabledGlyphIsDimEvenWhileHovered()
{
    TitleBarButton button(TitleBarButton::Maximize);
    holdAt(button.findChild<QVariantAnimation *>(), 1.0);
    button.setEnabled(false);
    const QImage expected = expectation(button, TitleBarButton::Maximize, atAlpha(textColor, 0.09), dimColor);
    QCOMPARE(mismatch(snapshot(button), expected), QString());
}

void tst_TitleBarButton::toolTipAndNameFollowTheKind()
{
    QFETCH(const TitleBarButton::Kind, kind);
    QFETCH(const QString, name);
    const TitleBarButton button(kind);
    QCOMPARE(button.toolTip(), name);
    QCOMPARE(button.accessibleName(), name);
}

void tst_TitleBarButton::setKindNamesAllButRestoreMaximise()
{
    TitleBarButton button(TitleBarButton::Maximize);
    button.setKind(TitleBarButton::Restore);
    QCOMPARE(button.toolTip(), u"Restore"_s);
    QCOMPARE(button.accessibleName(), u"Restore"_s);
    QCOMPARE(mismatch(snapshot(button), expectation(button, TitleBarButton::Restore, Qt::transparent, mutedColor)),
             QString());
    button.setKind(TitleBarButton::Maximize);
    QCOMPARE(button.toolTip(), u"Maximise"_s);
    button.setKind(TitleBarButton::Close);
    QCOMPARE(button.toolTip(), u"Maximise"_s);
}

void tst_TitleBarButton::setKindPaintsOnlyOnAChange()
{
    TitleBarButton button(TitleBarButton::Maximize);
    button.setToolTip(u"kept"_s);
    button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&button));
    leave(button); // wherever the pointer is
    QTRY_COMPARE(button.findChild<QVariantAnimation *>()->state(), QAbstractAnimation::Stopped);
    QCoreApplication::processEvents();
    PaintCounter paints(&button);
    button.setKind(TitleBarButton::Maximize);
    QCoreApplication::processEvents();
    QCOMPARE(paints.count(), 0);
    QCOMPARE(button.toolTip(), u"kept"_s);
    button.setKind(TitleBarButton::Restore);
    QTRY_COMPARE(paints.count(), 1);
}

void tst_TitleBarButton::releaseOutsideRunsNoActionAndFadesTheWash()
{
    TitleBarButton button(TitleBarButton::Close);
    const QSignalSpy clicked(&button, &QAbstractButton::clicked);
    auto *animation = button.findChild<QVariantAnimation *>();
    enter(button);
    holdAt(animation, 1.0);
    QTest::mousePress(&button, Qt::LeftButton, {}, QPoint(22, 22));
    QVERIFY(button.isDown());
    leave(button);
    QTest::mouseRelease(&button, Qt::LeftButton, {}, QPoint(100, 22));
    QCOMPARE(clicked.count(), 0);
    QVERIFY(!button.isDown());
    QCOMPARE(animation->endValue().toDouble(), 0.0);
    QTRY_COMPARE(animation->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(button), expectation(button, TitleBarButton::Close, Qt::transparent, mutedColor)),
             QString());
}

void tst_TitleBarButton::hoverJumpsWithoutMotion()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    TitleBarButton button(TitleBarButton::Close);
    enter(button);
    QCOMPARE(mismatch(snapshot(button),
                      expectation(button, TitleBarButton::Close, atAlpha(dangerHoverColor, 0.92), textColor)),
             QString());
    leave(button);
    QCOMPARE(mismatch(snapshot(button), expectation(button, TitleBarButton::Close, Qt::transparent, mutedColor)),
             QString());
}

void tst_TitleBarButton::nothingIsPaintedAtRest()
{
    TitleBarButton button(TitleBarButton::Close);
    QCOMPARE(problemAtRest(button), QString());
}

void tst_TitleBarButton::buttonIsAButtonToScreenReaders()
{
    TitleBarButton button(TitleBarButton::Close);
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(&button);
    QCOMPARE(accessible->role(), QAccessible::Button);
    QCOMPARE(accessible->text(QAccessible::Name), u"Close"_s);
    const QSignalSpy clicked(&button, &QAbstractButton::clicked);
    accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_COMPARE(clicked.count(), 1);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_TitleBarButton>(argc, argv);
}

#include "tst_TitleBarButton.moc"
