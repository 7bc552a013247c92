#include "publish/SourceFile.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace velmo::publish {

SourceFile::SourceFile(const QString &path)
    : descriptor_(open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
    , error_(descriptor_ < 0 ? errno : 0)
{}

SourceFile::~SourceFile()
{
    if (isOpen()) {
        close(descriptor_);
    }
}

bool SourceFile::isOpen() const
{
    return descriptor_ >= 0;
}

qint64 SourceFile::read(char *into, qint64 most)
{
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, into, static_cast<std::size_t>(most));
    } while (count < 0 && errno == EINTR);
    error_ = count < 0 ? errno : 0;
    return count;
}

QString SourceFile::errorString() const
{
    return qt_error_string(error_);
}

} // namespace velmo::publish
