#include "studio/ByteRange.h"

#include "support/TestEnvironment.h"

using namespace Qt::Literals::StringLiterals;
using velmo::studio::ByteRange;

class tst_ByteRange : public QObject {
    Q_OBJECT

private slots:
    void headerBecomesAPart_data();
    void headerBecomesAPart();
    void unsatisfiable_data();
    void unsatisfiable();
    void ignored_data();
    void ignored();
};

void tst_ByteRange::headerBecomesAPart_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");

    QTest::newRow("from") << "bytes=3-"_ba << 10LL << 3LL << 9LL;
    QTest::newRow("from the start") << "bytes=0-"_ba << 10LL << 0LL << 9LL;
    QTest::newRow("from the last byte") << "bytes=9-"_ba << 10LL << 9LL << 9LL;
    QTest::newRow("between") << "bytes=2-4"_ba << 10LL << 2LL << 4LL;
    QTest::newRow("one byte") << "bytes=2-2"_ba << 10LL << 2LL << 2LL;
    QTest::newRow("beyond the end") << "bytes=2-99"_ba << 10LL << 2LL << 9LL;
    QTest::newRow("end beyond 63 bits") << "bytes=2-99999999999999999999"_ba << 10LL << 2LL << 9LL;
    QTest::newRow("last bytes") << "bytes=-3"_ba << 10LL << 7LL << 9LL;
    QTest::newRow("more last bytes than there are") << "bytes=-99"_ba << 10LL << 0LL << 9LL;
    QTest::newRow("unit in capitals") << "Bytes=1-2"_ba << 10LL << 1LL << 2LL;
    QTest::newRow("blanks around") << "bytes= 1-2 "_ba << 10LL << 1LL << 2LL;
    QTest::newRow("beyond 32 bits") << "bytes=5000000000-5000000001"_ba << 6'000'000'000LL << 5'000'000'000LL
                                    << 5'000'000'001LL;
}

void tst_ByteRange::headerBecomesAPart()
{
    QFETCH(const QByteArray, header);
    QFETCH(const qint64, size);
    QFETCH(const qint64, first);
    QFETCH(const qint64, last);
    const ByteRange range = ByteRange::parse(header, size);
    QCOMPARE(range.outcome, ByteRange::Part);
    QCOMPARE(range.first, first);
    QCOMPARE(range.last, last);
    QCOMPARE(range.length(), last - first + 1);
}

void tst_ByteRange::unsatisfiable_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<qint64>("size");

    QTest::newRow("from the end") << "bytes=10-"_ba << 10LL;
    QTest::newRow("behind the end") << "bytes=11-20"_ba << 10LL;
    QTest::newRow("beyond 63 bits") << "bytes=99999999999999999999-"_ba << 10LL;
    QTest::newRow("the last none") << "bytes=-0"_ba << 10LL;
    QTest::newRow("of nothing") << "bytes=0-"_ba << 0LL;
    QTest::newRow("the last of nothing") << "bytes=-5"_ba << 0LL;
}

void tst_ByteRange::unsatisfiable()
{
    QFETCH(const QByteArray, header);
    QFETCH(const qint64, size);
    QCOMPARE(ByteRange::parse(header, size).outcome, ByteRange::Unsatisfiable);
}

void tst_ByteRange::ignored_data()
{
    QTest::addColumn<QByteArray>("header");

    QTest::newRow("none") << QByteArray();
    QTest::newRow("unit alone") << "bytes="_ba;
    QTest::newRow("dash alone") << "bytes=-"_ba;
    QTest::newRow("no dash") << "bytes=5"_ba;
    QTest::newRow("other unit") << "lines=1-2"_ba;
    QTest::newRow("backwards") << "bytes=4-2"_ba;
    QTest::newRow("several") << "bytes=1-2,4-5"_ba;
    QTest::newRow("several of the last") << "bytes=1-2, -1"_ba;
    QTest::newRow("letters") << "bytes=a-b"_ba;
    QTest::newRow("sign") << "bytes=+1-2"_ba;
    QTest::newRow("two dashes") << "bytes=--2"_ba;
    QTest::newRow("blank inside") << "bytes=1 -2"_ba;
}

void tst_ByteRange::ignored()
{
    QFETCH(const QByteArray, header);
    QCOMPARE(ByteRange::parse(header, 10).outcome, ByteRange::Whole);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ByteRange>(argc, argv);
}

#include "tst_ByteRange.moc"
