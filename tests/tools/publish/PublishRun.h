#pragma once

#include <QString>
#include <QStringList>

namespace velmo::test {

/// How velmo-publish ended as a child process, and what it said.
struct PublishRun {
    int exitCode = -1; ///< -1 when it did not end by itself
    QString output;
    QString errors;
};

PublishRun runPublish(const QStringList &arguments);

} // namespace velmo::test
