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

    /// Begins to listen on 127.0.0.1; port 0 takes a free one. Gives the reason when that fails.
    [[nodiscard]] QString start(const QByteArray &certificateChain, const QByteArray &privateKey, quint16 port);

signals:
    /// Before the first byte of the reply goes out. A request that cannot be read is answered but not announced.
    void answered(const velmo::studio::Request &request);

private:
    QString secure(const QByteArray &certificateChain, const QByteArray &privateKey);
    void takeIn();

    Site *site_;
};

} // namespace velmo::studio
