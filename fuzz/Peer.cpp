#include "Peer.h"

#include "Target.h"
#include "support/LoopbackCertificates.h"

#include <QFile>
#include <QNetworkProxyFactory>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace velmo::fuzz {

namespace {

constexpr char pieceEnd = '\x1f';
constexpr char resetMark = '\x1d';

/// Sends every connection but those to the peer to a proxy that is not there.
class NowhereElse : public QNetworkProxyFactory {
public:
    explicit NowhereElse(quint16 port)
        : port_(port)
    {
        // Bound, so that nobody else listens there, and not listening.
        require(nobody_.bind(QHostAddress::LocalHost), "a port of loopback is free");
    }

    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        if (query.peerHostName() == "127.0.0.1"_L1 && query.peerPort() == port_) {
            return {QNetworkProxy::NoProxy};
        }
        return {QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, nobody_.localPort())};
    }

private:
    quint16 port_;
    QTcpSocket nobody_;
};

void trustTestAuthorityAlone()
{
    QFile file(u":/certificates/authority.pem"_s);
    require(file.open(QIODevice::ReadOnly), "the test authority is compiled in");
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({QSslCertificate(&file, QSsl::Pem)});
    QSslConfiguration::setDefaultConfiguration(configuration);
}

} // namespace

Peer::Peer()
{
    trustTestAuthorityAlone();
    server_.setSslConfiguration(test::loopbackServerConfiguration());
    connect(&server_, &QTcpServer::pendingConnectionAvailable, this, &Peer::accept);
    require(server_.listen(QHostAddress::LocalHost), "the peer can listen");
    QNetworkProxyFactory::setApplicationProxyFactory(new NowhereElse(server_.serverPort())); // Qt owns it
}

Peer::~Peer()
{
    QNetworkProxyFactory::setApplicationProxyFactory(nullptr);
}

void Peer::setReplies(const QList<QByteArray> &replies)
{
    replies_ = replies;
    const QList<QTcpSocket *> left = server_.findChildren<QTcpSocket *>();
    for (QTcpSocket *const socket : left) {
        socket->abort();
        socket->deleteLater();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QUrl Peer::url(const QString &path) const
{
    return QUrl(u"https://127.0.0.1:%1%2"_s.arg(QString::number(server_.serverPort()), path));
}

void Peer::accept()
{
    while (QTcpSocket *socket = server_.nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        answer(socket); // the request may have come with the handshake
    }
}

/// A request that is not whole stays where it is; what comes after the first is of no interest.
void Peer::answer(QTcpSocket *socket)
{
    if (!socket->peek(socket->bytesAvailable()).contains("\r\n\r\n")) {
        return;
    }
    socket->disconnect(this);
    QByteArray reply = replies_.isEmpty() ? QByteArray() : replies_.takeFirst();
    const bool reset = reply.endsWith(resetMark);
    if (reset) {
        reply.chop(1);
    }
    send(socket, reply.split(pieceEnd), reset);
}

void Peer::send(QTcpSocket *socket, const QList<QByteArray> &pieces, bool reset)
{
    socket->write(pieces.first());
    socket->flush();
    if (pieces.size() > 1) {
        QTimer::singleShot(0, socket, [this, socket, pieces, reset] { send(socket, pieces.sliced(1), reset); });
    } else if (reset) {
        socket->abort();
    } else {
        socket->disconnectFromHost();
    }
}

} // namespace velmo::fuzz
