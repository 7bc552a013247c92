#pragma once

#include "studio/StudioServer.h"
#include "support/HostLink.h"

namespace velmo::test {

/// What studio::StudioServer is, in a process on the Linux side: a program under Wine cannot serve TLS. On the thread
/// that made it.
class RemoteStudio {
public:
    using Options = studio::StudioServer::Options;

    /// The folder in \a options is one of this program's, and is translated.
    [[nodiscard]] QString start(const Options &options);
    void stop();
    bool isRunning() const { return port_ != 0; }
    quint16 port() const { return port_; }
    QUrl url(const QString &path) const;

    void setDocument(const QString &path, const QByteArray &body,
                     const QByteArray &contentType = QByteArrayLiteral("application/json"));
    void removeDocument(const QString &path);
    void addFault(const QString &path, const studio::Fault &fault);
    void clearFaults();
    void setBytesPerSecond(qint64 bytesPerSecond);

    QList<studio::Request> requests() const;
    QList<studio::Request> requests(const QString &path) const;
    void clearRequests();

private:
    mutable HostLink host_;
    quint16 port_ = 0;
};

} // namespace velmo::test
