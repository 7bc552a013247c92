#include "publish/FileDigest.h"

#include "publish/IncomingFile.h"
#include "publish/ProgressMeter.h"
#include "publish/Reason.h"
#include "publish/Sha256.h"
#include "publish/SourceFile.h"

#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

/// What one thread hashes with, file after file: most files are small, and to make these takes as long as to hash them.
struct Desk {
    std::vector<char> block = std::vector<char>(digestBlock);
    Sha256 hash;
};

FileDigest unreadable(const QString &path, const SourceFile &file)
{
    FileDigest digest;
    digest.problem = u"\"%1\" cannot be read: %2."_s.arg(path, reasonText(file.errorString()));
    return digest;
}

} // namespace

FileDigest digestFile(const QString &path, ProgressMeter &meter, IncomingFile *copy)
{
    thread_local Desk desk;
    SourceFile file(path);
    if (!file.isOpen()) {
        return unreadable(path, file);
    }
    FileDigest digest;
    qint64 count = 0;
    while (digest.problem.isEmpty() && (count = file.read(desk.block.data(), digestBlock)) > 0) {
        const QByteArrayView block(desk.block.data(), static_cast<qsizetype>(count));
        desk.hash.add(block);
        if (copy) {
            const QString reason = copy->add(block);
            digest.problem = reason.isEmpty() ? QString() : copyError(path, copy->path(), reason);
        }
        digest.size += count;
        meter.addBytes(count);
    }
    digest.sha256 = desk.hash.take(); // whatever came of it, the next file begins anew
    return count < 0 ? unreadable(path, file) : digest;
}

QString copyError(const QString &path, const QString &copy, const QString &reason)
{
    return u"\"%1\" cannot be copied to \"%2\": %3."_s.arg(path, copy, reasonText(reason));
}

} // namespace velmo::publish
