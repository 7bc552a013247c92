// Serves TLS for the test programs under Wine, which cannot: a studio of its own for each connection, and a TLS front
// for servers of theirs. Prints its port, and ends with its standard input.

#include "support/HostCall.h"
#include "support/TlsFront.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>
#include <memory>
#include <unistd.h>

using namespace velmo;
using namespace velmo::test;

namespace {

/// One connection: what it asks for, and what it has.
class Guest : public QObject {
public:
    explicit Guest(QTcpSocket *socket)
        : QObject(socket)
        , socket_(socket)
    {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(socket, &QTcpSocket::readyRead, this, [this] { read(); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    void read();
    void answer(QDataStream &in, QDataStream &out);
    void startStudio(QDataStream &in, QDataStream &out);
    void startFront(QDataStream &in, QDataStream &out);
    void setDocument(QDataStream &in);
    void addFault(QDataStream &in);

    QTcpSocket *socket_;
    studio::StudioServer studio_;
    std::unique_ptr<TlsFront> front_;
};

template<typename Value>
Value take(QDataStream &in)
{
    Value value{};
    in >> value;
    return value;
}

void Guest::read()
{
    QDataStream stream(socket_);
    stream.setVersion(hostStreamVersion);
    while (true) {
        stream.startTransaction();
        const auto message = take<QByteArray>(stream);
        if (!stream.commitTransaction()) {
            return;
        }
        QByteArray result;
        QDataStream in(message);
        QDataStream out(&result, QIODevice::WriteOnly);
        in.setVersion(hostStreamVersion);
        out.setVersion(hostStreamVersion);
        answer(in, out);
        stream << result;
    }
}

void Guest::answer(QDataStream &in, QDataStream &out)
{
    switch (take<HostCall>(in)) {
    case HostCall::StartStudio:
        return startStudio(in, out);
    case HostCall::StopStudio:
        return studio_.stop();
    case HostCall::SetDocument:
        return setDocument(in);
    case HostCall::RemoveDocument:
        return studio_.removeDocument(take<QString>(in));
    case HostCall::AddFault:
        return addFault(in);
    case HostCall::ClearFaults:
        return studio_.clearFaults();
    case HostCall::SetBytesPerSecond:
        return studio_.setBytesPerSecond(take<qint64>(in));
    case HostCall::Requests:
        out << studio_.requests();
        return;
    case HostCall::ClearRequests:
        return studio_.clearRequests();
    case HostCall::StartTlsFront:
        return startFront(in, out);
    case HostCall::NegotiatedProtocol:
        out << (front_ ? front_->negotiatedProtocol() : QByteArray());
        return;
    }
    qFatal("A guest asks for what is not known here");
}

void Guest::startStudio(QDataStream &in, QDataStream &out)
{
    const QString problem = studio_.start(take<studio::StudioServer::Options>(in));
    out << studio_.port() << problem;
}

void Guest::startFront(QDataStream &in, QDataStream &out)
{
    const auto plainPort = take<quint16>(in);
    front_ = std::make_unique<TlsFront>(plainPort, take<bool>(in));
    front_->listen();
    out << front_->port() << front_->errorString();
}

void Guest::setDocument(QDataStream &in)
{
    const auto path = take<QString>(in);
    const auto body = take<QByteArray>(in);
    studio_.setDocument(path, body, take<QByteArray>(in));
}

void Guest::addFault(QDataStream &in)
{
    const auto path = take<QString>(in);
    studio_.addFault(path, take<studio::Fault>(in));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&server] {
        while (QTcpSocket *const socket = server.nextPendingConnection()) {
            new Guest(socket);
        }
    });
    if (!server.listen(QHostAddress::LocalHost)) {
        qFatal("The host does not start: %s", qPrintable(server.errorString()));
    }
    QSocketNotifier inputEnd(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&inputEnd, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    std::printf("%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
