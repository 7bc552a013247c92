#pragma once

#include "support/HostCall.h"

#include <QTcpSocket>

namespace velmo::test {

/// A connection to velmo-studio-host, which packaging/windows/run-wine starts beside every test program. Calls block,
/// and end the program when the host is not there. On the thread that made it.
class HostLink {
public:
    HostLink();
    Q_DISABLE_COPY_MOVE(HostLink)

    /// Sends \a call with \a arguments and waits; the results are read from what is returned.
    template<typename... Arguments>
    QByteArray call(HostCall call, const Arguments &...arguments)
    {
        QByteArray message;
        QDataStream stream(&message, QIODevice::WriteOnly);
        stream.setVersion(hostStreamVersion);
        stream << call;
        static_cast<void>((stream << ... << arguments));
        return exchange(message);
    }

    /// Like call(), and reads one result.
    template<typename Result, typename... Arguments>
    Result ask(HostCall call, const Arguments &...arguments)
    {
        QDataStream stream(this->call(call, arguments...));
        stream.setVersion(hostStreamVersion);
        Result result{};
        stream >> result;
        return result;
    }

    /// Like call() for what answers with a port; 0, with the reason in \a error.
    template<typename... Arguments>
    quint16 start(HostCall call, QString &error, const Arguments &...arguments)
    {
        QDataStream stream(this->call(call, arguments...));
        stream.setVersion(hostStreamVersion);
        quint16 port = 0;
        stream >> port >> error;
        return port;
    }

private:
    QByteArray exchange(const QByteArray &message);

    QTcpSocket socket_;
};

} // namespace velmo::test
