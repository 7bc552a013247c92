#include "net/DownloadClient.h"

#include "core/Logging.h"
#include "net/LoggedAddress.h"
#include "net/UserAgent.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr qint64 hashBlockBytes = qint64{1024} * 1024;

/// What may wait in memory between the line and the disk. Unbounded, a fast line fills memory while the disk is slow.
constexpr qint64 readBufferBytes = qint64{4} * 1024 * 1024;

/// How far a body may run past the size of its file before nothing more is taken. One without end would fill the drive.
constexpr qint64 surplusBytes = qint64{4} * 1024 * 1024;

/// SHA-256 of the file at \a path in lower-case hexadecimal; null when it could not be read. Between blocks the event
/// loop runs, so that the window goes on painting.
QString hashOfFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    // One for all blocks: Windows takes a new one of this size from the system each time, page by page.
    QByteArray block(hashBlockBytes, Qt::Uninitialized);
    while (!file.atEnd()) {
        const qint64 count = file.read(block.data(), block.size());
        if (count <= 0) {
            return {};
        }
        hash.addData(QByteArrayView(block.constData(), count));
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    return QString::fromLatin1(hash.result().toHex());
}

/// Whether a transfer that ended in an error can go better next time. Without a status there was no reply at all; with
/// a success status the transfer broke off after the reply had begun.
bool isRetryable(int httpStatus)
{
    const bool brokeOff = httpStatus == 0 || (httpStatus >= 200 && httpStatus < 300);
    return brokeOff || httpStatus == 408 || httpStatus == 429 || httpStatus >= 500;
}

} // namespace

DownloadClient::DownloadClient(QNetworkAccessManager *network, QObject *parent)
    : QObject(parent)
    , network(network)
{}

DownloadClient::~DownloadClient()
{
    cancel();
}

void DownloadClient::start(const QUrl &url, const QString &destination, qint64 expectedSize,
                           const QString &expectedSha256)
{
    Q_ASSERT_X(!reply, "DownloadClient::start", "a transfer is running");
    this->destination = destination;
    this->expectedSize = expectedSize;
    this->expectedSha256 = expectedSha256.toLower();
    resumeOffset = 0;
    received = 0;
    cancelled = false;
    ++transfer;

    const QString unsafe = u"A game file could not be downloaded safely."_s;
    if (expectedSha256.isEmpty()) {
        fail(unsafe, u"Refusing to download %1 with no expected hash."_s.arg(destination), false);
        return;
    }
    if (!url.isValid() || url.scheme().compare("https"_L1, Qt::CaseInsensitive) != 0) {
        fail(unsafe, u"Refusing non-HTTPS download URL: %1"_s.arg(loggedAddress(url.toString())), false);
        return;
    }
    if (openPartFile()) {
        sendRequest(url);
    }
}

void DownloadClient::cancel()
{
    if (reply) {
        cancelled = true;
        reply->abort();
        closeFile();
    }
}

bool DownloadClient::openPartFile()
{
    const QString partPath = destination + u".part"_s;
    QDir().mkpath(QFileInfo(partPath).absolutePath());
    file.setFileName(partPath);
    const QString cannotWrite = u"The launcher could not write to the installation folder."_s;
    const QString cannotOpen = u"Cannot open %1 for writing: %2"_s;
    // What a link of that name leads to is not ours to cut or to extend.
    if (QFileInfo(partPath).isSymbolicLink() && !file.remove()) {
        fail(cannotWrite, cannotOpen.arg(partPath, file.errorString()), false);
        return false;
    }
    const qint64 existing = QFileInfo(partPath).size();
    // A part file that is already as long as the whole cannot be trusted and is fetched again.
    const bool resume = existing > 0 && (expectedSize == 0 || existing < expectedSize);
    // Unbuffered, so that a full disk shows at the write that meets it.
    const QIODevice::OpenMode mode = resume ? QIODevice::Append : QIODevice::WriteOnly | QIODevice::Truncate;
    if (!file.open(mode | QIODevice::Unbuffered)) {
        fail(cannotWrite, cannotOpen.arg(partPath, file.errorString()), false);
        return false;
    }
    resumeOffset = resume ? existing : 0;
    received = resumeOffset;
    return true;
}

void DownloadClient::sendRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent());
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    // HTTP/2 flow control does not follow the read buffer's bound, and a fast server would fill memory.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Offsets count the file's own bytes, so no compression may come between.
    request.setRawHeader("Accept-Encoding", "identity");
    const QString fileName = QFileInfo(destination).fileName();
    if (resumeOffset > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(resumeOffset) + "-");
        qCInfo(lcDownload) << "Resuming" << fileName << "from byte" << resumeOffset;
    } else {
        qCInfo(lcDownload) << "Downloading" << fileName;
    }
    reply = network->get(request);
    reply->setReadBufferSize(readBufferBytes);
    connect(reply, &QNetworkReply::readyRead, this, &DownloadClient::readAvailable);
    connect(reply, &QNetworkReply::finished, this, &DownloadClient::handleFinished);
}

void DownloadClient::readAvailable()
{
    if (!reply || !file.isOpen()) {
        return;
    }
    restartIfRangeWasIgnored();
    const QByteArray chunk = reply->readAll();
    // The body of an error reply is the server's error page; in the part file it would spoil what is there.
    if (chunk.isEmpty() || httpStatus() >= 400) {
        return;
    }
    const qint64 written = file.write(chunk);
    if (written != chunk.size()) {
        const QString detail = u"Short write to %1: wrote %2 of %3 bytes (%4)"_s.arg(
            file.fileName(), QString::number(written), QString::number(chunk.size()), file.errorString());
        // The abort reports its own, retryable failure first; this one follows and ends the job, unless whoever heard
        // the first has destroyed this object or begun another download.
        const QPointer<DownloadClient> self = this;
        const int stopped = transfer;
        reply->abort();
        if (!self || transfer != stopped) {
            return;
        }
        fail(u"The launcher ran out of space, or could not write to the installation folder."_s, detail, false);
        return;
    }
    received += written;
    if (isFarTooLong()) {
        reply->abort();
        return;
    }
    const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    emit progress(received, expectedSize >= 1 ? expectedSize : resumeOffset + length);
}

/// A server that answers a Range request with 200 sends the whole file from its first byte.
void DownloadClient::restartIfRangeWasIgnored()
{
    const bool nothingWritten = received == resumeOffset;
    if (resumeOffset >= 1 && nothingWritten && httpStatus() == 200) {
        qCInfo(lcDownload) << "Server ignored the range request; restarting the file from zero";
        file.resize(0);
        file.seek(0);
        resumeOffset = 0;
        received = 0;
    }
}

void DownloadClient::handleFinished()
{
    if (!reply) {
        return;
    }
    const int status = httpStatus();
    QNetworkReply *const ended = reply;
    reply = nullptr;
    ended->deleteLater();
    if (cancelled) {
        closeFile();
        return;
    }
    if (ended->error() != QNetworkReply::NoError && !isFarTooLong()) {
        fail(u"A game file could not be downloaded. The launcher will try again."_s,
             u"%1 (HTTP %2) for %3"_s.arg(withoutUserInfo(ended->errorString()), QString::number(status),
                                          loggedAddress(ended->request().url().toString())),
             isRetryable(status));
        return;
    }
    closeFile();
    finalize();
}

void DownloadClient::finalize()
{
    const QString partPath = file.fileName();
    const qint64 actualSize = QFileInfo(partPath).size();
    if (expectedSize > 0 && actualSize != expectedSize) {
        fail(u"A game file downloaded incompletely. The launcher will try again."_s,
             u"Size mismatch for %1: expected %2 bytes, have %3"_s.arg(destination, QString::number(expectedSize),
                                                                       QString::number(actualSize)),
             true);
        return;
    }
    // Events are delivered while hashing: this object may be gone, or at its next file, when it ends.
    const QPointer<DownloadClient> self = this;
    const int hashed = transfer;
    const QString computed = hashOfFile(partPath);
    if (!self || transfer != hashed) {
        return;
    }
    if (computed.isNull()) {
        fail(u"A downloaded game file could not be read back for verification."_s, u"Failed to hash %1"_s.arg(partPath),
             true);
        return;
    }
    if (computed != expectedSha256) {
        QFile::remove(partPath);
        fail(u"A downloaded game file failed verification and was discarded."_s,
             u"Hash mismatch for %1: expected %2, got %3"_s.arg(destination, expectedSha256, computed), true);
        return;
    }
    moveIntoPlace();
}

void DownloadClient::moveIntoPlace()
{
    const QString partPath = file.fileName();
    // A link that leads nowhere does not exist, but a file that is moved there lands where it leads.
    const QFileInfo old(destination);
    if ((old.exists() || old.isSymbolicLink()) && !QFile::remove(destination)) {
        fail(u"The launcher could not replace a game file. It may be in use."_s,
             u"Could not remove existing %1"_s.arg(destination), false);
        return;
    }
    if (!QFile::rename(partPath, destination)) {
        fail(u"The launcher could not finish writing a game file."_s,
             u"Rename %1 -> %2 failed"_s.arg(partPath, destination), false);
        return;
    }
    emit finished();
}

void DownloadClient::fail(const QString &message, const QString &detail, bool retryable)
{
    qCWarning(lcDownload) << "Download failed:" << detail;
    closeFile();
    emit failed(message, detail, retryable);
}

void DownloadClient::closeFile()
{
    if (file.isOpen()) {
        file.flush();
        file.close();
    }
}

bool DownloadClient::isFarTooLong() const
{
    return expectedSize > 0 && received - expectedSize > surplusBytes;
}

int DownloadClient::httpStatus() const
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

} // namespace velmo
