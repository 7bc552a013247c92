#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

namespace velmo::publish {

// What a build's paths must be like so that every player's machine takes them.

/// Whether \a name, of a file or a folder, is a device in every folder of Windows.
bool isReservedByWindows(QStringView name);

/// Why \a path, relative with forward slashes, cannot be published, as a sentence; empty when it can.
QString pathRefusal(const QString &path);

/// One sentence for each of \a paths that Windows would take for another of them, or would lay into another's folder,
/// because they differ in letter case alone.
QStringList caseClashes(const QStringList &paths);

/// One sentence for each path of a build that a player who has \a published cannot get by an update to \a next. The
/// launcher downloads first, then deletes the files that left the build, and never removes a folder.
QStringList updateClashes(const QStringList &published, const QStringList &next);

} // namespace velmo::publish
