#include "publish/TreeLock.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSysInfo>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::TaskResult;
using velmo::publish::TreeLock;
using velmo::test::contentOf;
using velmo::test::writeFile;

class tst_TreeLock : public QObject {
    Q_OBJECT

private slots:
    void lockIsThereWhileItLives();
    void lockOfALivingProcessHoldsHoweverOld();
    void lockOfAProcessThatIsGoneGivesWayWithoutAWord();
    void lockWithoutAHolderGivesWay_data();
    void lockWithoutAHolderGivesWay();
    void youngLockOfAnotherMachineHolds_data();
    void youngLockOfAnotherMachineHolds();
    void lockOfAnotherMachineGivesWayAfterADayWithAWarning_data();
    void lockOfAnotherMachineGivesWayAfterADayWithAWarning();
    void lockOfThisMachineUnderAnotherNameHoldsHoweverOld();
    void oldLockOfAnotherHostThatIsAliveHolds();
    void lockThatCannotBeWrittenIsNamed();
    void somethingElseInTheLocksPlaceIsNamed();
};

namespace {

constexpr qint64 hour = qint64{60} * 60; // s

/// A folder with a place for its lock.
class LockFixture {
public:
    LockFixture() { velmo::test::openToAll(folder_.path()); }

    QString folder() const { return folder_.path(); }
    QString path() const { return folder_.filePath(u".publish.lock"_s); }

    /// Leaves a lock behind that nobody holds open, as a crash does, and that was made \a age seconds ago.
    void leave(const QByteArray &text, qint64 age) const
    {
        writeFile(path(), text);
        makeOlder(age);
    }
    void makeOlder(qint64 age) const
    {
        QFile file(path());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-age), QFile::FileModificationTime));
    }
    /// What is said when a lock is taken now.
    TaskResult take() const { return TreeLock(folder()).take(); }
    QStringList problems() const { return take().problems; }

private:
    QTemporaryDir folder_;
};

/// What a lock of this very process says.
QByteArray ownLockText()
{
    const LockFixture fixture;
    TreeLock lock(fixture.folder());
    return lock.take().isGood() ? contentOf(fixture.path()) : QByteArray();
}

/// The lines of a lock file are process, program, host and what tells machines of one name apart.
QByteArray withLine(const QByteArray &text, qsizetype line, const QByteArray &value)
{
    QByteArrayList lines = text.split('\n');
    lines[line] = value;
    return lines.join('\n');
}

QByteArray lockTextOfAnotherMachine(const QByteArray &host, const QByteArray &machine)
{
    const QByteArray text = withLine(withLine(ownLockText(), 2, host), 3, machine);
    return withLine(text, 4, "01234567-89ab-cdef-0123-456789abcdef");
}

QByteArray lockTextOfAnotherHost()
{
    return lockTextOfAnotherMachine("build-7", "0123456789abcdef0123456789abcdef");
}

/// What tells that a lock is of another machine; some machines have no id to tell.
void addOtherMachines()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QByteArray>("machine");
    const QByteArray otherId = "0123456789abcdef0123456789abcdef";
    QTest::newRow("other host") << u"build-7"_s << otherId;
    QTest::newRow("other host without an id") << u"build-7"_s << QByteArray();
    if (!QSysInfo::machineUniqueId().isEmpty()) {
        QTest::newRow("same host made anew") << QSysInfo::machineHostName() << otherId;
    }
}

/// The holder as sentences name it, when it is this process.
QString ownDescription(const QString &host)
{
    const QString program = QString::fromUtf8(ownLockText().split('\n').at(1));
    return u"%1, process %2 on \"%3\""_s.arg(program).arg(QCoreApplication::applicationPid()).arg(host);
}

} // namespace

void tst_TreeLock::lockIsThereWhileItLives()
{
    const LockFixture fixture;
    {
        TreeLock lock(fixture.folder());
        const TaskResult taken = lock.take();
        QCOMPARE(taken.problems + taken.warnings, QStringList());
        QVERIFY(QFile::exists(fixture.path()));
    }
    QVERIFY(!QFile::exists(fixture.path()));
}

void tst_TreeLock::lockOfALivingProcessHoldsHoweverOld()
{
    const LockFixture fixture;
    fixture.leave(ownLockText(), 1000 * hour);
    QCOMPARE(fixture.problems(), QStringList{u"Another build is being published: the lock \"%1\" is held by %2."_s.arg(
                                     fixture.path(), ownDescription(QSysInfo::machineHostName()))});
    QCOMPARE(contentOf(fixture.path()), ownLockText());
}

void tst_TreeLock::lockOfAProcessThatIsGoneGivesWayWithoutAWord()
{
    QProcess process;
    process.start(u"true"_s, QStringList());
    QVERIFY(process.waitForStarted(-1));
    const qint64 gone = process.processId();
    QVERIFY(process.waitForFinished(-1));
    const LockFixture fixture;
    fixture.leave(withLine(ownLockText(), 0, QByteArray::number(gone)), 0);
    const TaskResult taken = fixture.take();
    QCOMPARE(taken.problems + taken.warnings, QStringList());
}

void tst_TreeLock::lockWithoutAHolderGivesWay_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut") << QByteArray("1234\n");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("something else") << QByteArray("not a lock\nat all\n");
}

void tst_TreeLock::lockWithoutAHolderGivesWay()
{
    QFETCH(QByteArray, text);
    const LockFixture fixture;
    fixture.leave(text, 0);
    const TaskResult taken = fixture.take();
    QCOMPARE(taken.problems + taken.warnings, QStringList());
    QVERIFY(!QFile::exists(fixture.path()));
}

void tst_TreeLock::youngLockOfAnotherMachineHolds_data()
{
    addOtherMachines();
}

void tst_TreeLock::youngLockOfAnotherMachineHolds()
{
    QFETCH(QString, host);
    QFETCH(QByteArray, machine);
    const LockFixture fixture;
    const QByteArray text = lockTextOfAnotherMachine(host.toLocal8Bit(), machine);
    fixture.leave(text, 23 * hour);
    QCOMPARE(
        fixture.problems(),
        QStringList{u"Another build is being published: the lock \"%1\" is held by %2. If that machine is gone, delete "
                    "the lock."_s.arg(fixture.path(), ownDescription(host))});
    QCOMPARE(contentOf(fixture.path()), text);
}

void tst_TreeLock::lockOfAnotherMachineGivesWayAfterADayWithAWarning_data()
{
    addOtherMachines();
}

void tst_TreeLock::lockOfAnotherMachineGivesWayAfterADayWithAWarning()
{
    QFETCH(QString, host);
    QFETCH(QByteArray, machine);
    const LockFixture fixture;
    fixture.leave(lockTextOfAnotherMachine(host.toLocal8Bit(), machine), 25 * hour);
    const TaskResult taken = fixture.take();
    QCOMPARE(taken.problems, QStringList());
    QCOMPARE(taken.warnings,
             QStringList{u"The lock \"%1\" of %2 is 25 hours old; it was taken for left over and replaced."_s.arg(
                 fixture.path(), ownDescription(host))});
    QVERIFY(!QFile::exists(fixture.path()));
}

/// As of a machine that got another name meanwhile: its id says that its processes can be seen here.
void tst_TreeLock::lockOfThisMachineUnderAnotherNameHoldsHoweverOld()
{
    if (QSysInfo::machineUniqueId().isEmpty()) {
        QSKIP("This machine has no id.");
    }
    const LockFixture fixture;
    fixture.leave(withLine(ownLockText(), 2, "build-7"), 25 * hour);
    QCOMPARE(fixture.problems(), QStringList{u"Another build is being published: the lock \"%1\" is held by %2."_s.arg(
                                     fixture.path(), ownDescription(u"build-7"_s))});
}

/// Two containers of one machine share its kernel, which knows that the file is still held.
void tst_TreeLock::oldLockOfAnotherHostThatIsAliveHolds()
{
    const LockFixture fixture;
    TreeLock held(fixture.folder());
    QVERIFY(held.take().isGood());
    writeFile(fixture.path(), lockTextOfAnotherHost()); // the same file, so its holder stays
    fixture.makeOlder(25 * hour);
    QVERIFY(fixture.problems().value(0).contains(u"on \"build-7\""_s));
    QVERIFY(QFile::exists(fixture.path()));
}

void tst_TreeLock::lockThatCannotBeWrittenIsNamed()
{
    const LockFixture fixture;
    const QString folder = fixture.folder() + u"/shut"_s;
    QVERIFY(QDir().mkdir(folder));
    QVERIFY(velmo::test::setMode(folder, 0555));
    const velmo::test::UnprivilegedFileAccess access;
    TreeLock lock(folder);
    QCOMPARE(lock.take().problems,
             QStringList{u"The lock \"%1/.publish.lock\" cannot be written: Permission denied."_s.arg(folder)});
}

void tst_TreeLock::somethingElseInTheLocksPlaceIsNamed()
{
    const LockFixture fixture;
    QVERIFY(QDir().mkdir(fixture.path()));
    QCOMPARE(
        fixture.problems(),
        QStringList{u"The lock \"%1\" names no holder and cannot be replaced. Delete it if nobody is publishing."_s.arg(
            fixture.path())});
    QVERIFY(QFileInfo(fixture.path()).isDir());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_TreeLock>(argc, argv);
}

#include "tst_TreeLock.moc"
