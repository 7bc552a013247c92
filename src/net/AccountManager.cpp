#include "net/AccountManager.h"

#include "core/Logging.h"
#include "net/ApiClient.h"

namespace velmo {

AccountManager::AccountManager(ApiClient *api, QObject *parent)
    : QObject(parent)
    , api(api)
{
    qRegisterMetaType<AccountProfile>("velmo::AccountProfile");
}

void AccountManager::start()
{
    qCInfo(lcAccount) << "No account service is configured for this build";
    if (state != Unavailable) {
        state = Unavailable;
        emit sessionStateChanged(Unavailable);
    }
}

} // namespace velmo
