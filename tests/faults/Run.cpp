#include "Run.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

constexpr int lookMs = 10;
constexpr qint64 longestMs = 180000; // an order of magnitude above what the slowest run takes

void setBound(int resource, quint64 bytes)
{
    const rlimit bound{bytes, bytes};
    setrlimit(static_cast<__rlimit_resource>(resource), &bound);
}

std::unique_ptr<QProcess> started(const Command &command, const Disturbance &disturbance)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment environment = command.environment;
    for (const auto &[name, value] : disturbance.variables) {
        environment.insert(name, value);
    }
    process->setProcessEnvironment(environment);
    process->setChildProcessModifier([memory = disturbance.memoryBytes] {
        setBound(RLIMIT_CORE, 0);
        if (memory > 0) {
            setBound(RLIMIT_DATA, memory);
        }
    });
    process->start(command.program, command.arguments);
    return process;
}

Run endOf(QProcess &process)
{
    Run run;
    if (process.state() != QProcess::NotRunning) {
        run.inTime = false;
        process.kill();
        process.waitForFinished(-1);
    }
    run.bySignal = process.exitStatus() == QProcess::CrashExit;
    run.code = process.exitCode();
    run.output = QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

} // namespace

QList<Run> runDisturbed(const Command &command, const Disturbance &disturbance)
{
    QList<Disturbance::Event> events = disturbance.events;
    events.removeIf([](const Disturbance::Event &event) { return event.afterMs == 0 && event.happen(); });
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < disturbance.programs; ++i) {
        processes.push_back(started(command, disturbance));
    }
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        events.removeIf(
            [&](const Disturbance::Event &event) { return clock.elapsed() >= event.afterMs && event.happen(); });
        const bool allEnded = std::all_of(processes.begin(), processes.end(),
                                          [](const auto &process) { return process->state() == QProcess::NotRunning; });
        if (allEnded || clock.elapsed() > longestMs) {
            loop.quit();
        }
    });
    look.start(lookMs);
    loop.exec();
    QList<Run> runs;
    for (const auto &process : processes) {
        runs.append(endOf(*process));
    }
    return runs;
}

QStringList crashesOf(const Run &run, bool mayBeKilled)
{
    QStringList crashes;
    if (!run.inTime) {
        crashes.append(u"it does not end"_s);
    } else if (run.bySignal && !(mayBeKilled && (run.code == SIGKILL || run.code == SIGABRT))) {
        crashes.append(u"it crashed by signal %1"_s.arg(run.code));
    }
    for (const QString &mark : {u"[FATAL]"_s, u"ASSERT"_s, u"AddressSanitizer"_s, u"runtime error:"_s}) {
        if (run.errors.contains(mark)) {
            crashes.append(u"its errors say \"%1\""_s.arg(mark));
        }
    }
    return crashes;
}

} // namespace velmo::faults
