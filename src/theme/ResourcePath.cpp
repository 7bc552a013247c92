#include "theme/ResourcePath.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace velmo::theme {

QString resolveResourcePath(const QString &relative)
{
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
