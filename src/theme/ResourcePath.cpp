#include "theme/ResourcePath.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace velmo::theme {

bool isNetworkPath(const QString &path)
{
    // The second with a question mark: "\??\UNC\host\share".
    const auto isSlash = [](QChar character) { return character == u'/' || character == u'\\'; };
    return path.size() >= 2 && isSlash(path.at(0)) && (isSlash(path.at(1)) || path.at(1) == u'?');
}

QString resolveResourcePath(const QString &relative)
{
    if (isNetworkPath(relative)) {
        return {};
    }
    const QDir program(QCoreApplication::applicationDirPath());
    const QStringList candidates = {
        program.filePath(relative),
        program.filePath(u"resources/"_s + relative),
#ifdef VELMO_SOURCE_RESOURCES
        QDir(QStringLiteral(VELMO_SOURCE_RESOURCES)).filePath(relative),
#endif
        u":/"_s + relative,
    };
    for (const QString &candidate : candidates) {
        if (QFileInfo::exists(candidate)) {
            return candidate;
        }
    }
    return {};
}

} // namespace velmo::theme
