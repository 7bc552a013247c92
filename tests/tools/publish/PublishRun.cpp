#include "tools/publish/PublishRun.h"

#include <QProcess>

namespace velmo::test {

PublishRun runPublish(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(VELMO_PUBLISH_PROGRAM), arguments);
    process.waitForFinished(-1); // the test's own time limit is the bound
    PublishRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

} // namespace velmo::test
