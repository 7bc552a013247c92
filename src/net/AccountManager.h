#pragma once

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

namespace velmo {

class ApiClient;

/// Something that an account owns.
struct AccountEntitlement {
    QString id;
    QString name;
    qint64 grantedAt = 0; ///< seconds since 1970, UTC
};

struct AccountProfile {
    QString id;
    QString displayName;
    QString email;
    QList<AccountEntitlement> entitlements;
};

/// The place of the account service. There is none in this version: the profile stays empty and the session
/// unavailable. Main thread only.
class AccountManager : public QObject {
    Q_OBJECT

public:
    enum SessionState {
        Unavailable, ///< no account service for this build
        SignedOut,
        SigningIn,
        SignedIn,
        Expired, ///< the service ended the session
    };
    Q_ENUM(SessionState)

    /// \a api is not owned; nothing is sent.
    explicit AccountManager(ApiClient *api, QObject *parent = nullptr);

    /// Says once in the log that there is no service.
    void start();

signals:
    void sessionStateChanged(velmo::AccountManager::SessionState state);
    void profileChanged(const velmo::AccountProfile &profile);
    void signInFailed(const QString &message, const QString &detail);

private:
    ApiClient *api;
    AccountProfile profile;
    SessionState state = Unavailable;
};

} // namespace velmo

Q_DECLARE_METATYPE(velmo::AccountProfile)
