#pragma once

#include "publish/LiveFindings.h"
#include "publish/LiveServer.h"
#include "publish/ProgressMeter.h"

#include <QList>
#include <QUrl>

#include <optional>

namespace velmo::publish {

class LiveFile;

/// Asks a server for the content files of a manifest, a few at a time.
class LiveFiles {
public:
    /// All of these outlive this. \a manifest may be invalid; then nothing is asked.
    LiveFiles(const LiveOrder &order, LiveServer &server, const Manifest &manifest);

    void setProgress(const ProgressCallback &callback) { progress_ = callback; }
    /// The demands on content files.
    QList<LiveDemand> run();

    qsizetype count() const { return count_; }
    qsizetype countAsked() const { return files_.size(); }

private:
    friend class LiveFile;

    struct File {
        QUrl url;
        QString sha256;
        qint64 size = 0;
    };

    void choose(const Manifest &manifest);
    void ask();

    const LiveOrder &order_;
    LiveServer &server_;
    ProgressCallback progress_;
    std::optional<ProgressMeter> meter_; ///< while it asks
    QList<File> files_;                  ///< that are asked for
    qsizetype count_ = 0;
    qsizetype askedPacked_ = 0;

    LiveFindings secure_;
    LiveFindings sizes_;
    LiveFindings ranges_;
    LiveFindings bytes_;
    LiveFindings plain_;
    LiveFindings kept_;
};

} // namespace velmo::publish
