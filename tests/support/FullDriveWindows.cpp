#include "support/FullDrive.h"

#include "support/ImportPatch.h"

#include <optional>
#include <windows.h>

namespace velmo::test {

namespace {

qint64 bound = 0;
std::optional<ImportPatch> patch;

using Write = decltype(&WriteFile);

/// How far \a file would reach after \a bytes more; -1 for what is no file of a drive.
qint64 endAfter(HANDLE file, DWORD bytes)
{
    LARGE_INTEGER position{};
    const bool onDrive = GetFileType(file) == FILE_TYPE_DISK && SetFilePointerEx(file, {}, &position, FILE_CURRENT);
    return onDrive ? position.QuadPart + bytes : -1;
}

/// As Windows does on a full drive, writes all or nothing.
BOOL WINAPI writeWithinTheBound(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
{
    if (endAfter(file, size) > bound) {
        *written = 0;
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }
    return reinterpret_cast<Write>(patch->original())(file, data, size, written, overlapped);
}

} // namespace

FullDrive::FullDrive(qint64 bytes)
{
    bound = bytes;
    patch.emplace("WriteFile", reinterpret_cast<void *>(&writeWithinTheBound));
}

FullDrive::~FullDrive()
{
    patch.reset();
}

} // namespace velmo::test
