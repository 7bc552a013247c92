#include "publish/Sha256.h"
#include "support/TestEnvironment.h"
#include "tools/publish/PublishFixture.h"

using namespace Qt::Literals::StringLiterals;
using velmo::publish::Sha256;

class tst_Sha256 : public QObject {
    Q_OBJECT

private slots:
    void hashIsTheStandardsOwn_data();
    void hashIsTheStandardsOwn();
    void eachHashBeginsAnew();
};

void tst_Sha256::hashIsTheStandardsOwn_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("digits");
    QTest::newRow("nothing") << QByteArray() << u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"_s;
    QTest::newRow("three letters") << QByteArray("abc")
                                   << u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s;
    QTest::newRow("a million letters") << QByteArray(1'000'000, 'a')
                                       << u"cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"_s;
}

void tst_Sha256::hashIsTheStandardsOwn()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, digits);
    Sha256 whole;
    whole.add(bytes);
    QCOMPARE(whole.take(), digits);
    Sha256 pieces;
    constexpr qsizetype step = 1001;
    for (qsizetype from = 0; from < bytes.size(); from += step) {
        pieces.add(QByteArrayView(bytes).sliced(from, std::min(step, bytes.size() - from)));
    }
    QCOMPARE(pieces.take(), digits);
}

void tst_Sha256::eachHashBeginsAnew()
{
    Sha256 hash;
    hash.add("first");
    QCOMPARE(hash.take(), velmo::test::sha256Of("first"));
    hash.add("second");
    QCOMPARE(hash.take(), velmo::test::sha256Of("second"));
    QCOMPARE(hash.take(), velmo::test::sha256Of(""));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Sha256>(argc, argv);
}

#include "tst_Sha256.moc"
