#include "publish/OneLine.h"
#include "support/TestEnvironment.h"

using namespace Qt::Literals::StringLiterals;

class tst_OneLine : public QObject {
    Q_OBJECT

private slots:
    void whatCommandsATerminalIsShown_data();
    void whatCommandsATerminalIsShown();
    void everythingElseStays();
};

void tst_OneLine::whatCommandsATerminalIsShown_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    QTest::newRow("line break") << u"a\nb"_s << u"a\\nb"_s;
    QTest::newRow("carriage return") << u"a\rb"_s << u"a\\rb"_s;
    QTest::newRow("tab") << u"a\tb"_s << u"a\\tb"_s;
    QTest::newRow("escape sequence") << u"\x1b[31mred"_s << u"\\x1b[31mred"_s;
    QTest::newRow("null") << QString(QChar(u'\0')) << u"\\x00"_s;
    QTest::newRow("delete") << QString(QChar(0x7f)) << u"\\x7f"_s;
    QTest::newRow("sequence in one character") << QString(QChar(0x9b)) << u"\\x9b"_s;
    QTest::newRow("line separator") << QString(QChar(0x2028)) << u"\\u2028"_s;
    QTest::newRow("paragraph separator") << QString(QChar(0x2029)) << u"\\u2029"_s;
}

void tst_OneLine::whatCommandsATerminalIsShown()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    QCOMPARE(velmo::publish::onOneLine(text), line);
}

void tst_OneLine::everythingElseStays()
{
    const QString text = u"\"Füße/地 図 😀\\x\" – 100 %1."_s;
    QCOMPARE(velmo::publish::onOneLine(text), text);
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_OneLine>(argc, argv);
}

#include "tst_OneLine.moc"
