#pragma once

#include "data/Manifest.h"

#include <QObject>
#include <QUrl>

namespace velmo {

class ApiClient;
struct ApiResult;

/// Asks the content server what the selected branch holds, and reports how that differs from what is installed.
/// Writes nothing to disk. Main thread only.
class UpdateManager : public QObject {
    Q_OBJECT

public:
    /// \a api is not owned.
    explicit UpdateManager(ApiClient *api, QObject *parent = nullptr);

    /// The address that the next check asks; a check in flight goes on with the old one.
    void setManifestUrl(const QString &url) { manifestUrl_ = url; }
    /// Begins a check against \a installed. During a check the call does nothing: the reply under way serves.
    void checkForUpdates(const Manifest &installed);
    /// The manifest's folder, against which relative file addresses resolve.
    QUrl manifestBaseUrl() const;
    /// The newest manifest that was accepted; invalid until one was.
    Manifest latest() const { return latest_; }
    /// The files of \a latest that \a installed lacks or has with another hash, in the order of \a latest.
    static QList<ManifestFile> changedFiles(const Manifest &installed, const Manifest &latest);

signals:
    void checkStarted();
    /// \a changedFiles are those to fetch, in the manifest's order; empty when only the build number rose.
    void updateAvailable(const velmo::Manifest &latest, const QList<velmo::ManifestFile> &changedFiles);
    void upToDate(const velmo::Manifest &latest);
    /// \a offline: the servers could not be reached at all.
    void checkFailed(const QString &message, const QString &detail, bool offline);

private:
    void handleReply(const ApiResult &result, const Manifest &installed);

    ApiClient *api_;
    QString manifestUrl_;
    Manifest latest_;
    bool inProgress_ = false;
};

} // namespace velmo
