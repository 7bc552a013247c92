#include "studio/Listener.h"
#include "studio/Site.h"
#include "studio/StudioArguments.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace velmo::studio;

namespace {

enum ExitCode { Ended = 0, CannotServe = 1, CalledWrongly = 2 };

constexpr std::chrono::milliseconds signalPollTime = 50ms;

std::atomic<bool> endAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch nothing else");

void print(const QString &line)
{
    std::fputs(qPrintable(line), stdout);
    std::fflush(stdout); // whoever reads a pipe waits for this very line
}

int complain(ExitCode code, const QString &reason)
{
    std::fputs(qPrintable(u"velmo-studio: %1\n"_s.arg(reason)), stderr);
    return code;
}

/// A handler may not call into Qt, so a timer looks at what the handler has noted.
void quitOnSignals(QTimer &poll)
{
    std::signal(SIGINT, [](int) { endAsked = true; });
    std::signal(SIGTERM, [](int) { endAsked = true; });
    QObject::connect(&poll, &QTimer::timeout, &poll, [] {
        if (endAsked) {
            QCoreApplication::quit();
        }
    });
    poll.start(signalPollTime);
}

struct FileText {
    QByteArray bytes;
    QString problem; ///< why it cannot be read
};

FileText read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        return {{}, u"cannot read %1: %2"_s.arg(fileName, file.errorString())};
    }
    return {file.readAll(), {}};
}

QString offer(Site &site, const QString &path, const QString &fileName)
{
    if (fileName.isEmpty()) {
        return {};
    }
    site.setFile(path, fileName);
    return read(fileName).problem;
}

/// Sets up what \a arguments asks for.
QString furnish(Site &site, const StudioArguments &arguments)
{
    if (!QDir(arguments.tree).exists()) {
        return u"there is no folder %1"_s.arg(arguments.tree);
    }
    site.open(arguments.tree);
    site.setBytesPerSecond(arguments.bytesPerSecond);
    for (const FaultOption &option : arguments.faults) {
        site.addFault(option.path, option.fault);
    }
    const QString problem = offer(site, u"/api/v1/news"_s, arguments.news);
    return problem.isEmpty() ? offer(site, u"/api/v1/status"_s, arguments.status) : problem;
}

QString listen(Listener &listener, const StudioArguments &arguments)
{
    const FileText chain = read(arguments.certificate);
    const FileText key = read(arguments.key);
    const QString problem = chain.problem.isEmpty() ? key.problem : chain.problem;
    return problem.isEmpty() ? listener.start(chain.bytes, key.bytes, arguments.port) : problem;
}

void printRequest(const Request &request)
{
    QString line = u"%1 %2 %3"_s.arg(QString::number(request.status), QString::fromLatin1(request.method),
                                     QString::fromLatin1(QUrl::toPercentEncoding(request.path, "/")));
    if (request.headers.contains("range")) {
        line += u' ' + QString::fromLatin1(request.headers.value("range"));
    }
    print(line + u'\n');
}

int serve(const StudioArguments &arguments)
{
    Site site;
    Listener listener(&site);
    QString problem = furnish(site, arguments);
    problem = problem.isEmpty() ? listen(listener, arguments) : problem;
    if (!problem.isEmpty()) {
        return complain(CannotServe, problem);
    }
    if (!arguments.quiet) {
        QObject::connect(&listener, &Listener::answered, &listener, printRequest);
    }
    QTimer poll;
    quitOnSignals(poll);
    if (arguments.runFor > 0s) {
        QTimer::singleShot(arguments.runFor, &listener, &QCoreApplication::quit);
    }
    print(u"Serving %1 at https://127.0.0.1:%2\n"_s.arg(arguments.tree).arg(listener.serverPort()));
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"velmo-studio"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(VELMO_VERSION));

    StudioArguments arguments;
    switch (arguments.parse(QCoreApplication::arguments())) {
    case StudioArguments::Serve:
        return serve(arguments);
    case StudioArguments::ShowHelp:
        print(arguments.helpText());
        return Ended;
    case StudioArguments::ShowVersion:
        print(u"velmo-studio %1\n"_s.arg(QCoreApplication::applicationVersion()));
        return Ended;
    case StudioArguments::Misused:
        break;
    }
    return complain(CalledWrongly, arguments.problem + u" See velmo-studio --help."_s);
}
