#include "Target.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

using namespace Qt::Literals::StringLiterals;

namespace velmo::fuzz {

namespace {

std::atomic<qsizetype> warningCount = 0;
bool scratchIsEmpty = false;

/// Keeps the log out of libFuzzer's own lines. Whatever an input holds, it cannot forge a second line of the log.
void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        return; // Qt aborts
    }
    if (type != QtDebugMsg && type != QtInfoMsg) {
        ++warningCount;
    }
    if (QByteArrayView(context.category).startsWith("velmo.")) {
        require(!text.contains(u'\n') && !text.contains(u'\r'), "a message of the log stays on one line");
    }
}

const QTemporaryDir &home()
{
    static const QTemporaryDir folder;
    return folder;
}

/// Keeps whatever the launcher keeps for a user away from the one who runs this.
void redirectUserFolders()
{
    const QByteArray folder = QFile::encodeName(home().path());
    for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
        qputenv(variable, folder);
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

} // namespace

void require(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "velmo-fuzz: BROKEN PROMISE: %s\n", promise);
        std::abort();
    }
}

qsizetype warnings()
{
    return warningCount;
}

QString scratchFolder()
{
    const QString folder = home().filePath(u"scratch"_s);
    if (!scratchIsEmpty) {
        // Not by QDir, which cannot remove what it cannot name.
        const std::filesystem::path path = QFileInfo(folder).filesystemFilePath();
        std::error_code failure;
        std::filesystem::remove_all(path, failure);
        require(!failure && std::filesystem::create_directory(path, failure), "the scratch folder can be emptied");
        scratchIsEmpty = true;
    }
    return folder;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    const bool written =
        QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    require(written, "a file of the target's own can be written");
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> parts(const QByteArray &input, char separator)
{
    return input.split(separator);
}

} // namespace velmo::fuzz

// The two functions that libFuzzer calls.

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*arguments*/)
{
    velmo::fuzz::redirectUserFolders();
    qInstallMessageHandler(velmo::fuzz::handleMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    velmo::fuzz::warningCount = 0;
    velmo::fuzz::scratchIsEmpty = false;
    // A copy of the very size, so that AddressSanitizer sees a step beyond its end.
    velmo::fuzz::feed(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    return 0;
}
