#include "studio/ContentTree.h"

#include <QFileInfo>
#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

ContentTree::ContentTree(const QString &root)
    : root_(root.isEmpty() ? QString() : QFileInfo(root).canonicalFilePath())
{}

QString ContentTree::find(const QString &path) const
{
    if (root_.isEmpty() || path.split(u'/').contains(".."_L1)) {
        return {};
    }
    // Links are followed before the check, so that none leads out of the tree. What is no plain file might block a
    // reader.
    const QString fileName = QFileInfo(root_ + path).canonicalFilePath();
    const QString folder = root_.endsWith(u'/') ? root_ : QString(root_ + u'/');
    return fileName.startsWith(folder) && QFileInfo(fileName).isFile() ? fileName : QString();
}

} // namespace velmo::studio
