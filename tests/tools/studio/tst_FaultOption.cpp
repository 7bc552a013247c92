#include "studio/FaultOption.h"

#include "support/TestEnvironment.h"

#include <limits>

using namespace Qt::Literals::StringLiterals;
using velmo::studio::Fault;
using velmo::studio::FaultOption;

class tst_FaultOption : public QObject {
    Q_OBJECT

private slots:
    void everyKindIsRead_data();
    void everyKindIsRead();
    void attemptsAreRead_data();
    void attemptsAreRead();
    void pathIsDecoded();
    void mistakesAreExplained_data();
    void mistakesAreExplained();
    void everyKindIsDescribedWithAnExampleThatCanBeRead();
};

void tst_FaultOption::everyKindIsRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Fault::Kind>("kind");
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("location");

    QTest::newRow("ignore-range") << u"/a=ignore-range"_s << Fault::IgnoreRange << 503 << 0LL << QString();
    QTest::newRow("status") << u"/a=status:404"_s << Fault::Status << 404 << 0LL << QString();
    QTest::newRow("close-after") << u"/a=close-after:5000000000"_s << Fault::CloseAfter << 503 << 5'000'000'000LL
                                 << QString();
    QTest::newRow("stall") << u"/a=stall:0"_s << Fault::Stall << 503 << 0LL << QString();
    QTest::newRow("corrupt") << u"/a=corrupt:7"_s << Fault::Corrupt << 503 << 7LL << QString();
    QTest::newRow("redirect") << u"/a=redirect:http://b:80/c?d=e"_s << Fault::Redirect << 503 << 0LL
                              << u"http://b:80/c?d=e"_s;
    QTest::newRow("redirect to an address with an at sign")
        << u"/a=redirect:http://b/c@d"_s << Fault::Redirect << 503 << 0LL << u"http://b/c@d"_s;
    QTest::newRow("length-offset") << u"/a=length-offset:9"_s << Fault::LengthOffset << 503 << 9LL << QString();
    QTest::newRow("negative length-offset")
        << u"/a=length-offset:-9"_s << Fault::LengthOffset << 503 << -9LL << QString();
    QTest::newRow("wrong-range") << u"/a=wrong-range"_s << Fault::WrongRange << 503 << 0LL << QString();
    QTest::newRow("header") << u"/a=header:Vary:a@b"_s << Fault::Header << 503 << 0LL << u"Vary:a@b"_s;
    QTest::newRow("no header") << u"/a=header:Vary:"_s << Fault::Header << 503 << 0LL << u"Vary:"_s;
    QTest::newRow("range-refused") << u"/a=range-refused"_s << Fault::RangeRefused << 503 << 0LL << QString();
}

void tst_FaultOption::everyKindIsRead()
{
    QFETCH(const QString, text);
    QFETCH(const Fault::Kind, kind);
    QFETCH(const int, status);
    QFETCH(const qint64, bytes);
    QFETCH(const QString, location);
    const FaultOption option = FaultOption::parse(text);
    QCOMPARE(option.problem, QString());
    QCOMPARE(option.path, u"/a"_s);
    QCOMPARE(option.fault.kind, kind);
    QCOMPARE(option.fault.status, status);
    QCOMPARE(option.fault.bytes, bytes);
    QCOMPARE(option.fault.location, location);
}

void tst_FaultOption::attemptsAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");

    constexpr int always = std::numeric_limits<int>::max();
    QTest::newRow("all") << u"/a=status:500"_s << 1 << always;
    QTest::newRow("from") << u"/a=status:500@2"_s << 2 << always;
    QTest::newRow("from to") << u"/a=status:500@2-3"_s << 2 << 3;
    QTest::newRow("without an argument") << u"/a=wrong-range@1-1"_s << 1 << 1;
    QTest::newRow("behind an address") << u"/a=redirect:http://b/@4-5"_s << 4 << 5;
}

void tst_FaultOption::attemptsAreRead()
{
    QFETCH(const QString, text);
    QFETCH(const int, first);
    QFETCH(const int, last);
    const FaultOption option = FaultOption::parse(text);
    QCOMPARE(option.problem, QString());
    QCOMPARE(option.fault.firstAttempt, first);
    QCOMPARE(option.fault.lastAttempt, last);
}

void tst_FaultOption::pathIsDecoded()
{
    const FaultOption option = FaultOption::parse(u"/a%3Db%20c=wrong-range"_s);
    QCOMPARE(option.problem, QString());
    QCOMPARE(option.path, u"/a=b c"_s);
}

void tst_FaultOption::mistakesAreExplained_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");

    const QString form = u"it is not of the form PATH=KIND[:ARGUMENT][@FIRST[-LAST]]"_s;
    const QString attempts = u"the attempts begin with 1 and do not end before they begin"_s;
    QTest::newRow("empty") << QString() << form;
    QTest::newRow("no path") << u"=status:500"_s << form;
    QTest::newRow("relative path") << u"a=status:500"_s << form;
    QTest::newRow("no kind") << u"/a"_s << form;
    QTest::newRow("unknown kind") << u"/a=explode"_s << u"there is no kind \"explode\""_s;
    QTest::newRow("status without a code") << u"/a=status"_s << u"this kind is written status:CODE"_s;
    QTest::newRow("status too small") << u"/a=status:199"_s << u"this kind is written status:CODE"_s;
    QTest::newRow("status too large") << u"/a=status:600"_s << u"this kind is written status:CODE"_s;
    QTest::newRow("close-after without bytes") << u"/a=close-after"_s << u"this kind is written close-after:BYTES"_s;
    QTest::newRow("negative bytes") << u"/a=stall:-1"_s << u"this kind is written stall:BYTES"_s;
    QTest::newRow("letters") << u"/a=corrupt:x"_s << u"this kind is written corrupt:OFFSET"_s;
    QTest::newRow("redirect to nowhere") << u"/a=redirect:"_s << u"this kind is written redirect:URL"_s;
    QTest::newRow("header without a name") << u"/a=header::x"_s << u"this kind is written header:NAME:[VALUE]"_s;
    QTest::newRow("header without a colon") << u"/a=header:Vary"_s << u"this kind is written header:NAME:[VALUE]"_s;
    QTest::newRow("length-offset without bytes")
        << u"/a=length-offset"_s << u"this kind is written length-offset:BYTES"_s;
    QTest::newRow("argument too many") << u"/a=wrong-range:1"_s << u"this kind is written wrong-range"_s;
    QTest::newRow("empty argument too many") << u"/a=ignore-range:"_s << u"this kind is written ignore-range"_s;
    QTest::newRow("attempt 0") << u"/a=status:500@0"_s << attempts;
    QTest::newRow("attempts backwards") << u"/a=status:500@3-2"_s << attempts;
    QTest::newRow("attempt beyond 31 bits") << u"/a=status:500@2147483648"_s << attempts;
}

void tst_FaultOption::mistakesAreExplained()
{
    QFETCH(const QString, text);
    QFETCH(const QString, reason);
    QCOMPARE(FaultOption::parse(text).problem, reason);
}

void tst_FaultOption::everyKindIsDescribedWithAnExampleThatCanBeRead()
{
    QSet<Fault::Kind> described;
    const QStringList lines = FaultOption::describeKinds().split(u'\n');
    for (const QString &line : lines) {
        const qsizetype example = line.indexOf("--fault "_L1);
        if (example >= 0) {
            const FaultOption option = FaultOption::parse(line.mid(example + 8));
            QVERIFY2(option.problem.isEmpty(), qPrintable(line + u": "_s + option.problem));
            described.insert(option.fault.kind);
        }
    }
    QCOMPARE(described.size(), int(Fault::Header) + 1);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_FaultOption>(argc, argv);
}

#include "tst_FaultOption.moc"
