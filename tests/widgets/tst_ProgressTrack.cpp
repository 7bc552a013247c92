#include "support/LogCapture.h"
#include "support/PixelTest.h"
#include "theme/Motion.h"
#include "widgets/ProgressTrack.h"

#include <QEasingCurve>
#include <QLinearGradient>
#include <QPainter>
#include <QVariantAnimation>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::test;
using velmo::ProgressTrack;
namespace theme = velmo::theme;

namespace {

/// A track with its two animations at hand.
struct Fixture {
    explicit Fixture(int width = 200)
    {
        const QList<QVariantAnimation *> animations = track.findChildren<QVariantAnimation *>();
        Q_ASSERT(animations.size() == 2);
        glide = animations.at(0)->loopCount() == 1 ? animations.at(0) : animations.at(1);
        sweep = animations.at(0) == glide ? animations.at(1) : animations.at(0);
        track.setThickness(4);
        track.resize(width, 4);
    }

    /// Brings the bar to \a fraction at once.
    void jumpTo(double fraction)
    {
        track.setFraction(fraction);
        glide->setCurrentTime(glide->duration());
    }

    ProgressTrack track;
    QVariantAnimation *glide;
    QVariantAnimation *sweep;
};

/// A track filled up to the column \a filled.
QImage filledTrack(const QWidget &track, int filled)
{
    QImage image = canvas(track);
    QPainter painter(&image);
    painter.fillRect(track.rect(), QColor(0x08, 0x0b, 0x10));
    painter.fillRect(0, 0, filled, track.height(), QColor(0x6b, 0x9b, 0xd4));
    const int edge = qMin(filled, 2);
    painter.fillRect(filled - edge, 0, edge, track.height(), QColor(0x9c, 0xc1, 0xe8));
    return image;
}

/// A track with the light of \a segment columns that ends at \a head.
QImage sweptTrack(const QWidget &track, int head, int segment)
{
    QImage image = canvas(track);
    QPainter painter(&image);
    painter.fillRect(track.rect(), QColor(0x08, 0x0b, 0x10));
    QLinearGradient light(head - segment, 0, head, 0);
    light.setColorAt(0.0, QColor(0x6b, 0x9b, 0xd4, 0));
    light.setColorAt(0.5, QColor(0x6b, 0x9b, 0xd4));
    light.setColorAt(1.0, QColor(0x6b, 0x9b, 0xd4, 0));
    painter.fillRect(QRect(head - segment, 0, segment, track.height()), light);
    return image;
}

} // namespace

class tst_ProgressTrack : public PixelTest {
    Q_OBJECT

private slots:
    void startsEmptyAndDeterminate();
    void glideIsShort();
    void sweepIsEndless();
    void thicknessIsAtLeastOne_data();
    void thicknessIsAtLeastOne();
    void fillHasABrightLeadingEdge_data();
    void fillHasABrightLeadingEdge();
    void fillStandsAtExactColumns();
    void forwardGlides();
    void newReportGlidesOnFromWhereTheBarStands();
    void backwardSnaps();
    void backwardStopsTheGlide();
    void lowerTargetAboveTheBarStillGlides();
    void equalReportDoesNotRestartTheGlide_data();
    void equalReportDoesNotRestartTheGlide();
    void withoutMotionValuesAreSetAtOnce();
    void withoutMotionTheSameFractionIsReachedAgain();
    void indeterminateRunsTheSweep();
    void sameModeAgainChangesNothing();
    void fractionIsKeptWhileIndeterminate();
    void sweepLook_data();
    void sweepLook();
    void sweepEasesInAndOut();
    void noWidthPaintsNothing();
    void switchingMotionOffLandsTheGlide();
    void sweepFollowsTheSwitchWhileIndeterminateOnly();
    void sweepRestsWhileNobodySeesIt();
    void nothingIsPaintedAtRest();
    void everyChangeIsPainted();
};

void tst_ProgressTrack::startsEmptyAndDeterminate()
{
    ProgressTrack track;
    QCOMPARE(track.fraction(), 0.0);
    QVERIFY(!track.isIndeterminate());
    QCOMPARE(track.minimumHeight(), 4);
    QCOMPARE(track.maximumHeight(), 4);
    QCOMPARE(track.sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
    QCOMPARE(track.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
    track.resize(80, 4);
    QCOMPARE(mismatch(snapshot(track), filledTrack(track, 0)), QString());
}

void tst_ProgressTrack::glideIsShort()
{
    const Fixture f;
    QCOMPARE(f.glide->duration(), 180);
    QCOMPARE(f.glide->easingCurve(), QEasingCurve(QEasingCurve::OutCubic));
    QCOMPARE(f.glide->state(), QAbstractAnimation::Stopped);
}

void tst_ProgressTrack::sweepIsEndless()
{
    const Fixture f;
    QCOMPARE(f.sweep->duration(), 1500);
    QCOMPARE(f.sweep->startValue(), QVariant(0.0));
    QCOMPARE(f.sweep->endValue(), QVariant(1.0));
    QCOMPARE(f.sweep->easingCurve(), QEasingCurve(QEasingCurve::InOutSine));
    QCOMPARE(f.sweep->loopCount(), -1);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_ProgressTrack::thicknessIsAtLeastOne_data()
{
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("height");
    QTest::newRow("thin") << 3 << 3;
    QTest::newRow("thick") << 12 << 12;
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("none") << 0 << 1;
    QTest::newRow("negative") << -5 << 1;
}

void tst_ProgressTrack::thicknessIsAtLeastOne()
{
    QFETCH(const int, asked);
    QFETCH(const int, height);
    ProgressTrack track;
    track.setThickness(asked);
    QCOMPARE(track.minimumHeight(), height);
    QCOMPARE(track.maximumHeight(), height);
}

void tst_ProgressTrack::fillHasABrightLeadingEdge_data()
{
    QTest::addColumn<double>("fraction");
    QTest::addColumn<int>("filled"); // of 200
    QTest::newRow("below half a column") << 0.002 << 0;
    QTest::newRow("half a column") << 0.0025 << 1;
    QTest::newRow("one column") << 0.005 << 1;
    QTest::newRow("two columns") << 0.01 << 2;
    QTest::newRow("three columns") << 0.015 << 3;
    QTest::newRow("rounds down") << 0.2512 << 50;
    QTest::newRow("rounds up") << 0.2538 << 51;
    QTest::newRow("half") << 0.5 << 100;
    QTest::newRow("all but a column") << 0.995 << 199;
    QTest::newRow("full") << 1.0 << 200;
    QTest::newRow("more than full") << 2.0 << 200;
    QTest::newRow("negative") << -1.0 << 0;
}

void tst_ProgressTrack::fillHasABrightLeadingEdge()
{
    QFETCH(const double, fraction);
    QFETCH(const int, filled);
    Fixture f;
    f.jumpTo(fraction);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, filled)), QString());
    QCOMPARE(f.track.fraction(), qBound(0.0, fraction, 1.0));
}

void tst_ProgressTrack::fillStandsAtExactColumns()
{
    Fixture f;
    f.jumpTo(0.5);
    const QImage look = snapshot(f.track);
    const double ratio = look.devicePixelRatio();
    const QRect fill = extents(look, QColor(0x6b, 0x9b, 0xd4), 0);
    const QRect edge = extents(look, QColor(0x9c, 0xc1, 0xe8), 0);
    const QRect ground = extents(look, QColor(0x08, 0x0b, 0x10), 0);
    QCOMPARE(fill, QRect(0, 0, qRound(98 * ratio), qRound(4 * ratio)));
    QCOMPARE(edge, QRect(qRound(98 * ratio), 0, qRound(2 * ratio), qRound(4 * ratio)));
    QCOMPARE(ground, QRect(qRound(100 * ratio), 0, qRound(100 * ratio), qRound(4 * ratio)));
}

void tst_ProgressTrack::forwardGlides()
{
    Fixture f;
    f.track.setFraction(0.5);
    QCOMPARE(f.track.fraction(), 0.5);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Running);
    QCOMPARE(f.glide->duration(), 180);
    QCOMPARE(f.glide->startValue(), QVariant(0.0));
    QCOMPARE(f.glide->endValue(), QVariant(0.5));
    f.glide->setCurrentTime(90); // half of the time is seven eighths of the way
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 88)), QString());
    QTRY_COMPARE(f.glide->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 100)), QString());
}

void tst_ProgressTrack::newReportGlidesOnFromWhereTheBarStands()
{
    Fixture f;
    f.track.setFraction(0.5);
    f.glide->setCurrentTime(90);
    f.track.setFraction(0.8);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Running);
    QCOMPARE(f.glide->startValue(), QVariant(0.4375));
    QCOMPARE(f.glide->endValue(), QVariant(0.8));
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 88)), QString());
}

void tst_ProgressTrack::backwardSnaps()
{
    Fixture f;
    f.jumpTo(0.8);
    f.track.setFraction(0.3);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 60)), QString());
    f.track.setFraction(0.8);
    QCOMPARE(f.glide->startValue(), QVariant(0.3));
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 60)), QString());
}

void tst_ProgressTrack::backwardStopsTheGlide()
{
    Fixture f;
    f.track.setFraction(0.8);
    f.glide->setCurrentTime(90);
    f.track.setFraction(0.1);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 20)), QString());
}

void tst_ProgressTrack::lowerTargetAboveTheBarStillGlides()
{
    Fixture f;
    f.track.setFraction(0.8);
    f.glide->setCurrentTime(0);
    f.track.setFraction(0.4);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Running);
    QCOMPARE(f.glide->endValue(), QVariant(0.4));
}

void tst_ProgressTrack::equalReportDoesNotRestartTheGlide_data()
{
    QTest::addColumn<double>("first");
    QTest::addColumn<double>("second");
    QTest::addColumn<bool>("equal");
    QTest::newRow("the same") << 0.5 << 0.5 << true;
    QTest::newRow("within the tolerance") << 0.5 << 0.5 + 1.4e-12 << true;
    QTest::newRow("below, within the tolerance") << 0.5 << 0.5 - 1.4e-12 << true;
    QTest::newRow("beyond the tolerance") << 0.5 << 0.5 + 1.6e-12 << false;
    QTest::newRow("both beyond full") << 1.0 << 7.0 << true;
    QTest::newRow("a little more") << 0.5 << 0.500001 << false;
}

void tst_ProgressTrack::equalReportDoesNotRestartTheGlide()
{
    QFETCH(const double, first);
    QFETCH(const double, second);
    QFETCH(const bool, equal);
    Fixture f;
    f.track.setFraction(first);
    f.glide->setCurrentTime(90);
    f.glide->pause();
    f.track.setFraction(second);
    QCOMPARE(f.glide->state() == QAbstractAnimation::Paused, equal);
    QCOMPARE(f.glide->currentTime(), equal ? 90 : 0);
    QCOMPARE(f.track.fraction() == first, equal);
}

void tst_ProgressTrack::withoutMotionValuesAreSetAtOnce()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    for (const double fraction : {0.25, 0.75, 0.5, 1.0}) {
        f.track.setFraction(fraction);
        QCOMPARE(f.glide->state(), QAbstractAnimation::Stopped);
        QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, qRound(200 * fraction))), QString());
    }
}

void tst_ProgressTrack::withoutMotionTheSameFractionIsReachedAgain()
{
    const LogCapture quiet;
    theme::setAnimationsEnabled(false);
    Fixture f;
    for (const double fraction : {1.0, 0.0, 1.0}) { // a job, and another after it
        f.track.setFraction(fraction);
    }
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 200)), QString());
}

void tst_ProgressTrack::indeterminateRunsTheSweep()
{
    Fixture f;
    f.track.setIndeterminate(true);
    QVERIFY(f.track.isIndeterminate());
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.track.setIndeterminate(false);
    QVERIFY(!f.track.isIndeterminate());
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_ProgressTrack::sameModeAgainChangesNothing()
{
    Fixture f;
    f.track.setIndeterminate(true);
    f.sweep->stop();
    f.track.setIndeterminate(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_ProgressTrack::fractionIsKeptWhileIndeterminate()
{
    Fixture f;
    f.jumpTo(0.25);
    f.track.setIndeterminate(true);
    holdAt(f.sweep, 0.0);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 0)), QString());
    f.jumpTo(0.75);
    QCOMPARE(f.track.fraction(), 0.75);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 0)), QString());
    f.track.setIndeterminate(false);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 150)), QString());
}

void tst_ProgressTrack::sweepLook_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<double>("phase");
    QTest::addColumn<int>("head");
    QTest::addColumn<int>("segment");
    QTest::newRow("wide, start") << 402 << 0.0 << 0 << 100;
    QTest::newRow("wide, entering") << 402 << 0.1 << 50 << 100;
    QTest::newRow("wide, half way") << 402 << 0.5 << 251 << 100;
    QTest::newRow("wide, between pixels") << 402 << 0.7777 << 390 << 100;
    QTest::newRow("wide, end") << 402 << 1.0 << 502 << 100;
    QTest::newRow("a quarter is the least") << 240 << 0.5 << 150 << 60;
    QTest::newRow("short segment would be") << 200 << 0.5 << 130 << 60;
    QTest::newRow("narrower than its segment") << 30 << 0.5 << 45 << 60;
    QTest::newRow("narrow, end") << 30 << 1.0 << 90 << 60;
}

void tst_ProgressTrack::sweepLook()
{
    QFETCH(const int, width);
    QFETCH(const double, phase);
    QFETCH(const int, head);
    QFETCH(const int, segment);
    Fixture f(width);
    f.track.setIndeterminate(true);
    holdAt(f.sweep, phase);
    QCOMPARE(mismatch(snapshot(f.track), sweptTrack(f.track, head, segment)), QString());
}

void tst_ProgressTrack::sweepEasesInAndOut()
{
    Fixture f;
    f.track.setIndeterminate(true);
    f.sweep->pause();
    f.sweep->setCurrentTime(600); // two fifths of the time are 0.3455 of the way
    QCOMPARE(mismatch(snapshot(f.track), sweptTrack(f.track, 89, 60)), QString());
}

void tst_ProgressTrack::noWidthPaintsNothing()
{
    const LogCapture log;
    Fixture f(0);
    QImage image(20, 4, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QImage untouched = image;
    f.jumpTo(1.0);
    f.track.render(&image, {}, {}, QWidget::DrawChildren);
    QCOMPARE(mismatch(image, untouched), QString());
    f.track.setIndeterminate(true);
    f.track.render(&image, {}, {}, QWidget::DrawChildren);
    QCOMPARE(mismatch(image, untouched), QString());
    QCOMPARE(log.texts(), QStringList());
}

void tst_ProgressTrack::switchingMotionOffLandsTheGlide()
{
    const LogCapture quiet;
    Fixture f;
    f.track.setFraction(0.6);
    f.glide->setCurrentTime(30);
    theme::setAnimationsEnabled(false);
    QCOMPARE(f.glide->state(), QAbstractAnimation::Stopped);
    QCOMPARE(mismatch(snapshot(f.track), filledTrack(f.track, 120)), QString());
}

void tst_ProgressTrack::sweepFollowsTheSwitchWhileIndeterminateOnly()
{
    const LogCapture quiet;
    Fixture f;
    f.track.setIndeterminate(true);
    theme::setAnimationsEnabled(false);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.track.setIndeterminate(false);
    theme::setAnimationsEnabled(false);
    f.track.setIndeterminate(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    f.track.setIndeterminate(false);
    theme::setAnimationsEnabled(true);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
}

void tst_ProgressTrack::sweepRestsWhileNobodySeesIt()
{
    Fixture f;
    f.track.setIndeterminate(true);
    f.track.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.track));
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.track.hide();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Paused);
    f.track.show();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Running);
    f.track.showMinimized();
    QTRY_COMPARE(f.sweep->state(), QAbstractAnimation::Paused);
    f.track.setIndeterminate(false);
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped);
    f.track.showNormal();
    QCoreApplication::processEvents();
    QCOMPARE(f.sweep->state(), QAbstractAnimation::Stopped); // nothing to go on with
}

void tst_ProgressTrack::nothingIsPaintedAtRest()
{
    Fixture f;
    f.jumpTo(0.4);
    QCOMPARE(problemAtRest(f.track), QString());
}

void tst_ProgressTrack::everyChangeIsPainted()
{
    Fixture f;
    f.track.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.track));
    PaintCounter paints(&f.track);
    f.track.setFraction(0.9);
    QTRY_VERIFY(paints.count() > 2);
    QTRY_COMPARE(f.glide->state(), QAbstractAnimation::Stopped);
    QTest::qWait(50);
    paints.reset();
    f.track.setFraction(0.2);
    QTRY_COMPARE(paints.count(), 1);
    f.track.setIndeterminate(true);
    QTRY_VERIFY(paints.count() > 3);
}

int main(int argc, char **argv)
{
    return runPixelTest<tst_ProgressTrack>(argc, argv);
}

#include "tst_ProgressTrack.moc"
