#include "tools/publish/PublishFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

constexpr uid_t nobody = 65534;

} // namespace

void PublishFixture::link(const QString &target, const QString &path) const
{
    const QString location = QDir(build()).filePath(path);
    QDir().mkpath(QFileInfo(location).path());
    const bool linked = symlink(QFile::encodeName(target).constData(), QFile::encodeName(location).constData()) == 0;
    Q_ASSERT(linked);
    Q_UNUSED(linked)
}

QString noSuchFile()
{
    return u"No such file or directory"_s;
}

QString noSuchFolder()
{
    return noSuchFile();
}

QString driveIsFull()
{
    return u"File too large"_s;
}

bool setMode(const QString &path, unsigned mode)
{
    return chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) == 0;
}

bool makePipe(const QByteArray &nativePath)
{
    return mkfifo(nativePath.constData(), S_IRUSR | S_IWUSR) == 0;
}

UnprivilegedFileAccess::UnprivilegedFileAccess()
    : previous_(setfsuid(nobody))
{}

UnprivilegedFileAccess::~UnprivilegedFileAccess()
{
    setfsuid(static_cast<uid_t>(previous_));
}

} // namespace velmo::test
