#pragma once

#include <QByteArray>
#include <QObject>
#include <QSslServer>

namespace velmo::test {

/// Lets a server that speaks no TLS be reached over TLS: what arrives here decrypted goes on to a plain port of
/// 127.0.0.1, and back.
class TlsFront : public QObject {
    Q_OBJECT

public:
    /// Before \a plainPort; a client may choose HTTP/2 when \a http2.
    TlsFront(quint16 plainPort, bool http2);

    /// Listens on a free port of 127.0.0.1.
    bool listen() { return server_.listen(QHostAddress::LocalHost); }
    quint16 port() const { return server_.serverPort(); }
    QString errorString() const { return server_.errorString(); }
    /// What the last connection agreed to speak; empty when nothing was agreed.
    QByteArray negotiatedProtocol() const { return negotiatedProtocol_; }

private:
    void accept();

    QSslServer server_;
    quint16 plainPort_;
    QByteArray negotiatedProtocol_;
};

} // namespace velmo::test
