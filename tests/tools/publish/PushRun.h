#pragma once

#include "tools/publish/PublishRun.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace velmo::test {

/// This process's environment without what it may say of the machine's own stores. rclone keeps its settings in
/// \a configuration.
QProcessEnvironment pushEnvironment(const QString &configuration);

/// Puts an rclone of one's own into \a folder and in front of the others of \a environment: \a script ends, or goes on
/// to the real one, which it knows as $rclone, with its arguments.
void putInFrontOfRclone(QProcessEnvironment &environment, const QString &folder, const QByteArray &script);

/// Runs velmo-publish while this thread's event loop goes on. With \a killAfterMs it is killed then, with its children
/// and without a word; the exit code is -1 if that came before its end.
PublishRun runPush(const QStringList &arguments, const QProcessEnvironment &environment,
                   std::optional<int> killAfterMs = std::nullopt);

/// Runs rclone and gives its output.
QString rcloneOutput(const QStringList &arguments, const QProcessEnvironment &environment);

} // namespace velmo::test
