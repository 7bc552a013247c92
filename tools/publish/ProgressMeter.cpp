#include "publish/ProgressMeter.h"

namespace velmo::publish {

ProgressMeter::ProgressMeter(const ProgressCallback &callback)
    : callback_(callback)
{}

void ProgressMeter::begin(PublishStep step, qsizetype files, qint64 bytes)
{
    step_ = {step, files, bytes};
    filesDone_ = 0;
    bytesDone_ = 0;
    entriesDone_ = 0;
    report();
}

void ProgressMeter::report() const
{
    if (callback_) {
        PublishProgress now = step_;
        now.filesDone = filesDone_;
        now.bytesDone = bytesDone_;
        now.entriesDone = entriesDone_;
        callback_(now);
    }
}

void ProgressMeter::finish()
{
    step_.finished = true;
    report();
}

} // namespace velmo::publish
