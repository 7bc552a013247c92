#pragma once

#include <QString>

namespace velmo {

/// Whether \a path is below the folder \a folder, which is not below itself. Both are absolute and clean, and canonical
/// where links count.
inline bool isInside(const QString &path, const QString &folder)
{
    return path.startsWith(folder.endsWith(u'/') ? folder : QString(folder + u'/'));
}

} // namespace velmo
