#include "support/HostLink.h"

#include <QHostAddress>
#include <QNetworkProxy>

namespace velmo::test {

namespace {

constexpr int waitMs = 30'000;

} // namespace

HostLink::HostLink()
{
    bool given = false;
    const quint16 port = qEnvironmentVariable("VELMO_STUDIO_HOST").toUShort(&given);
    if (!given) {
        qFatal("VELMO_STUDIO_HOST names no port; start this program by packaging/windows/run-wine");
    }
    socket_.setProxy(QNetworkProxy::NoProxy);
    socket_.connectToHost(QHostAddress::LocalHost, port);
    if (!socket_.waitForConnected(waitMs)) {
        qFatal("velmo-studio-host does not answer: %s", qPrintable(socket_.errorString()));
    }
    socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

QByteArray HostLink::exchange(const QByteArray &message)
{
    QDataStream stream(&socket_);
    stream.setVersion(hostStreamVersion);
    stream << message;
    while (true) {
        stream.startTransaction();
        QByteArray answer;
        stream >> answer;
        if (stream.commitTransaction()) {
            return answer;
        }
        if (!socket_.waitForReadyRead(waitMs)) {
            qFatal("velmo-studio-host has gone: %s", qPrintable(socket_.errorString()));
        }
    }
}

} // namespace velmo::test
