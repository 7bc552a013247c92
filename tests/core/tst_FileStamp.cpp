#include "core/FileStamp.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <chrono>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

using velmo::FileStamp;
using velmo::stampOf;

class tst_FileStamp : public QObject {
    Q_OBJECT

private slots:
    void changesShowTwoSecondsLater_data();
    void changesShowTwoSecondsLater();
    void stampTellsSizeAndTime();
    void closedFileHasNoStamp();
};

void tst_FileStamp::changesShowTwoSecondsLater_data()
{
    QTest::addColumn<qint64>("age");
    QTest::addColumn<bool>("settled");
    const auto row = [](const char *name, std::chrono::nanoseconds age, bool settled) {
        QTest::newRow(name) << qint64{age.count()} << settled;
    };
    row("in the future", -1h, false);
    row("now", 0ns, false);
    row("two seconds ago", 2s, false);
    row("a little longer ago", 2s + 1us, true);
    row("a year ago", 24h * 365, true);
}

void tst_FileStamp::changesShowTwoSecondsLater()
{
    QFETCH(const qint64, age);
    QFETCH(const bool, settled);
    const qint64 changedAt = 1'770'000'000'000'000'000;
    const FileStamp stamp{1, 2, 3, changedAt};
    const auto now =
        std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::nanoseconds(changedAt + age));
    QCOMPARE(stamp.isSettledAt(std::chrono::system_clock::time_point(now)), settled);
}

void tst_FileStamp::stampTellsSizeAndTime()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"file"_s));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    QCOMPARE(file.write("velmo"), 5);
    const QDateTime time(QDate(2026, 2, 3), QTime(4, 5, 6, 700), QTimeZone::utc());
    QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
    const FileStamp stamp = stampOf(file);
    QCOMPARE(stamp.size, 5);
    QCOMPARE(stamp.changedAt, time.toMSecsSinceEpoch() * 1'000'000);
    QVERIFY(stamp == stampOf(file));

    QFile other(folder.filePath(u"other"_s));
    QVERIFY(other.open(QIODevice::WriteOnly));
    QCOMPARE(stampOf(other).drive, stamp.drive);
    QVERIFY(stampOf(other).file != stamp.file);
}

void tst_FileStamp::closedFileHasNoStamp()
{
    const FileStamp stamp = stampOf(QFile(u"closed"_s));
    QVERIFY(stamp == FileStamp{});
    QVERIFY(!stamp.isSettledAt(std::chrono::system_clock::now()));
}

QTEST_GUILESS_MAIN(tst_FileStamp)

#include "tst_FileStamp.moc"
