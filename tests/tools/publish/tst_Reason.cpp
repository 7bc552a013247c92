#include "publish/FileDigest.h"
#include "publish/ProgressMeter.h"
#include "publish/Reason.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

using namespace Qt::Literals::StringLiterals;

class tst_Reason : public QObject {
    Q_OBJECT

private slots:
    void dotAndLineEndAreLeftToTheSentence_data();
    void dotAndLineEndAreLeftToTheSentence();
    void sentenceOfTheSystemEndsInOneDot();
};

void tst_Reason::dotAndLineEndAreLeftToTheSentence_data()
{
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("text");
    QTest::newRow("bare") << u"No such file or directory"_s << u"No such file or directory"_s;
    QTest::newRow("dot") << u"Access is denied."_s << u"Access is denied"_s;
    QTest::newRow("dot and line's end") << u"Access is denied.\r\n"_s << u"Access is denied"_s;
    QTest::newRow("dot inside") << u"Not now. Try later."_s << u"Not now. Try later"_s;
    QTest::newRow("nothing") << QString() << QString();
}

void tst_Reason::dotAndLineEndAreLeftToTheSentence()
{
    QFETCH(QString, told);
    QTEST(velmo::publish::reasonText(told), "text");
}

void tst_Reason::sentenceOfTheSystemEndsInOneDot()
{
    const velmo::test::PublishFixture fixture;
    const QString missing = fixture.build() + u"/missing"_s;
    velmo::publish::ProgressMeter meter({});
    const QString problem = velmo::publish::digestFile(missing, meter).problem;
    QVERIFY2(problem.endsWith(u'.') && !problem.endsWith(".."_L1), qUtf8Printable(problem));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Reason>(argc, argv);
}

#include "tst_Reason.moc"
