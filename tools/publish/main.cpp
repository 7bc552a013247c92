#include "core/Format.h"
#include "publish/CommandLine.h"
#include "publish/LiveCheck.h"
#include "publish/OneLine.h"
#include "publish/ProgressLine.h"
#include "publish/Publisher.h"
#include "publish/Push.h"
#include "publish/TreeCheck.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

using namespace Qt::Literals::StringLiterals;

namespace {

enum ExitCode { done = 0, failed = 1, wrongUsage = 2 };

bool isOutputATerminal()
{
#ifdef Q_OS_WIN
    return _isatty(_fileno(stdout)) != 0;
#else
    return isatty(STDOUT_FILENO) != 0;
#endif
}

void printProblems(QTextStream &errors, const QStringList &problems)
{
    for (const QString &problem : problems) {
        errors << velmo::publish::onOneLine(problem) << Qt::endl;
    }
}

void printPublished(QTextStream &out, const velmo::publish::PublishOrder &order,
                    const velmo::publish::PublishResult &result)
{
    const velmo::Manifest &manifest = result.manifest;
    out << u"Published %1 build %2 on %3. Files: %4, %5; new to the tree: %6."_s.arg(
               velmo::publish::onOneLine(manifest.version), QString::number(manifest.build), manifest.channel,
               QString::number(result.files), velmo::formatBytes(result.bytes), QString::number(result.copied))
        << Qt::endl;
    if (order.prune) {
        out << u"Pruned files: %1, %2."_s.arg(result.pruned.files).arg(velmo::formatBytes(result.pruned.bytes))
            << Qt::endl;
    }
}

int publish(const velmo::publish::PublishOrder &order, QTextStream &out, QTextStream &errors)
{
    velmo::publish::ProgressLine line(out, isOutputATerminal());
    velmo::publish::Publisher publisher(order);
    publisher.setProgress([&line](const velmo::publish::PublishProgress &progress) { line.show(progress); });
    const velmo::publish::PublishResult result = publisher.run();
    line.clear();
    if (result.manifest.valid) {
        printPublished(out, order, result);
    }
    printProblems(errors, result.warnings);
    printProblems(errors, result.problems);
    if (!result.manifest.valid) {
        errors << u"Nothing was published."_s << Qt::endl;
    }
    return result.problems.isEmpty() ? done : failed;
}

void printPushed(QTextStream &out, const velmo::publish::PushOrder &order, const velmo::publish::PushResult &result)
{
    const QString text = order.dryRun
                             ? u"Would push to %1. Files: %2, %3; to upload: %4, %5; manifests to replace: %6."_s
                             : u"Pushed to %1. Files: %2, %3; uploaded: %4, %5; manifests replaced: %6."_s;
    out << text.arg(velmo::publish::onOneLine(order.remote.shown()), QString::number(result.files),
                    velmo::formatBytes(result.bytes), QString::number(result.uploaded),
                    velmo::formatBytes(result.uploadedBytes), QString::number(result.channels.size()))
        << Qt::endl;
    if (order.pruneOlderThanDays > 0) {
        const QString pruned = order.dryRun
                                   ? u"Would prune files: %1, %2; named by no manifest, but not for so long: %3."_s
                                   : u"Pruned files: %1, %2; named by no manifest, but not for so long: %3."_s;
        out << pruned.arg(QString::number(result.pruned), velmo::formatBytes(result.prunedBytes),
                          QString::number(result.unnamed))
            << Qt::endl;
    }
}

int push(const velmo::publish::PushOrder &order, QTextStream &out, QTextStream &errors)
{
    velmo::publish::ProgressLine line(out, isOutputATerminal());
    velmo::publish::Push push(order);
    push.setProgress([&line](const velmo::publish::PublishProgress &progress) { line.show(progress); });
    const velmo::publish::PushResult result = push.run();
    line.clear();
    if (result.isGood()) {
        printPushed(out, order, result);
    }
    printProblems(errors, result.warnings);
    printProblems(errors, result.problems);
    return result.isGood() ? done : failed;
}

/// Pushes only what was published.
int publishAndPush(const velmo::publish::CommandLine &line, QTextStream &out, QTextStream &errors)
{
    const int code = publish(line.order, out, errors);
    return code == done && !line.push.remote.isEmpty() ? push(line.push, out, errors) : code;
}

int check(const velmo::publish::PublishOrder &order, QTextStream &out, QTextStream &errors)
{
    velmo::publish::ProgressLine line(out, isOutputATerminal());
    const velmo::publish::ContentTree tree(order.tree, order.game);
    velmo::publish::TreeCheck treeCheck(tree, order.jobs);
    treeCheck.setProgress([&line](const velmo::publish::PublishProgress &progress) { line.show(progress); });
    const velmo::publish::TreeCheckResult result = treeCheck.run();
    line.clear();
    printProblems(errors, result.warnings);
    printProblems(errors, result.problems);
    if (!result.problems.isEmpty()) {
        return failed;
    }
    out << u"The tree is good. Manifests: %1; files: %2."_s.arg(result.manifests).arg(result.files) << Qt::endl;
    return done;
}

QStringView stateOf(const velmo::publish::LiveDemand &demand)
{
    switch (demand.state) {
    case velmo::publish::LiveDemand::State::Kept:
        return u"kept";
    case velmo::publish::LiveDemand::State::Broken:
        return u"broken";
    case velmo::publish::LiveDemand::State::NotAsked:
        break;
    }
    return u"not asked";
}

struct Trusted {
    QList<QSslCertificate> certificates;
    QString problem; ///< why there are none in a file
};

Trusted readTrusted(const QString &path)
{
    Trusted trusted;
    if (path.isEmpty()) {
        return trusted;
    }
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        trusted.certificates = QSslCertificate::fromDevice(&file, QSsl::Pem);
    }
    if (trusted.certificates.isEmpty()) {
        const QString reason = file.isOpen() ? u"There is no certificate in it"_s : file.errorString();
        trusted.problem = u"\"%1\" cannot be read: %2."_s.arg(path, reason);
    }
    return trusted;
}

int checkLive(velmo::publish::LiveOrder order, const QString &trust, QTextStream &out, QTextStream &errors)
{
    const Trusted trusted = readTrusted(trust);
    if (!trusted.problem.isEmpty()) {
        printProblems(errors, {trusted.problem});
        return failed;
    }
    order.trusted = trusted.certificates;
    velmo::publish::ProgressLine line(out, isOutputATerminal());
    velmo::publish::LiveCheck liveCheck(order);
    liveCheck.setProgress([&line](const velmo::publish::PublishProgress &progress) { line.show(progress); });
    const velmo::publish::LiveResult result = liveCheck.run();
    line.clear();
    for (const velmo::publish::LiveDemand &demand : result.demands) {
        out << u"%1 %2."_s.arg(stateOf(demand).toString() + u':', -10).arg(demand.text) << Qt::endl;
        for (const QString &problem : demand.problems) {
            printProblems(errors, {u"%1: %2"_s.arg(demand.text, problem)});
        }
    }
    if (!result.isGood()) {
        return failed;
    }
    out << u"The server is good. Build %1; files: %2, asked for: %3."_s.arg(result.manifest.build)
               .arg(result.files)
               .arg(result.filesAsked)
        << Qt::endl;
    return done;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream errors(stderr);
    const velmo::publish::CommandLine line = velmo::publish::parseCommandLine(QCoreApplication::arguments());
    switch (line.task) {
    case velmo::publish::CommandLine::Task::Help:
        out << velmo::publish::commandLineHelp();
        return done;
    case velmo::publish::CommandLine::Task::Publish:
        return publishAndPush(line, out, errors);
    case velmo::publish::CommandLine::Task::Check:
        return check(line.order, out, errors);
    case velmo::publish::CommandLine::Task::CheckLive:
        return checkLive(line.live, line.trust, out, errors);
    case velmo::publish::CommandLine::Task::Push:
        return push(line.push, out, errors);
    case velmo::publish::CommandLine::Task::Mistake:
        errors << velmo::publish::onOneLine(velmo::publish::withoutRemoteParameters(line.mistake)) << Qt::endl
               << u"See velmo-publish --help."_s << Qt::endl;
        return wrongUsage;
    }
    return wrongUsage;
}
