#pragma once

#include "data/Manifest.h"

#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QThread>

#include <atomic>

namespace velmo {

/// What a verification pass found.
struct VerificationResult {
    QList<ManifestFile> missing; ///< in manifest order
    QList<ManifestFile> corrupt; ///< exist and fail; in manifest order
    int filesChecked = 0;        ///< examined, whatever the verdict; missing ones do not count
    qint64 bytesChecked = 0;     ///< really read and hashed
    bool cancelled = false;      ///< stopped early; the lists hold what was found until then

    /// The missing files, then the corrupt ones.
    QList<ManifestFile> filesNeedingRepair() const;
};

/// Checks the files of an install folder against a manifest: present, of the right size, with the right SHA-256. One
/// extra thread does the hashing; everything public belongs to the main thread. Changes nothing on disk.
class VerificationManager : public QObject {
    Q_OBJECT

public:
    explicit VerificationManager(QObject *parent = nullptr);
    /// Asks a running pass to stop and waits for it, up to 5000 ms.
    ~VerificationManager() override;

    /// Begins a pass over \a manifest's files in the folder \a root. While a pass runs, the call only warns.
    void verify(const Manifest &manifest, const QString &root);
    /// Asks the pass to stop at the next file or read; finished() follows.
    void cancel();
    bool isRunning() const { return running_; }

signals:
    /// \a fraction of the bytes walked, from 0; it can pass 1 where files are longer than their manifest says.
    /// \a currentFile is a manifest path.
    void progressChanged(double fraction, const QString &currentFile);
    void finished(const velmo::VerificationResult &result);

private:
    class Pass;

    void finish(const VerificationResult &result);

    QPointer<QThread> thread_; ///< deletes itself when it has ended, perhaps before this object hears of it
    std::atomic_int cancelRequested_ = 0;
    bool running_ = false;
};

} // namespace velmo

Q_DECLARE_METATYPE(velmo::VerificationResult)
