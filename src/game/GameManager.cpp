#include "game/GameManager.h"

#include "core/ConfigManager.h"
#include "core/Format.h"
#include "core/Logging.h"
#include "core/Paths.h"
#include "game/InstallManager.h"
#include "game/UpdateManager.h"
#include "net/LoggedAddress.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

[[maybe_unused]] const int gameStateTypeId = qRegisterMetaType<GameState>("velmo::GameState");
[[maybe_unused]] const int serviceStatusTypeId = qRegisterMetaType<ServiceStatus>("velmo::ServiceStatus");

} // namespace

GameManager::GameManager(ConfigManager *config, ApiClient *api, QNetworkAccessManager *network, QObject *parent)
    : QObject(parent)
    , config_(config)
    , api_(api)
    , install_(new InstallManager(this))
    , update_(new UpdateManager(api_, this))
    , download_(new DownloadManager(network, this))
    , verification_(new VerificationManager(this))
{
    applyChannel();
    connectWorkers();
}

GameManager::~GameManager() = default;

void GameManager::start()
{
    QString root = installPath();
    if (root.isEmpty()) {
        root = QDir(defaultGamesRoot()).filePath(gameProfile().installFolderName);
    }
    install_->setInstallRoot(root);
    installed_ = install_->loadInstalledManifest();
    refreshState();
    if (config_->boolValue(u"launcher.autoCheckUpdates"_s, true)) {
        checkForUpdates();
    } else {
        emit serviceStatusChanged(ServiceStatus::Connecting, u"Update checking is turned off"_s);
    }
}

QString GameManager::stateLabel(GameState state)
{
    switch (state) {
    case GameState::CheckingInstallation:
        return u"Checking installation"_s;
    case GameState::NotInstalled:
        return u"Not installed"_s;
    case GameState::Installed:
        return u"Installed"_s;
    case GameState::UpdateAvailable:
        return u"Update available"_s;
    case GameState::Downloading:
        return u"Downloading"_s;
    case GameState::Installing:
        return u"Installing"_s;
    case GameState::Verifying:
        return u"Verifying files"_s;
    case GameState::Repairing:
        return u"Repairing files"_s;
    case GameState::Launching:
        return u"Launching"_s;
    case GameState::Running:
        return u"Running"_s;
    case GameState::Error:
        return u"Something went wrong"_s;
    }
    return {};
}

void GameManager::primaryAction()
{
    switch (state_) {
    case GameState::NotInstalled:
    case GameState::UpdateAvailable:
        startInstall();
        return;
    case GameState::Installed:
        launchGame();
        return;
    case GameState::Error:
        setState(GameState::CheckingInstallation, QString());
        refreshState();
        checkForUpdates();
        return;
    default:
        qCInfo(lcGame) << "Primary action ignored in state" << stateLabel(state_);
    }
}

void GameManager::cancelOperation()
{
    if (download_->isRunning()) {
        download_->cancel();
    }
    if (verification_->isRunning()) {
        verification_->cancel();
    }
}

bool GameManager::canCancel() const
{
    return state_ == GameState::Downloading || state_ == GameState::Verifying || state_ == GameState::Repairing;
}

void GameManager::verifyFiles()
{
    const Manifest reference = latest_.valid ? latest_ : installed_;
    if (!reference.valid) {
        emit errorOccurred(u"The launcher does not have a file list to verify against yet.\n\nConnect to the internet "
                           "and check for updates first."_s,
                           u"No valid manifest available for verification"_s);
        return;
    }
    repairAfterVerify_ = true;
    setState(GameState::Verifying, u"Checking game files"_s);
    verification_->verify(reference, install_->installRoot());
}

void GameManager::selectChannel(const QString &id)
{
    const QString previous = currentChannelId();
    if (id == previous) {
        return;
    }
    if (isTransfer(state_)) {
        emit errorOccurred(u"Finish or cancel the current download before switching branch."_s,
                           u"Channel switch refused while in state %1"_s.arg(stateLabel(state_)));
        return;
    }
    const QVariant chosen = id; // the caller's own may change with what listeners do
    qCInfo(lcGame) << "Switching branch from" << previous << "to" << id;
    config_->setValue(u"game.channel"_s, chosen);
    latest_ = {};
    pending_.clear();
    applyChannel();
    emit channelChanged(chosen.toString());
    refreshState();
    checkForUpdates();
}

QString GameManager::currentChannelId() const
{
    const QString id = config_->stringValue(u"game.channel"_s, QString());
    return id.isEmpty() ? gameProfile().defaultChannel : id;
}

GameChannel GameManager::currentChannel() const
{
    return gameProfile().channel(currentChannelId());
}

void GameManager::setInstallPath(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    config_->setValue(u"game.installPath"_s, clean);
    install_->setInstallRoot(clean);
    qCInfo(lcGame) << "Installation folder set to" << clean;
    emit installPathChanged(clean);
    refreshState();
}

QString GameManager::installPath() const
{
    return config_->stringValue(u"game.installPath"_s, QString());
}

QString GameManager::installedVersion() const
{
    return installed_.valid ? installed_.version : QString();
}

qint64 GameManager::pendingDownloadBytes() const
{
    return totalSize(pending_);
}

void GameManager::connectWorkers()
{
    connect(update_, &UpdateManager::updateAvailable, this,
            [this](const Manifest &latest, const QList<ManifestFile> &changedFiles) {
                latest_ = latest;
                pending_ = changedFiles;
                emit serviceStatusChanged(ServiceStatus::Online, u"Connected to the Velmo Games servers"_s);
                refreshState();
            });
    connect(update_, &UpdateManager::upToDate, this, [this](const Manifest &latest) {
        latest_ = latest;
        pending_.clear();
        emit serviceStatusChanged(ServiceStatus::Online, u"Connected to the Velmo Games servers"_s);
        refreshState();
    });
    connect(update_, &UpdateManager::checkFailed, this, &GameManager::onCheckFailed);
    connect(download_, &DownloadManager::progressChanged, this, &GameManager::downloadProgressChanged);
    connect(download_, &DownloadManager::finished, this, &GameManager::onDownloadFinished);
    connect(download_, &DownloadManager::cancelled, this, [this] {
        qCInfo(lcGame) << "Install cancelled; leaving partial files in place for resume";
        refreshState();
    });
    connect(download_, &DownloadManager::failed, this, &GameManager::onDownloadFailed);
    connect(verification_, &VerificationManager::progressChanged, this, &GameManager::verificationProgressChanged);
    connect(verification_, &VerificationManager::finished, this, &GameManager::onVerificationFinished);
}

void GameManager::setState(GameState state, const QString &detail)
{
    // Compared as given: an empty detail always goes through once a text stands.
    if (state_ == state && detail_ == detail) {
        return;
    }
    // The members may be of another state before the last listener has heard of this one.
    const QString told = detail.isEmpty() ? stateLabel(state) : detail;
    state_ = state;
    detail_ = told;
    qCInfo(lcGame) << "State:" << stateLabel(state) << "-" << told;
    emit stateChanged(state, told);
}

/// Decides the resting state by the disk and the last check. It asks nothing about the present one, since it is also
/// what ends every busy one.
void GameManager::refreshState()
{
    installed_ = install_->loadInstalledManifest();
    if (!install_->hasInstalledManifest()) {
        const qint64 size = latest_.valid ? latest_.totalSize() : gameProfile().estimatedInstallSize;
        setState(GameState::NotInstalled, size >= 1 ? u"%1 required"_s.arg(formatBytes(size)) : u"Not installed"_s);
        return;
    }
    if (!pending_.isEmpty()) {
        setState(GameState::UpdateAvailable, u"%1 to download"_s.arg(formatBytes(pendingDownloadBytes())));
        return;
    }
    const QString exe = install_->executablePath();
    if (!exe.isEmpty() && QFile::exists(exe)) {
        setState(GameState::Installed,
                 installed_.valid ? u"Version %1 installed"_s.arg(installed_.version) : u"Installed"_s);
        return;
    }
    setState(GameState::UpdateAvailable, u"Game files are incomplete"_s);
}

void GameManager::applyChannel()
{
    const GameChannel channel = currentChannel();
    update_->setManifestUrl(channel.manifest);
    qCInfo(lcGame) << "Update channel is" << channel.id << "->" << loggedAddress(channel.manifest);
}

void GameManager::checkForUpdates()
{
    emit serviceStatusChanged(ServiceStatus::Connecting, u"Contacting the Velmo Games servers"_s);
    update_->checkForUpdates(installed_);
}

void GameManager::onCheckFailed(const QString &message, const QString &detail, bool offline)
{
    emit serviceStatusChanged(offline ? ServiceStatus::Offline : ServiceStatus::Degraded, message);
    qCWarning(lcGame) << "Update check failed, continuing in offline mode:" << detail;
    refreshState();
}

void GameManager::startInstall()
{
    if (pending_.isEmpty()) {
        checkForUpdates();
        return;
    }
    QString error;
    if (!install_->prepare(&error)) {
        setState(GameState::Error, u"Installation folder is not usable"_s);
        emit errorOccurred(error, u"prepare() failed for %1"_s.arg(install_->installRoot()));
        return;
    }
    const QList<ManifestFile> files = pending_; // which a listener of the change of state may empty
    if (hasEnoughDiskSpace(files)) {
        startDownload(files);
    }
}

bool GameManager::hasEnoughDiskSpace(const QList<ManifestFile> &files)
{
    const qint64 required = InstallManager::requiredBytes(files);
    const qint64 available = install_->availableBytes();
    if (available < 0) {
        qCWarning(lcGame) << "Could not determine free space for" << install_->installRoot();
        return true;
    }
    if (available >= required) {
        return true;
    }
    const QString message =
        u"There is not enough free space to install %1.\n\n%2 is required and %3 is available on that drive."_s.arg(
            gameProfile().title, formatBytes(required), formatBytes(available));
    setState(GameState::Error, u"Not enough disk space"_s);
    emit errorOccurred(message, u"Required %1 bytes, available %2 bytes at %3"_s.arg(
                                    QString::number(required), QString::number(available), install_->installRoot()));
    return false;
}

void GameManager::startDownload(const QList<ManifestFile> &files)
{
    setState(GameState::Downloading, u"%1 to download"_s.arg(formatBytes(totalSize(files))));
    download_->start(files, install_->installRoot(), update_->manifestBaseUrl());
}

void GameManager::onDownloadFinished()
{
    setState(GameState::Installing, u"Finishing installation"_s);
    if (latest_.valid) {
        install_->removeStaleFiles(installed_, latest_);
        install_->commitInstalledManifest(latest_);
        config_->setValue(u"game.installedVersion"_s, latest_.version);
        config_->setValue(u"game.installedBuild"_s, latest_.build);
    }
    pending_.clear();
    refreshState();
}

void GameManager::onDownloadFailed(const QString &message, const QString &detail)
{
    setState(GameState::Error, message);
    emit errorOccurred(message, detail);
}

void GameManager::onVerificationFinished(const VerificationResult &result)
{
    emit verificationFinished(result);
    if (result.cancelled) {
        refreshState();
        return;
    }
    if (result.missing.isEmpty() && result.corrupt.isEmpty()) {
        qCInfo(lcGame) << "Verification passed:" << result.filesChecked << "files";
        refreshState();
        return;
    }
    const QList<ManifestFile> damaged = result.filesNeedingRepair();
    qCWarning(lcGame) << "Verification found" << damaged.size() << "files needing repair";
    if (repairAfterVerify_) {
        repairAfterVerify_ = false;
        setState(GameState::Repairing,
                 u"Repairing %1 file%2"_s.arg(QString::number(damaged.size()), plural(damaged.size())));
        startDownload(damaged);
        return;
    }
    pending_ = damaged;
    setState(GameState::UpdateAvailable,
             u"%1 file%2 need repairing"_s.arg(QString::number(damaged.size()), plural(damaged.size())));
}

void GameManager::launchGame()
{
    const QString exe = install_->executablePath();
    if (exe.isEmpty() || !QFile::exists(exe)) {
        setState(GameState::UpdateAvailable, u"Game files are incomplete"_s);
        emit errorOccurred(u"The game could not be started because its files are missing.\n\nVerify the game files "
                           "from Settings to repair the installation."_s,
                           u"Executable not found at %1"_s.arg(exe));
        return;
    }
    if (!pending_.isEmpty()) {
        qCWarning(lcGame) << "Refusing to launch with a pending update";
        return;
    }
    setState(GameState::Launching, u"Starting %1"_s.arg(gameProfile().title));
    const QStringList args = QProcess::splitCommand(config_->stringValue(u"game.launchArguments"_s, QString()));
    if (!process_) {
        createProcess(QFileInfo(exe).absolutePath());
    }
    qCInfo(lcGame) << "Launching" << exe << args;
    process_->setProgram(exe);
    process_->setArguments(args);
    process_->start(QIODevice::ReadWrite);
}

/// The working directory is that of the first launch in this run of the launcher and stays so, on purpose.
void GameManager::createProcess(const QString &workingDirectory)
{
    process_ = new QProcess(this);
    process_->setWorkingDirectory(workingDirectory);
    connect(process_, &QProcess::started, this,
            [this] { setState(GameState::Running, u"%1 is running"_s.arg(gameProfile().title)); });
    connect(process_, &QProcess::errorOccurred, this, &GameManager::onProcessError);
    connect(process_, &QProcess::finished, this, &GameManager::onProcessFinished);
}

/// A crash after a good start is told like a failed start, on purpose.
void GameManager::onProcessError(QProcess::ProcessError error)
{
    qCCritical(lcGame) << "Game process error:" << error << process_->errorString();
    emit errorOccurred(u"The game could not be started.\n\nIf this keeps happening, verify the game files from "
                       "Settings."_s,
                       process_->errorString());
    refreshState();
}

void GameManager::onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    qCInfo(lcGame) << "Game exited with code" << exitCode
                   << (exitStatus == QProcess::CrashExit ? "(crashed)" : "(normal)");
    refreshState();
}

} // namespace velmo
