#pragma once

#include "data/GameProfile.h"
#include "data/Manifest.h"
#include "game/DownloadManager.h"
#include "game/GameState.h"
#include "game/VerificationManager.h"

#include <QObject>
#include <QProcess>

class QNetworkAccessManager;

namespace velmo {

class ApiClient;
class ConfigManager;
class InstallManager;
class UpdateManager;

/// Knows where the game stands and drives everything that changes it. The interface calls its few methods and listens
/// to its signals; the workers behind it are its own.
///
/// The resting states are never remembered: refreshState() derives them from the disk and the last check, and every
/// operation ends by calling it. Main thread only; signals are emitted synchronously and may re-enter.
class GameManager : public QObject {
    Q_OBJECT

public:
    /// None of the arguments is owned; all must outlive the manager.
    GameManager(ConfigManager *config, ApiClient *api, QNetworkAccessManager *network, QObject *parent = nullptr);
    ~GameManager() override;

    /// The first evaluation of the disk, and the first update check if the settings want one. Called once.
    void start();

    GameState state() const { return state_; }
    /// The status text of the present state.
    QString detail() const { return detail_; }
    /// The text for \a state when nothing more exact is known; empty for a value outside the enumeration.
    static QString stateLabel(GameState state);

    /// What the main button does now: install, update, play or try again.
    void primaryAction();
    /// Stops a running job and a running pass; they end the state by their own signals.
    void cancelOperation();
    bool canCancel() const;
    /// Checks the installed files and repairs what is missing or damaged.
    void verifyFiles();

    /// Switches to the branch \a id; refused with errorOccurred() while files are being written or checked.
    void selectChannel(const QString &id);
    QString currentChannelId() const;
    /// The profile's channel for that id, by its fallback when the id is unknown.
    GameChannel currentChannel() const;

    /// Takes another install folder as it is; nothing is moved or checked.
    void setInstallPath(const QString &path);
    /// The chosen folder; empty while the default one is in use.
    QString installPath() const;
    /// Empty when no valid record of a build stands.
    QString installedVersion() const;
    /// Bytes that an install or update would fetch.
    qint64 pendingDownloadBytes() const;

signals:
    void stateChanged(velmo::GameState state, const QString &detail);
    void downloadProgressChanged(const velmo::DownloadProgress &progress);
    /// \a fraction of the bytes walked, 0 to 1.
    void verificationProgressChanged(double fraction, const QString &currentFile);
    void serviceStatusChanged(velmo::ServiceStatus status, const QString &detail);
    /// The only road to a dialog: \a message for the user, \a detail for its detail area and the log.
    void errorOccurred(const QString &message, const QString &detail);
    /// The end of every pass, a cancelled one included.
    void verificationFinished(const velmo::VerificationResult &result);
    void installPathChanged(const QString &path);
    void channelChanged(const QString &channelId);

private:
    void connectWorkers();
    void setState(GameState state, const QString &detail);
    void refreshState();
    void applyChannel();
    void checkForUpdates();
    void onCheckFailed(const QString &message, const QString &detail, bool offline);

    void startInstall();
    bool hasEnoughDiskSpace(const QList<ManifestFile> &files);
    void startDownload(const QList<ManifestFile> &files);
    void onDownloadFinished();
    void onDownloadFailed(const QString &message, const QString &detail);
    void onVerificationFinished(const VerificationResult &result);

    void launchGame();
    void createProcess(const QString &workingDirectory);
    void onProcessError(QProcess::ProcessError error);
    void onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus);

    ConfigManager *config_;
    ApiClient *api_;
    InstallManager *install_;
    UpdateManager *update_;
    DownloadManager *download_;
    VerificationManager *verification_;
    QProcess *process_ = nullptr; ///< made at the first launch, then reused
    GameState state_ = GameState::CheckingInstallation;
    QString detail_;
    Manifest installed_;          ///< last read record; invalid when there is none
    Manifest latest_;             ///< last manifest of the branch accepted in this run
    QList<ManifestFile> pending_; ///< what an install or update would fetch
    bool repairAfterVerify_ = false;
};

} // namespace velmo
