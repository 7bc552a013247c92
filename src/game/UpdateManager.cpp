#include "game/UpdateManager.h"

#include "core/Logging.h"
#include "net/ApiClient.h"
#include "net/LoggedAddress.h"

#include <QHash>
#include <QPointer>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

UpdateManager::UpdateManager(ApiClient *api, QObject *parent)
    : QObject(parent)
    , api_(api)
{}

void UpdateManager::checkForUpdates(const Manifest &installed)
{
    if (inProgress_) {
        qCInfo(lcUpdate) << "Update check already in progress";
        return;
    }
    inProgress_ = true;
    // Takes its copy before any listener can change what the caller named.
    auto handle = [self = QPointer<UpdateManager>(this), installed](const ApiResult &result) {
        if (self) {
            self->handleReply(result, installed);
        }
    };
    emit checkStarted();
    qCInfo(lcUpdate) << "Checking for updates at"
                     << (manifestUrl_.isEmpty() ? u"<unconfigured>"_s : loggedAddress(manifestUrl_));
    api_->getJson(manifestUrl_, std::move(handle));
}

QUrl UpdateManager::manifestBaseUrl() const
{
    return QUrl(manifestUrl_, QUrl::TolerantMode).adjusted(QUrl::RemoveFilename);
}

void UpdateManager::handleReply(const ApiResult &result, const Manifest &installed)
{
    inProgress_ = false;
    if (!result.ok) {
        qCWarning(lcUpdate) << "Update check failed:" << result.detail;
        emit checkFailed(result.message, result.detail, result.offline);
        return;
    }
    QString error;
    const Manifest latest = Manifest::fromJson(result.data, &error);
    if (!latest.valid) {
        qCWarning(lcUpdate) << "Manifest rejected:" << error;
        emit checkFailed(u"The update information from the Velmo Games servers could not be read."_s, error, false);
        return;
    }
    latest_ = latest;
    const QList<ManifestFile> changed = changedFiles(installed, latest);
    if (changed.isEmpty() && !latest.isNewerThan(installed)) {
        qCInfo(lcUpdate) << "No update available; on build" << latest.build;
        emit upToDate(latest);
        return;
    }
    qCInfo(lcUpdate) << "Update available:" << latest.version << "build" << latest.build << "-" << changed.size()
                     << "files," << totalSize(changed) << "bytes";
    emit updateAvailable(latest, changed);
}

/// Path and hash decide; a lower build with other hashes is a change too, so that an older branch can be taken.
QList<ManifestFile> UpdateManager::changedFiles(const Manifest &installed, const Manifest &latest)
{
    QHash<QString, QString> hashByPath;
    hashByPath.reserve(installed.files.size());
    for (const ManifestFile &file : installed.files) {
        hashByPath.insert(file.path, file.sha256);
    }
    QList<ManifestFile> changed;
    for (const ManifestFile &file : latest.files) {
        const auto known = hashByPath.constFind(file.path);
        if (known == hashByPath.constEnd() || known.value() != file.sha256) {
            changed.append(file);
        }
    }
    return changed;
}

} // namespace velmo
