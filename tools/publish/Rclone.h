#pragma once

#include "publish/RemoteAddress.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

namespace velmo::publish {

/// How one run of rclone ended.
struct RcloneRun {
    static constexpr int nothingThere = 3; ///< rclone's code for a folder that is not there

    int exitCode = -1; ///< -1 when it did not run to its end
    QString reason;    ///< what rclone says about a failure, in one line and without secrets; may be empty

    bool isGood() const { return exitCode == 0; }
};

/// What one run of rclone has transferred so far.
struct RcloneProgress {
    qint64 bytes = 0;
    qsizetype files = 0;
};

/// Runs rclone, the tool that speaks to the stores where games are served from. Its output is read and never passed on,
/// as it may name credentials.
class Rclone {
public:
    using LineTaker = std::function<void(const QByteArray &line)>;
    using ProgressTaker = std::function<void(const RcloneProgress &progress)>;

    /// For work on \a remote.
    explicit Rclone(const RemoteAddress &remote);

    /// A sentence when there is no rclone that can be used.
    QString problem() const;
    /// Runs it with \a options, and behind them \a places, which may begin with a hyphen.
    RcloneRun run(const QStringList &options, const QStringList &places, const LineTaker &takeLine = {},
                  const ProgressTaker &takeProgress = {}) const;

private:
    RemoteAddress remote_;
    QString program_; ///< empty when there is none
};

} // namespace velmo::publish
