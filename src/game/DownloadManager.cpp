#include "game/DownloadManager.h"

#include "core/Logging.h"
#include "game/ExecuteBits.h"
#include "net/DownloadClient.h"

#include <QDir>
#include <QFile>
#include <QPointer>

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr int progressTickMs = 500;
constexpr int attemptsPerFile = 4;
constexpr std::array<int, attemptsPerFile - 1> retryDelaysMs = {1000, 3000, 8000};
constexpr qint64 speedWindowMs = 6000;
constexpr qsizetype fewestSamples = 2;
constexpr double lowestSpeedForEstimate = 1024.0; // bytes per second

[[maybe_unused]] const int progressTypeId = qRegisterMetaType<DownloadProgress>("velmo::DownloadProgress");

} // namespace

DownloadManager::DownloadManager(QNetworkAccessManager *network, QObject *parent)
    : QObject(parent)
    , network_(network)
    , client_(new DownloadClient(network_, this))
{
    connect(client_, &DownloadClient::progress, this,
            [this](qint64 received, qint64 /*total*/) { progress_.bytesReceived = received + completedBytes_; });
    connect(client_, &DownloadClient::finished, this, &DownloadManager::handleFileFinished);
    connect(client_, &DownloadClient::failed, this, &DownloadManager::handleFileFailed);
    tick_.setInterval(progressTickMs);
    tick_.setTimerType(Qt::PreciseTimer);
    connect(&tick_, &QTimer::timeout, this, &DownloadManager::tick);
    retryDelay_.setSingleShot(true);
    retryDelay_.setTimerType(Qt::PreciseTimer);
    connect(&retryDelay_, &QTimer::timeout, this, &DownloadManager::retry);
}

void DownloadManager::start(const QList<ManifestFile> &files, const QString &root, const QUrl &baseUrl)
{
    if (running_) {
        qCWarning(lcDownload) << "start() called while a download job is already running; ignoring";
        return;
    }
    queue_ = files;
    root_ = root;
    baseUrl_ = baseUrl;
    running_ = true;
    cancelled_ = false;
    ++job_;
    completedBytes_ = 0;
    attempt_ = 0;
    samples_.clear();
    progress_ = {};
    progress_.filesTotal = static_cast<int>(files.size());
    progress_.bytesTotal = totalSize(files);
    qCInfo(lcDownload) << "Starting download of" << progress_.filesTotal << "files," << progress_.bytesTotal
                       << "bytes into" << root_;
    clock_.start();
    tick_.start();
    startNext();
}

void DownloadManager::cancel()
{
    if (!running_) {
        return;
    }
    qCInfo(lcDownload) << "Download cancelled by the user";
    cancelled_ = true;
    stop();
    client_->cancel();
    queue_.clear();
    emit cancelled();
}

void DownloadManager::startNext()
{
    if (cancelled_) {
        return;
    }
    if (queue_.isEmpty()) {
        complete();
        return;
    }
    current_ = queue_.takeFirst();
    attempt_ = 0;
    progress_.currentFile = current_.path;
    // The manifest's own path rules come first; this stands behind them. It is a bare test of the beginning, without a
    // separator after the root.
    if (!targetPath().startsWith(QDir::cleanPath(root_))) {
        const QPointer<DownloadManager> self = this;
        const int stopped = job_;
        emit failed(u"The update could not be applied safely and was stopped."_s,
                    u"Manifest path escaped the install root: %1"_s.arg(current_.path));
        if (self && job_ == stopped) {
            stop();
        }
        return;
    }
    startCurrentFile();
}

void DownloadManager::startCurrentFile()
{
    const QString address = current_.url.isEmpty() ? current_.path : current_.url;
    client_->start(baseUrl_.resolved(QUrl(address, QUrl::TolerantMode)), targetPath(), current_.size, current_.sha256);
}

void DownloadManager::complete()
{
    stop();
    progress_.bytesReceived = progress_.bytesTotal;
    progress_.etaSeconds = 0;
    progress_.bytesPerSecond = 0.0;
    const QPointer<DownloadManager> self = this;
    report();
    if (!self) {
        return;
    }
    qCInfo(lcDownload) << "Download job complete";
    emit finished();
}

void DownloadManager::stop()
{
    running_ = false;
    tick_.stop();
    retryDelay_.stop(); // or it would meet the next job
}

void DownloadManager::handleFileFinished()
{
    if (current_.executable) {
        allowExecution(targetPath());
    }
    completedBytes_ = addSizes(completedBytes_, current_.size);
    ++progress_.filesDone;
    progress_.bytesReceived = completedBytes_;
    startNext();
}

void DownloadManager::handleFileFailed(const QString &message, const QString &detail, bool retryable)
{
    if (cancelled_) {
        return;
    }
    const int failuresBefore = attempt_;
    attempt_ = failuresBefore + 1;
    if (retryable && attempt_ < attemptsPerFile) {
        const auto row = static_cast<size_t>(std::clamp(failuresBefore, 0, attemptsPerFile - 2));
        const int delayMs = retryDelaysMs.at(row);
        qCWarning(lcDownload) << "Retrying" << current_.path << "in" << delayMs << "ms"
                              << "(attempt" << attempt_ + 1 << "of" << attemptsPerFile << ")";
        retryDelay_.start(delayMs);
        return;
    }
    stop();
    qCCritical(lcDownload) << "Giving up on" << current_.path << ":" << detail;
    emit failed(message, detail);
}

void DownloadManager::retry()
{
    if (!cancelled_ && running_) {
        startCurrentFile();
    }
}

void DownloadManager::tick()
{
    const qint64 now = clock_.elapsed();
    samples_.append({now, progress_.bytesReceived});
    while (samples_.size() > fewestSamples && now - samples_.first().first > speedWindowMs) {
        samples_.removeFirst();
    }
    updateRate();
    report();
}

void DownloadManager::report()
{
    // A copy, because a listener may begin the next job before the others have heard.
    const DownloadProgress progress = progress_;
    emit progressChanged(progress);
}

/// Plain speed over the window. While the byte count falls, as for a file begun anew, the old speed stands.
void DownloadManager::updateRate()
{
    if (samples_.size() < fewestSamples) {
        return;
    }
    const qint64 spanMs = samples_.last().first - samples_.first().first;
    const qint64 delta = samples_.last().second - samples_.first().second;
    if (spanMs <= 0 || delta < 0) {
        return;
    }
    progress_.bytesPerSecond = static_cast<double>(delta) * 1000.0 / static_cast<double>(spanMs);
    const auto left = static_cast<double>(progress_.bytesTotal - progress_.bytesReceived);
    progress_.etaSeconds =
        progress_.bytesPerSecond > lowestSpeedForEstimate ? static_cast<qint64>(left / progress_.bytesPerSecond) : -1;
}

QString DownloadManager::targetPath() const
{
    return QDir::cleanPath(QDir(root_).filePath(current_.path));
}

} // namespace velmo
