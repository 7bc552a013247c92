#include "publish/FileDigest.h"
#include "publish/IncomingFile.h"
#include "publish/ProgressMeter.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

using namespace Qt::Literals::StringLiterals;

class tst_FileDigest : public QObject {
    Q_OBJECT

private slots:
    void digestCountsAndCopiesEveryByte_data();
    void digestCountsAndCopiesEveryByte();
    void unreadableFileIsNamed();
    void readThatFailsIsNamed();
    void copyThatTakesTooLittleIsNoticed_data();
    void copyThatTakesTooLittleIsNoticed();
};

void tst_FileDigest::digestCountsAndCopiesEveryByte_data()
{
    constexpr int block = velmo::publish::digestBlock;
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("one block") << block;
    QTest::newRow("a block and a byte") << block + 1;
    QTest::newRow("several blocks") << 3 * block + 12345;
}

void tst_FileDigest::digestCountsAndCopiesEveryByte()
{
    QFETCH(int, size);
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 31 + i / 997);
    }
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_s);
    velmo::test::writeFile(path, bytes);
    velmo::publish::PublishProgress last;
    velmo::publish::ProgressMeter meter([&last](const velmo::publish::PublishProgress &progress) { last = progress; });
    velmo::publish::IncomingFile copy(folder.filePath(u"copy"_s));

    const velmo::publish::FileDigest digest = velmo::publish::digestFile(path, meter, &copy);
    meter.report();
    QCOMPARE(digest.problem, QString());
    QCOMPARE(digest.size, size);
    QCOMPARE(digest.sha256, velmo::test::sha256Of(bytes));
    QCOMPARE(copy.keep(), QString());
    QVERIFY(velmo::test::contentOf(copy.path()) == bytes);
    QCOMPARE(last.bytesDone, size);
}

void tst_FileDigest::unreadableFileIsNamed()
{
    const QTemporaryDir folder;
    velmo::publish::ProgressMeter meter({});
    const QString path = folder.filePath(u"gone"_s);
    QCOMPARE(velmo::publish::digestFile(path, meter).problem,
             u"\"%1\" cannot be read: %2."_s.arg(path, velmo::test::noSuchFile()));
}

void tst_FileDigest::readThatFailsIsNamed()
{
    // Nothing lies at the beginning of a program's memory.
    velmo::publish::ProgressMeter meter({});
    QCOMPARE(velmo::publish::digestFile(u"/proc/self/mem"_s, meter).problem,
             u"\"/proc/self/mem\" cannot be read: Input/output error."_s);
}

void tst_FileDigest::copyThatTakesTooLittleIsNoticed_data()
{
    QTest::addColumn<qint64>("room");
    QTest::newRow("nothing") << qint64{0};
    QTest::newRow("a part of a block") << qint64{500'000};
    QTest::newRow("all but the last byte") << qint64{1024} * 1024;
}

void tst_FileDigest::copyThatTakesTooLittleIsNoticed()
{
    QFETCH(qint64, room);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_s);
    velmo::test::writeFile(path, QByteArray(qsizetype{1024} * 1024 + 1, 'x'));
    velmo::publish::IncomingFile copy(folder.filePath(u"copy"_s));
    velmo::publish::ProgressMeter meter({});
    QString problem;
    {
        const velmo::test::FullDrive drive(room);
        problem = velmo::publish::digestFile(path, meter, &copy).problem;
    }
    QCOMPARE(problem, u"\"%1\" cannot be copied to \"%2\": %3."_s.arg(path, copy.path(), velmo::test::driveIsFull()));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_FileDigest>(argc, argv);
}

#include "tst_FileDigest.moc"
