#include "LoopbackPeer.h"

#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>

#include <utility>

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

std::unique_ptr<QTcpServer> makeServer(LoopbackPeer::Transport transport)
{
    if (transport == LoopbackPeer::Plain) {
        return std::make_unique<QTcpServer>();
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(
        QSslCertificate::fromData(readCertificateFile(u"server-chain.pem"_s), QSsl::Pem));
    configuration.setPrivateKey(QSslKey(readCertificateFile(u"server.key"_s), QSsl::Rsa));
    if (transport == LoopbackPeer::TlsWithHttp2) {
        configuration.setAllowedNextProtocols(
            {QSslConfiguration::ALPNProtocolHTTP2, QSslConfiguration::NextProtocolHttp1_1});
    }
    auto server = std::make_unique<QSslServer>();
    server->setSslConfiguration(configuration);
    return server;
}

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
    , server_(makeServer(transport))
    , scheme_(transport == Plain ? u"http"_s : u"https"_s)
{
    connect(server_.get(), &QTcpServer::pendingConnectionAvailable, this, &LoopbackPeer::accept);
    if (!server_->listen(QHostAddress::LocalHost)) {
        qFatal("The peer does not start: %s", qPrintable(server_->errorString()));
    }
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

void LoopbackPeer::accept()
{
    while (QTcpSocket *socket = server_->nextPendingConnection()) {
        ++connections_;
        if (const auto *secure = qobject_cast<QSslSocket *>(socket)) {
            negotiatedProtocol_ = secure->sslConfiguration().nextNegotiatedProtocol();
        }
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
