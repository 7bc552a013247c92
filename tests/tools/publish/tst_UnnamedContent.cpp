#include "publish/UnnamedContent.h"
#include "support/TestEnvironment.h"

using namespace Qt::Literals::StringLiterals;
using velmo::publish::ContentHash;
using velmo::publish::UnnamedContent;

class tst_UnnamedContent : public QObject {
    Q_OBJECT

private slots:
    void timeBeginsWhenAFileIsFirstSeenUnnamed();
    void fileThatIsNamedAgainBeginsAnew();
    void timeOutlastsWritingAndReading();
    void timeInTheFutureBeginsAnew();
    void damagedMemoryIsEmpty();
};

namespace {

const ContentHash one(QString(64, u'1'));
const ContentHash two(QString(64, u'2'));

QDateTime day(int number)
{
    return {QDate(2030, 1, 1).addDays(number), QTime(12, 0), Qt::UTC};
}

} // namespace

void tst_UnnamedContent::timeBeginsWhenAFileIsFirstSeenUnnamed()
{
    UnnamedContent memory;
    memory.update({one, two}, {two}, day(0));
    memory.update({one, two}, {}, day(5));
    QCOMPARE(memory.olderThan(7, day(6)), QList<ContentHash>());
    QCOMPARE(memory.olderThan(7, day(7)), QList<ContentHash>{one});
    QCOMPARE(memory.olderThan(7, day(11)), QList<ContentHash>{one});
    QCOMPARE(memory.olderThan(7, day(12)).size(), 2);
}

void tst_UnnamedContent::fileThatIsNamedAgainBeginsAnew()
{
    UnnamedContent memory;
    memory.update({one}, {}, day(0));
    memory.update({one}, {one}, day(5));
    memory.update({one}, {}, day(6));
    QCOMPARE(memory.olderThan(7, day(12)), QList<ContentHash>());
    QCOMPARE(memory.olderThan(7, day(13)), QList<ContentHash>{one});
}

void tst_UnnamedContent::timeOutlastsWritingAndReading()
{
    UnnamedContent memory;
    memory.update({one}, {}, day(0));
    const UnnamedContent read(memory.json(), day(3));
    QVERIFY(read == memory);
    QCOMPARE(read.olderThan(7, day(7)), QList<ContentHash>{one});
}

void tst_UnnamedContent::timeInTheFutureBeginsAnew()
{
    UnnamedContent memory;
    memory.update({one}, {}, day(9));
    UnnamedContent read(memory.json(), day(8));
    QCOMPARE(read.size(), 0);
    read.update({one}, {}, day(8));
    QCOMPARE(read.olderThan(1, day(9)), QList<ContentHash>{one});
}

void tst_UnnamedContent::damagedMemoryIsEmpty()
{
    const QByteArray json = "{\"x\": \"2030-01-01T00:00:00Z\", \"" + QByteArray(64, '1') + "\": \"long ago\"}";
    QCOMPARE(UnnamedContent(json, day(9)).size(), 0);
    QCOMPARE(UnnamedContent("[", day(9)).size(), 0);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_UnnamedContent>(argc, argv);
}

#include "tst_UnnamedContent.moc"
