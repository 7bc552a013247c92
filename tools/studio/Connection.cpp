#include "studio/Connection.h"

#include "studio/HttpRequest.h"
#include "studio/Site.h"

#include <QSslSocket>

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace velmo::studio {

namespace {

constexpr qint64 blockBytes = 64LL * 1024;
constexpr qint64 mostBufferedBytes = 256LL * 1024;                   // of output that the client has not taken
constexpr qint64 mostInputBytes = 4 * HttpRequest::maximumHeadBytes; // of requests that wait
constexpr std::chrono::milliseconds refillTime = 20ms;
constexpr std::chrono::milliseconds lingerTime = 250ms;

} // namespace

Connection::Connection(QSslSocket *socket, Site *site, std::chrono::milliseconds idleTimeout, QObject *parent)
    : QObject(parent)
    , socket_(socket)
    , site_(site)
{
    socket_->setParent(this);
    socket_->setReadBufferSize(mostInputBytes);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket_, &QSslSocket::readyRead, this, &Connection::receive);
    connect(socket_, &QSslSocket::bytesWritten, this, &Connection::advance);
    connect(socket_, &QSslSocket::encryptedBytesWritten, this, &Connection::advance);
    connect(socket_, &QSslSocket::disconnected, this, &Connection::deleteLater);

    clock_.start();
    refill_.setSingleShot(true);
    refill_.setTimerType(Qt::PreciseTimer);
    connect(&refill_, &QTimer::timeout, this, &Connection::advance);
    idle_.setSingleShot(true);
    idle_.setTimerType(Qt::PreciseTimer); // a coarse one may come a twentieth too early
    idle_.setInterval(idleTimeout);
    connect(&idle_, &QTimer::timeout, this, &Connection::leave);
    idle_.start();

    // What came with the end of the handshake is not announced again.
    QMetaObject::invokeMethod(this, &Connection::receive, Qt::QueuedConnection);
}

void Connection::receive()
{
    if (socket_->state() == QAbstractSocket::UnconnectedState) {
        deleteLater();
    } else if (state_ == Lingering) {
        linger();
    } else if (state_ == Reading) {
        idle_.start();
        advance();
    }
}

/// Goes on as far as the client and the rate allow.
void Connection::advance()
{
    do {
        if (state_ == Sending) {
            sendBody();
        }
    } while (state_ == Reading && hasRoom() && takeRequest());
}

/// Answers the next request. False while it is not there as a whole.
bool Connection::takeRequest()
{
    do {
        input_ += socket_->read(mostInputBytes - input_.size());
        const qint64 skipped = std::min<qint64>(skipped_, input_.size());
        input_.remove(0, skipped);
        skipped_ -= skipped;
    } while (skipped_ > 0 && socket_->bytesAvailable() > 0);
    if (skipped_ > 0) {
        return false;
    }

    HttpRequest request;
    switch (HttpRequest::take(input_, request)) {
    case HttpRequest::Incomplete:
        return false;
    case HttpRequest::Malformed:
        reject(400);
        return true;
    case HttpRequest::TooLarge:
        reject(431);
        return true;
    case HttpRequest::Complete:
        answer(request);
        return true;
    }
    return false;
}

void Connection::answer(const HttpRequest &request)
{
    Request record;
    Reply reply = site_->answer(request, record);
    emit answered(record);
    skipped_ = request.bodyBytes;
    lingersAfterReply_ = request.hasChunkedBody();
    send(std::move(reply), lingersAfterReply_ || !request.wantsKeepAlive());
}

/// Where a request cannot be read, neither can what follows it.
void Connection::reject(int status)
{
    lingersAfterReply_ = true;
    send(Reply::page(status), true);
}

void Connection::send(Reply reply, bool saysClose)
{
    idle_.stop();
    state_ = Sending;
    reply_ = std::move(reply);
    lingersAfterReply_ = lingersAfterReply_ || reply_.ending == Reply::Linger;
    closesAfterReply_ = saysClose || lingersAfterReply_ || reply_.ending == Reply::Close;
    socket_->write(reply_.head(saysClose));
}

void Connection::sendBody()
{
    while (reply_.body.remaining() > 0 && hasRoom()) {
        qint64 most = blockBytes;
        const qint64 rate = site_->bytesPerSecond();
        if (rate > 0) {
            most = std::min(most, bucket_.available(rate, clock_.nsecsElapsed()));
            // A hundredth of a second's worth at least: whoever sends every byte that time grants sends nothing else.
            const qint64 worthwhile = std::clamp<qint64>(rate / 100, 1, blockBytes);
            if (most < std::min(worthwhile, reply_.body.remaining())) {
                refill_.start(refillTime);
                return;
            }
            bucket_.spend(most);
        }
        const QByteArray block = reply_.body.read(most);
        if (block.isEmpty()) { // the file has become shorter; what was announced cannot be kept
            leave();
            return;
        }
        socket_->write(block);
    }
    if (reply_.body.remaining() == 0) {
        endReply();
    }
}

void Connection::endReply()
{
    const Reply::Ending ending = std::exchange(reply_, {}).ending;
    if (ending == Reply::Stall) {
        state_ = Stalled;
    } else if (!closesAfterReply_) {
        state_ = Reading;
        idle_.start();
    } else if (lingersAfterReply_) {
        linger();
    } else {
        leave();
    }
}

/// Closing a socket while the client is still sending resets the connection, which may overtake the reply. So what
/// comes is let in until no more comes.
void Connection::linger()
{
    state_ = Lingering;
    socket_->readAll();
    idle_.start(lingerTime);
}

/// Closes the connection behind what has been written.
void Connection::leave()
{
    state_ = Closing;
    socket_->disconnectFromHost();
}

bool Connection::hasRoom() const
{
    return socket_->bytesToWrite() + socket_->encryptedBytesToWrite() < mostBufferedBytes;
}

} // namespace velmo::studio
