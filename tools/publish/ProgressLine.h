#pragma once

#include "publish/ProgressMeter.h"

#include <QString>

class QTextStream;

namespace velmo::publish {

/// Writes progress for a person. On a terminal one line is rewritten as the work goes on; elsewhere, as in a build log,
/// only the line that sums up a finished step is written.
class ProgressLine {
public:
    ProgressLine(QTextStream &out, bool terminal);

    void show(const PublishProgress &progress);
    /// Takes an unfinished line away, so that something else can be written.
    void clear();

private:
    void rewrite(const QString &text);

    QTextStream &out_;
    bool terminal_;
    qsizetype shown_ = 0; ///< characters of the unfinished line
};

} // namespace velmo::publish
