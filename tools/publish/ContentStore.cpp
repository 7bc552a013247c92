#include "publish/ContentStore.h"

#include "publish/Reason.h"
#include "publish/TreeLayout.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

/// The hash in a file name of the store, also when the file is an unfinished copy; empty for a foreign file.
struct StoredName {
    QString sha256;
    bool finished = false;
};

StoredName storedName(const QString &fileName)
{
    static const QRegularExpression pattern(u"\\A([0-9a-f]{64})(\\.[A-Za-z]{6})?\\z"_s);
    const QRegularExpressionMatch match = pattern.match(fileName);
    return {match.captured(1), match.captured(2).isEmpty()};
}

void removeCounted(const QFileInfo &info, PruneResult &result)
{
    QFile file(info.filePath());
    const qint64 size = info.size();
    if (file.remove()) {
        ++result.files;
        result.bytes += size;
    } else {
        result.problems.append(u"\"%1\" cannot be removed: %2."_s.arg(info.filePath(), reasonText(file.errorString())));
    }
}

} // namespace

ContentStore::ContentStore(const QString &folder)
    : folder_(folder)
{}

QString ContentStore::filePath(const QString &sha256) const
{
    return folder_ + u'/' + TreeLayout::contentName(sha256);
}

QString ContentStore::incomingFolder() const
{
    return QDir(folder_).filePath(u".incoming"_s);
}

bool ContentStore::holds(const FileDigest &digest) const
{
    const FileState state = fileState(filePath(digest.sha256), FileLook::Attributes);
    return state.reason.isEmpty() && state.isFile && state.size == digest.size;
}

bool ContentStore::holds(const FileDigest &digest, FolderLook &look) const
{
    const QString name = TreeLayout::contentName(digest.sha256);
    const qsizetype shelf = name.lastIndexOf(u'/') + 1;
    const FileState state = look.stateOf(folder_ + u'/' + name.first(shelf), name.sliced(shelf));
    return state.reason.isEmpty() && state.isFile && state.size == digest.size;
}

PruneResult ContentStore::prune(const QSet<QString> &keep) const
{
    PruneResult result;
    QDir store(folder_);
    for (const QString &shelf : store.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QDir folder(store.filePath(shelf));
        for (const QFileInfo &info : folder.entryInfoList(QDir::Files | QDir::System | QDir::Hidden, QDir::Name)) {
            const StoredName name = storedName(info.fileName());
            const bool named = name.finished && keep.contains(name.sha256);
            if (!name.sha256.isEmpty() && !named) {
                removeCounted(info, result);
            }
        }
        store.rmdir(shelf); // succeeds only on an empty folder
    }
    return result;
}

} // namespace velmo::publish
