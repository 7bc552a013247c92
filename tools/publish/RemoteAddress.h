#pragma once

#include <QString>
#include <QStringList>

namespace velmo::publish {

/// A place that rclone can write to, such as "store:bucket/content", ":sftp,host=example,user=games:/srv/content" or a
/// folder. It may hold passwords, so it is shown without what stands between its name and its path.
class RemoteAddress {
public:
    RemoteAddress() = default;
    explicit RemoteAddress(const QString &address);

    bool isEmpty() const { return address_.isEmpty(); }
    /// What lies at \a path below it, as rclone takes it; itself if \a path is empty.
    QString at(const QString &path) const;
    /// For people: without its parameters.
    QString shown() const;

    /// \a text without what this address and rclone's environment keep secret.
    QString withoutSecrets(const QString &text) const;

private:
    QString address_;
    QStringList secrets_; ///< longest first
};

/// \a text with every address of a remote that it may hold cut down to what can be shown.
QString withoutRemoteParameters(const QString &text);

} // namespace velmo::publish
