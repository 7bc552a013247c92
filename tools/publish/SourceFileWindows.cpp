#include "publish/SourceFile.h"

namespace velmo::publish {

SourceFile::SourceFile(const QString &path)
    : file_(path)
{
    // What becomes of it is asked by isOpen().
    static_cast<void>(file_.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
}

SourceFile::~SourceFile() = default;

bool SourceFile::isOpen() const
{
    return file_.isOpen();
}

qint64 SourceFile::read(char *into, qint64 most)
{
    return file_.read(into, most);
}

QString SourceFile::errorString() const
{
    return file_.errorString();
}

} // namespace velmo::publish
