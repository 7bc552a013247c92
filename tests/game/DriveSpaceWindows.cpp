#include "DriveSpace.h"

#include "support/ImportPatch.h"

#include <optional>
#include <windows.h>

namespace velmo::test {

namespace {

qint64 pretendedBytes = 0;
std::optional<ImportPatch> space;
std::optional<ImportPatch> volume;

using Ask = decltype(&GetDiskFreeSpaceExW);

BOOL WINAPI answer(LPCWSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total, PULARGE_INTEGER free)
{
    const BOOL answered = reinterpret_cast<Ask>(space->original())(folder, available, total, free);
    available->QuadPart = static_cast<ULONGLONG>(pretendedBytes);
    free->QuadPart = available->QuadPart;
    return answered;
}

BOOL WINAPI noVolume(LPCWSTR, LPWSTR, DWORD, LPDWORD, LPDWORD, LPDWORD, LPWSTR, DWORD)
{
    SetLastError(ERROR_PATH_NOT_FOUND);
    return FALSE;
}

} // namespace

DriveSpace::DriveSpace(qint64 freeBytes)
{
    pretendedBytes = freeBytes;
    if (freeBytes < 0) {
        volume.emplace("GetVolumeInformationW", reinterpret_cast<void *>(&noVolume));
    } else {
        space.emplace("GetDiskFreeSpaceExW", reinterpret_cast<void *>(&answer));
    }
}

DriveSpace::~DriveSpace()
{
    volume.reset();
    space.reset();
}

} // namespace velmo::test
