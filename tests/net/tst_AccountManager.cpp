#include "net/AccountManager.h"
#include "net/ApiClient.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QMetaEnum>
#include <QSignalSpy>

using namespace Qt::Literals::StringLiterals;
using velmo::AccountManager;
using velmo::ApiClient;
using velmo::test::LogCapture;

namespace {

/// Opens the session state, which no account service of this build could change. Only an explicit instantiation may
/// name a private member.
template<auto Member>
struct SessionStateKey {
    friend AccountManager::SessionState &sessionStateOf(AccountManager &manager) { return manager.*Member; }
};
AccountManager::SessionState &sessionStateOf(AccountManager &manager);
template struct SessionStateKey<&AccountManager::state>;

} // namespace

class tst_AccountManager : public QObject {
    Q_OBJECT

private slots:
    void sessionStatesHaveTheirOrderAndValues();
    void profileTravelsAsAMetaType();
    void constructionSaysNothing();
    void startSaysOnceThatThereIsNoService();
    void startEmitsNothing();
    void startMakesAnEarlierSessionUnavailable();
    void managerDoesNotOwnTheClient();
};

void tst_AccountManager::sessionStatesHaveTheirOrderAndValues()
{
    const QMetaEnum states = QMetaEnum::fromType<AccountManager::SessionState>();
    const QList<QByteArray> expected = {"Unavailable", "SignedOut", "SigningIn", "SignedIn", "Expired"};
    QCOMPARE(states.keyCount(), int(expected.size()));
    for (int i = 0; i < states.keyCount(); ++i) {
        QCOMPARE(QByteArray(states.key(i)), expected.at(i));
        QCOMPARE(states.value(i), i);
    }
}

void tst_AccountManager::profileTravelsAsAMetaType()
{
    const AccountManager manager(nullptr);
    const QMetaType type = QMetaType::fromName("velmo::AccountProfile");
    QVERIFY(type.isValid());
    QCOMPARE(type, QMetaType::fromType<velmo::AccountProfile>());
    const auto profile = qvariant_cast<velmo::AccountProfile>(QVariant(type));
    QVERIFY(profile.id.isEmpty());
    QVERIFY(profile.displayName.isEmpty());
    QVERIFY(profile.email.isEmpty());
    QVERIFY(profile.entitlements.isEmpty());
    QCOMPARE(sizeof(velmo::AccountEntitlement::grantedAt), size_t(8));
}

void tst_AccountManager::constructionSaysNothing()
{
    const LogCapture log;
    ApiClient api;
    const AccountManager manager(&api);
    QCOMPARE(log.texts(), QStringList());
}

void tst_AccountManager::startSaysOnceThatThereIsNoService()
{
    const LogCapture log;
    ApiClient api;
    AccountManager manager(&api);
    manager.start();
    QCoreApplication::processEvents();
    QCOMPARE(log.texts(), QStringList{u"INFO velmo.account: No account service is configured for this build"_s});
}

void tst_AccountManager::startEmitsNothing()
{
    const LogCapture log;
    ApiClient api;
    AccountManager manager(&api);
    const QSignalSpy states(&manager, &AccountManager::sessionStateChanged);
    const QSignalSpy profiles(&manager, &AccountManager::profileChanged);
    const QSignalSpy failures(&manager, &AccountManager::signInFailed);
    QVERIFY(states.isValid());
    QVERIFY(profiles.isValid());
    QVERIFY(failures.isValid());
    manager.start();
    QCoreApplication::processEvents();
    QCOMPARE(states.count(), 0);
    QCOMPARE(profiles.count(), 0);
    QCOMPARE(failures.count(), 0);
}

void tst_AccountManager::startMakesAnEarlierSessionUnavailable()
{
    const LogCapture log;
    AccountManager manager(nullptr);
    sessionStateOf(manager) = AccountManager::SignedIn;
    QList<AccountManager::SessionState> told;
    connect(&manager, &AccountManager::sessionStateChanged, this, [&](AccountManager::SessionState state) {
        told.append(state);
        QCOMPARE(sessionStateOf(manager), AccountManager::Unavailable);
        QCOMPARE(log.texts().size(), 1);
    });
    manager.start();
    QCOMPARE(told, QList<AccountManager::SessionState>{AccountManager::Unavailable});
    QCOMPARE(sessionStateOf(manager), AccountManager::Unavailable);
    manager.start();
    QCOMPARE(told.size(), 1);
}

void tst_AccountManager::managerDoesNotOwnTheClient()
{
    const QPointer<ApiClient> api = new ApiClient(this);
    delete new AccountManager(api);
    QVERIFY(api);
    delete api;
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_AccountManager>(argc, argv);
}

#include "tst_AccountManager.moc"
