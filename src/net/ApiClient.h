#pragma once

#include <QJsonObject>
#include <QList>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace velmo {

/// The outcome of one JSON request.
struct ApiResult {
    bool ok = false;      ///< the transfer succeeded and the body was a JSON object
    QJsonObject data;     ///< that object; on an HTTP error the error body, if it is one
    QString message;      ///< a sentence for the user
    QString detail;       ///< technical text for the log and for details views
    bool offline = false; ///< the network or the server could not be reached at all
    int httpStatus = 0;   ///< 0 when there was no reply
};

/// Speaks JSON over HTTPS with the studio's services, and turns every failure into one fixed wording. Retries nothing.
/// Main thread only.
class ApiClient : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void(const ApiResult &)>;

    explicit ApiClient(QObject *parent = nullptr);
    ~ApiClient() override;

    /// One GET. The callback runs once, on the main thread, after this call has returned; a refused address and a
    /// cancelled request are failures like any other. It does not run when the client is gone before the event loop
    /// could answer for a refused address. It must not destroy the client.
    void getJson(const QString &url, Callback callback);
    /// One POST of \a body; the callback as for getJson.
    void postJson(const QString &url, const QJsonObject &body, Callback callback);
    /// Aborts everything in flight, and what is still held back, which then never leaves; the callbacks run before this
    /// returns. A request that a callback makes goes on, and a refused address is still answered from the event loop.
    /// The destructor does the same, but what a callback asks for then is dropped.
    void cancelAll();

    /// Holds back what is requested from now on: it is logged and answered like any other request, but leaves, and
    /// takes what Qt needs for the first secure connection, only at release().
    void hold();
    /// Sends what was held back, in its order, and holds nothing any more. Does nothing when nothing is held.
    void release();

private:
    struct Request {
        QNetworkRequest request;
        std::optional<QByteArray> body; ///< of a POST
        Callback callback;
    };

    bool refuse(const QString &url, const Callback &callback);
    QNetworkRequest buildRequest(const QString &url) const;
    void send(Request request);
    void leave(const Request &request);
    void track(QNetworkReply *reply, bool logSuccess, Callback callback);
    void finish(QNetworkReply *reply, bool logSuccess, const Callback &callback);

    QNetworkAccessManager *network;
    QList<QPointer<QNetworkReply>> pending;
    int timeoutMs; ///< without transfer progress, of every request
    QList<Request> held;
    bool holding = false;
};

} // namespace velmo
