#include "game/VerificationManager.h"

#include "core/Logging.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr qint64 readBytes = 1048576;
constexpr int readsPerProgress = 8;
constexpr unsigned long destructionWaitMs = 5000;

[[maybe_unused]] const int resultTypeId = qRegisterMetaType<VerificationResult>("velmo::VerificationResult");

double fractionOf(qint64 done, qint64 total)
{
    return total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 0.0;
}

} // namespace

/// One walk over a file list, on the worker thread. It shares nothing with the manager but the cancel flag and reports
/// by queued calls alone.
class VerificationManager::Pass {
public:
    Pass(VerificationManager *manager, QList<ManifestFile> files, const QString &root, qint64 totalBytes)
        : manager_(manager)
        , files_(std::move(files))
        , root_(root)
        , totalBytes_(totalBytes)
    {}

    void run()
    {
        for (const ManifestFile &file : std::as_const(files_)) {
            if (cancelRequested() || !check(file)) {
                result_.cancelled = true;
                break;
            }
        }
        QMetaObject::invokeMethod(
            manager_, [manager = manager_, result = std::move(result_)] { manager->finish(result); },
            Qt::QueuedConnection);
    }

private:
    bool cancelRequested() const { return manager_->cancelRequested_.load() != 0; }

    /// Judges one file. False when the pass was cancelled in the middle of it; it is then not judged.
    bool check(const ManifestFile &file)
    {
        const QString path = root_.filePath(file.path);
        const QFileInfo info(path);
        if (!info.exists()) {
            result_.missing.append(file);
            done_ = addSizes(done_, file.size);
            postProgress(fractionOf(done_, totalBytes_), file.path);
            return true;
        }
        if (file.size >= 1 && info.size() != file.size) {
            judgeUnread(file);
            return true;
        }
        QFile device(path);
        if (!device.open(QIODevice::ReadOnly)) {
            qCWarning(lcVerify) << "Could not open for verification:" << path << device.errorString();
            judgeUnread(file);
            return true;
        }
        return checkContent(file, device);
    }

    bool checkContent(const ManifestFile &file, QFile &device)
    {
        QCryptographicHash hash(QCryptographicHash::Sha256);
        int reads = 0;
        while (!device.atEnd()) {
            if (cancelRequested()) {
                return false;
            }
            const qint64 count = device.read(block_.data(), block_.size());
            if (count <= 0) {
                break;
            }
            hash.addData(QByteArrayView(block_.constData(), count));
            done_ = addSizes(done_, count);
            result_.bytesChecked += count;
            if (++reads % readsPerProgress == 0) {
                // A file that grew after its size was tested must not carry the bar past its end.
                postProgress(std::clamp(fractionOf(done_, totalBytes_), 0.0, 1.0), file.path);
            }
        }
        ++result_.filesChecked;
        if (QString::fromLatin1(hash.result().toHex()) != file.sha256) {
            result_.corrupt.append(file);
        }
        return true;
    }

    void judgeUnread(const ManifestFile &file)
    {
        result_.corrupt.append(file);
        done_ = addSizes(done_, file.size);
        ++result_.filesChecked;
    }

    void postProgress(double fraction, const QString &path)
    {
        QMetaObject::invokeMethod(
            manager_, [manager = manager_, fraction, path] { emit manager->progressChanged(fraction, path); },
            Qt::QueuedConnection);
    }

    VerificationManager *manager_;
    QList<ManifestFile> files_;
    QDir root_;
    qint64 totalBytes_;
    qint64 done_ = 0; ///< bytes walked, read or not
    VerificationResult result_;
    // One for all reads: Windows takes a new one of this size from the system each time, page by page.
    QByteArray block_{readBytes, Qt::Uninitialized};
};

QList<ManifestFile> VerificationResult::filesNeedingRepair() const
{
    return missing + corrupt;
}

VerificationManager::VerificationManager(QObject *parent)
    : QObject(parent)
{}

VerificationManager::~VerificationManager()
{
    cancel();
    if (thread_) {
        thread_->quit();
        thread_->wait(destructionWaitMs);
    }
}

void VerificationManager::verify(const Manifest &manifest, const QString &root)
{
    if (running_) {
        qCWarning(lcVerify) << "verify() called while a pass is already running; ignoring";
        return;
    }
    cancelRequested_ = 0;
    running_ = true;
    const QList<ManifestFile> files = manifest.files;
    const qint64 totalBytes = totalSize(files);
    qCInfo(lcVerify) << "Verifying" << files.size() << "files in" << root;
    thread_ = QThread::create([this, files, root, totalBytes] { Pass(this, files, root, totalBytes).run(); });
    connect(thread_, &QThread::finished, thread_, &QObject::deleteLater);
    // It is heard of only after the result, from which the next pass may have begun.
    connect(thread_, &QThread::finished, this, [this, ended = thread_] {
        if (thread_ == ended) {
            thread_ = nullptr;
        }
    });
    thread_->start();
}

void VerificationManager::cancel()
{
    if (running_) {
        qCInfo(lcVerify) << "Verification cancelled";
        cancelRequested_ = 1;
    }
}

void VerificationManager::finish(const VerificationResult &result)
{
    running_ = false;
    if (result.cancelled) {
        qCInfo(lcVerify) << "Verification stopped early";
    } else {
        qCInfo(lcVerify) << "Verification finished:" << result.filesChecked << "checked," << result.missing.size()
                         << "missing," << result.corrupt.size() << "corrupt";
    }
    emit finished(result);
}

} // namespace velmo
