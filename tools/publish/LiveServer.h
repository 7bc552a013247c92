#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <utility>

class QNetworkAccessManager;
class QNetworkReply;

namespace velmo::publish {

/// One request to a server that may be anybody's.
struct LiveRequest {
    /// What becomes of the body.
    enum class Body {
        Kept,
        Taken,   ///< it goes to `take`, piece by piece
        Ignored, ///< the answer is over when its headers are there
    };

    QUrl url;
    QByteArray method = QByteArrayLiteral("GET");
    QList<std::pair<QByteArray, QByteArray>> headers = {};
    Body body = Body::Kept;
    qint64 mostBytes = 0; ///< of the body, unpacked; a longer one is cut off
    std::function<void(const QByteArray &)> take = {};
};

/// What came of it.
struct LiveReply {
    int status = 0;           ///< 0 when there was no answer
    QString reason;           ///< why there is no answer, or not all of it; empty when all came, whatever the status
    bool isUntrusted = false; ///< there is no secure connection; the peer tells why
    bool isInsecure = false;  ///< it would have led to plain HTTP
    bool isTooLong = false;
    bool isUnheard = false; ///< the connection was closed before any of an answer
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The value of \a name, several joined by commas; empty when there is none.
    QByteArray header(const QByteArray &name) const;
};

/// A server that was met on the way to an answer: the one that was asked, or one that a redirect led to.
struct LivePeer {
    QUrl url;                            ///< what it was first asked for
    QList<QSslCertificate> certificates; ///< all that it has sent
    QString reason;                      ///< why there was no secure connection; empty when there was none without

    /// "host:port".
    QString name() const;
};

/// Asks a server as the launcher does: over HTTP/1.1 and TLS, along redirects unless they lead to plain HTTP. Every
/// answer is bounded in time and in bytes.
class LiveServer : public QObject {
    Q_OBJECT

public:
    using Done = std::function<void(const LiveReply &)>;

    /// Trusts \a trusted beside the system's authorities.
    explicit LiveServer(const QList<QSslCertificate> &trusted, QSsl::SslProtocol protocol = QSsl::SecureProtocols);
    /// After \a silence, and after \a whole and more for a long body, a request has come to nothing.
    void setLimits(std::chrono::milliseconds silence, std::chrono::milliseconds whole);

    /// \a done is called from the event loop.
    void ask(const LiveRequest &request, const Done &done);
    /// Asks and waits, with an event loop of its own.
    LiveReply answerTo(const LiveRequest &request);

    /// All that were met until now, the first one first.
    QList<LivePeer> peers() const { return peers_; }

private:
    void exchange(const LiveRequest &request, const Done &done);
    QNetworkReply *send(const LiveRequest &request);
    LivePeer &peerAt(const QUrl &url);
    void meetPeer(QNetworkReply *reply);
    void noteFailure(QNetworkReply *reply);

    QNetworkAccessManager *network_;
    QSslConfiguration configuration_;
    QList<LivePeer> peers_;
    std::chrono::milliseconds silence_ = std::chrono::seconds(30);
    std::chrono::milliseconds whole_ = std::chrono::minutes(1);
};

} // namespace velmo::publish
