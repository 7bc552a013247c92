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
#include <optional>

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

/// The contents of a file. Nothing, with the reason in \a error, when it cannot be read.
std::optional<QByteArray> read(const QString &fileName, QString *error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = u"cannot read %1: %2"_s.arg(fileName, file.errorString());
        return std::nullopt;
    }
    return file.readAll();
}

bool offer(Site &site, const QString &path, const QString &fileName, QString *error)
{
    if (fileName.isEmpty()) {
        return true;
    }
    site.setFile(path, fileName);
    return read(fileName, error).has_value();
}

/// Sets up what \a arguments asks for. False, with the reason in \a error.
bool furnish(Site &site, const StudioArguments &arguments, QString *error)
{
    if (!QDir(arguments.tree).exists()) {
        *error = u"there is no folder %1"_s.arg(arguments.tree);
        return false;
    }
    site.open(arguments.tree);
    site.setBytesPerSecond(arguments.bytesPerSecond);
    for (const FaultOption &option : arguments.faults) {
        site.addFault(option.path, option.fault);
    }
    return offer(site, u"/api/v1/news"_s, arguments.news, error) &&
           offer(site, u"/api/v1/status"_s, arguments.status, error);
}

bool listen(Listener &listener, const StudioArguments &arguments, QString *error)
{
    const std::optional<QByteArray> chain = read(arguments.certificate, error);
    const std::optional<QByteArray> key = chain ? read(arguments.key, error) : std::nullopt;
    return key && listener.start(*chain, *key, arguments.port, error);
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
    QString error;
    Site site;
    Listener listener(&site);
    if (!furnish(site, arguments, &error) || !listen(listener, arguments, &error)) {
        return complain(CannotServe, error);
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

    QString error;
    StudioArguments arguments;
    switch (arguments.parse(QCoreApplication::arguments(), &error)) {
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
    return complain(CalledWrongly, error + u" See velmo-studio --help."_s);
}
