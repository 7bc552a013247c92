#include "tools/publish/PushRun.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <csignal>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

QProcessEnvironment pushEnvironment(const QString &configuration)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys()) {
        if (name.startsWith("AWS_"_L1) || name.startsWith("RCLONE_"_L1)) {
            environment.remove(name);
        }
    }
    environment.insert(u"RCLONE_CONFIG"_s, configuration);
    return environment;
}

void putInFrontOfRclone(QProcessEnvironment &environment, const QString &folder, const QByteArray &script)
{
    const QString program = QDir(folder).filePath(u"rclone"_s);
    writeFile(program, "#!/bin/bash\nrclone=" + QStandardPaths::findExecutable(u"rclone"_s).toUtf8() + '\n' + script +
                           "\nexec \"$rclone\" \"$@\"\n");
    QFile::setPermissions(program, QFile::permissions(program) | QFile::ExeOwner);
    environment.insert(u"PATH"_s, folder + u':' + environment.value(u"PATH"_s));
}

PublishRun runPush(const QStringList &arguments, const QProcessEnvironment &environment, std::optional<int> killAfterMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([] { setsid(); });
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    process.start(QStringLiteral(VELMO_PUBLISH_PROGRAM), arguments);
    if (process.waitForStarted() && killAfterMs) {
        const auto group = static_cast<pid_t>(process.processId());
        QTimer::singleShot(*killAfterMs, &process, [group] { ::kill(-group, SIGKILL); });
    }
    if (process.state() != QProcess::NotRunning) {
        loop.exec();
    }
    PublishRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = QString::fromUtf8(process.readAllStandardOutput());
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

QString rcloneOutput(const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(u"rclone"_s, arguments);
    process.waitForFinished(-1);
    return QString::fromUtf8(process.readAllStandardOutput());
}

} // namespace velmo::test
