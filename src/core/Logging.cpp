#include "core/Logging.h"

#include "core/Paths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

Q_LOGGING_CATEGORY(lcAccount, "velmo.account")
Q_LOGGING_CATEGORY(lcApp, "velmo.app")
Q_LOGGING_CATEGORY(lcConfig, "velmo.config")
Q_LOGGING_CATEGORY(lcDownload, "velmo.download")
Q_LOGGING_CATEGORY(lcGame, "velmo.game")
Q_LOGGING_CATEGORY(lcNet, "velmo.net")
Q_LOGGING_CATEGORY(lcUi, "velmo.ui")
Q_LOGGING_CATEGORY(lcUpdate, "velmo.update")
Q_LOGGING_CATEGORY(lcVerify, "velmo.verify")

namespace {

constexpr qsizetype keptLogs = 10; // from earlier runs; the log of this run comes on top
constexpr int categoryWidth = 14;  // characters

/// What the message handler writes to; everything in it is guarded by the mutex.
struct LogState {
    QMutex mutex;
    std::unique_ptr<QFile> file;
    QString path;
    QtMessageHandler previousHandler = nullptr;
};

/// Never destroyed, so that a message from a late destructor or thread still finds it whole.
LogState &logState()
{
    static LogState *const state = new LogState;
    return *state;
}

QString levelTag(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return u"DEBUG"_s;
    case QtInfoMsg:
        return u"INFO "_s;
    case QtWarningMsg:
        return u"WARN "_s;
    case QtCriticalMsg:
        return u"ERROR"_s;
    case QtFatalMsg:
        return u"FATAL"_s;
    }
    return {};
}

QString formatLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString category = context.category ? QString::fromUtf8(context.category) : u"default"_s;
    // All four at once, since a message may itself hold something that looks like a placeholder.
    return u"%1 [%2] %3  %4"_s.arg(QDateTime::currentDateTime().toString(u"yyyy-MM-dd HH:mm:ss.zzz"_s), levelTag(type),
                                   category.leftJustified(categoryWidth), message);
}

void writeToFile(const QString &line)
{
    LogState &state = logState();
    const QMutexLocker lock(&state.mutex);
    if (state.file && state.file->isOpen()) {
        QTextStream stream(state.file.get());
        stream << line << '\n';
        stream.flush();
        state.file->flush();
    }
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString line = formatLine(type, context, message);
    writeToFile(line);
    std::fputs((line + u'\n').toLocal8Bit().constData(), type == QtDebugMsg ? stdout : stderr);
    if (type == QtFatalMsg) {
        shutdownLogging();
        std::abort();
    }
}

void pruneOldLogs(QDir directory)
{
    QStringList logs = directory.entryList({u"launcher-*.log"_s}, QDir::Files, QDir::Name);
    while (logs.size() > keptLogs) {
        directory.remove(logs.takeFirst());
    }
}

void openLogFile(LogState &state)
{
    const QDir directory(logsDirectory());
    pruneOldLogs(directory);
    const QString stamp = QDateTime::currentDateTime().toString(u"yyyyMMdd-HHmmss"_s);
    state.path = directory.filePath(u"launcher-%1.log"_s.arg(stamp));
    state.file = std::make_unique<QFile>(state.path);
    if (!state.file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        state.path.clear();
        state.file.reset();
    }
}

} // namespace

void initLogging()
{
    LogState &state = logState();
    const QMutexLocker lock(&state.mutex);
    if (state.file) {
        return;
    }
    if (ensureDirectory(logsDirectory())) {
        openLogFile(state);
    }
    const QtMessageHandler previous = qInstallMessageHandler(handleMessage);
    if (previous != handleMessage) {
        state.previousHandler = previous;
    }
}

void shutdownLogging()
{
    LogState &state = logState();
    const QMutexLocker lock(&state.mutex);
    if (state.previousHandler) {
        qInstallMessageHandler(state.previousHandler);
        state.previousHandler = nullptr;
    }
    if (state.file) {
        state.file->flush();
        state.file->close();
        state.file.reset();
    }
}

} // namespace velmo
