#include "studio/TokenBucket.h"

#include "support/TestEnvironment.h"

using velmo::studio::TokenBucket;

class tst_TokenBucket : public QObject {
    Q_OBJECT

private slots:
    void startsEmpty();
    void earnsWithTime();
    void whatIsSpentIsGone();
    void fractionsAddUp();
    void savesATenthOfASecondAtMost();
    void slowRateSavesOneByte();
    void newRateCountsFromNow();
};

namespace {

constexpr qint64 ms = 1'000'000; // in nanoseconds

} // namespace

void tst_TokenBucket::startsEmpty()
{
    TokenBucket bucket;
    QCOMPARE(bucket.available(1'000'000, 5'000 * ms), 0);
}

void tst_TokenBucket::earnsWithTime()
{
    TokenBucket bucket;
    bucket.available(100'000, 0);
    QCOMPARE(bucket.available(100'000, 20 * ms), 2'000);
    QCOMPARE(bucket.available(100'000, 30 * ms), 3'000);
}

void tst_TokenBucket::whatIsSpentIsGone()
{
    TokenBucket bucket;
    bucket.available(100'000, 0);
    bucket.available(100'000, 20 * ms);
    bucket.spend(1'500);
    QCOMPARE(bucket.available(100'000, 20 * ms), 500);
}

void tst_TokenBucket::fractionsAddUp()
{
    TokenBucket bucket;
    qint64 sent = 0;
    for (qint64 now = 0; now <= 10'000; now += 20) {
        const qint64 due = bucket.available(10, now * ms);
        bucket.spend(due);
        sent += due;
    }
    QVERIFY2(sent >= 99 && sent <= 100, qPrintable(QString::number(sent)));
}

void tst_TokenBucket::savesATenthOfASecondAtMost()
{
    TokenBucket bucket;
    bucket.available(100'000, 0);
    QCOMPARE(bucket.available(100'000, 60'000 * ms), 10'000);
}

void tst_TokenBucket::slowRateSavesOneByte()
{
    TokenBucket bucket;
    bucket.available(1, 0);
    QCOMPARE(bucket.available(1, 999 * ms), 0);
    QCOMPARE(bucket.available(1, 1'001 * ms), 1);
    QCOMPARE(bucket.available(1, 60'000 * ms), 1);
}

void tst_TokenBucket::newRateCountsFromNow()
{
    TokenBucket bucket;
    bucket.available(100'000, 0);
    bucket.available(100'000, 50 * ms);
    QCOMPARE(bucket.available(1'000, 60 * ms), 100); // what was saved at the higher rate is capped by the lower
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_TokenBucket>(argc, argv);
}

#include "tst_TokenBucket.moc"
