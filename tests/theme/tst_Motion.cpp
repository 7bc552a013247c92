#include "support/LogCapture.h"
#include "support/TestEnvironment.h"
#include "theme/Motion.h"

#include <QSignalSpy>
#include <QVariantAnimation>

using namespace Qt::Literals::StringLiterals;
using namespace velmo::theme;
using velmo::test::LogCapture;

namespace {

/// An animation that keeps the last value it delivered.
struct Probe {
    Probe()
    {
        QObject::connect(&animation, &QVariantAnimation::valueChanged, &animation,
                         [this](const QVariant &delivered) { value = delivered.toDouble(); });
    }

    QVariantAnimation animation;
    double value = -1.0;
};

/// A probe of the endless kind.
struct Sweep : Probe {
    Sweep()
    {
        animation.setDuration(1000);
        animation.setStartValue(0.0);
        animation.setEndValue(1.0);
        animation.setLoopCount(-1);
    }
};

} // namespace

class tst_Motion : public QObject {
    Q_OBJECT

private slots:
    void cleanup();
    void animationsAreOnAtFirst();
    void instanceIsOne();
    void switchIsKeptToldAndLogged();
    void sameStateAgainIsNothing();
    void stateIsStoredBeforeItIsTold();
    void animateIgnoresNull();
    void animateRunsFromValueToValue();
    void animateStopsWhatRunsAndTurnsAround();
    void animateWithoutMotionLandsAtOnce();
    void animateWithoutMotionLandsThereAgain();
    void animateWithoutMotionIsForgottenOnceMotionIsBack();
    void setRunningIgnoresNull();
    void setRunningStartsAndStops();
    void setRunningStopsAPausedSweep();
    void setRunningLeavesARunningSweepAlone();
    void setRunningWithoutMotionStaysStill();
    void sweepFollowsTheSwitch();
};

void tst_Motion::cleanup()
{
    const LogCapture quiet;
    setAnimationsEnabled(true);
}

void tst_Motion::animationsAreOnAtFirst()
{
    QVERIFY(animationsEnabled());
}

void tst_Motion::instanceIsOne()
{
    QVERIFY(Motion::instance());
    QCOMPARE(Motion::instance(), Motion::instance());
    QCOMPARE(Motion::instance()->parent(), nullptr);
}

void tst_Motion::switchIsKeptToldAndLogged()
{
    const LogCapture log;
    const QSignalSpy told(Motion::instance(), &Motion::animationsEnabledChanged);
    setAnimationsEnabled(false);
    QVERIFY(!animationsEnabled());
    setAnimationsEnabled(true);
    QVERIFY(animationsEnabled());
    const QList<QVariantList> expected = {{false}, {true}};
    QCOMPARE(told, expected);
    QCOMPARE(log.texts(),
             QStringList({u"INFO velmo.ui: Interface animations off"_s, u"INFO velmo.ui: Interface animations on"_s}));
}

void tst_Motion::sameStateAgainIsNothing()
{
    const LogCapture log;
    const QSignalSpy told(Motion::instance(), &Motion::animationsEnabledChanged);
    setAnimationsEnabled(true);
    setAnimationsEnabled(false);
    setAnimationsEnabled(false);
    QCOMPARE(told.count(), 1);
    QCOMPARE(log.texts(), QStringList(u"INFO velmo.ui: Interface animations off"_s));
}

void tst_Motion::stateIsStoredBeforeItIsTold()
{
    const LogCapture log;
    bool whenTold = true;
    qsizetype linesWhenTold = 0;
    QObject context;
    connect(Motion::instance(), &Motion::animationsEnabledChanged, &context, [&] {
        whenTold = animationsEnabled();
        linesWhenTold = log.lines().size();
    });
    setAnimationsEnabled(false);
    QVERIFY(!whenTold);
    QCOMPARE(linesWhenTold, 1);
}

void tst_Motion::animateIgnoresNull()
{
    const LogCapture log;
    animate(nullptr, 0.0, 1.0, 110);
    setAnimationsEnabled(false);
    animate(nullptr, 0.0, 1.0, 110);
    QCOMPARE(log.texts(), QStringList(u"INFO velmo.ui: Interface animations off"_s));
}

void tst_Motion::animateRunsFromValueToValue()
{
    Probe probe;
    animate(&probe.animation, 0.25, 0.75, 110);
    QCOMPARE(probe.animation.state(), QAbstractAnimation::Running);
    QCOMPARE(probe.animation.duration(), 110);
    QCOMPARE(probe.animation.startValue(), QVariant(0.25));
    QCOMPARE(probe.animation.endValue(), QVariant(0.75));
    QCOMPARE(probe.value, 0.25);
    QTRY_COMPARE(probe.animation.state(), QAbstractAnimation::Stopped);
    QCOMPARE(probe.value, 0.75);
}

void tst_Motion::animateStopsWhatRunsAndTurnsAround()
{
    Probe probe;
    animate(&probe.animation, 0.0, 1.0, 1000);
    probe.animation.setCurrentTime(400);
    const double halfWay = probe.value;
    QCOMPARE(halfWay, 0.4);
    QSignalSpy states(&probe.animation, &QAbstractAnimation::stateChanged);
    animate(&probe.animation, halfWay, 0.0, 2000);
    QCOMPARE(states.count(), 2); // stopped, and started anew
    QCOMPARE(probe.value, halfWay);
    QCOMPARE(probe.animation.currentTime(), 0);
    QCOMPARE(probe.animation.duration(), 2000);
    probe.animation.setCurrentTime(1000);
    QCOMPARE(probe.value, 0.2);
}

void tst_Motion::animateWithoutMotionLandsAtOnce()
{
    const LogCapture quiet;
    setAnimationsEnabled(false);
    Probe probe;
    animate(&probe.animation, 0.2, 0.8, 110);
    QCOMPARE(probe.value, 0.8);
    QCOMPARE(probe.animation.duration(), 0);
    QCOMPARE(probe.animation.state(), QAbstractAnimation::Stopped);
}

void tst_Motion::animateWithoutMotionLandsThereAgain()
{
    const LogCapture quiet;
    setAnimationsEnabled(false);
    Probe probe;
    animate(&probe.animation, 0.2, 0.8, 110);
    probe.value = 0.1; // the widget went back by other means
    animate(&probe.animation, 0.1, 0.8, 110);
    QCOMPARE(probe.value, 0.8);
}

void tst_Motion::animateWithoutMotionIsForgottenOnceMotionIsBack()
{
    const LogCapture quiet;
    setAnimationsEnabled(false);
    Probe probe;
    animate(&probe.animation, 0.0, 1.0, 110);
    setAnimationsEnabled(true);
    animate(&probe.animation, 1.0, 0.0, 110);
    QCOMPARE(probe.animation.state(), QAbstractAnimation::Running);
    QCOMPARE(probe.animation.duration(), 110);
    QCOMPARE(probe.value, 1.0);
}

void tst_Motion::setRunningIgnoresNull()
{
    const LogCapture log;
    setRunning(nullptr, true);
    setRunning(nullptr, false);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Motion::setRunningStartsAndStops()
{
    Sweep sweep;
    setRunning(&sweep.animation, true);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Running);
    setRunning(&sweep.animation, false);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
    setRunning(&sweep.animation, false);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
}

void tst_Motion::setRunningStopsAPausedSweep()
{
    Sweep sweep;
    setRunning(&sweep.animation, true);
    sweep.animation.pause();
    setRunning(&sweep.animation, false);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
}

void tst_Motion::setRunningLeavesARunningSweepAlone()
{
    Sweep sweep;
    setRunning(&sweep.animation, true);
    sweep.animation.setCurrentTime(500);
    setRunning(&sweep.animation, true);
    QCOMPARE(sweep.animation.currentTime(), 500);
    QCOMPARE(sweep.value, 0.5);
}

void tst_Motion::setRunningWithoutMotionStaysStill()
{
    const LogCapture quiet;
    Sweep sweep;
    setRunning(&sweep.animation, true);
    setAnimationsEnabled(false);
    setRunning(&sweep.animation, true);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
    setRunning(&sweep.animation, true);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
}

void tst_Motion::sweepFollowsTheSwitch()
{
    const LogCapture quiet;
    Sweep sweep;
    bool busy = true;
    connect(Motion::instance(), &Motion::animationsEnabledChanged, &sweep.animation,
            [&] { setRunning(&sweep.animation, busy); });
    setRunning(&sweep.animation, busy);
    setAnimationsEnabled(false);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
    setAnimationsEnabled(true);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Running);
    busy = false;
    setAnimationsEnabled(false);
    setAnimationsEnabled(true);
    QCOMPARE(sweep.animation.state(), QAbstractAnimation::Stopped);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Motion>(argc, argv);
}

#include "tst_Motion.moc"
