#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QUrl>

#include <functional>
#include <memory>

#ifdef Q_OS_WIN
#include "support/HostLink.h"
#endif

class QTcpSocket;

namespace velmo::test {

/// A server on 127.0.0.1 that answers with just the bytes that a test gives it, at the test's own pace: half a head,
/// what is no HTTP, a packed body, a refusing proxy. It lives on the thread of the test and answers whenever the event
/// loop runs.
class LoopbackPeer : public QObject {
    Q_OBJECT

public:
    enum Transport {
        Plain,
        Tls,
        TlsWithHttp2, ///< lets a client choose HTTP/2, which no answer speaks
    };
    /// Called with every whole request, as it arrived.
    using Answer = std::function<void(QTcpSocket *socket, const QByteArray &request)>;

    /// Needs velmo_test_certificates unless \a transport is Plain.
    explicit LoopbackPeer(Answer answer, Transport transport = Tls);

    quint16 port() const { return port_; }
    /// "https://127.0.0.1:port" or, when plain, "http://127.0.0.1:port", and \a path, which begins with a slash.
    QUrl url(const QString &path) const;
    /// Every whole request so far.
    QList<QByteArray> requests() const { return requests_; }
    qsizetype connections() const { return connections_; }
    /// What the last TLS connection agreed to speak; empty when nothing was agreed.
    QByteArray negotiatedProtocol();

    /// Sends \a bytes as they are and closes the connection.
    static Answer reply(const QByteArray &bytes);
    /// Sends \a bytes as they are, then nothing, and keeps the connection open. Without bytes it never answers.
    static Answer replyAndStall(const QByteArray &bytes = {});

private:
    void listen(Transport transport);
    void accept();
    void read(QTcpSocket *socket);

    Answer answer_;
    std::unique_ptr<QTcpServer> server_;
    QString scheme_;
    QList<QByteArray> requests_;
    qsizetype connections_ = 0;
    quint16 port_ = 0;
#ifdef Q_OS_WIN
    std::unique_ptr<HostLink> host_; ///< has the TLS front before the port, when there is one
#else
    QByteArray negotiatedProtocol_;
#endif
};

/// A port on 127.0.0.1 on which nobody listens.
quint16 closedPort();

/// The value of the header \a name in \a request; empty when it has none.
QByteArray headerOf(const QByteArray &request, const QByteArray &name);

} // namespace velmo::test
