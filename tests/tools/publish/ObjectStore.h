#pragma once

#include "tools/publish/StoreRelay.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace velmo::test {

/// A store that speaks S3, as a process of its own on loopback, with an empty bucket that everybody may read, and a
/// relay in front of it.
class ObjectStore {
public:
    ObjectStore();
    ~ObjectStore();
    Q_DISABLE_COPY_MOVE(ObjectStore)

    /// Why it could not be started; empty when it runs.
    QString problem() const { return problem_; }
    /// For rclone: it knows the bucket as remote(), and by way of the relay as relayedRemote().
    QProcessEnvironment environment() const;
    static QString remote() { return QStringLiteral("store:games/content"); }
    static QString relayedRemote() { return QStringLiteral("relayed:games/content"); }
    StoreRelay &relay() { return relay_; }
    /// Where everybody reads what lies at remote(); ends in a slash.
    QUrl address() const;
    /// The header \a name of what lies at \a path there; "404" when nothing does.
    QByteArray header(const QString &path, const QByteArray &name) const;
    /// What a client gets for \a path there, unpacked if it says that it is packed.
    QByteArray bytes(const QString &path) const;
    /// Brings everything to \a folder, which is emptied first, and unpacks the manifests.
    void download(const QString &folder) const;

private:
    QTemporaryDir folder_;
    QProcess process_;
    quint16 port_ = 0;
    StoreRelay relay_;
    QString problem_;
};

} // namespace velmo::test
