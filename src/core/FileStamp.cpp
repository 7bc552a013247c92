#include "core/FileStamp.h"

#include <QFile>

#ifdef Q_OS_WIN
#include <io.h>
#include <windows.h>
#else
#include <sys/stat.h>
#endif

using namespace std::chrono_literals;

namespace velmo {

bool FileStamp::isSettledAt(std::chrono::system_clock::time_point now) const
{
    return changedAt > 0 && now.time_since_epoch() - std::chrono::nanoseconds(changedAt) > 2s;
}

#ifdef Q_OS_WIN

namespace {

quint64 joined(DWORD high, DWORD low)
{
    return quint64{high} << 32U | low;
}

} // namespace

FileStamp stampOf(const QFile &file)
{
    BY_HANDLE_FILE_INFORMATION about{};
    if (!GetFileInformationByHandle(reinterpret_cast<HANDLE>(_get_osfhandle(file.handle())), &about)) {
        return {};
    }
    constexpr qint64 ticksTo1970 = 116'444'736'000'000'000; // of 100 ns, since 1601
    const FILETIME &time = about.ftLastWriteTime;
    const auto ticks = static_cast<qint64>(joined(time.dwHighDateTime, time.dwLowDateTime));
    return {about.dwVolumeSerialNumber, joined(about.nFileIndexHigh, about.nFileIndexLow),
            static_cast<qint64>(joined(about.nFileSizeHigh, about.nFileSizeLow)), (ticks - ticksTo1970) * 100};
}

#else

FileStamp stampOf(const QFile &file)
{
    struct stat about {};
    if (fstat(file.handle(), &about) != 0) {
        return {};
    }
    const auto changedAt = std::chrono::seconds(about.st_mtim.tv_sec) + std::chrono::nanoseconds(about.st_mtim.tv_nsec);
    return {about.st_dev, about.st_ino, about.st_size, changedAt.count()};
}

#endif

} // namespace velmo
