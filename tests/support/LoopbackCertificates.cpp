#include "support/LoopbackCertificates.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

QByteArray readCertificateFile(const QString &name)
{
    QFile file(u":/certificates/"_s + name);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("The test certificates are not linked: %s", qPrintable(file.fileName()));
    }
    return file.readAll();
}

} // namespace

QByteArray loopbackChain()
{
    return readCertificateFile(u"server-chain.pem"_s);
}

QByteArray otherChain()
{
    return readCertificateFile(u"other-chain.pem"_s);
}

QByteArray loopbackKey()
{
    return readCertificateFile(u"server.key"_s);
}

QSslConfiguration loopbackServerConfiguration(bool http2)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(QSslCertificate::fromData(loopbackChain(), QSsl::Pem));
    configuration.setPrivateKey(QSslKey(loopbackKey(), QSsl::Rsa));
    if (http2) {
        configuration.setAllowedNextProtocols(
            {QSslConfiguration::ALPNProtocolHTTP2, QSslConfiguration::NextProtocolHttp1_1});
    }
    return configuration;
}

} // namespace velmo::test
