#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace velmo::studio {

/// The head of one HTTP/1.x request.
struct HttpRequest {
    enum Outcome {
        Incomplete, ///< more bytes are needed
        Complete,
        Malformed,
        TooLarge, ///< the head is longer than `maximumHeadBytes`
    };

    static constexpr qsizetype maximumHeadBytes = 16LL * 1024;

    QByteArray method;
    QString path;                          ///< decoded, without a query; begins with a slash
    QHash<QByteArray, QByteArray> headers; ///< names in lower case; several of one name are joined by a comma
    int minorVersion = 1;
    qint64 bodyBytes = 0; ///< follow the head and belong to this request

    /// Takes the first head out of \a input, which keeps what follows it. \a request is complete only when the outcome
    /// says so; after Malformed and TooLarge nothing more can be read from this client.
    static Outcome take(QByteArray &input, HttpRequest &request);

    /// Whether the client means to send another request on this connection.
    bool wantsKeepAlive() const;
    /// Whether the client unpacks what comes packed by gzip.
    bool takesGzip() const;
    /// Whether a body follows whose end only its own framing tells.
    bool hasChunkedBody() const;

private:
    bool parse(const QByteArray &head);
    bool parseRequestLine(const QByteArray &line);
    bool parseTarget(QByteArray target);
    bool parseHeader(const QByteArray &line);
    bool parseBodyLength();
};

} // namespace velmo::studio
