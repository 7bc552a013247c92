#include "core/SaveFile.h"
#include "support/FullDrive.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;
using velmo::test::FullDrive;
using velmo::test::readFile;

namespace {

std::atomic<int> interruptions = 0; // so many syncs end by EINTR first
std::atomic<int> syncError = 0;     // what the others fail with; 0 when they go to the system

} // namespace

/// In front of the system's.
extern "C" int fsync(int descriptor)
{
    const int error = interruptions > 0 ? EINTR : syncError.load();
    interruptions -= error == EINTR ? 1 : 0;
    errno = error;
    return error != 0 ? -1 : static_cast<int>(syscall(SYS_fsync, descriptor));
}

class tst_SaveFile : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void driveThatHasItAllPutsItInPlace();
    void driveThatCannotBeAskedIsBelieved_data();
    void driveThatCannotBeAskedIsBelieved();
    void interruptedSyncIsAskedAgain();
    void driveThatRefusesLeavesTheOldFile_data();
    void driveThatRefusesLeavesTheOldFile();
    void failedWriteKeepsItsReason();

private:
    QString path() const { return folder_->filePath(u"record"_s); }
    /// Writes anew what lies at path(); what commitOnDrive() says.
    QString save();

    std::unique_ptr<QTemporaryDir> folder_;
};

void tst_SaveFile::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QFile old(path());
    QVERIFY(old.open(QIODevice::WriteOnly));
    QVERIFY(old.write("old") == 3);
}

void tst_SaveFile::cleanup()
{
    interruptions = 0;
    syncError = 0;
}

QString tst_SaveFile::save()
{
    QSaveFile file(path());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return u"not opened"_s;
    }
    velmo::writeAll(file, "new");
    return velmo::commitOnDrive(file);
}

void tst_SaveFile::driveThatHasItAllPutsItInPlace()
{
    QCOMPARE(save(), QString());
    QCOMPARE(readFile(path()), "new");
}

void tst_SaveFile::driveThatCannotBeAskedIsBelieved_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("no such thing as a sync") << EINVAL;
    QTest::newRow("no such call") << ENOSYS;
    QTest::newRow("no such operation") << EOPNOTSUPP;
}

void tst_SaveFile::driveThatCannotBeAskedIsBelieved()
{
    QFETCH(int, error);
    syncError = error;
    QCOMPARE(save(), QString());
    QCOMPARE(readFile(path()), "new");
}

void tst_SaveFile::interruptedSyncIsAskedAgain()
{
    interruptions = 3;
    QCOMPARE(save(), QString());
    QCOMPARE(interruptions.load(), 0);
    QCOMPARE(readFile(path()), "new");
    interruptions = 1;
    syncError = ENOSPC;
    QCOMPARE(save(), qt_error_string(ENOSPC));
}

void tst_SaveFile::driveThatRefusesLeavesTheOldFile_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("full") << ENOSPC;
    QTest::newRow("broken") << EIO;
    QTest::newRow("beyond a quota") << EDQUOT;
}

void tst_SaveFile::driveThatRefusesLeavesTheOldFile()
{
    QFETCH(int, error);
    syncError = error;
    QCOMPARE(save(), qt_error_string(error));
    QCOMPARE(readFile(path()), "old");
    QCOMPARE(QDir(folder_->path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"record"_s});
}

void tst_SaveFile::failedWriteKeepsItsReason()
{
    {
        const FullDrive drive(0);
        QCOMPARE(save(), qt_error_string(EFBIG));
    }
    QCOMPARE(readFile(path()), "old");
    QCOMPARE(QDir(folder_->path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"record"_s});
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_SaveFile>(argc, argv);
}

#include "tst_SaveFile.moc"
