#include "game/InstallManager.h"

#include "core/Logging.h"
#include "core/SaveFile.h"
#include "data/GameProfile.h"
#include "game/ExecuteBits.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>
#include <QStorageInfo>

#include <chrono>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr double spaceMargin = 1.15;

bool refuse(QString *error, const QString &reason)
{
    if (error) {
        *error = reason;
    }
    return false;
}

/// A launcher that ended between a program's arrival and its permission leaves right bytes that cannot be run, which no
/// look at hashes finds.
void allowProgramsToRun(const QDir &root, const Manifest &manifest)
{
    for (const ManifestFile &file : manifest.files) {
        if (file.executable) {
            allowExecution(root.filePath(file.path));
        }
    }
}

} // namespace

InstallManager::InstallManager(QObject *parent)
    : QObject(parent)
{}

void InstallManager::setInstallRoot(const QString &path)
{
    root_ = QDir::cleanPath(path);
}

QString InstallManager::metadataDir() const
{
    return QDir(root_).filePath(u".velmo"_s);
}

bool InstallManager::prepare(QString *error)
{
    if (root_.isEmpty()) {
        return refuse(error, u"No installation folder has been chosen yet."_s);
    }
    if (!QDir().mkpath(metadataDir())) {
        qCWarning(lcGame) << "mkpath failed for" << metadataDir();
        return refuse(error, u"The launcher could not create the installation folder. Choose a different location, or "
                             "run the launcher from a folder you can write to."_s);
    }
    QFile probe(QDir(metadataDir()).filePath(u"write-test.tmp"_s));
    if (!probe.open(QIODevice::WriteOnly)) {
        qCWarning(lcGame) << "Write probe failed at" << probe.fileName() << probe.errorString();
        return refuse(error, u"The launcher does not have permission to write to the installation folder."_s);
    }
    probe.write("velmo");
    probe.close();
    probe.remove();
    return true;
}

qint64 InstallManager::availableBytes() const
{
    if (root_.isEmpty()) {
        return -1;
    }
    QString path = root_;
    while (!QFileInfo(path).isDir() && QFileInfo(path).path() != path) {
        path = QFileInfo(path).path(); // QDir::cdUp would stay where the parent is missing too
    }
    const QStorageInfo storage{QDir(path)}; // a bare "." counts as a drive where the working folder is gone
    return storage.isValid() ? storage.bytesAvailable() : -1;
}

qint64 InstallManager::requiredBytes(const QList<ManifestFile> &files)
{
    const double required = static_cast<double>(totalSize(files)) * spaceMargin;
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    return required < static_cast<double>(largest) ? static_cast<qint64>(required) : largest;
}

QString InstallManager::executablePath() const
{
    if (root_.isEmpty()) {
        return {};
    }
    const Manifest installed = loadInstalledManifest();
    const bool named = installed.valid && !installed.executable.isEmpty();
    const QString relative = named ? installed.executable : gameProfile().executable;
    return relative.isEmpty() ? QString() : QDir::cleanPath(QDir(root_).filePath(relative));
}

bool InstallManager::hasInstalledManifest() const
{
    return !root_.isEmpty() && QFile::exists(installedManifestPath());
}

Manifest InstallManager::loadInstalledManifest() const
{
    if (root_.isEmpty()) {
        return {};
    }
    QFile file(installedManifestPath());
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const FileStamp stamp = stampOf(file);
    if (known_.manifest.valid && known_.stamp == stamp) {
        return known_.manifest; // parsing 100,000 files would hold up the window for a third of a second
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        qCWarning(lcGame) << "Installed manifest is unreadable:" << parseError.errorString();
        return {};
    }
    QString error;
    const Manifest manifest = Manifest::fromJson(document.object(), &error);
    if (!manifest.valid) {
        qCWarning(lcGame) << "Installed manifest rejected:" << error;
    }
    known_ = stamp.isSettledAt(std::chrono::system_clock::now()) ? KnownRecord{stamp, manifest} : KnownRecord{};
    return manifest;
}

bool InstallManager::commitInstalledManifest(const Manifest &manifest)
{
    if (root_.isEmpty() || !manifest.valid) {
        return false;
    }
    allowProgramsToRun(QDir(root_), manifest);
    QDir().mkpath(metadataDir());
    QSaveFile file(installedManifestPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        qCWarning(lcGame) << "Could not record the installed manifest:" << file.errorString();
        return false;
    }
    writeAll(file, jsonForFile(manifest.toJson()));
    if (!file.commit()) {
        qCWarning(lcGame) << "Could not commit the installed manifest:" << file.errorString();
        return false;
    }
    qCInfo(lcGame) << "Recorded installed build" << manifest.version << "(" << manifest.build << ")";
    return true;
}

int InstallManager::removeStaleFiles(const Manifest &previous, const Manifest &next)
{
    if (root_.isEmpty()) {
        return 0;
    }
    QSet<QString> kept;
    kept.reserve(next.files.size());
    for (const ManifestFile &file : next.files) {
        kept.insert(file.path);
    }
    int removed = 0;
    const QDir root(root_);
    for (const ManifestFile &file : previous.files) {
        if (!kept.contains(file.path) && QFile::remove(root.filePath(file.path))) {
            ++removed;
            qCInfo(lcGame) << "Removed file no longer in the build:" << file.path;
        }
    }
    return removed;
}

QString InstallManager::installedManifestPath() const
{
    return QDir(metadataDir()).filePath(u"installed.json"_s);
}

} // namespace velmo
