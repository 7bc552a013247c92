#pragma once

#include "studio/StudioServer.h"

#include <QByteArray>
#include <QSslServer>
#include <QString>

namespace velmo::studio {

class Site;

/// The studio's port on loopback: takes in clients over TLS and gives each a connection.
class Listener : public QSslServer {
    Q_OBJECT

public:
    /// \a site must outlive this object.
    explicit Listener(Site *site, QObject *parent = nullptr);

    /// Begins to listen on 127.0.0.1; port 0 takes a free one. False, with the reason in \a error.
    bool start(const QByteArray &certificateChain, const QByteArray &privateKey, quint16 port, QString *error);

signals:
    /// Before the first byte of the reply goes out. A request that cannot be read is answered but not announced.
    void answered(const velmo::studio::Request &request);

private:
    bool secure(const QByteArray &certificateChain, const QByteArray &privateKey, QString *error);
    void takeIn();

    Site *site_;
};

} // namespace velmo::studio
