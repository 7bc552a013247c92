#pragma once

#include <QByteArray>
#include <QString>

namespace velmo::publish {

/// What the file at \a path holds; nothing when it cannot be read.
QByteArray bytesOf(const QString &path);
/// A manifest as it is read, whether \a bytes have it packed or not. A packed one that is damaged stays as it is.
QByteArray manifestText(const QByteArray &bytes);

} // namespace velmo::publish
