#include "publish/Rclone.h"

#include "publish/OneLine.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#endif

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr int waitMs = 200;
constexpr qsizetype longestReason = 400;
constexpr int oldestMajor = 1;
constexpr int oldestMinor = 60;

// Nothing is asked of a person; a line of its log is a JSON object, twice a second one with what was transferred.
const QStringList always = {u"--ask-password=false"_s, u"--use-json-log"_s,        u"--stats=500ms"_s,
                            u"--retries=3"_s,          u"--low-level-retries=6"_s, u"--stats-log-level=NOTICE"_s};

/// Gathers what rclone says on its error output.
class Log {
public:
    explicit Log(const Rclone::ProgressTaker &takeProgress)
        : takeProgress_(takeProgress)
    {}

    void read(const QByteArray &line)
    {
        const QJsonObject entry = QJsonDocument::fromJson(line).object();
        if (entry.isEmpty()) {
            static const QRegularExpression time(u"\\A\\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d "_s);
            const QString text = QString::fromUtf8(line).remove(time).trimmed();
            if (text.startsWith("caused by: "_L1)) { // so the library for S3 goes on in another line
                reason_ += u"; "_s + text;
            } else if (!text.isEmpty()) {
                reason_ = text;
            }
            return;
        }
        if (takeProgress_ && entry.contains("stats"_L1)) {
            const QJsonObject stats = entry.value("stats"_L1).toObject();
            takeProgress_({stats.value("bytes"_L1).toInteger(), stats.value("transfers"_L1).toInteger()});
        }
        const QString level = entry.value("level"_L1).toString();
        if (level == "error"_L1 || level == "critical"_L1 || level == "fatal"_L1) {
            const QString object = entry.value("object"_L1).toString();
            const QString text = entry.value("msg"_L1).toString().trimmed();
            reason_ = object.isEmpty() ? text : QString(object + u": "_s + text);
        }
    }
    QString reason() const { return reason_; }

private:
    const Rclone::ProgressTaker &takeProgress_;
    QString reason_;
};

/// Hands every whole line in \a buffer to \a take, and the rest too \a atEnd.
template<typename Taker>
void takeLines(QByteArray &buffer, bool atEnd, const Taker &take)
{
    qsizetype from = 0;
    for (qsizetype end = buffer.indexOf('\n'); end >= 0; end = buffer.indexOf('\n', from)) {
        take(buffer.sliced(from, end - from));
        from = end + 1;
    }
    buffer.remove(0, from);
    if (atEnd && !buffer.isEmpty()) {
        take(std::exchange(buffer, {}));
    }
}

/// An upload does not go on by itself when this program is killed.
void endWithThisProgram([[maybe_unused]] QProcess &process)
{
#ifdef Q_OS_LINUX
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
#endif
}

} // namespace

Rclone::Rclone(const RemoteAddress &remote)
    : remote_(remote)
    , program_(QStandardPaths::findExecutable(u"rclone"_s))
{}

QString Rclone::problem() const
{
    if (program_.isEmpty()) {
        return u"rclone is not installed or not in the PATH; uploading needs version 1.60 or later."_s;
    }
    QString version;
    const RcloneRun run = this->run({u"version"_s}, {}, [&version](const QByteArray &line) {
        version = version.isEmpty() ? QString::fromUtf8(line).trimmed() : version;
    });
    static const QRegularExpression numbers(u"\\Arclone v(\\d+)\\.(\\d+)"_s);
    const QRegularExpressionMatch match = numbers.match(version);
    if (!run.isGood() || !match.hasMatch()) {
        return u"\"%1\" does not tell its version as rclone does."_s.arg(program_);
    }
    const int major = match.captured(1).toInt();
    const bool isOld = major < oldestMajor || (major == oldestMajor && match.captured(2).toInt() < oldestMinor);
    return isOld ? u"\"%1\" is too old; uploading needs version 1.60 or later."_s.arg(onOneLine(version)) : QString();
}

RcloneRun Rclone::run(const QStringList &options, const QStringList &places, const LineTaker &takeLine,
                      const ProgressTaker &takeProgress) const
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    endWithThisProgram(process);
    process.start(program_, options + always + QStringList{u"--"_s} + places);
    Log log(takeProgress);
    QByteArray output;
    QByteArray errors;
    const auto read = [&](bool atEnd) {
        output += process.readAllStandardOutput();
        errors += process.readAllStandardError();
        takeLines(output, atEnd, [&takeLine](const QByteArray &line) {
            if (takeLine) {
                takeLine(line);
            }
        });
        takeLines(errors, atEnd, [&log](const QByteArray &line) { log.read(line); });
    };
    if (!process.waitForStarted()) {
        return {-1, onOneLine(process.errorString())};
    }
    while (process.state() != QProcess::NotRunning) {
        process.waitForReadyRead(waitMs);
        read(false);
    }
    process.waitForFinished(0);
    read(true);
    RcloneRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.reason = onOneLine(remote_.withoutSecrets(log.reason())).left(longestReason);
    return run;
}

} // namespace velmo::publish
