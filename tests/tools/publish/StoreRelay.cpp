#include "tools/publish/StoreRelay.h"

#include <QTcpSocket>

#include <memory>

namespace velmo::test {

StoreRelay::StoreRelay()
{
    QObject::connect(&server_, &QTcpServer::newConnection, this, &StoreRelay::accept);
    server_.listen(QHostAddress::LocalHost);
}

void StoreRelay::cut(int connections, qint64 bytes)
{
    toCut_ = connections;
    cutAfter_ = bytes;
}

void StoreRelay::accept()
{
    while (QTcpSocket *const client = server_.nextPendingConnection()) {
        QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        if (toRefuse_ > 0) {
            --toRefuse_;
            refuse(client);
        } else {
            pass(client);
        }
    }
}

void StoreRelay::refuse(QTcpSocket *client)
{
    QObject::connect(client, &QTcpSocket::readyRead, client, [this, client] {
        if (client->readAll().contains("\r\n\r\n")) {
            ++refused_;
            client->write("HTTP/1.1 503 Slow Down\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            client->disconnectFromHost();
        }
    });
}

void StoreRelay::pass(QTcpSocket *client)
{
    auto *const store = new QTcpSocket(client);
    store->connectToHost(QHostAddress::LocalHost, target_);
    const auto passed = std::make_shared<qint64>(0);
    QObject::connect(client, &QTcpSocket::readyRead, store, [this, client, store, passed] {
        const QByteArray bytes = client->readAll();
        *passed += bytes.size();
        if (toCut_ > 0 && *passed > cutAfter_) {
            --toCut_;
            ++cuts_;
            client->abort();
            return;
        }
        store->write(bytes);
    });
    QObject::connect(store, &QTcpSocket::readyRead, client, [client, store] { client->write(store->readAll()); });
    QObject::connect(store, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
}

} // namespace velmo::test
