#include "support/HeldFile.h"

#include <QDir>

#include <windows.h>

namespace velmo::test {

namespace {

DWORD shareMode(HeldFile::Share share)
{
    switch (share) {
    case HeldFile::Nothing:
        return 0;
    case HeldFile::Writing:
        return FILE_SHARE_WRITE;
    case HeldFile::ReadingAndWriting:
        return FILE_SHARE_READ | FILE_SHARE_WRITE;
    }
    return 0;
}

} // namespace

HeldFile::HeldFile(const QString &fileName, Share share)
    : handle_(CreateFileW(QDir::toNativeSeparators(fileName).toStdWString().c_str(), GENERIC_READ, shareMode(share),
                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
{}

HeldFile::~HeldFile()
{
    if (isOpen()) {
        CloseHandle(handle_);
    }
}

bool HeldFile::isOpen() const
{
    return handle_ != INVALID_HANDLE_VALUE;
}

} // namespace velmo::test
