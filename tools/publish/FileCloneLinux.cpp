#include "publish/FileClone.h"

#include <QFile>

#include <linux/fs.h>
#include <sys/ioctl.h>

namespace velmo::publish {

bool cloneFile(const QString &source, const QFile &copy)
{
    QFile file(source);
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && ioctl(copy.handle(), FICLONE, file.handle()) == 0;
}

} // namespace velmo::publish
