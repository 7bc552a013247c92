#pragma once

#include <QByteArray>
#include <QHash>
#include <QSslSocket>

namespace velmo::test {

/// One reply as it came over the wire.
struct RawReply {
    int status = 0;                        ///< 0 when no whole head came
    QHash<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;                       ///< what came of it
};

/// A client that writes requests by hand on one TLS connection, and waits for what it wants to see.
class RawClient {
public:
    /// Connects; isConnected says whether that went well.
    explicit RawClient(quint16 port);

    bool isConnected() const { return socket_.isEncrypted(); }
    /// "METHOD path HTTP/1.1" with a Host header and the whole lines in \a headers.
    void request(const QByteArray &method, const QByteArray &target, const QByteArray &headers = {});
    void write(const QByteArray &bytes);
    /// The next reply; \a bodiless is for replies to HEAD.
    RawReply read(bool bodiless = false);
    /// request() and read().
    RawReply exchange(const QByteArray &method, const QByteArray &target, const QByteArray &headers = {});
    /// At least \a bytes bytes of what comes, or less when the connection ends before.
    QByteArray readBytes(qint64 bytes);
    /// Everything until the studio closes the connection, with \a closed false when it does not.
    QByteArray readToEnd(bool &closed);
    bool waitForClose();

    QSslSocket &socket() { return socket_; }

private:
    bool waitForInput();

    QSslSocket socket_;
    QByteArray input_;
};

} // namespace velmo::test
