#pragma once

#include "data/Manifest.h"

#include <QElapsedTimer>
#include <QMetaType>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <utility>

class QNetworkAccessManager;

namespace velmo {

class DownloadClient;

/// How far a download job is.
struct DownloadProgress {
    qint64 bytesReceived = 0; ///< finished files by their manifest sizes, and what is on disk of the one in hand
    qint64 bytesTotal = 0;
    double bytesPerSecond = 0.0;
    qint64 etaSeconds = -1; ///< -1 while unknown
    int filesDone = 0;
    int filesTotal = 0;
    QString currentFile; ///< manifest path of the file in hand
};

/// Brings a list of files into an install folder, one at a time and in order, retrying what can be retried. A job runs
/// to its end, gives up, or is cancelled; there is no pause. Main thread only. Whoever hears a signal may destroy the
/// manager.
class DownloadManager : public QObject {
    Q_OBJECT

public:
    /// \a network is not owned and must outlive the manager.
    explicit DownloadManager(QNetworkAccessManager *network, QObject *parent = nullptr);

    /// Begins a job into the folder \a root. \a baseUrl is the manifest's folder, against which relative file
    /// addresses resolve. While a job runs, the call only warns.
    void start(const QList<ManifestFile> &files, const QString &root, const QUrl &baseUrl);
    /// Stops the job; partial data stays on disk.
    void cancel();
    bool isRunning() const { return running_; }

signals:
    /// Every 500 ms during a job, and once more when it completes.
    void progressChanged(const velmo::DownloadProgress &progress);
    void finished();
    void cancelled();
    /// The job gave up. \a message is for the user, \a detail for the log.
    void failed(const QString &message, const QString &detail);

private:
    void startNext();
    void startCurrentFile();
    void complete();
    void stop();
    void handleFileFinished();
    void handleFileFailed(const QString &message, const QString &detail, bool retryable);
    void retry();
    void tick();
    void report();
    void updateRate();
    QString targetPath() const;

    QNetworkAccessManager *network_;
    DownloadClient *client_;
    QList<ManifestFile> queue_; ///< still to start; the first is next
    ManifestFile current_;
    QString root_;
    QUrl baseUrl_;
    DownloadProgress progress_;
    qint64 completedBytes_ = 0; ///< manifest sizes of finished files
    int attempt_ = 0;           ///< failures of the file in hand
    QTimer tick_;
    QTimer retryDelay_;                        ///< from a failure to the next attempt
    QElapsedTimer clock_;                      ///< since the job began
    QList<std::pair<qint64, qint64>> samples_; ///< (ms, bytesReceived): the window that the speed is taken over
    int job_ = 0;                              ///< counts the starts
    bool running_ = false;
    bool cancelled_ = false; ///< until the next start
};

} // namespace velmo

Q_DECLARE_METATYPE(velmo::DownloadProgress)
