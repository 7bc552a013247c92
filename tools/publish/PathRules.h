#pragma once

#include <QString>
#include <QStringList>

namespace velmo::publish {

// What a build's paths must be like so that every player's machine takes them.

/// Why \a path, relative with forward slashes, cannot be published, as a sentence; empty when it can.
QString pathRefusal(const QString &path);

/// One sentence for each of \a paths that Windows would take for another of them, or would lay into another's folder,
/// because they differ in letter case alone.
QStringList caseClashes(const QStringList &paths);

} // namespace velmo::publish
