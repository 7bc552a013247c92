#pragma once

#include "studio/Reply.h"
#include "studio/StudioServer.h"
#include "studio/TokenBucket.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <chrono>

class QSslSocket;

namespace velmo::studio {

class Site;
struct HttpRequest;

/// One client: reads its requests one after the other and streams the replies as fast as it takes them. Deletes itself
/// when the client is gone.
class Connection : public QObject {
    Q_OBJECT

public:
    /// Takes ownership of \a socket, which is connected, encrypted or not. A client that sends nothing for
    /// \a idleTimeout while a request is due is dismissed.
    Connection(QSslSocket *socket, Site *site, std::chrono::milliseconds idleTimeout, QObject *parent = nullptr);

signals:
    /// Before the first byte of the reply goes out.
    void answered(const velmo::studio::Request &request);

private:
    enum State {
        Reading,
        Sending,
        Stalled,
        Closing,
        Lingering, ///< like Closing, but the client may still be sending: it shall not miss the reply
    };

    void receive();
    void advance();
    bool takeRequest();
    void answer(const HttpRequest &request);
    void send(Reply reply, bool saysClose);
    void reject(int status);
    void sendBody();
    void endReply();
    void linger();
    void leave();
    bool hasRoom() const;

    QSslSocket *socket_;
    Site *site_;
    State state_ = Reading;
    QByteArray input_;
    qint64 skipped_ = 0; ///< bytes of a request's body that are still to come, and of no interest
    Reply reply_;
    bool closesAfterReply_ = false;
    bool lingersAfterReply_ = false;
    TokenBucket bucket_;
    QElapsedTimer clock_;
    QTimer refill_;
    QTimer idle_;
};

} // namespace velmo::studio
