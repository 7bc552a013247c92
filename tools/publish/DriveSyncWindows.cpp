#include "publish/DriveSync.h"

#include <QDir>

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

int DriveSync::failureOf(const QString &path)
{
    const std::wstring name = (QStringLiteral("\\\\?\\") + QDir::toNativeSeparators(path)).toStdWString();
    const HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return static_cast<int>(GetLastError());
    }
    const DWORD failure = FlushFileBuffers(file) ? ERROR_SUCCESS : GetLastError();
    CloseHandle(file);
    const bool cannotBeAsked = failure == ERROR_INVALID_FUNCTION || failure == ERROR_NOT_SUPPORTED;
    return cannotBeAsked ? 0 : static_cast<int>(failure);
}

} // namespace velmo::publish
