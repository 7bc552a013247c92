#include "publish/LiveServer.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qint64 bytesOfAMillisecond = 64; // of a long body, at a slow line's pace
constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 7);
constexpr qint64 bufferBytes = qint64{1024} * 1024;

/// What is said about \a reply, to stand in the middle of a sentence.
QString reasonOf(const QNetworkReply *reply)
{
    QString reason = reply->errorString();
    if (reason.endsWith(u'.')) {
        reason.chop(1);
    }
    return reason;
}

/// One request on its way.
class Exchange : public QObject {
public:
    Exchange(const LiveRequest &request, std::chrono::milliseconds whole, QNetworkReply *reply,
             const LiveServer::Done &done)
        : QObject(reply)
        , request_(request)
        , reply_(reply)
        , done_(done)
    {
        if (request_.body == LiveRequest::Body::Taken) {
            reply_->setReadBufferSize(bufferBytes);
        }
        connect(reply_, &QNetworkReply::metaDataChanged, this, [this] { meetHead(); });
        connect(reply_, &QNetworkReply::readyRead, this, [this] { read(); });
        connect(reply_, &QNetworkReply::finished, this, [this] { finish(); });
        time_.setSingleShot(true);
        connect(&time_, &QTimer::timeout, reply_, [this] {
            isTooSlow_ = true;
            reply_->abort();
        });
        time_.start(std::min(longest, whole + std::chrono::milliseconds(request_.mostBytes / bytesOfAMillisecond)));
    }

private:
    int status() const { return reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(); }

    bool isRedirect() const { return status() >= 300 && status() < 400; }

    void meetHead()
    {
        if (request_.body == LiveRequest::Body::Ignored && status() != 0 && !isRedirect()) {
            end();
        }
    }

    void read()
    {
        // No more at a time than is there: room is made for all that is asked for, and a file may be longer than
        // memory.
        while (!isOver_ && reply_->bytesAvailable() > 0) {
            const QByteArray bytes = reply_->read(std::min(reply_->bytesAvailable(), request_.mostBytes - length_ + 1));
            if (bytes.isEmpty()) {
                return;
            }
            length_ += bytes.size();
            if (length_ > request_.mostBytes) {
                answer_.isTooLong = true;
                end();
            } else if (request_.body == LiveRequest::Body::Taken) {
                request_.take(bytes);
            } else {
                answer_.body += bytes;
            }
        }
    }

    /// What has come is the answer.
    void end()
    {
        isOver_ = true;
        note();
        reply_->abort();
    }

    void note()
    {
        answer_.status = status();
        answer_.headers = reply_->rawHeaderPairs();
    }

    void finish()
    {
        if (!isOver_ && reply_->isOpen()) {
            read();
        }
        if (!isOver_) {
            note();
            const bool isAnswer =
                reply_->error() == QNetworkReply::NoError || reply_->error() >= QNetworkReply::ContentAccessDenied;
            if (!isAnswer && isRedirect()) { // to where there is none
                answer_.status = 0;
            }
            answer_.isUnheard = reply_->error() == QNetworkReply::RemoteHostClosedError && answer_.status == 0;
            answer_.isUntrusted = reply_->error() == QNetworkReply::SslHandshakeFailedError;
            answer_.isInsecure = reply_->error() == QNetworkReply::InsecureRedirectError;
            // Qt ends what is silent for too long as if somebody had cancelled it.
            if (isTooSlow_ || reply_->error() == QNetworkReply::OperationCanceledError) {
                answer_.reason = u"It takes too long"_s;
            } else if (!isAnswer || answer_.status < 400) {
                answer_.reason = reply_->error() == QNetworkReply::NoError ? QString() : reasonOf(reply_);
            }
        }
        reply_->deleteLater();
        done_(answer_);
    }

    LiveRequest request_;
    QNetworkReply *reply_;
    LiveServer::Done done_;
    QTimer time_;
    LiveReply answer_;
    qint64 length_ = 0;
    bool isTooSlow_ = false;
    bool isOver_ = false;
};

} // namespace

QByteArray LiveReply::header(const QByteArray &name) const
{
    QByteArrayList values;
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            values.append(value);
        }
    }
    return values.join(", ");
}

QString LivePeer::name() const
{
    constexpr int https = 443;
    return u"%1:%2"_s.arg(url.host()).arg(url.port(https));
}

LiveServer::LiveServer(const QList<QSslCertificate> &trusted, QSsl::SslProtocol protocol)
    : network_(new QNetworkAccessManager(this))
    , configuration_(QSslConfiguration::defaultConfiguration())
{
    network_->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
    configuration_.setProtocol(protocol);
    if (!trusted.isEmpty()) { // a list of one's own is all that is looked at
        configuration_.setCaCertificates(QSslConfiguration::systemCaCertificates() + trusted);
    }
    connect(network_, &QNetworkAccessManager::encrypted, this, &LiveServer::meetPeer);
    connect(network_, &QNetworkAccessManager::finished, this, &LiveServer::noteFailure);
}

LivePeer &LiveServer::peerAt(const QUrl &url)
{
    const LivePeer peer{url, {}, {}};
    const auto isIt = [&peer](const LivePeer &other) { return other.name() == peer.name(); };
    const auto known = std::find_if(peers_.begin(), peers_.end(), isIt);
    return known != peers_.end() ? *known : peers_.emplaceBack(peer);
}

/// At each new connection, redirects' too: the reply's address is the one that it has come to.
void LiveServer::meetPeer(QNetworkReply *reply)
{
    LivePeer &peer = peerAt(reply->url());
    for (const QSslCertificate &certificate : reply->sslConfiguration().peerCertificateChain()) {
        if (!peer.certificates.contains(certificate)) {
            peer.certificates.append(certificate);
        }
    }
}

void LiveServer::noteFailure(QNetworkReply *reply)
{
    if (reply->error() == QNetworkReply::SslHandshakeFailedError) {
        peerAt(reply->url()).reason = reasonOf(reply);
    }
}

void LiveServer::setLimits(std::chrono::milliseconds silence, std::chrono::milliseconds whole)
{
    silence_ = silence;
    whole_ = whole;
}

void LiveServer::ask(const LiveRequest &request, const Done &done)
{
    // Qt tells all who wait for a connection to the server when one is closed under somebody else's answer.
    const auto askAgain = [this, request, done](const LiveReply &reply) {
        reply.isUnheard ? exchange(request, done) : done(reply);
    };
    exchange(request, askAgain);
}

void LiveServer::exchange(const LiveRequest &request, const Done &done)
{
    new Exchange(request, whole_, send(request), done); // goes with the reply
}

LiveReply LiveServer::answerTo(const LiveRequest &request)
{
    QEventLoop loop;
    LiveReply answer;
    ask(request, [&answer, &loop](const LiveReply &reply) {
        answer = reply;
        loop.quit();
    });
    loop.exec();
    return answer;
}

QNetworkReply *LiveServer::send(const LiveRequest &request)
{
    QNetworkRequest asked(request.url);
    asked.setHeader(QNetworkRequest::UserAgentHeader, u"velmo-publish"_s);
    asked.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    asked.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    asked.setTransferTimeout(static_cast<int>(silence_.count()));
    asked.setSslConfiguration(configuration_);
    for (const auto &[name, value] : request.headers) {
        asked.setRawHeader(name, value);
    }
    return request.method == "HEAD" ? network_->head(asked) : network_->get(asked);
}

} // namespace velmo::publish
