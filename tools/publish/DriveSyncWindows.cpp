#include "publish/DriveSync.h"

#include <QFile>
#include <QFileInfo>

#include <io.h>
#include <windows.h>

namespace velmo::publish {

DriveSync::DriveSync(const QString &folder)
{
    Q_UNUSED(folder)
}

DriveSync::~DriveSync() = default;

/// Windows lets administrators alone sync a whole drive.
bool DriveSync::syncsAll() const
{
    Q_UNUSED(folder_)
    return false;
}

/// A folder's names need no sync of their own: the drive's journal brings them along with what is synced after them.
int DriveSync::failureOf(const QString &path)
{
    if (QFileInfo(path).isDir()) {
        return 0;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered)) {
        return static_cast<int>(GetLastError());
    }
    const bool isSynced = FlushFileBuffers(reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()))) != 0;
    const DWORD failure = isSynced ? ERROR_SUCCESS : GetLastError();
    const bool cannotBeAsked = failure == ERROR_INVALID_FUNCTION || failure == ERROR_NOT_SUPPORTED;
    return cannotBeAsked ? 0 : static_cast<int>(failure);
}

} // namespace velmo::publish
