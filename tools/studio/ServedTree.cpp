#include "studio/ServedTree.h"

#include "InsideFolder.h"

#include <QFileInfo>
#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

ServedTree::ServedTree(const QString &root)
    : root_(root.isEmpty() ? QString() : QFileInfo(root).canonicalFilePath())
{}

QString ServedTree::find(const QString &path) const
{
    if (root_.isEmpty() || path.split(u'/').contains(".."_L1)) {
        return {};
    }
    // Links are followed before the check, so that none leads out of the tree. What is no plain file might block a
    // reader.
    const QString fileName = QFileInfo(root_ + path).canonicalFilePath();
    return isInside(fileName, root_) && QFileInfo(fileName).isFile() ? fileName : QString();
}

} // namespace velmo::studio
