#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/prctl.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int patienceMs = 60'000;

/// A demo as a person would start it, for the window; its end is this test's at the latest.
std::unique_ptr<QProcess> startDemo()
{
    auto demo = std::make_unique<QProcess>();
    demo->setProgram(QStringLiteral(VELMO_DEMO));
    demo->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    demo->start();
    return demo;
}

/// Its first line comes when it has emptied its folder and made a build in it.
bool isAtWork(QProcess &demo)
{
    return demo.waitForReadyRead(patienceMs) && !demo.readAllStandardOutput().contains("!!");
}

} // namespace

/// Runs velmo-demo beside another one.
class tst_DemoProgram : public QObject {
    Q_OBJECT

private slots:
    void secondSaysSoAndEnds();
    void killedDemoGivesTheFolderBack();
};

void tst_DemoProgram::secondSaysSoAndEnds()
{
    const auto first = startDemo();
    QVERIFY2(isAtWork(*first), first->readAllStandardError().constData());
    const QString folder = QFileInfo(QStringLiteral(VELMO_DEMO)).path();
    QFile mark(QDir(folder).filePath(u"work/mark"_s));
    QVERIFY(mark.open(QIODevice::WriteOnly));

    const auto second = startDemo();
    QVERIFY(second->waitForFinished(patienceMs));
    QCOMPARE(second->exitStatus(), QProcess::NormalExit);
    QCOMPARE(second->exitCode(), 1);
    // Qt may have remarks of its own before it.
    const QString errors = QString::fromUtf8(second->readAllStandardError());
    QVERIFY2(
        errors.endsWith(u"velmo-demo: another demo runs in %1 and would be spoilt; end that one first\n"_s.arg(folder)),
        qPrintable(errors));
    QCOMPARE(second->readAllStandardOutput(), QByteArray());
    QVERIFY(mark.exists());
    QCOMPARE(first->state(), QProcess::Running);
    first->kill();
    QVERIFY(first->waitForFinished(patienceMs));
}

void tst_DemoProgram::killedDemoGivesTheFolderBack()
{
    const auto first = startDemo();
    QVERIFY2(isAtWork(*first), first->readAllStandardError().constData());
    first->kill();
    QVERIFY(first->waitForFinished(patienceMs));

    const auto second = startDemo();
    QVERIFY2(isAtWork(*second), second->readAllStandardError().constData());
    second->kill();
    QVERIFY(second->waitForFinished(patienceMs));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_DemoProgram>(argc, argv);
}

#include "tst_DemoProgram.moc"
