#include "support/TestEnvironment.h"
#include "theme/Motion.h"
#include "widgets/UnseenRest.h"

#include <QApplication>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QVariantAnimation>

using velmo::restWhileUnseen;
namespace theme = velmo::theme;

namespace {

/// A window with a page, and on the page a widget whose endless animation rests unseen.
struct Fixture {
    Fixture()
        : animation(makeAnimation(widget))
    {
        window.resize(200, 100);
        column->addWidget(page);
        pageColumn->addWidget(widget);
        restWhileUnseen(widget, animation);
        theme::setRunning(animation, true);
    }

    static QVariantAnimation *makeAnimation(QWidget *owner)
    {
        auto *animation = new QVariantAnimation(owner);
        animation->setDuration(100'000);
        animation->setStartValue(0.0);
        animation->setEndValue(1.0);
        animation->setLoopCount(-1);
        return animation;
    }

    bool show()
    {
        window.show();
        const bool exposed = QTest::qWaitForWindowExposed(&window);
        QCoreApplication::processEvents();
        return exposed;
    }

    QWidget window;
    QVBoxLayout *column = new QVBoxLayout(&window);
    QWidget *page = new QWidget;
    QVBoxLayout *pageColumn = new QVBoxLayout(page);
    QWidget *widget = new QWidget;
    QVariantAnimation *animation;
};

constexpr auto running = QAbstractAnimation::Running;
constexpr auto paused = QAbstractAnimation::Paused;
constexpr auto stopped = QAbstractAnimation::Stopped;

} // namespace

class tst_UnseenRest : public QObject {
    Q_OBJECT

private slots:
    void seenAnimationRuns();
    void startedUnseenItRestsAtTheNextTurn();
    void firstShowWakesIt();
    void hiddenWidgetLetsItRest();
    void hiddenPageLetsItRest();
    void hiddenWindowLetsItRest();
    void minimisedWindowLetsItRest();
    void goesOnFromWhereItStood();
    void shownInAMinimisedWindowItRests();
    void stoppedAtRestItStaysStopped();
    void startedAgainAtRestItRestsAgain();
    void heldByAnotherHandItStaysHeld();
    void followsItsWidgetIntoAnotherWindow();
    void widgetMayBeTheWindow();
    void restTakesNoStep();
};

void tst_UnseenRest::seenAnimationRuns()
{
    Fixture f;
    QVERIFY(f.show());
    QCOMPARE(f.animation->state(), running);
    const QSignalSpy values(f.animation, &QVariantAnimation::valueChanged);
    QTRY_VERIFY(values.count() > 3);
}

void tst_UnseenRest::startedUnseenItRestsAtTheNextTurn()
{
    Fixture f;
    QCOMPARE(f.animation->state(), running);
    QCoreApplication::processEvents();
    QCOMPARE(f.animation->state(), paused);
}

void tst_UnseenRest::firstShowWakesIt()
{
    Fixture f;
    QCoreApplication::processEvents();
    QVERIFY(f.show());
    QCOMPARE(f.animation->state(), running);
}

void tst_UnseenRest::hiddenWidgetLetsItRest()
{
    Fixture f;
    QVERIFY(f.show());
    f.widget->hide();
    QCOMPARE(f.animation->state(), paused);
    f.widget->show();
    QCOMPARE(f.animation->state(), running);
}

void tst_UnseenRest::hiddenPageLetsItRest()
{
    Fixture f;
    QVERIFY(f.show());
    f.page->hide();
    QCOMPARE(f.animation->state(), paused);
    f.page->show();
    QCOMPARE(f.animation->state(), running);
}

void tst_UnseenRest::hiddenWindowLetsItRest()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.hide();
    QCOMPARE(f.animation->state(), paused);
    f.window.show();
    QCOMPARE(f.animation->state(), running);
}

void tst_UnseenRest::minimisedWindowLetsItRest()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.showMinimized();
    QTRY_COMPARE(f.animation->state(), paused);
    f.window.showNormal();
    QTRY_COMPARE(f.animation->state(), running);
}

void tst_UnseenRest::goesOnFromWhereItStood()
{
    Fixture f;
    QVERIFY(f.show());
    f.animation->setCurrentTime(60'000);
    f.window.hide();
    const int stood = f.animation->currentTime();
    QVERIFY(stood >= 60'000);
    QTest::qWait(50);
    QCOMPARE(f.animation->currentTime(), stood);
    f.window.show();
    QVERIFY(f.animation->currentTime() >= stood);
}

void tst_UnseenRest::shownInAMinimisedWindowItRests()
{
    Fixture f;
    QVERIFY(f.show());
    f.page->hide();
    f.window.showMinimized();
    QTRY_VERIFY(f.window.isMinimized());
    f.page->show();
    QCOMPARE(f.animation->state(), paused);
    f.window.showNormal();
    QTRY_COMPARE(f.animation->state(), running);
}

void tst_UnseenRest::stoppedAtRestItStaysStopped()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.hide();
    theme::setRunning(f.animation, false);
    QCOMPARE(f.animation->state(), stopped);
    f.window.show();
    QCOMPARE(f.animation->state(), stopped);
}

void tst_UnseenRest::startedAgainAtRestItRestsAgain()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.hide();
    theme::setRunning(f.animation, true);
    QCOMPARE(f.animation->state(), running);
    QCoreApplication::processEvents();
    QCOMPARE(f.animation->state(), paused);
    f.window.show();
    QCOMPARE(f.animation->state(), running);
}

void tst_UnseenRest::heldByAnotherHandItStaysHeld()
{
    Fixture f;
    QVERIFY(f.show());
    f.animation->pause();
    f.window.hide();
    f.window.show();
    QCOMPARE(f.animation->state(), paused);
}

void tst_UnseenRest::followsItsWidgetIntoAnotherWindow()
{
    Fixture f;
    QVERIFY(f.show());
    QWidget other;
    auto *column = new QVBoxLayout(&other);
    column->addWidget(f.page);
    f.page->show();
    QCOMPARE(f.animation->state(), paused);
    other.show();
    QCOMPARE(f.animation->state(), running);
    other.showMinimized();
    QTRY_COMPARE(f.animation->state(), paused);
    other.showNormal();
    QTRY_COMPARE(f.animation->state(), running);
}

void tst_UnseenRest::widgetMayBeTheWindow()
{
    QWidget window;
    QVariantAnimation *animation = Fixture::makeAnimation(&window);
    restWhileUnseen(&window, animation);
    theme::setRunning(animation, true);
    window.show();
    QCOMPARE(animation->state(), running);
    window.showMinimized();
    QTRY_COMPARE(animation->state(), paused);
    window.showNormal();
    QTRY_COMPARE(animation->state(), running);
    window.hide();
    QCOMPARE(animation->state(), paused);
}

void tst_UnseenRest::restTakesNoStep()
{
    Fixture seen; // whose steps tell the time: all animations step together
    seen.show();
    const QSignalSpy ticks(seen.animation, &QVariantAnimation::valueChanged);
    Fixture f;
    QVERIFY(f.show());
    const QSignalSpy steps(f.animation, &QVariantAnimation::valueChanged);
    QTRY_VERIFY(steps.count() > 3);
    f.window.hide();
    QCoreApplication::processEvents();
    const auto stepsBefore = steps.count();
    const auto ticksBefore = ticks.count();
    QTRY_VERIFY(ticks.count() > ticksBefore + 20);
    QCOMPARE(steps.count(), stepsBefore);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_UnseenRest, QApplication>(argc, argv);
}

#include "tst_UnseenRest.moc"
