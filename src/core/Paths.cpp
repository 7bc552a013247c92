#include "core/Paths.h"

#include <QDir>
#include <QStandardPaths>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

QString below(QStandardPaths::StandardLocation location, const QString &subPath)
{
    return QDir(QStandardPaths::writableLocation(location)).absoluteFilePath(subPath);
}

} // namespace

QString dataDirectory()
{
    return below(QStandardPaths::GenericConfigLocation, u"%1/%2"_s.arg(u"VelmoGames"_s, u"Launcher"_s));
}

QString configFilePath()
{
    return QDir(dataDirectory()).filePath(u"launcher.json"_s);
}

QString logsDirectory()
{
    return QDir(dataDirectory()).filePath(u"logs"_s);
}

QString defaultGamesRoot()
{
    return below(QStandardPaths::HomeLocation, u"%1/Games"_s.arg(u"VelmoGames"_s));
}

bool ensureDirectory(const QString &path)
{
    if (path.isEmpty()) {
        return false;
    }
    const QDir directory(path);
    return directory.exists() || directory.mkpath(u"."_s);
}

} // namespace velmo
