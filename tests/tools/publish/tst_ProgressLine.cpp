#include "publish/ProgressLine.h"
#include "support/TestEnvironment.h"

#include <QTextStream>

using namespace Qt::Literals::StringLiterals;
using velmo::publish::PublishProgress;
using velmo::publish::PublishStep;

class tst_ProgressLine : public QObject {
    Q_OBJECT

private slots:
    void terminalRewritesOneLineAndSumsUp();
    void elsewhereOnlyTheSumIsWritten();
    void scanShowsWhatItHasFoundSoFar();
    void stepsAreNamed_data();
    void stepsAreNamed();
    void shorterTextCoversTheLonger();
    void clearTakesTheLineAway();
    void clearWithoutALineWritesNothing();
};

namespace {

constexpr PublishProgress half{PublishStep::Hash, 2, 3000, 1, 1500, false};
constexpr PublishProgress whole{PublishStep::Hash, 2, 3000, 2, 3000, true};

} // namespace

void tst_ProgressLine::terminalRewritesOneLineAndSumsUp()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine line(out, true);
    line.show(half);
    const QString running = u"Hashing: 1 of 2 files, 1.5 KB of 3.0 KB"_s;
    QCOMPARE(text, u'\r' + running);
    line.show(whole);
    QCOMPARE(text, QString(u'\r' + running + u'\r' + QString(running.size(), u' ') + u"\rHashed 2 files, 3.0 KB.\n"_s));
}

void tst_ProgressLine::elsewhereOnlyTheSumIsWritten()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine line(out, false);
    line.show(half);
    line.show(whole);
    QCOMPARE(text, u"Hashed 2 files, 3.0 KB.\n"_s);
}

void tst_ProgressLine::scanShowsWhatItHasFoundSoFar()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine(out, true).show({PublishStep::Scan, 0, 0, 200, 3000, false, 256});
    QCOMPARE(text, u"\rScanning: 256 entries, 200 files, 3.0 KB"_s);
}

void tst_ProgressLine::stepsAreNamed_data()
{
    QTest::addColumn<PublishProgress>("progress");
    QTest::addColumn<QString>("line");
    QTest::newRow("scan") << PublishProgress{PublishStep::Scan, 0, 0, 2, 5, true} << u"Scanned 2 files, 5 B.\n"_s;
    QTest::newRow("hash") << PublishProgress{PublishStep::Hash, 1, 5, 1, 5, true} << u"Hashed 1 file, 5 B.\n"_s;
    QTest::newRow("copy") << PublishProgress{PublishStep::Copy, 0, 0, 0, 0, true} << u"Copied 0 files, 0 B.\n"_s;
    QTest::newRow("check") << PublishProgress{PublishStep::Check, 2, 5, 2, 5, true} << u"Checked 2 files, 5 B.\n"_s;
}

void tst_ProgressLine::stepsAreNamed()
{
    QFETCH(PublishProgress, progress);
    QFETCH(QString, line);
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine(out, false).show(progress);
    QCOMPARE(text, line);
}

void tst_ProgressLine::shorterTextCoversTheLonger()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine line(out, true);
    line.show({PublishStep::Hash, 100, 0, 10, 0, false});
    const qsizetype first = text.size();
    text.clear();
    line.show({PublishStep::Copy, 2, 0, 1, 0, false});
    QVERIFY(text.startsWith("\rCopying: 1 of 2 files"_L1));
    QCOMPARE(text.size(), first);
}

void tst_ProgressLine::clearTakesTheLineAway()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine line(out, true);
    line.show(half);
    const qsizetype shown = text.size() - 1;
    text.clear();
    line.clear();
    QCOMPARE(text, QString(u'\r' + QString(shown, u' ') + u'\r'));
    text.clear();
    line.clear();
    QCOMPARE(text, QString());
}

void tst_ProgressLine::clearWithoutALineWritesNothing()
{
    QString text;
    QTextStream out(&text);
    velmo::publish::ProgressLine(out, true).clear();
    QCOMPARE(text, QString());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ProgressLine>(argc, argv);
}

#include "tst_ProgressLine.moc"
