#include "publish/ParallelFor.h"
#include "support/TestEnvironment.h"

#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <vector>

class tst_ParallelFor : public QObject {
    Q_OBJECT

private slots:
    void everyIndexIsWorkedOnOnce_data();
    void everyIndexIsWorkedOnOnce();
    void asManyThreadsWorkAsThereAreJobs();
    void nothingIsHandedOutAfterAFailure();
    void tickRunsOnTheCallingThreadWhileWorkGoesOn();
};

void tst_ParallelFor::everyIndexIsWorkedOnOnce_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("jobs");
    QTest::newRow("none") << 0 << 4;
    QTest::newRow("one job") << 1000 << 1;
    QTest::newRow("many jobs") << 1000 << 8;
    QTest::newRow("more jobs than work") << 3 << 8;
}

void tst_ParallelFor::everyIndexIsWorkedOnOnce()
{
    QFETCH(int, count);
    QFETCH(int, jobs);
    std::vector<std::atomic<int>> calls(static_cast<std::size_t>(count));
    velmo::publish::parallelFor(
        count, jobs,
        [&calls](qsizetype index) {
            ++calls.at(static_cast<std::size_t>(index));
            return true;
        },
        [] {});
    for (const std::atomic<int> &number : calls) {
        QCOMPARE(number.load(), 1);
    }
}

void tst_ParallelFor::asManyThreadsWorkAsThereAreJobs()
{
    // Each call waits for the other two, so one thread less would never come to an end.
    QSemaphore arrived;
    std::atomic<int> together = 0;
    velmo::publish::parallelFor(
        3, 3,
        [&arrived, &together](qsizetype) {
            arrived.release();
            if (arrived.tryAcquire(3, 30000)) {
                arrived.release(3);
                ++together;
            }
            return true;
        },
        [] {});
    QCOMPARE(together.load(), 3);
}

void tst_ParallelFor::nothingIsHandedOutAfterAFailure()
{
    int calls = 0;
    velmo::publish::parallelFor(
        10, 1,
        [&calls](qsizetype index) {
            ++calls;
            return index < 3;
        },
        [] {});
    QCOMPARE(calls, 4);
}

void tst_ParallelFor::tickRunsOnTheCallingThreadWhileWorkGoesOn()
{
    QSemaphore ticked;
    QThread *tickThread = nullptr;
    bool sawTick = false;
    velmo::publish::parallelFor(
        1, 1, [&ticked, &sawTick](qsizetype) { return sawTick = ticked.tryAcquire(1, 30000); },
        [&ticked, &tickThread] {
            tickThread = QThread::currentThread();
            ticked.release();
        });
    QVERIFY(sawTick);
    QCOMPARE(tickThread, QThread::currentThread());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ParallelFor>(argc, argv);
}

#include "tst_ParallelFor.moc"
