#include "studio/StudioArguments.h"

#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace velmo::studio {

StudioArguments::StudioArguments()
{
    parser_.setApplicationDescription(u"Serves a content tree and the launcher's endpoints over TLS on 127.0.0.1,\n"
                                      "with faults that can be switched on by path."_s);
    parser_.addOptions({
        {u"tree"_s, u"Serve the files of this content tree."_s, u"DIR"_s},
        {u"news"_s, u"Serve this file at /api/v1/news."_s, u"FILE"_s},
        {u"status"_s, u"Serve this file at /api/v1/status."_s, u"FILE"_s},
        {u"certificate"_s, u"The server's certificate in PEM, with those that lead to its authority."_s,
         u"CHAIN.pem"_s},
        {u"key"_s, u"The certificate's private key in PEM, unencrypted."_s, u"KEY.pem"_s},
        {u"port"_s, u"Listen on this port. 0, the default, takes a free one."_s, u"N"_s, u"0"_s},
        {u"rate"_s, u"Send each connection at most this much. 0, the default, is unlimited."_s, u"BYTES_PER_SECOND"_s,
         u"0"_s},
        {u"fault"_s, u"Misbehave at a path, see below. May be given several times."_s, u"FAULT"_s},
        {u"run-for"_s, u"End after this time, 1 or more. Without it, SIGINT and SIGTERM end."_s, u"SECONDS"_s},
        {u"quiet"_s, u"Do not print a line for each request."_s},
        {{u"h"_s, u"help"_s}, u"Print this and end."_s},
        {{u"v"_s, u"version"_s}, u"Print the version and end."_s},
    });
}

StudioArguments::Outcome StudioArguments::parse(const QStringList &arguments)
{
    if (!parser_.parse(arguments)) {
        problem = parser_.errorText();
        return Misused;
    }
    if (parser_.isSet(u"help"_s)) {
        return ShowHelp;
    }
    if (parser_.isSet(u"version"_s)) {
        return ShowVersion;
    }
    if (!parser_.positionalArguments().isEmpty()) {
        refuse(u"Unexpected argument \"%1\"."_s.arg(parser_.positionalArguments().constFirst()));
    }
    quiet = parser_.isSet(u"quiet"_s);
    takeFiles();
    takeNumbers();
    takeFaults();
    return problem.isEmpty() ? Serve : Misused;
}

QString StudioArguments::helpText() const
{
    return parser_.helpText() + u"\nFAULT is PATH=KIND[:ARGUMENT][@FIRST[-LAST]], where KIND is one of\n"_s +
           FaultOption::describeKinds() +
           u"PATH is as in an address; a \"=\" in it is written %3D. The requests for a path are counted\n"
           "from 1: a fault meets all of them, with @FIRST those from FIRST on, with @FIRST-LAST those from\n"
           "FIRST to LAST. Faults of one path add up; the first decides where two exclude each other.\n"
           "\n"
           "Example:\n"
           "  velmo-studio --tree build/tree --certificate chain.pem --key server.key --port 8443 \\\n"
           "      --fault /live/game.pak=close-after:1000@1-2 --fault /api/v1/news=status:503\n"
           "\n"
           "Exit status: 0 when it was ended, 1 when it cannot serve, 2 when it was called wrongly.\n"_s;
}

void StudioArguments::takeFiles()
{
    for (const QString &required : {u"tree"_s, u"certificate"_s, u"key"_s}) {
        if (parser_.value(required).isEmpty()) {
            refuse(u"--%1 is missing."_s.arg(required));
        }
    }
    tree = parser_.value(u"tree"_s);
    news = parser_.value(u"news"_s);
    status = parser_.value(u"status"_s);
    certificate = parser_.value(u"certificate"_s);
    key = parser_.value(u"key"_s);
}

void StudioArguments::takeNumbers()
{
    port = static_cast<quint16>(takeNumber(u"port"_s, 0, std::numeric_limits<quint16>::max()));
    bytesPerSecond = takeNumber(u"rate"_s, 0, std::numeric_limits<qint64>::max());
    if (parser_.isSet(u"run-for"_s)) {
        runFor = std::chrono::seconds(takeNumber(u"run-for"_s, 1, std::numeric_limits<int>::max()));
    }
}

void StudioArguments::takeFaults()
{
    const QStringList texts = parser_.values(u"fault"_s);
    for (const QString &text : texts) {
        const FaultOption option = FaultOption::parse(text);
        if (!option.problem.isEmpty()) {
            refuse(u"--fault %1: %2."_s.arg(text, option.problem));
        }
        faults.append(option);
    }
}

qint64 StudioArguments::takeNumber(const QString &option, qint64 smallest, qint64 largest)
{
    bool isNumber = false;
    const qint64 number = parser_.value(option).toLongLong(&isNumber);
    if (!isNumber || number < smallest || number > largest) {
        refuse(u"--%1 takes no \"%2\"."_s.arg(option, parser_.value(option)));
    }
    return number;
}

/// Of several reasons the first is told.
void StudioArguments::refuse(const QString &reason)
{
    problem = problem.isEmpty() ? reason : problem;
}

} // namespace velmo::studio
