#include "tools/publish/PublishFixture.h"

#include "publish/Reason.h"

#include <windows.h>

// What Windows does not have; no test that runs there comes to it.

namespace velmo::test {

void PublishFixture::link(const QString &target, const QString &path) const
{
    qFatal("no symbolic link from %s to %s", qUtf8Printable(path), qUtf8Printable(target));
}

QString noSuchFile()
{
    return publish::reasonText(qt_error_string(ERROR_FILE_NOT_FOUND));
}

QString noSuchFolder()
{
    return publish::reasonText(qt_error_string(ERROR_PATH_NOT_FOUND));
}

QString driveIsFull()
{
    return publish::reasonText(qt_error_string(ERROR_DISK_FULL));
}

bool setMode(const QString &path, unsigned mode)
{
    Q_UNUSED(path)
    Q_UNUSED(mode)
    return false;
}

bool makePipe(const QByteArray &nativePath)
{
    Q_UNUSED(nativePath)
    return false;
}

UnprivilegedFileAccess::UnprivilegedFileAccess()
    : previous_(0)
{}

UnprivilegedFileAccess::~UnprivilegedFileAccess()
{
    Q_UNUSED(previous_)
}

} // namespace velmo::test
