#include "publish/FileState.h"

#include <QFile>
#include <QFileInfo>

#include <io.h>
#include <windows.h>

namespace velmo::publish {

namespace {

/// Of ticks of 100 ns since 1601.
qint64 nanoseconds(const LARGE_INTEGER &time)
{
    constexpr qint64 ticksTo1970 = 116'444'736'000'000'000;
    return (time.QuadPart - ticksTo1970) * 100;
}

} // namespace

/// Attributes too are told in full of an open file alone.
FileState fileState(const QString &location, FileLook look)
{
    Q_UNUSED(look)
    FileState state;
    QFile file(location);
    FILE_BASIC_INFO info{};
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        state.reason = file.errorString();
    } else if (!GetFileInformationByHandleEx(reinterpret_cast<HANDLE>(_get_osfhandle(file.handle())), FileBasicInfo,
                                             &info, sizeof info)) {
        state.reason = qt_error_string();
    } else {
        constexpr QFile::Permissions anyRun = QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
        state.isFile = (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        state.size = file.size();
        state.modified = nanoseconds(info.LastWriteTime);
        state.changed = nanoseconds(info.ChangeTime);
        state.executable = (QFileInfo(location).permissions() & anyRun) != QFile::Permissions();
    }
    return state;
}

FileState FolderLook::stateOf(const QString &folder, const QString &name)
{
    return fileState(folder + name, look_);
}

void FolderLook::leave()
{
    folder_.clear();
}

} // namespace velmo::publish
