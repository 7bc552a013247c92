#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <limits>
#include <memory>

namespace velmo::studio {

/// One way in which the studio misbehaves on a path, for some of the requests of that path. What concerns a Range
/// request concerns GET alone. What concerns a body leaves replies without one whole, but HEAD tells the length that
/// GET would.
struct Fault {
    enum Kind {
        IgnoreRange,  ///< answers 200 with the whole file to a Range request
        Status,       ///< answers with `status` and a short text page
        CloseAfter,   ///< closes the connection after `bytes` bytes of the body
        Stall,        ///< sends `bytes` bytes of the body, then nothing, and keeps the connection open
        Corrupt,      ///< flips the bits of the one byte at offset `bytes` of the file, wherever the reply begins
        Redirect,     ///< answers 302 to `location`
        LengthOffset, ///< announces a Content-Length that is `bytes` more (or, negative, less) than what is sent,
                      ///< and closes the connection a while after the body
        WrongRange,   ///< answers 206 to a Range request, with as many bytes from offset 0 instead
        RangeRefused, ///< answers 416 to every Range request
        Header,       ///< `location` is "NAME:VALUE": that header takes the place of the reply's own; without a value
                      ///< the reply has none of that name
    };

    Kind kind = Status;
    int status = 503;
    qint64 bytes = 0;
    QString location = {};
    int firstAttempt = 1; ///< of the requests for the path, counted from 1 since the start or the last clearFaults
    int lastAttempt = std::numeric_limits<int>::max();

    bool operator==(const Fault &) const = default;
};

/// One request as it arrived. What cannot be read as a request is answered, but is none.
struct Request {
    QByteArray method;
    QString path;                          ///< decoded, without a query
    QHash<QByteArray, QByteArray> headers; ///< names in lower case
    int attempt = 0;                       ///< the how manieth for this path, from 1
    int status = 0;                        ///< what was answered

    bool operator==(const Request &) const = default;
};

/// The studio's side on loopback: an HTTP/1.1 server over TLS with keep-alive, GET, HEAD and Range, for a content tree
/// and documents in memory, with faults that can be switched on by path. It runs on a thread of its own; every function
/// here may be called from any thread at any time.
class StudioServer {
public:
    struct Options {
        QString root;                ///< folder of the content tree; empty serves documents alone
        QByteArray certificateChain; ///< PEM, the server's certificate first
        QByteArray privateKey;       ///< PEM
        quint16 port = 0;            ///< 0 takes a free one
        qint64 bytesPerSecond = 0;   ///< of each connection's bodies; 0 is unlimited

        bool operator==(const Options &) const = default;
    };

    StudioServer();
    ~StudioServer();
    Q_DISABLE_COPY_MOVE(StudioServer)

    /// Begins to listen on 127.0.0.1 and to count attempts anew. Documents, faults and recorded requests stay. Gives
    /// the reason when that fails.
    [[nodiscard]] QString start(const Options &options);
    /// Closes the port and every connection. Safe to call twice.
    void stop();
    bool isRunning() const;
    quint16 port() const;
    /// "https://127.0.0.1:port" and \a path, which begins with a slash.
    QUrl url(const QString &path) const;

    /// Serves \a body at \a path from memory, before the content tree.
    void setDocument(const QString &path, const QByteArray &body,
                     const QByteArray &contentType = QByteArrayLiteral("application/json"));
    void removeDocument(const QString &path);

    /// Faults of one path add up; the first that applies to a request decides where two exclude each other.
    void addFault(const QString &path, const Fault &fault);
    /// Also begins the count of attempts anew.
    void clearFaults();
    /// From now on, for replies on their way too.
    void setBytesPerSecond(qint64 bytesPerSecond);

    QList<Request> requests() const;
    QList<Request> requests(const QString &path) const;
    void clearRequests();

private:
    class Worker;

    std::unique_ptr<Worker> worker_;
};

} // namespace velmo::studio
