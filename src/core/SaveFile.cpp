#include "core/SaveFile.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QString>

#ifdef Q_OS_WIN
#include <io.h>
#include <windows.h>
#else
#include <cerrno>
#include <unistd.h>
#endif

namespace velmo {

namespace {

#ifdef Q_OS_WIN

/// Why the drive does not take what was written; 0 when it does, or when it cannot be asked. Not by _commit(), which
/// has one error for everything.
int syncFailure(int descriptor)
{
    if (FlushFileBuffers(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)))) {
        return 0;
    }
    const DWORD error = GetLastError();
    const bool cannotBeAsked = error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED;
    return cannotBeAsked ? 0 : static_cast<int>(error);
}

#else

/// Why the drive does not take what was written; 0 when it does, or when it cannot be asked.
int syncFailure(int descriptor)
{
    int failure = 0;
    do {
        failure = fsync(descriptor) == 0 ? 0 : errno;
    } while (failure == EINTR);
    const bool cannotBeAsked = failure == EINVAL || failure == ENOSYS || failure == EOPNOTSUPP;
    return cannotBeAsked ? 0 : failure;
}

#endif

} // namespace

void writeAll(QSaveFile &file, const QByteArray &bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const qint64 count = file.write(bytes.constData() + written, bytes.size() - written);
        if (count < 0) {
            return; // remembered by the file
        }
        if (count == 0) {
            file.cancelWriting();
            return;
        }
        written += count; // a short write; the next one tells why
    }
}

QByteArray jsonForFile(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented).replace("\"\xEF\xBB\xBF", "\"\\ufeff");
}

QString commitOnDrive(QSaveFile &file)
{
    // Asked before the commit, which forgets why a write failed and does not look at how its own sync ends.
    if (file.error() != QFileDevice::NoError) {
        return file.errorString();
    }
    if (const int failure = syncFailure(file.handle()); failure != 0) {
        file.cancelWriting();
        return qt_error_string(failure);
    }
    return file.commit() ? QString() : file.errorString();
}

} // namespace velmo
