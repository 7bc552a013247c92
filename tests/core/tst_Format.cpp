#include "core/Format.h"
#include "support/TestEnvironment.h"

#include <QDate>
#include <QLocale>
#include <QScopeGuard>

#include <limits>

using namespace Qt::Literals::StringLiterals;

class tst_Format : public QObject {
    Q_OBJECT

private slots:
    void bytes_data();
    void bytes();
    void rate_data();
    void rate();
    void eta_data();
    void eta();
    void date_data();
    void date();
    void onlyOneIsSingular();
    void numbersAndDatesIgnoreTheLocale();
};

void tst_Format::bytes_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("expected");
    const auto row = [](qint64 bytes, const QString &expected) {
        QTest::addRow("%lld", static_cast<long long>(bytes)) << bytes << expected;
    };
    row(std::numeric_limits<qint64>::min(), u"--"_s);
    row(-1, u"--"_s);
    row(0, u"0 B"_s);
    row(1, u"1 B"_s);
    row(99, u"99 B"_s);
    row(999, u"999 B"_s);
    row(1000, u"1.0 KB"_s);
    row(1024, u"1.0 KB"_s);
    row(1500, u"1.5 KB"_s);
    row(99400, u"99.4 KB"_s);
    row(99940, u"99.9 KB"_s);
    row(99960, u"100.0 KB"_s); // one decimal is settled before the rounding
    row(100000, u"100 KB"_s);
    row(150000, u"150 KB"_s);
    row(999499, u"999 KB"_s);
    row(999999, u"1000 KB"_s); // the unit is settled before the rounding
    row(1000000, u"1.0 MB"_s);
    row(999999999, u"1000 MB"_s);
    row(1000000000, u"1.0 GB"_s);
    row(2500000000, u"2.5 GB"_s);
    row(1000000000000, u"1.0 TB"_s);
    row(1000000000000000, u"1000 TB"_s);
    row(5000000000000000, u"5000 TB"_s);
    row(std::numeric_limits<qint64>::max(), u"9223372 TB"_s);
}

void tst_Format::bytes()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, expected);
    QCOMPARE(velmo::formatBytes(bytes), expected);
}

void tst_Format::rate_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<QString>("expected");
    QTest::newRow("negative") << -1.0 << u"--"_s;
    QTest::newRow("zero") << 0.0 << u"--"_s;
    QTest::newRow("negative zero") << -0.0 << u"--"_s;
    QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << u"--"_s;
    QTest::newRow("half a byte truncates") << 0.5 << u"0 B/s"_s;
    QTest::newRow("truncates, not rounds") << 999.9 << u"999 B/s"_s;
    QTest::newRow("kilobytes") << 1000.0 << u"1.0 KB/s"_s;
    QTest::newRow("megabytes") << 1500000.0 << u"1.5 MB/s"_s;
    QTest::newRow("hundreds") << 123456789.0 << u"123 MB/s"_s;
    QTest::newRow("beyond 64 bits") << 1e300 << u"9223372 TB/s"_s;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << u"9223372 TB/s"_s;
}

void tst_Format::rate()
{
    QFETCH(double, rate);
    QFETCH(QString, expected);
    QCOMPARE(velmo::formatRate(rate), expected);
}

void tst_Format::eta_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("expected");
    const auto row = [](qint64 seconds, const QString &expected) {
        QTest::addRow("%lld", static_cast<long long>(seconds)) << seconds << expected;
    };
    row(std::numeric_limits<qint64>::min(), u"Estimating time remaining"_s);
    row(-1, u"Estimating time remaining"_s);
    row(0, u"Less than a minute remaining"_s);
    row(44, u"Less than a minute remaining"_s);
    row(45, u"Approximately 1 minute remaining"_s);
    row(89, u"Approximately 1 minute remaining"_s);
    row(90, u"Approximately 2 minutes remaining"_s); // a half rounds up
    row(149, u"Approximately 2 minutes remaining"_s);
    row(150, u"Approximately 3 minutes remaining"_s);
    row(3569, u"Approximately 59 minutes remaining"_s);
    row(3570, u"Approximately 1 hour remaining"_s);
    row(3629, u"Approximately 1 hour remaining"_s);
    row(3630, u"Approximately 1h 1m remaining"_s);
    row(5400, u"Approximately 1h 30m remaining"_s);
    row(7169, u"Approximately 1h 59m remaining"_s);
    row(7170, u"Approximately 2 hours remaining"_s);
    row(7200, u"Approximately 2 hours remaining"_s);
    row(90000, u"Approximately 25 hours remaining"_s);
    row(360060, u"Approximately 100h 1m remaining"_s);
}

void tst_Format::eta()
{
    QFETCH(qint64, seconds);
    QFETCH(QString, expected);
    QCOMPARE(velmo::formatEta(seconds), expected);
}

void tst_Format::date_data()
{
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("expected");
    QTest::newRow("invalid") << QDate() << QString();
    QTest::newRow("impossible") << QDate(2026, 2, 30) << QString();
    QTest::newRow("two-digit day") << QDate(2026, 8, 31) << u"August 31, 2026"_s;
    QTest::newRow("one-digit day") << QDate(2026, 1, 5) << u"January 5, 2026"_s;
    QTest::newRow("leap day") << QDate(2024, 2, 29) << u"February 29, 2024"_s;
}

void tst_Format::date()
{
    QFETCH(QDate, date);
    QFETCH(QString, expected);
    QCOMPARE(velmo::formatDate(date), expected);
}

void tst_Format::onlyOneIsSingular()
{
    QCOMPARE(velmo::plural(1), QString());
    QCOMPARE(velmo::plural(0), u"s"_s);
    QCOMPARE(velmo::plural(2), u"s"_s);
    QCOMPARE(velmo::plural(21), u"s"_s);
    QCOMPARE(velmo::plural(std::numeric_limits<qint64>::max()), u"s"_s);
}

void tst_Format::numbersAndDatesIgnoreTheLocale()
{
    const auto restore = qScopeGuard([before = QLocale()] { QLocale::setDefault(before); });
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(velmo::formatDate(QDate(2026, 3, 1)), u"March 1, 2026"_s);
    QCOMPARE(velmo::formatBytes(1500), u"1.5 KB"_s);
    QCOMPARE(velmo::formatRate(1500.0), u"1.5 KB/s"_s);
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    QCOMPARE(velmo::formatDate(QDate(2026, 3, 1)), u"March 1, 2026"_s);
    QCOMPARE(velmo::formatEta(5400), u"Approximately 1h 30m remaining"_s);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Format>(argc, argv);
}

#include "tst_Format.moc"
