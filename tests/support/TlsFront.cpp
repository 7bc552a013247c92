#include "support/TlsFront.h"

#include "support/LoopbackCertificates.h"

#include <QSslSocket>

namespace velmo::test {

namespace {

/// Hands on what comes from \a from, and its end.
void join(QTcpSocket *from, QTcpSocket *to)
{
    QObject::connect(from, &QTcpSocket::readyRead, to, [from, to] { to->write(from->readAll()); });
    QObject::connect(from, &QTcpSocket::disconnected, to, [from, to] {
        to->write(from->readAll());
        to->disconnectFromHost();
    });
}

} // namespace

TlsFront::TlsFront(quint16 plainPort, bool http2)
    : plainPort_(plainPort)
{
    server_.setSslConfiguration(loopbackServerConfiguration(http2));
    connect(&server_, &QTcpServer::pendingConnectionAvailable, this, &TlsFront::accept);
}

void TlsFront::accept()
{
    while (QTcpSocket *const client = server_.nextPendingConnection()) {
        negotiatedProtocol_ = static_cast<QSslSocket *>(client)->sslConfiguration().nextNegotiatedProtocol();
        auto *const plain = new QTcpSocket(client);
        join(client, plain);
        join(plain, client);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        plain->connectToHost(QHostAddress::LocalHost, plainPort_);
        plain->write(client->readAll()); // it may have come with the handshake
    }
}

} // namespace velmo::test
