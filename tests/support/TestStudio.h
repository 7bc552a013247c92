#pragma once

#include "studio/StudioServer.h"
#ifdef Q_OS_WIN
#include "support/RemoteStudio.h"
#endif

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace velmo::test {

#ifdef Q_OS_WIN
using Studio = RemoteStudio;
#else
using Studio = studio::StudioServer;
#endif

/// How many of the last bytes may not arrive when the studio cuts a connection.
#ifdef Q_OS_WIN
constexpr qsizetype lostAtACut = 16384; // Schannel can drop a last record that came with the end
#else
constexpr qsizetype lostAtACut = 0;
#endif

/// A running studio with a content tree of its own in a temporary folder. Every TLS connection of this process trusts
/// it from then on. Needs velmo_test_certificates.
class TestStudio {
public:
    /// Options with the loopback certificates and nothing else, for a studio of one's own.
    static velmo::studio::StudioServer::Options loopbackOptions();

    /// Sets the root and the certificates; the rest of \a options is kept.
    explicit TestStudio(velmo::studio::StudioServer::Options options = {});
    Q_DISABLE_COPY_MOVE(TestStudio)

    Studio &server() { return server_; }

    /// The address of \a path, which begins with a slash.
    QUrl url(const QString &path) const { return server_.url(path); }
    /// The folder of the content tree.
    QString root() const { return tree_.path(); }
    /// What stands in the tree; empty when nothing does.
    QByteArray readFile(const QString &path) const;
    /// Writes a file into the tree, with the folders that it needs. \a path is as in an address.
    void writeFile(const QString &path, const QByteArray &bytes);

    /// Stops the studio and starts it at the same port again.
    void restart();

private:
    void start();

    QTemporaryDir tree_;
    velmo::studio::StudioServer::Options options_;
    Studio server_;
};

} // namespace velmo::test
