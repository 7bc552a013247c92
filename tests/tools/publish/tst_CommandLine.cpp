#include "publish/CommandLine.h"
#include "support/TestEnvironment.h"

#include <QThread>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::CommandLine;
using Task = velmo::publish::CommandLine::Task;

class tst_CommandLine : public QObject {
    Q_OBJECT

private slots:
    void publishTakesEveryOption();
    void publishHasDefaults();
    void checkTakesTreeGameAndJobs();
    void checkOfAServerTakesItsOptions();
    void helpIsAskedForInTwoWays_data();
    void helpIsAskedForInTwoWays();
    void mistakeIsNamed_data();
    void mistakeIsNamed();
    void helpNamesEveryOption_data();
    void helpNamesEveryOption();
    void helpFitsATerminal();
};

namespace {

CommandLine parsed(const QStringList &arguments)
{
    return velmo::publish::parseCommandLine(QStringList{u"velmo-publish"_s} + arguments);
}

/// A good command line, with \a value at \a option or without the option when the value is null.
QStringList goodArguments(const QString &option = {}, const QString &value = {})
{
    const QList<QPair<QString, QString>> good = {{u"--source"_s, u"build"_s},
                                                 {u"--out"_s, u"tree"_s},
                                                 {u"--channel"_s, u"release"_s},
                                                 {u"--version"_s, u"1.2.0"_s},
                                                 {u"--build"_s, u"120"_s}};
    QStringList arguments;
    for (const auto &[name, standing] : good) {
        if (name != option) {
            arguments += {name, standing};
        }
    }
    if (!value.isNull()) {
        arguments += {option, value};
    }
    return arguments;
}

} // namespace

void tst_CommandLine::publishTakesEveryOption()
{
    const CommandLine line =
        parsed(goodArguments() + QStringList{u"--executable"_s, u"Bin/game"_s, u"--notes"_s, u"Better fen."_s,
                                             u"--prune"_s, u"--allow-older"_s, u"--trust-times"_s, u"--game"_s,
                                             u"other"_s, u"--jobs"_s, u"3"_s});
    QCOMPARE(line.task, Task::Publish);
    QCOMPARE(line.order.source, u"build"_s);
    QCOMPARE(line.order.tree, u"tree"_s);
    QCOMPARE(line.order.channel, u"release"_s);
    QCOMPARE(line.order.version, u"1.2.0"_s);
    QCOMPARE(line.order.build, 120);
    QCOMPARE(line.order.executable, u"Bin/game"_s);
    QCOMPARE(line.order.notes, u"Better fen."_s);
    QVERIFY(line.order.prune);
    QVERIFY(line.order.allowOlder);
    QVERIFY(line.order.trustTimes);
    QCOMPARE(line.order.game, u"other"_s);
    QCOMPARE(line.order.jobs, 3);
}

void tst_CommandLine::publishHasDefaults()
{
    const CommandLine line = parsed(goodArguments());
    QCOMPARE(line.task, Task::Publish);
    QCOMPARE(line.order.game, u"harrowfen"_s);
    QCOMPARE(line.order.jobs, QThread::idealThreadCount());
    QCOMPARE(line.order.executable, QString());
    QCOMPARE(line.order.notes, QString());
    QVERIFY(!line.order.prune);
    QVERIFY(!line.order.allowOlder);
    QVERIFY(!line.order.trustTimes);
}

void tst_CommandLine::checkTakesTreeGameAndJobs()
{
    const CommandLine line = parsed({u"--check"_s, u"tree"_s, u"--game"_s, u"other"_s, u"--jobs"_s, u"5"_s});
    QCOMPARE(line.task, Task::Check);
    QCOMPARE(line.order.tree, u"tree"_s);
    QCOMPARE(line.order.game, u"other"_s);
    QCOMPARE(line.order.jobs, 5);
}

void tst_CommandLine::checkOfAServerTakesItsOptions()
{
    const QString address = u"https://cdn.example/a%20b/release/manifest.json"_s;
    CommandLine line = parsed({u"--check"_s, address});
    QCOMPARE(line.task, Task::CheckLive);
    QCOMPARE(line.live.manifest, QUrl(address));
    QCOMPARE(line.live.tree, QString());
    QCOMPARE(line.live.game, u"harrowfen"_s);
    QCOMPARE(line.live.sample, 0);
    QVERIFY(!line.live.everyByte);
    QCOMPARE(line.trust, QString());
    line = parsed({u"--check"_s, address, u"--tree"_s, u"tree"_s, u"--game"_s, u"other"_s, u"--sample"_s, u"20"_s,
                   u"--every-byte"_s, u"--trust"_s, u"own.pem"_s});
    QCOMPARE(line.task, Task::CheckLive);
    QCOMPARE(line.live.tree, u"tree"_s);
    QCOMPARE(line.live.game, u"other"_s);
    QCOMPARE(line.live.sample, 20);
    QVERIFY(line.live.everyByte);
    QCOMPARE(line.trust, u"own.pem"_s);
}

void tst_CommandLine::helpIsAskedForInTwoWays_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("long") << QStringList{u"--help"_s};
    QTest::newRow("short") << QStringList{u"-h"_s};
    QTest::newRow("beside others") << goodArguments() + QStringList{u"--help"_s};
}

void tst_CommandLine::helpIsAskedForInTwoWays()
{
    QFETCH(QStringList, arguments);
    QCOMPARE(parsed(arguments).task, Task::Help);
}

void tst_CommandLine::mistakeIsNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("sentence");
    for (const QString &name : {u"--source"_s, u"--out"_s, u"--channel"_s, u"--version"_s, u"--build"_s}) {
        QTest::newRow(qUtf8Printable(name + " missing"_L1)) << goodArguments(name) << name + u" is missing."_s;
        QTest::newRow(qUtf8Printable(name + " empty"_L1)) << goodArguments(name, u""_s) << name + u" is missing."_s;
    }
    for (const QString &channel :
         {u"Release"_s, u".."_s, u"a/b"_s, u"a b"_s, u"ä"_s, u"a.b"_s, u"a\n"_s, u"-"_s, u"-beta"_s}) {
        QTest::newRow(qUtf8Printable("channel "_L1 + channel))
            << goodArguments(u"--channel"_s, channel)
            << u"--channel takes letters a to z, digits and hyphens, no hyphen first, not \"%1\"."_s.arg(channel);
    }
    QTest::newRow("channel files") << goodArguments(u"--channel"_s, u"files"_s)
                                   << u"--channel cannot be \"files\": the content files lie in that folder."_s;
    for (const QString &name : {u"con"_s, u"prn"_s, u"aux"_s, u"nul"_s, u"com1"_s, u"lpt9"_s}) {
        for (const QString &option : {u"--channel"_s, u"--game"_s}) {
            QTest::newRow(qUtf8Printable(option + u' ' + name))
                << goodArguments(option, name)
                << u"%1 cannot be \"%2\": Windows reserves that name for a device."_s.arg(option, name);
        }
    }
    for (const QString &build : {u"x"_s, u"1.5"_s, u"2147483648"_s, u"12a"_s}) {
        QTest::newRow(qUtf8Printable("build "_L1 + build))
            << goodArguments(u"--build"_s, build)
            << u"--build takes a number from 0 to 2147483647, not \"%1\"."_s.arg(build);
    }
    QTest::newRow("build below zero") << goodArguments(u"--build"_s) + QStringList{u"--build=-1"_s}
                                      << u"--build takes a number from 0 to 2147483647, not \"-1\"."_s;
    for (const QString &jobs : {u"0"_s, u"257"_s, u"all"_s, u""_s}) {
        QTest::newRow(qUtf8Printable("jobs "_L1 + jobs))
            << goodArguments() + QStringList{u"--jobs"_s, jobs}
            << u"--jobs takes a number from 1 to 256, not \"%1\"."_s.arg(jobs);
    }
    for (const QString &game : {u"../x"_s, u"-"_s, u""_s}) {
        QTest::newRow(qUtf8Printable("game "_L1 + game))
            << goodArguments() + QStringList{u"--game"_s, game}
            << u"--game takes letters a to z, digits and hyphens, no hyphen first, not \"%1\"."_s.arg(game);
    }
    QTest::newRow("nothing") << QStringList() << u"--source is missing."_s;
    QTest::newRow("unknown") << QStringList{u"--force"_s} << u"Unknown option 'force'."_s;
    QTest::newRow("without value") << QStringList{u"--check"_s} << u"Missing value after '--check'."_s;
    QTest::newRow("alone") << goodArguments() + QStringList{u"more"_s}
                           << u"\"more\" stands alone; every value follows its option."_s;
    QTest::newRow("twice") << goodArguments() + QStringList{u"--channel"_s, u"beta"_s}
                           << u"--channel is given more than once."_s;
    QTest::newRow("check of nothing") << QStringList{u"--check"_s, u""_s} << u"--check needs the folder of a tree."_s;
    QTest::newRow("check and publish") << QStringList{u"--check"_s, u"tree"_s, u"--prune"_s}
                                       << u"--prune does not go with --check."_s;
    const QString address = u"https://cdn.example/release/manifest.json"_s;
    for (const QString &other : {u"http://cdn.example/release/manifest.json"_s, u"https:///manifest.json"_s,
                                 u"ftp://cdn.example/a"_s, u"https://cdn.example/a b"_s}) {
        QTest::newRow(qUtf8Printable("check of "_L1 + other))
            << QStringList{u"--check"_s, other}
            << u"--check of a server takes an address that begins with https://, not \"%1\"."_s.arg(other);
    }
    for (const QString &sample : {u"0"_s, u"-1"_s, u"x"_s}) {
        QTest::newRow(qUtf8Printable("sample "_L1 + sample))
            << QStringList{u"--check"_s, address, u"--sample="_s + sample}
            << u"--sample takes a number from 1 on, not \"%1\"."_s.arg(sample);
    }
    QTest::newRow("check of a server with jobs")
        << QStringList{u"--check"_s, address, u"--jobs"_s, u"2"_s} << u"--jobs does not go with --check of a server."_s;
    QTest::newRow("sample of a tree") << QStringList{u"--check"_s, u"tree"_s, u"--sample"_s, u"2"_s}
                                      << u"--sample does not go with --check."_s;
    QTest::newRow("publish with trust") << goodArguments() + QStringList{u"--trust"_s, u"a"_s}
                                        << u"--trust goes with --check of a server alone."_s;
}

void tst_CommandLine::mistakeIsNamed()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, sentence);
    const CommandLine line = parsed(arguments);
    QCOMPARE(line.task, Task::Mistake);
    QCOMPARE(line.mistake, sentence);
}

void tst_CommandLine::helpNamesEveryOption_data()
{
    QTest::addColumn<QString>("text");
    for (const QString &text : {u"--source DIR"_s,   u"--out TREE"_s,
                                u"--channel NAME"_s, u"--version TEXT"_s,
                                u"--build N"_s,      u"--executable PATH"_s,
                                u"--notes TEXT"_s,   u"--prune"_s,
                                u"--allow-older"_s,  u"--trust-times"_s,
                                u"--check TREE"_s,   u"--check ADDRESS"_s,
                                u"--sample N"_s,     u"--every-byte"_s,
                                u"--tree TREE"_s,    u"--trust FILE"_s,
                                u"--game ID"_s,      u"--jobs N"_s,
                                u"-h, --help"_s,     u"Exit codes:"_s,
                                u"Examples:"_s,      u"TREE/harrowfen/release/manifest.json"_s}) {
        QTest::newRow(qUtf8Printable(text)) << text;
    }
}

void tst_CommandLine::helpNamesEveryOption()
{
    QFETCH(QString, text);
    QVERIFY(velmo::publish::commandLineHelp().contains(text));
}

void tst_CommandLine::helpFitsATerminal()
{
    for (const QString &line : velmo::publish::commandLineHelp().split(u'\n')) {
        QVERIFY2(line.size() <= 100, qUtf8Printable(line));
    }
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_CommandLine>(argc, argv);
}

#include "tst_CommandLine.moc"
