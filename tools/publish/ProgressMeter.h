#pragma once

#include <QtGlobal>

#include <atomic>
#include <functional>

namespace velmo::publish {

enum class PublishStep { Scan, Hash, Copy, Check, Upload };

/// How far one step has come.
struct PublishProgress {
    PublishStep step = PublishStep::Hash;
    qsizetype files = 0; ///< to be done, as bytes; 0 while a scan is still finding out
    qint64 bytes = 0;
    qsizetype filesDone = 0;
    qint64 bytesDone = 0;
    bool finished = false;     ///< set on the last report of a step that went well
    qsizetype entriesDone = 0; ///< of a scan: everything that it has come by, folders too
};

/// Called on the thread that runs the step: at its start, a few times a second, and at its end.
using ProgressCallback = std::function<void(const PublishProgress &)>;

/// Counts what the workers of a step have done and reports it.
class ProgressMeter {
public:
    /// \a callback may be empty.
    explicit ProgressMeter(const ProgressCallback &callback);

    /// Begins a step over \a files files of \a bytes bytes together, and reports.
    void begin(PublishStep step, qsizetype files, qint64 bytes);
    void report() const;
    /// Reports that all of the step is done.
    void finish();

    /// These may be called from any thread.
    void addBytes(qint64 bytes) { bytesDone_ += bytes; }
    void addFile() { ++filesDone_; }
    void addEntry() { ++entriesDone_; }

private:
    ProgressCallback callback_;
    PublishProgress step_;
    std::atomic<qsizetype> filesDone_ = 0;
    std::atomic<qint64> bytesDone_ = 0;
    std::atomic<qsizetype> entriesDone_ = 0;
};

} // namespace velmo::publish
