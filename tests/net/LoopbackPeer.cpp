#include "LoopbackPeer.h"

#include <QTcpSocket>
#ifndef Q_OS_WIN
#include "support/LoopbackCertificates.h"

#include <QSslServer>
#include <QSslSocket>
#endif

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

/// How long the first request in \a received is; -1 while it is not whole.
qsizetype requestLength(const QByteArray &received)
{
    const qsizetype headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0) {
        return -1;
    }
    const qsizetype length = headEnd + 4 + headerOf(received, "content-length").toLongLong();
    return received.size() < length ? -1 : length;
}

} // namespace

LoopbackPeer::LoopbackPeer(Answer answer, Transport transport)
    : answer_(std::move(answer))
    , scheme_(transport == Plain ? u"http"_s : u"https"_s)
{
    listen(transport);
}

QUrl LoopbackPeer::url(const QString &path) const
{
    return QUrl(u"%1://127.0.0.1:%2%3"_s.arg(scheme_, QString::number(port()), path));
}

LoopbackPeer::Answer LoopbackPeer::reply(const QByteArray &bytes)
{
    return [bytes](QTcpSocket *socket, const QByteArray &) {
        socket->write(bytes);
        socket->disconnectFromHost();
    };
}

LoopbackPeer::Answer LoopbackPeer::replyAndStall(const QByteArray &bytes)
{
    return [bytes](QTcpSocket *socket, const QByteArray &) { socket->write(bytes); };
}

#ifdef Q_OS_WIN

// No program serves TLS under Wine, so the Linux side does it, before a plain port of this one.
void LoopbackPeer::listen(Transport transport)
{
    server_ = std::make_unique<QTcpServer>();
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, &LoopbackPeer::accept);
    if (!server_->listen(QHostAddress::LocalHost)) {
        qFatal("The peer does not start: %s", qPrintable(server_->errorString()));
    }
    port_ = server_->serverPort();
    if (transport != Plain) {
        QString error;
        host_ = std::make_unique<HostLink>();
        port_ = host_->start(HostCall::StartTlsFront, error, port_, transport == TlsWithHttp2);
        if (port_ == 0) {
            qFatal("The peer's TLS front does not start: %s", qPrintable(error));
        }
    }
}

QByteArray LoopbackPeer::negotiatedProtocol()
{
    return host_ ? host_->ask<QByteArray>(HostCall::NegotiatedProtocol) : QByteArray();
}

#else

void LoopbackPeer::listen(Transport transport)
{
    if (transport == Plain) {
        server_ = std::make_unique<QTcpServer>();
    } else {
        auto server = std::make_unique<QSslServer>();
        server->setSslConfiguration(loopbackServerConfiguration(transport == TlsWithHttp2));
        server_ = std::move(server);
    }
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, &LoopbackPeer::accept);
    if (!server_->listen(QHostAddress::LocalHost)) {
        qFatal("The peer does not start: %s", qPrintable(server_->errorString()));
    }
    port_ = server_->serverPort();
}

QByteArray LoopbackPeer::negotiatedProtocol()
{
    return negotiatedProtocol_;
}

#endif

void LoopbackPeer::accept()
{
    while (QTcpSocket *socket = server_->nextPendingConnection()) {
        ++connections_;
#ifndef Q_OS_WIN
        if (const auto *secure = qobject_cast<QSslSocket *>(socket)) {
            negotiatedProtocol_ = secure->sslConfiguration().nextNegotiatedProtocol();
        }
#endif
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        read(socket); // it may have come with the handshake
    }
}

void LoopbackPeer::read(QTcpSocket *socket)
{
    while (true) {
        const qsizetype length = requestLength(socket->peek(socket->bytesAvailable()));
        if (length < 0) {
            return;
        }
        requests_.append(socket->read(length));
        answer_(socket, requests_.last());
    }
}

quint16 closedPort()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost)) {
        qFatal("No port is free: %s", qPrintable(server.errorString()));
    }
    return server.serverPort();
}

QByteArray headerOf(const QByteArray &request, const QByteArray &name)
{
    const QList<QByteArray> lines = request.first(qMax(request.indexOf("\r\n\r\n"), 0)).split('\n');
    for (const QByteArray &line : lines) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.first(colon).compare(name, Qt::CaseInsensitive) == 0) {
            return line.sliced(colon + 1).trimmed();
        }
    }
    return {};
}

} // namespace velmo::test
