#include "studio/Listener.h"

#include "studio/Connection.h"

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>

#include <chrono>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace velmo::studio {

namespace {

constexpr std::chrono::milliseconds idleTimeout = 60s;
constexpr int mostPendingConnections = 200;

QSslKey readKey(const QByteArray &pem)
{
    const QSslKey key(pem, QSsl::Rsa);
    return key.isNull() ? QSslKey(pem, QSsl::Ec) : key;
}

} // namespace

Listener::Listener(Site *site, QObject *parent)
    : QSslServer(parent)
    , site_(site)
{
    setMaxPendingConnections(mostPendingConnections);
    // Qt's five seconds are short for a client on a busy machine.
    setHandshakeTimeout(static_cast<int>(idleTimeout.count()));
    connect(this, &Listener::pendingConnectionAvailable, this, &Listener::takeIn);
}

QString Listener::start(const QByteArray &certificateChain, const QByteArray &privateKey, quint16 port)
{
    const QString problem = secure(certificateChain, privateKey);
    if (problem.isEmpty() && !listen(QHostAddress::LocalHost, port)) {
        return u"cannot listen on port %1: %2"_s.arg(port).arg(errorString());
    }
    return problem;
}

QString Listener::secure(const QByteArray &certificateChain, const QByteArray &privateKey)
{
    const QList<QSslCertificate> chain = QSslCertificate::fromData(certificateChain, QSsl::Pem);
    const QSslKey key = readKey(privateKey);
    if (chain.isEmpty()) {
        return u"the certificate chain holds no PEM certificate"_s;
    }
    if (key.isNull()) {
        return u"the private key is no unencrypted PEM key"_s;
    }
    QSslConfiguration configuration = sslConfiguration();
    configuration.setLocalCertificateChain(chain);
    configuration.setPrivateKey(key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    setSslConfiguration(configuration);
    return {};
}

void Listener::takeIn()
{
    while (QTcpSocket *socket = nextPendingConnection()) {
        auto *connection = new Connection(qobject_cast<QSslSocket *>(socket), site_, idleTimeout, this);
        connect(connection, &Connection::answered, this, &Listener::answered);
    }
}

} // namespace velmo::studio
