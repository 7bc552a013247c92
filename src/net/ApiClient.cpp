#include "net/ApiClient.h"

#include "core/Logging.h"
#include "net/LoggedAddress.h"
#include "net/UserAgent.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslSocket>
#include <QTimer>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr int requestTimeoutMs = 10000;

constexpr qint64 largestReplyBytes = qint64{256} * 1024 * 1024; // as it lies in memory, unpacked
constexpr qint64 leastWindowBytes = qint64{64} * 1024;
constexpr int windowMs = 10 * 60 * 1000;

struct Wording {
    bool offline;
    QStringView message;
};

constexpr Wording unreachable{true,
                              u"Unable to connect to the Velmo Games servers. Check your internet connection and try "
                              "again."};
constexpr Wording insecure{false,
                           u"The secure connection to the Velmo Games servers could not be verified. This can be "
                           "caused by antivirus software or a proxy inspecting traffic."};
constexpr Wording blockedByProxy{
    true, u"The connection was blocked by a proxy server. Check your network settings and try again."};
constexpr Wording denied{false, u"Access to this Velmo Games service was denied."};
constexpr Wording notFound{false,
                           u"The requested Velmo Games service could not be found. The launcher may need updating."};
constexpr Wording serverTrouble{
    false, u"The Velmo Games servers are not responding correctly right now. Please try again shortly."};
constexpr Wording rejected{false, u"The Velmo Games servers rejected the request."};
constexpr Wording outOfReach{true, u"Unable to reach the Velmo Games servers."};

constexpr std::array<std::pair<QNetworkReply::NetworkError, const Wording *>, 16> wordingByError = {{
    {QNetworkReply::ConnectionRefusedError, &unreachable},
    {QNetworkReply::RemoteHostClosedError, &unreachable},
    {QNetworkReply::HostNotFoundError, &unreachable},
    {QNetworkReply::TimeoutError, &unreachable},
    {QNetworkReply::TemporaryNetworkFailureError, &unreachable},
    {QNetworkReply::NetworkSessionFailedError, &unreachable},
    {QNetworkReply::UnknownNetworkError, &unreachable},
    {QNetworkReply::SslHandshakeFailedError, &insecure},
    {QNetworkReply::ProxyConnectionRefusedError, &blockedByProxy},
    {QNetworkReply::ProxyConnectionClosedError, &blockedByProxy},
    {QNetworkReply::ProxyNotFoundError, &blockedByProxy},
    {QNetworkReply::ProxyTimeoutError, &blockedByProxy},
    {QNetworkReply::ProxyAuthenticationRequiredError, &blockedByProxy},
    {QNetworkReply::ContentAccessDenied, &denied},
    {QNetworkReply::AuthenticationRequiredError, &denied},
    {QNetworkReply::ContentNotFoundError, &notFound},
}};

const Wording &wordingFor(QNetworkReply::NetworkError error, int httpStatus)
{
    const auto row = std::find_if(wordingByError.begin(), wordingByError.end(),
                                  [error](const auto &candidate) { return candidate.first == error; });
    if (row != wordingByError.end()) {
        return *row->second;
    }
    if (httpStatus >= 500) {
        return serverTrouble;
    }
    return httpStatus >= 400 ? rejected : outOfReach;
}

ApiResult decodeFailure(const QNetworkReply &reply, const QByteArray &body, int httpStatus)
{
    const Wording &wording = wordingFor(reply.error(), httpStatus);
    ApiResult result;
    result.httpStatus = httpStatus;
    result.offline = wording.offline;
    result.message = wording.message.toString();
    result.detail = u"%1 (Qt error %2, HTTP %3) for %4"_s.arg(
        withoutUserInfo(reply.errorString()), QString::number(reply.error()), QString::number(httpStatus),
        loggedAddress(reply.request().url().toString()));
    result.data = QJsonDocument::fromJson(body).object();
    return result;
}

ApiResult decode(const QNetworkReply &reply, const QByteArray &body)
{
    const int httpStatus = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply.error() != QNetworkReply::NoError) {
        return decodeFailure(reply, body, httpStatus);
    }
    ApiResult result;
    result.httpStatus = httpStatus;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    result.ok = document.isObject();
    if (result.ok) {
        result.data = document.object();
    } else {
        result.message = u"The Velmo Games servers returned an unexpected response."_s;
        result.detail = u"JSON parse failed at offset %1: %2"_s.arg(QString::number(error.offset), error.errorString());
    }
    return result;
}

/// The reply to a request that never left: it ends as one that was aborted, and reaches no network.
class UnsentReply : public QNetworkReply {
public:
    UnsentReply(const QNetworkRequest &request, QObject *parent)
        : QNetworkReply(parent)
    {
        setRequest(request);
        setError(OperationCanceledError, u"Operation canceled"_s); // in Qt's own words
        setFinished(true);
    }

    void abort() override {}

protected:
    qint64 readData(char * /*data*/, qint64 /*size*/) override { return -1; }
};

/// Lets \a reply end as an aborted one when it would fill memory, or brings so little that it would never end. Whatever
/// arrives stays in it until it has finished.
void boundReply(QNetworkReply *reply)
{
    reply->setReadBufferSize(largestReplyBytes + 1); // holds for what comes while this thread is busy, too
    auto *window = new QTimer(reply);
    QObject::connect(reply, &QNetworkReply::readyRead, window, [reply] {
        if (reply->bytesAvailable() >= reply->readBufferSize()) {
            reply->abort();
        }
    });
    QObject::connect(window, &QTimer::timeout, reply, [reply, before = qint64{0}]() mutable {
        const qint64 now = reply->bytesAvailable();
        if (now - std::exchange(before, now) < leastWindowBytes) {
            reply->abort();
        }
    });
    window->start(windowMs);
}

} // namespace

ApiClient::ApiClient(QObject *parent)
    : QObject(parent)
    , network(new QNetworkAccessManager(this))
    , timeoutMs(requestTimeoutMs)
{
    network->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
    if (!QSslSocket::supportsSsl()) {
        qCWarning(lcNet) << "TLS support is unavailable in this build; online features will fail."
                         << "Built against" << QSslSocket::sslLibraryBuildVersionString();
    }
}

ApiClient::~ApiClient()
{
    cancelAll();
}

void ApiClient::getJson(const QString &url, Callback callback)
{
    if (refuse(url, callback)) {
        return;
    }
    const QNetworkRequest request = buildRequest(url);
    qCInfo(lcNet) << "GET" << loggedAddress(url);
    send({request, std::nullopt, std::move(callback)});
}

void ApiClient::postJson(const QString &url, const QJsonObject &body, Callback callback)
{
    if (refuse(url, callback)) {
        return;
    }
    QNetworkRequest request = buildRequest(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const QByteArray bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
    qCInfo(lcNet) << "POST" << loggedAddress(url) << bytes.size() << "bytes";
    send({request, bytes, std::move(callback)});
}

void ApiClient::cancelAll()
{
    // Each abort runs its callback at once, which may start a request that is no longer ours to cancel.
    holding = false;
    const QList<Request> unsent = std::exchange(held, {});
    const QList<QPointer<QNetworkReply>> inFlight = std::exchange(pending, {});
    for (const QPointer<QNetworkReply> &reply : inFlight) {
        if (reply) {
            reply->abort();
        }
    }
    for (const Request &request : unsent) {
        finish(new UnsentReply(request.request, network), false, request.callback);
    }
}

void ApiClient::hold()
{
    holding = true;
}

void ApiClient::release()
{
    holding = false;
    const QList<Request> requests = std::exchange(held, {});
    for (const Request &request : requests) {
        leave(request);
    }
}

/// Whether \a url may not be contacted; the callback is then answered from the event loop.
bool ApiClient::refuse(const QString &url, const Callback &callback)
{
    ApiResult result;
    if (url.isEmpty()) {
        result.message = u"No Velmo Games service address is configured for this build."_s;
        result.detail = u"Empty endpoint in the game profile."_s;
        result.offline = true;
    } else {
        const QUrl parsed(url);
        if (parsed.isValid() && parsed.scheme().compare("https"_L1, Qt::CaseInsensitive) == 0) {
            return false;
        }
        result.message = u"The launcher refused to contact an insecure service address."_s;
        result.detail = u"Rejected non-HTTPS or malformed URL: %1"_s.arg(loggedAddress(url));
        qCWarning(lcNet) << result.detail;
    }
    QTimer::singleShot(0, this, [callback, result] { callback(result); });
    return true;
}

QNetworkRequest ApiClient::buildRequest(const QString &url) const
{
    QNetworkRequest request{QUrl(url)};
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent());
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    // Two small documents gain nothing by HTTP/2, whose headers are a way in of their own.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setTransferTimeout(timeoutMs);
    return request;
}

void ApiClient::send(Request request)
{
    if (holding) {
        held.append(std::move(request));
    } else {
        leave(request);
    }
}

void ApiClient::leave(const Request &request)
{
    if (request.body) {
        track(network->post(request.request, *request.body), false, request.callback);
    } else {
        track(network->get(request.request), true, request.callback);
    }
}

void ApiClient::track(QNetworkReply *reply, bool logSuccess, Callback callback)
{
    pending.append(reply);
    boundReply(reply);
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, logSuccess, callback = std::move(callback)] { finish(reply, logSuccess, callback); });
}

void ApiClient::finish(QNetworkReply *reply, bool logSuccess, const Callback &callback)
{
    // An aborted reply is closed already, and Qt would complain of a read.
    const QByteArray body = reply->isOpen() ? reply->readAll() : QByteArray();
    const ApiResult result = decode(*reply, body);
    if (!result.ok) {
        qCWarning(lcNet) << "Request failed:" << result.detail;
    } else if (logSuccess) {
        qCInfo(lcNet) << "OK" << loggedAddress(reply->request().url().toString()) << body.size() << "bytes";
    }
    pending.removeAll(reply);
    reply->deleteLater();
    callback(result);
}

} // namespace velmo
