#include "core/Autostart.h"
#include "core/AutostartStore.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;
using velmo::AutostartStore;
using velmo::test::LogCapture;

namespace {

constexpr QLatin1StringView printCommandArgument("--print-command");

/// The platform's place, played: one value, a count of the accesses, and a status to answer with.
class FakeStore : public AutostartStore {
public:
    FakeStore() { replaceInstance(this); }
    ~FakeStore() override { replaceInstance(nullptr); }
    Q_DISABLE_COPY_MOVE(FakeStore)

    bool supported() const override { return isSupported; }
    QString read() const override { return command; }

    QSettings::Status write(const QString &newCommand) override
    {
        ++writes;
        if (status == QSettings::NoError) {
            command = newCommand;
        }
        return status;
    }

    QSettings::Status remove() override
    {
        ++removals;
        if (status == QSettings::NoError) {
            command.clear();
        }
        return status;
    }

    bool isSupported = true;
    QString command;
    QSettings::Status status = QSettings::NoError;
    int writes = 0;
    int removals = 0;
};

const QString enabledLine = u"INFO velmo.app: Autostart enabled"_s;
const QString disabledLine = u"INFO velmo.app: Autostart disabled"_s;
const QString staleLine = u"INFO velmo.app: Autostart entry points at a stale path, rewriting"_s;
const QString refusedLine = u"WARN velmo.app: Could not write the autostart entry, status QSettings::AccessError"_s;

} // namespace

class tst_Autostart : public QObject {
    Q_OBJECT

private slots:
    void supportIsTheStoresWord();
    void expectedCommandQuotesTheProgramAndAddsTheArgument();
    void programPathWithBlanksStaysQuoted();
    void commandIsWhatTheStoreHolds();
    void enabledMeansAnyEntryAtAll_data();
    void enabledMeansAnyEntryAtAll();
    void enablingWritesTheExpectedCommand();
    void disablingRemovesTheEntry();
    void disablingWithoutAnEntrySucceeds();
    void refusedStoreWarnsAndReturnsFalse_data();
    void refusedStoreWarnsAndReturnsFalse();
    void refreshLeavesAbsentAndRightEntriesAlone_data();
    void refreshLeavesAbsentAndRightEntriesAlone();
    void refreshRewritesAnyOtherEntry_data();
    void refreshRewritesAnyOtherEntry();
    void refreshLogsARefusalAndGoesOn();
    void replacedStoreIsGivenBack();
#ifdef Q_OS_LINUX
    void linuxHasNoEntryAndSaysSo();
#endif
};

void tst_Autostart::supportIsTheStoresWord()
{
    FakeStore store;
    QVERIFY(velmo::autostartSupported());
    store.isSupported = false;
    QVERIFY(!velmo::autostartSupported());
}

void tst_Autostart::expectedCommandQuotesTheProgramAndAddsTheArgument()
{
    const QString program = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    QCOMPARE(velmo::expectedAutostartCommand(), u"\"%1\" --autostart"_s.arg(program));
}

void tst_Autostart::programPathWithBlanksStaysQuoted()
{
    const QTemporaryDir directory;
    QVERIFY(QDir(directory.path()).mkdir(u"a folder"_s));
    const QString moved = directory.filePath(u"a folder/the launcher"_s);
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), moved));
    QProcess child;
    child.start(moved, {QString(printCommandArgument)});
    QVERIFY2(child.waitForFinished(), qPrintable(child.errorString()));
    QCOMPARE(child.exitCode(), 0);
    const QString expected = u"\"%1\" --autostart"_s.arg(QDir::toNativeSeparators(moved));
    QCOMPARE(QString::fromLocal8Bit(child.readAllStandardOutput()), expected);
}

void tst_Autostart::commandIsWhatTheStoreHolds()
{
    FakeStore store;
    QCOMPARE(velmo::autostartCommand(), QString());
    store.command = u"anything at all"_s;
    QCOMPARE(velmo::autostartCommand(), u"anything at all"_s);
}

void tst_Autostart::enabledMeansAnyEntryAtAll_data()
{
    QTest::addColumn<QString>("present");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("none") << QString() << false;
    QTest::newRow("right") << velmo::expectedAutostartCommand() << true;
    QTest::newRow("stale") << u"\"/gone/VelmoLauncher\" --autostart"_s << true;
    QTest::newRow("nonsense") << u" "_s << true;
}

void tst_Autostart::enabledMeansAnyEntryAtAll()
{
    QFETCH(QString, present);
    QFETCH(bool, enabled);
    FakeStore store;
    store.command = present;
    QCOMPARE(velmo::autostartEnabled(), enabled);
}

void tst_Autostart::enablingWritesTheExpectedCommand()
{
    FakeStore store;
    const LogCapture log;
    QVERIFY(velmo::setAutostartEnabled(true));
    QCOMPARE(store.command, velmo::expectedAutostartCommand());
    QCOMPARE(store.writes, 1);
    QCOMPARE(store.removals, 0);
    QCOMPARE(log.texts(), QStringList{enabledLine});
}

void tst_Autostart::disablingRemovesTheEntry()
{
    FakeStore store;
    store.command = velmo::expectedAutostartCommand();
    const LogCapture log;
    QVERIFY(velmo::setAutostartEnabled(false));
    QCOMPARE(store.command, QString());
    QCOMPARE(store.writes, 0);
    QCOMPARE(store.removals, 1);
    QCOMPARE(log.texts(), QStringList{disabledLine});
}

void tst_Autostart::disablingWithoutAnEntrySucceeds()
{
    FakeStore store;
    const LogCapture log;
    QVERIFY(velmo::setAutostartEnabled(false));
    QCOMPARE(store.removals, 1);
    QCOMPARE(log.texts(), QStringList{disabledLine});
}

void tst_Autostart::refusedStoreWarnsAndReturnsFalse_data()
{
    QTest::addColumn<bool>("enable");
    QTest::addColumn<QSettings::Status>("status");
    QTest::addColumn<QString>("name");
    QTest::newRow("enable, access") << true << QSettings::AccessError << u"QSettings::AccessError"_s;
    QTest::newRow("enable, format") << true << QSettings::FormatError << u"QSettings::FormatError"_s;
    QTest::newRow("disable, access") << false << QSettings::AccessError << u"QSettings::AccessError"_s;
}

void tst_Autostart::refusedStoreWarnsAndReturnsFalse()
{
    QFETCH(bool, enable);
    QFETCH(QSettings::Status, status);
    QFETCH(QString, name);
    FakeStore store;
    store.command = u"old"_s;
    store.status = status;
    const LogCapture log;
    QVERIFY(!velmo::setAutostartEnabled(enable));
    QCOMPARE(store.command, u"old"_s);
    QCOMPARE(log.texts(), QStringList{u"WARN velmo.app: Could not write the autostart entry, status "_s + name});
}

void tst_Autostart::refreshLeavesAbsentAndRightEntriesAlone_data()
{
    QTest::addColumn<QString>("present");
    QTest::newRow("absent") << QString();
    QTest::newRow("right") << velmo::expectedAutostartCommand();
}

void tst_Autostart::refreshLeavesAbsentAndRightEntriesAlone()
{
    QFETCH(QString, present);
    FakeStore store;
    store.command = present;
    const LogCapture log;
    velmo::refreshAutostartPath();
    QCOMPARE(store.writes, 0);
    QCOMPARE(store.removals, 0);
    QCOMPARE(store.command, present);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Autostart::refreshRewritesAnyOtherEntry_data()
{
    QTest::addColumn<QString>("present");
    const QString program = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    const QString right = velmo::expectedAutostartCommand();
    QTest::newRow("another folder") << u"\"/gone/VelmoLauncher\" --autostart"_s;
    QTest::newRow("another letter case") << u"\"%1\" --autostart"_s.arg(program.toUpper());
    QTest::newRow("no argument") << u"\"%1\""_s.arg(program);
    QTest::newRow("no quotes") << program + u" --autostart"_s;
    QTest::newRow("trailing blank") << right + u' ';
}

void tst_Autostart::refreshRewritesAnyOtherEntry()
{
    QFETCH(QString, present);
    FakeStore store;
    store.command = present;
    const LogCapture log;
    velmo::refreshAutostartPath();
    QCOMPARE(store.command, velmo::expectedAutostartCommand());
    QCOMPARE(store.writes, 1);
    QCOMPARE(log.texts(), QStringList({staleLine, enabledLine}));
}

void tst_Autostart::refreshLogsARefusalAndGoesOn()
{
    FakeStore store;
    store.command = u"stale"_s;
    store.status = QSettings::AccessError;
    const LogCapture log;
    velmo::refreshAutostartPath();
    QCOMPARE(store.command, u"stale"_s);
    QCOMPARE(log.texts(), QStringList({staleLine, refusedLine}));
}

void tst_Autostart::replacedStoreIsGivenBack()
{
    AutostartStore *const platform = &AutostartStore::instance();
    {
        const FakeStore store;
        QCOMPARE(&AutostartStore::instance(), &store);
    }
    QCOMPARE(&AutostartStore::instance(), platform);
}

#ifdef Q_OS_LINUX
void tst_Autostart::linuxHasNoEntryAndSaysSo()
{
    const LogCapture log;
    QVERIFY(!velmo::autostartSupported());
    QVERIFY(!velmo::autostartEnabled());
    QCOMPARE(velmo::autostartCommand(), QString());
    velmo::refreshAutostartPath();
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!velmo::setAutostartEnabled(true));
    QVERIFY(!velmo::setAutostartEnabled(false));
    QCOMPARE(log.texts(), QStringList({refusedLine, refusedLine}));
    QVERIFY(!velmo::autostartEnabled());
}
#endif

int main(int argc, char **argv)
{
    if (argc == 2 && QLatin1StringView(argv[1]) == printCommandArgument) {
        const QCoreApplication app(argc, argv);
        std::fputs(velmo::expectedAutostartCommand().toLocal8Bit().constData(), stdout);
        return 0;
    }
    return velmo::test::runTest<tst_Autostart>(argc, argv);
}

#include "tst_Autostart.moc"
