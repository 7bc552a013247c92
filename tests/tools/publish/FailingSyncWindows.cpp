#include "tools/publish/FailingSync.h"

// Nothing stands in front of the system's sync there; no test that runs on Windows asks for that.

namespace velmo::test {

FailingSync::FailingSync(int error)
{
    Q_UNUSED(error)
}

FailingSync::FailingSync(int error, const QString &file)
{
    Q_UNUSED(error)
    Q_UNUSED(file)
}

FailingSync::~FailingSync() = default;

SyncCount::SyncCount() = default;

int SyncCount::ofAll()
{
    return 0;
}

int SyncCount::ofFiles()
{
    return 0;
}

SyncLook::SyncLook(const std::function<int()> &look)
{
    Q_UNUSED(look)
}

SyncLook::~SyncLook() = default;

} // namespace velmo::test
