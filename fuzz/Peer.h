#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslServer>
#include <QUrl>

namespace velmo::fuzz {

/// A server on 127.0.0.1 that speaks TLS as it should and then sends whatever an input says. Nothing else can be
/// reached while it lives: where a reply redirects to, it refuses.
///
/// An input is a list of replies, one for each connection, separated by the byte 1E. Within a reply the byte 1F lets
/// what stands before it go out on its own, and 1D resets the connection instead of closing it.
class Peer : public QObject {
    Q_OBJECT

public:
    Peer();
    ~Peer() override;

    /// Forgets the last input and answers from \a replies, each followed by the end of its connection. Behind the last
    /// of them connections end unanswered.
    void setReplies(const QList<QByteArray> &replies);
    /// "https://127.0.0.1:port" and \a path, which begins with a slash.
    QUrl url(const QString &path) const;

private:
    void accept();
    void answer(QTcpSocket *socket);
    void send(QTcpSocket *socket, const QList<QByteArray> &pieces, bool reset);

    QSslServer server_;
    QList<QByteArray> replies_;
};

} // namespace velmo::fuzz
