#pragma once

#include <QtGlobal>

#include <functional>

namespace velmo::publish {

/// Calls \a work with every index below \a count, on \a jobs threads at a time, and returns when all have ended. No
/// further index is handed out once \a work has returned false. \a tick runs a few times a second on the calling
/// thread.
void parallelFor(qsizetype count, int jobs, const std::function<bool(qsizetype)> &work,
                 const std::function<void()> &tick);

} // namespace velmo::publish
