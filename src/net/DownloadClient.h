#pragma once

#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;
class QUrl;

namespace velmo {

/// Fetches one file over HTTPS into "<destination>.part", resuming what an earlier transfer left there, and moves it
/// over the destination once size and SHA-256 are proved. A link in the place of either file is removed, never written
/// through; links to the folders around them are followed. One download at a time. Main thread only; while a finished
/// file is hashed, events other than user input go on being delivered. Whoever hears a signal may destroy the client,
/// and who hears of an outcome may start it anew.
class DownloadClient : public QObject {
    Q_OBJECT

public:
    /// \a network is not owned and must outlive the client.
    explicit DownloadClient(QNetworkAccessManager *network, QObject *parent = nullptr);
    ~DownloadClient() override;

    /// Begins a download; call it only while no transfer runs. A file that is still being hashed is given up. An
    /// \a expectedSize of 0 bytes means unknown; a hash is required. May emit failed() from inside the call.
    void start(const QUrl &url, const QString &destination, qint64 expectedSize, const QString &expectedSha256);
    /// Ends a running transfer without a signal. The part file stays for a later resume.
    void cancel();

signals:
    /// Bytes on disk after each chunk, resumed ones included. \a total is 0 or small while nobody knows it.
    void progress(qint64 received, qint64 total);
    /// The file stands at its destination, verified.
    void finished();
    /// \a message is for the user, \a detail for the log; \a retryable tells whether another attempt can help. A drive
    /// that takes no more makes two failures of one download: the transfer's, retryable, and then its own.
    void failed(const QString &message, const QString &detail, bool retryable);

private:
    bool openPartFile();
    void sendRequest(const QUrl &url);
    void readAvailable();
    void restartIfRangeWasIgnored();
    void handleFinished();
    void finalize();
    void moveIntoPlace();
    void fail(const QString &message, const QString &detail, bool retryable);
    void closeFile();
    bool isFarTooLong() const;
    int httpStatus() const;

    QNetworkAccessManager *network;
    QPointer<QNetworkReply> reply;
    QFile file; ///< the part file
    QString destination;
    QString expectedSha256; ///< lower case
    qint64 expectedSize = 0;
    qint64 resumeOffset = 0; ///< bytes on disk when the transfer began
    qint64 received = 0;     ///< bytes on disk now
    bool cancelled = false;
    int transfer = 0; ///< counts the starts, so that what ends later knows whether it still matters
};

} // namespace velmo
