#pragma once

#include <QTcpServer>

namespace velmo::test {

/// Stands between a client and a store on loopback, and loses what it is told to.
class StoreRelay : public QObject {
    Q_OBJECT

public:
    StoreRelay();

    quint16 port() const { return server_.serverPort(); }
    void setTarget(quint16 port) { target_ = port; }
    /// Answers the next \a connections with 503 and closes them.
    void refuse(int connections) { toRefuse_ = connections; }
    /// Cuts the next \a connections by which more than \a bytes come from the client.
    void cut(int connections, qint64 bytes);
    int refused() const { return refused_; }
    int cuts() const { return cuts_; }

private:
    void accept();
    void refuse(QTcpSocket *client);
    void pass(QTcpSocket *client);

    QTcpServer server_;
    quint16 target_ = 0;
    int toRefuse_ = 0;
    int toCut_ = 0;
    qint64 cutAfter_ = 0;
    int refused_ = 0;
    int cuts_ = 0;
};

} // namespace velmo::test
