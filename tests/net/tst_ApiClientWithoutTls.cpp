#include "net/ApiClient.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QSslSocket>

using namespace Qt::Literals::StringLiterals;
using velmo::ApiClient;
using velmo::test::LogCapture;

/// A program of its own, since Qt looks for its TLS plugins once, at the first need.
class tst_ApiClientWithoutTls : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void missingTlsIsSaidOnceAtConstruction();
};

void tst_ApiClientWithoutTls::initTestCase()
{
    QCoreApplication::setLibraryPaths({});
    QVERIFY(!QSslSocket::supportsSsl());
}

void tst_ApiClientWithoutTls::missingTlsIsSaidOnceAtConstruction()
{
    const LogCapture log;
    const ApiClient client;
    const QString expected = u"WARN velmo.net: TLS support is unavailable in this build; online features will fail. "
                             "Built against \"%1\""_s.arg(QSslSocket::sslLibraryBuildVersionString());
    QCOMPARE(log.texts(u"velmo.net"_s), QStringList{expected});
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ApiClientWithoutTls>(argc, argv);
}

#include "tst_ApiClientWithoutTls.moc"
