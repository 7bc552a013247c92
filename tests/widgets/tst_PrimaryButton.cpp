#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Fonts.h"
#include "theme/Icons.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/PrimaryButton.h"

#include <QEasingCurve>
#include <QFontMetrics>
#include <QLinearGradient>
#include <QPainter>
#include <QSignalSpy>
#include <QVariantAnimation>

#include <cmath>
#include <functional>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::PrimaryButton;
namespace theme = velmo::theme;
namespace color = velmo::theme::color;

namespace {

constexpr int buttonWidth = 210;
constexpr int buttonHeight = 54;

/// A button at its smallest size, with its two animations at hand.
struct Fixture {
    Fixture()
    {
        const QList<QVariantAnimation *> animations = button.findChildren<QVariantAnimation *>();
        Q_ASSERT(animations.size() == 2);
        hover = animations.at(0)->loopCount() == 1 ? animations.at(0) : animations.at(1);
        sweep = animations.at(0) == hover ? animations.at(1) : animations.at(0);
        button.resize(buttonWidth, buttonHeight);
    }

    PrimaryButton button;
    QVariantAnimation *hover;
    QVariantAnimation *sweep;
};

QImage expectation(const QWidget &widget, const std::function<void(QPainter &)> &draw)
{
    QImage image = canvas(widget);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    draw(painter);
    return image;
}

QRectF body()
{
    return {0.5, 0.5, buttonWidth - 1.0, buttonHeight - 1.0};
}

void drawOutline(QPainter &painter, const QColor &pen)
{
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(body(), 6, 6);
}

void drawSolid(QPainter &painter, const QColor &fill, double arrowX, double arrowY, double ratio)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(body(), 6, 6);
    painter.drawPixmap(QPointF(arrowX, arrowY), theme::iconPixmap(u"arrow-right"_s, 20, color::ink, ratio, 0));
}

QColor clear(QColor base)
{
    base.setAlpha(0);
    return base;
}

} // namespace

class tst_PrimaryButton : public PixelTest {
    Q_OBJECT

private slots:
    void startsIdle();
    void hoverAnimationIsShort();
    void sweepAnimationIsEndless();
    void sizeHintHasRoomForTextAndArrow_data();
    void sizeHintHasRoomForTextAndArrow();
    void busyDisablesAndRunsTheSweep();
    void sameBusyAgainChangesNothing();
    void sweepStaysAtItsLastPhaseWithoutMotion();
    void sweepFollowsTheSwitchWhileBusyOnly();
    void hoverRisesOnEnterAndFallsOnLeave();
    void hoverTurnsAroundWhereItStands();
    void disabledButtonRefusesToRiseOnly();
    void hoverLandsAtOnceWithoutMotion();
    void restingLook();
    void hoverLook_data();
    void hoverLook();
    void pressedLook();
    void focusLook();
    void disabledLook();
    void busyLook_data();
    void busyLook();
    void sweepIsAThirdOfAnyWidth();
    void sweepEntersAndLeavesWholly();
    void sweepEasesInAndOut();
    void captionStandsInItsPlace_data();
    void captionStandsInItsPlace();
    void secondLineStandsBelowTheCaption_data();
    void secondLineStandsBelowTheCaption();
    void secondLineShowsInTheSolidLookOnly();
    void newSecondLineIsPainted();
    void cornersAreRound();
    void clickedComesWhenEnabledOnly();
    void sweepRestsWhileNobodySeesIt();
    void nothingIsPaintedAtRest();
    void busyIsPaintedWhileMotionIsOn();
};

void tst_PrimaryButton::startsIdle()
{
    const PrimaryButton button;
    QVERIFY(!button.isBusy());
    QVERIFY(button.isEnabled());
    QCOMPARE(button.cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(button.focusPolicy(), Qt::StrongFocus);
    QVERIFY(button.testAttribute(Qt::WA_Hover));
    QCOMPARE(button.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    QCOMPARE(button.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    QVERIFY(button.styleSheet().isEmpty());
}

void tst_PrimaryButton::hoverAnimationIsShort()
{
    const Fixture f;
    QCOMPARE(f.hover->duration(), 110);
    QCOMPARE(f.hover->easingCurve(), QEasingCurve(QEasingCurve::OutCubic));
    QCOMPARE(f.hover->loopCount(), 1);
    QCOMPARE(f.hover->state(), QAbstractAnimation::Stopped);
}

void tst_PrimaryButton::sweepAnimationIsEndless()
{
    const Fixture f;
    QCOMPARE(f.sweep->duration(), 1200);
    QCOMPARE(f.sweep->startValue(), QVariant(0.0));
    QCOMPARE(f.sweep->endValue(), QVariant(1.0));
    QCOMPARE(f.sweep->easingCurve(), QEasingCurve(QEasingCurve::InOutSine));
    QCOMPARE(f.sweep->loopCount(), -1);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_PrimaryButton::sizeHintHasRoomForTextAndArrow_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("narrowest");
    QTest::newRow("none") << QString() << true;
    QTest::newRow("short") << u"PLAY"_s << true;
    QTest::newRow("long") << u"CHECK FOR UPDATES AGAIN"_s << false;
    QTest::newRow("very long") << u"A CAPTION THAT NO BUTTON OF THIS LAUNCHER HAS"_s << false;
}

void tst_PrimaryButton::sizeHintHasRoomForTextAndArrow()
{
    QFETCH(const QString, text);
    QFETCH(const bool, narrowest);
    PrimaryButton button;
    button.setText(text);
    const int advance = QFontMetrics(theme::displayFont(14, 600, 0.0)).horizontalAdvance(text);
    QCOMPARE(advance + 118 <= 210, narrowest);
    QCOMPARE(button.sizeHint(), QSize(narrowest ? 210 : advance + 118, 54));
}

void tst_PrimaryButton::busyDisablesAndRunsTheSweep()
{
    Fixture f;
    f.button.setBusy(true);
    QVERIFY(f.button.isBusy());
    QVERIFY(!f.button.isEnabled());
    QCOMPARE(f.button.cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.button.setBusy(false);
    QVERIFY(!f.button.isBusy());
    QVERIFY(f.button.isEnabled());
    QCOMPARE(f.button.cursor().shape(), Qt::PointingHandCursor);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_PrimaryButton::sameBusyAgainChangesNothing()
{
    Fixture f;
    f.button.setEnabled(false);
    f.button.setBusy(false);
    QVERIFY(!f.button.isEnabled());
    f.button.setBusy(true);
    f.button.setEnabled(true);
    f.button.setBusy(true);
    QVERIFY(f.button.isEnabled());
}

void tst_PrimaryButton::sweepStaysAtItsLastPhaseWithoutMotion()
{
    const LogCapture quiet;
    Fixture f;
    f.button.setBusy(true);
    f.sweep->setCurrentTime(600);
    const QImage half = snapshot(f.button);
    f.button.setBusy(false);
    theme::setAnimationsEnabled(false);
    f.button.setBusy(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.button), half), QString());
}

void tst_PrimaryButton::sweepFollowsTheSwitchWhileBusyOnly()
{
    const LogCapture quiet;
    Fixture f;
    f.button.setBusy(true);
    theme::setAnimationsEnabled(false);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.button.setBusy(false);
    theme::setAnimationsEnabled(false);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_PrimaryButton::hoverRisesOnEnterAndFallsOnLeave()
{
    Fixture f;
    enter(f.button);
    QCOMPARE(f.hover->state(), QAbstractAnimation::Running);
    QCOMPARE(f.hover->startValue(), QVariant(0.0));
    QCOMPARE(f.hover->endValue(), QVariant(1.0));
    QCOMPARE(f.hover->duration(), 110);
    QTRY_COMPARE(f.hover->state(), QAbstractAnimation::Stopped);
    leave(f.button);
    QCOMPARE(f.hover->state(), QAbstractAnimation::Running);
    QCOMPARE(f.hover->startValue(), QVariant(1.0));
    QCOMPARE(f.hover->endValue(), QVariant(0.0));
    QCOMPARE(f.hover->duration(), 110);
}

void tst_PrimaryButton::hoverTurnsAroundWhereItStands()
{
    Fixture f;
    enter(f.button);
    f.hover->setCurrentTime(40);
    const QVariant reached = f.hover->currentValue();
    QVERIFY(reached.toDouble() > 0.1 && reached.toDouble() < 0.9);
    leave(f.button);
    QCOMPARE(f.hover->startValue(), reached);
    QCOMPARE(f.hover->endValue(), QVariant(0.0));
}

void tst_PrimaryButton::disabledButtonRefusesToRiseOnly()
{
    Fixture f;
    f.button.setEnabled(false);
    enter(f.button);
    QCOMPARE(f.hover->state(), QAbstractAnimation::Stopped);
    holdAt(f.hover, 1.0);
    leave(f.button);
    QCOMPARE(f.hover->state(), QAbstractAnimation::Running);
    QCOMPARE(f.hover->startValue(), QVariant(1.0));
    QCOMPARE(f.hover->endValue(), QVariant(0.0));
}

void tst_PrimaryButton::hoverLandsAtOnceWithoutMotion()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    for (int round = 0; round < 2; ++round) {
        enter(f.button);
        QVERIFY(isNear(colorAt(snapshot(f.button), {8, 27}), color::actionHover, 0));
        leave(f.button);
        QVERIFY(isNear(colorAt(snapshot(f.button), {8, 27}), color::action, 0));
    }
}

void tst_PrimaryButton::restingLook()
{
    Fixture f;
    const QImage look = snapshot(f.button);
    QCOMPARE(mismatch(look, expectation(f.button,
                                        [&](QPainter &painter) {
                                            drawSolid(painter, QColor(0xec, 0xef, 0xf4), 181, 17,
                                                      f.button.devicePixelRatio());
                                        })),
             QString());
    QVERIFY(isNear(colorAt(look, {100, 10}), QColor(0xec, 0xef, 0xf4), 0));
    QVERIFY(colorAt(look, {191, 26.9}).lightness() < 80); // the arrow's shaft
}

void tst_PrimaryButton::hoverLook_data()
{
    QTest::addColumn<double>("hover");
    QTest::addColumn<QColor>("fill");
    QTest::addColumn<double>("arrowX");
    QTest::newRow("a third of the way") << 1.0 / 3 << QColor(0xf2, 0xf4, 0xf8) << 182.0;
    QTest::newRow("half way") << 0.5 << QColor(0xf6, 0xf7, 0xfa) << 182.5;
    QTest::newRow("all the way") << 1.0 << QColor(0xff, 0xff, 0xff) << 184.0;
}

void tst_PrimaryButton::hoverLook()
{
    QFETCH(const double, hover);
    QFETCH(const QColor, fill);
    QFETCH(const double, arrowX);
    Fixture f;
    holdAt(f.hover, hover);
    const QImage look = snapshot(f.button);
    QVERIFY2(isNear(colorAt(look, {100, 10}), fill, 1), qPrintable(colorAt(look, {100, 10}).name()));
    const QColor painted = colorAt(look, {100, 10});
    QCOMPARE(mismatch(look, expectation(f.button,
                                        [&](QPainter &painter) {
                                            drawSolid(painter, painted, arrowX, 17, f.button.devicePixelRatio());
                                        })),
             QString());
}

void tst_PrimaryButton::pressedLook()
{
    Fixture f;
    f.button.setDown(true);
    QCOMPARE(mismatch(snapshot(f.button), expectation(f.button,
                                                      [&](QPainter &painter) {
                                                          drawSolid(painter, QColor(color::action).darker(112), 181, 18,
                                                                    f.button.devicePixelRatio());
                                                      })),
             QString());
    holdAt(f.hover, 1.0);
    QCOMPARE(colorAt(snapshot(f.button), {100, 10}).rgba(), QColor(Qt::white).darker(112).rgba());
}

void tst_PrimaryButton::focusLook()
{
    Fixture f;
    f.button.setText(u"PLAY"_s);
    const QImage unfocused = snapshot(f.button);
    f.button.show();
    f.button.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&f.button));
    f.button.setFocus();
    QTRY_VERIFY(f.button.hasFocus());
    QImage expected = unfocused;
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(theme::withAlpha(QColor(0x0b, 0x0e, 0x14), 0.35));
    painter.drawRect(3, 3, buttonWidth - 7, buttonHeight - 7);
    painter.end();
    QCOMPARE(mismatch(snapshot(f.button), expected), QString());
}

void tst_PrimaryButton::disabledLook()
{
    Fixture f;
    f.button.setEnabled(false);
    holdAt(f.hover, 1.0);
    QCOMPARE(mismatch(snapshot(f.button),
                      expectation(f.button, [](QPainter &painter) { drawOutline(painter, QColor(0x20, 0x27, 0x33)); })),
             QString());
}

void tst_PrimaryButton::busyLook_data()
{
    QTest::addColumn<double>("phase");
    QTest::addColumn<int>("head"); // of (210 + 70) * phase
    QTest::newRow("start") << 0.0 << 0;
    QTest::newRow("entering") << 0.1 << 28;
    QTest::newRow("between pixels") << 0.3333 << 93;
    QTest::newRow("just below a pixel") << 0.3357 << 93;
    QTest::newRow("half way") << 0.5 << 140;
    QTest::newRow("leaving") << 0.9 << 252;
    QTest::newRow("end") << 1.0 << 280;
}

void tst_PrimaryButton::busyLook()
{
    QFETCH(const double, phase);
    QFETCH(const int, head);
    Fixture f;
    f.button.setBusy(true);
    holdAt(f.sweep, phase);
    QCOMPARE(mismatch(snapshot(f.button), expectation(f.button,
                                                      [head](QPainter &painter) {
                                                          drawOutline(painter, QColor(0x30, 0x3a, 0x49));
                                                          painter.fillRect(0, 52, 210, 2, QColor(0x20, 0x27, 0x33));
                                                          const QColor accent(0x6b, 0x9b, 0xd4);
                                                          QLinearGradient light(head - 70, 0, head, 0);
                                                          light.setColorAt(0.0, clear(accent));
                                                          light.setColorAt(0.5, accent);
                                                          light.setColorAt(1.0, clear(accent));
                                                          painter.fillRect(QRect(head - 70, 52, 70, 2), light);
                                                      })),
             QString());
}

void tst_PrimaryButton::sweepIsAThirdOfAnyWidth()
{
    Fixture f;
    f.button.resize(212, buttonHeight); // whose third is 70, rounded down
    f.button.setBusy(true);
    holdAt(f.sweep, 0.0);
    QImage expected = snapshot(f.button);
    QPainter painter(&expected);
    const QColor accent(0x6b, 0x9b, 0xd4);
    QLinearGradient light(71, 0, 141, 0); // half way of 212 + 70
    light.setColorAt(0.0, clear(accent));
    light.setColorAt(0.5, accent);
    light.setColorAt(1.0, clear(accent));
    painter.fillRect(QRect(71, 52, 70, 2), light);
    painter.end();
    holdAt(f.sweep, 0.5);
    QCOMPARE(mismatch(snapshot(f.button), expected), QString());
}

void tst_PrimaryButton::sweepEntersAndLeavesWholly()
{
    Fixture f;
    f.button.setBusy(true);
    for (const double phase : {0.0, 1.0}) {
        holdAt(f.sweep, phase);
        const QImage look = snapshot(f.button);
        for (int x = 0; x < buttonWidth; x += 3) {
            QVERIFY(isNear(colorAt(look, {x + 0.5, 52.7}), color::border, 0));
        }
    }
    holdAt(f.sweep, 0.5);
    QVERIFY(isNear(colorAt(snapshot(f.button), {105, 52.7}), color::accent, 6));
    QVERIFY(isNear(colorAt(snapshot(f.button), {60, 52.7}), color::border, 0));
    QVERIFY(isNear(colorAt(snapshot(f.button), {150, 52.7}), color::border, 0));
}

void tst_PrimaryButton::sweepEasesInAndOut()
{
    Fixture f;
    f.button.setBusy(true);
    f.sweep->pause();
    f.sweep->setCurrentTime(300);
    const QImage timed = snapshot(f.button);
    holdAt(f.sweep, (1.0 - std::cos(M_PI / 4)) / 2);
    QCOMPARE(mismatch(snapshot(f.button), timed), QString());
}

void tst_PrimaryButton::captionStandsInItsPlace_data()
{
    QTest::addColumn<QString>("look");
    QTest::addColumn<int>("pixelSize");
    QTest::addColumn<QColor>("pen");
    QTest::addColumn<QRectF>("place");
    const QRectF besideArrow(0, 0, buttonWidth - 38, buttonHeight);
    QTest::newRow("enabled") << u"enabled"_s << 14 << QColor(0x0b, 0x0e, 0x14) << besideArrow;
    QTest::newRow("pressed") << u"pressed"_s << 14 << QColor(0x0b, 0x0e, 0x14) << besideArrow.translated(0, 1);
    QTest::newRow("disabled") << u"disabled"_s << 14 << QColor(0x67, 0x71, 0x81) << body();
    QTest::newRow("busy") << u"busy"_s << 13 << QColor(0x9a, 0xa4, 0xb4) << body();
}

void tst_PrimaryButton::captionStandsInItsPlace()
{
    QFETCH(const QString, look);
    QFETCH(const int, pixelSize);
    QFETCH(const QColor, pen);
    QFETCH(const QRectF, place);
    Fixture f;
    f.button.setDown(look == "pressed"_L1);
    f.button.setEnabled(look != "disabled"_L1);
    f.button.setBusy(look == "busy"_L1);
    holdAt(f.sweep, 0.0);

    QImage expected = snapshot(f.button);
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen);
    painter.setFont(theme::displayFont(pixelSize, 600, 0.0));
    painter.drawText(place, Qt::AlignCenter, u"DOWNLOADING"_s);
    painter.end();

    f.button.setText(u"DOWNLOADING"_s);
    QCOMPARE(mismatch(snapshot(f.button), expected), QString());
}

void tst_PrimaryButton::secondLineStandsBelowTheCaption_data()
{
    QTest::addColumn<bool>("down");
    QTest::addColumn<int>("captionShift");
    QTest::addColumn<int>("subTextShift");
    QTest::newRow("at rest") << false << -8 << 12;
    QTest::newRow("pressed") << true << -7 << 13;
}

void tst_PrimaryButton::secondLineStandsBelowTheCaption()
{
    QFETCH(const bool, down);
    QFETCH(const int, captionShift);
    QFETCH(const int, subTextShift);
    Fixture f;
    f.button.setDown(down);
    QImage expected = snapshot(f.button);
    const QRect besideArrow(0, 0, buttonWidth - 38, buttonHeight);
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(0x0b, 0x0e, 0x14));
    painter.setFont(theme::displayFont(14, 600, 0.0));
    painter.drawText(besideArrow.translated(0, captionShift), Qt::AlignCenter, u"PLAY"_s);
    painter.setPen(theme::withAlpha(QColor(0x0b, 0x0e, 0x14), 0.62));
    painter.setFont(theme::bodyFont(10, 400));
    painter.drawText(besideArrow.translated(0, subTextShift), Qt::AlignCenter, u"Version 1.0.0"_s);
    painter.end();

    f.button.setText(u"PLAY"_s);
    f.button.setSubText(u"Version 1.0.0"_s);
    QCOMPARE(mismatch(snapshot(f.button), expected), QString());
    f.button.setSubText(QString());
    QVERIFY(mismatch(snapshot(f.button), expected) != QString());
}

void tst_PrimaryButton::secondLineShowsInTheSolidLookOnly()
{
    Fixture f;
    f.button.setText(u"PLAY"_s);
    f.button.setSubText(u"Version 1.0.0"_s);
    QCOMPARE(f.button.sizeHint(), QSize(210, 54));
    QVERIFY(drawnText(f.button).contains(u"Version"));
    f.button.setEnabled(false);
    QCOMPARE(drawnText(f.button), u"PLAY"_s);
    f.button.setBusy(true);
    QCOMPARE(drawnText(f.button), u"PLAY"_s);
}

void tst_PrimaryButton::newSecondLineIsPainted()
{
    Fixture f;
    f.button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.button));
    QTRY_COMPARE(f.hover->state(), QAbstractAnimation::Stopped); // the pointer may lie where the window opened
    QCoreApplication::processEvents();
    const PaintCounter paints(&f.button);
    f.button.setSubText(u"Version 1.0.0"_s);
    QTRY_VERIFY(paints.count() > 0);
}

void tst_PrimaryButton::cornersAreRound()
{
    Fixture f;
    const QImage look = snapshot(f.button);
    for (const QPointF corner : {QPointF(0.4, 0.4), QPointF(209.6, 0.4), QPointF(0.4, 53.6), QPointF(209.6, 53.6)}) {
        QCOMPARE(colorAt(look, corner).alpha(), 0);
    }
    QCOMPARE(colorAt(look, {6.5, 1.5}), QColor(color::action));
    QCOMPARE(colorAt(look, {1.5, 6.5}), QColor(color::action));
    QVERIFY(colorAt(look, {1.5, 1.5}).alpha() < 128);
}

void tst_PrimaryButton::clickedComesWhenEnabledOnly()
{
    Fixture f;
    const QSignalSpy clicked(&f.button, &QAbstractButton::clicked);
    QTest::mouseClick(&f.button, Qt::LeftButton);
    QCOMPARE(clicked.count(), 1);
    f.button.setBusy(true);
    QTest::mouseClick(&f.button, Qt::LeftButton);
    QCOMPARE(clicked.count(), 1);
}

void tst_PrimaryButton::sweepRestsWhileNobodySeesIt()
{
    Fixture f;
    f.button.setBusy(true);
    f.button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.button));
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.button.hide();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Paused);
    f.button.show();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.button.showMinimized();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Paused);
    f.button.setBusy(false);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    f.button.showNormal();
    QCoreApplication::processEvents();
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped); // nothing to go on with
}

void tst_PrimaryButton::nothingIsPaintedAtRest()
{
    Fixture f;
    QCOMPARE(problemAtRest(f.button), QString());
}

void tst_PrimaryButton::busyIsPaintedWhileMotionIsOn()
{
    const LogCapture quiet;
    Fixture f;
    f.button.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.button));
    PaintCounter paints(&f.button);
    f.button.setBusy(true);
    QTRY_VERIFY(paints.count() > 3);
    theme::setAnimationsEnabled(false);
    const auto rests = [&paints] {
        paints.reset();
        QTest::qWait(200);
        return paints.count() == 0;
    };
    QTRY_VERIFY(rests());
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_PrimaryButton>(argc, argv);
}

#include "tst_PrimaryButton.moc"
