#pragma once

#include <QPixmap>
#include <QString>

namespace velmo {

/// The picture in \a path, a resource or a file, at a device pixel ratio of 1; null when there is none to decode. What
/// is no regular file is not opened, for a pipe would wait for ever, and only pixels are read: no drawing, no document.
QPixmap loadPicture(const QString &path);

} // namespace velmo
