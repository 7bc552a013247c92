#include "core/ConfigManager.h"

#include "core/Logging.h"
#include "core/Paths.h"
#include "core/SaveFile.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr int currentSchema = 1;
constexpr int saveDelayMs = 400;

QJsonObject defaultDocument()
{
    return {
        {u"schema"_s, currentSchema},
        {u"window"_s, QJsonObject{{u"width"_s, 1400},
                                  {u"height"_s, 850},
                                  {u"x"_s, -1}, // -1: never saved
                                  {u"y"_s, -1},
                                  {u"maximized"_s, false}}},
        {u"game"_s, QJsonObject{{u"installPath"_s, QString()},
                                {u"installedVersion"_s, QString()},
                                {u"installedBuild"_s, 0},
                                {u"launchArguments"_s, QString()},
                                {u"channel"_s, QString()}}},
        {u"launcher"_s, QJsonObject{{u"rememberWindowGeometry"_s, true},
                                    {u"autoCheckUpdates"_s, true},
                                    {u"startWithWindows"_s, false},
                                    {u"minimizeToTray"_s, false}}},
        // The scale is reserved: it is kept in the document, and nothing reads it.
        {u"appearance"_s, QJsonObject{{u"scale"_s, 1.0}, {u"animations"_s, true}}},
    };
}

/// \a file over the defaults. A group of the file that is no object replaces the default group whole.
QJsonObject mergedWithDefaults(const QJsonObject &file)
{
    QJsonObject merged = defaultDocument();
    for (auto member = file.begin(); member != file.end(); ++member) {
        const QJsonValue standing = merged.value(member.key());
        if (!member.value().isObject() || !standing.isObject()) {
            merged.insert(member.key(), member.value());
            continue;
        }
        QJsonObject group = standing.toObject();
        const QJsonObject fileGroup = member.value().toObject();
        for (auto entry = fileGroup.begin(); entry != fileGroup.end(); ++entry) {
            group.insert(entry.key(), entry.value());
        }
        merged.insert(member.key(), group);
    }
    // No version is compared and nothing migrated: the file is taken as the present schema, whatever it says.
    merged.insert(u"schema"_s, currentSchema);
    return merged;
}

void insertAt(QJsonObject &object, const QStringList &parts, const QJsonValue &newValue)
{
    if (parts.isEmpty()) {
        return;
    }
    if (parts.size() == 1) {
        object.insert(parts.first(), newValue);
        return;
    }
    QJsonObject child = object.value(parts.first()).toObject();
    insertAt(child, parts.mid(1), newValue);
    object.insert(parts.first(), child);
}

} // namespace

ConfigManager::ConfigManager(QObject *parent)
    : QObject(parent)
    , data(defaultDocument())
    , path(configFilePath())
{
    saveTimer.setSingleShot(true);
    saveTimer.setInterval(saveDelayMs);
    saveTimer.setTimerType(Qt::PreciseTimer);
    connect(&saveTimer, &QTimer::timeout, this, &ConfigManager::save);
}

ConfigManager::~ConfigManager()
{
    if (saveTimer.isActive()) {
        save();
    }
}

void ConfigManager::load()
{
    QFile file(path);
    if (!file.exists()) {
        qCInfo(lcConfig) << "No existing configuration, starting from defaults:" << path;
        save();
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcConfig) << "Configuration exists but could not be opened:" << file.errorString();
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    file.close();
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        quarantine(error.errorString());
        return;
    }
    data = mergedWithDefaults(document.object());
    qCInfo(lcConfig) << "Loaded configuration from" << path;
}

bool ConfigManager::save()
{
    saveTimer.stop();
    if (!ensureDirectory(dataDirectory())) {
        qCWarning(lcConfig) << "Could not create configuration directory" << dataDirectory();
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Unbuffered)) {
        qCWarning(lcConfig) << "Could not open configuration for writing:" << file.errorString();
        return false;
    }
    writeAll(file, jsonForFile(data));
    if (!file.commit()) {
        qCWarning(lcConfig) << "Failed to commit configuration:" << file.errorString();
        return false;
    }
    return true;
}

void ConfigManager::resetToDefaults()
{
    qCInfo(lcConfig) << "Resetting launcher configuration to defaults";
    data = defaultDocument();
    save();
    emit reset();
}

QVariant ConfigManager::value(const QString &key, const QVariant &fallback) const
{
    QJsonValue current = data;
    const QStringList parts = key.split(u'.');
    for (const QString &part : parts) {
        if (!current.isObject()) {
            return fallback;
        }
        current = current.toObject().value(part);
    }
    if (current.isUndefined() || current.isNull()) {
        return fallback;
    }
    return current.toVariant();
}

bool ConfigManager::boolValue(const QString &key, bool fallback) const
{
    return value(key, fallback).toBool();
}

int ConfigManager::intValue(const QString &key, int fallback) const
{
    return value(key, fallback).toInt();
}

QString ConfigManager::stringValue(const QString &key, const QString &fallback) const
{
    return value(key, fallback).toString();
}

void ConfigManager::setValue(const QString &key, const QVariant &newValue)
{
    if (value(key, QVariant()) == newValue) {
        return;
    }
    insertAt(data, key.split(u'.'), QJsonValue::fromVariant(newValue));
    saveTimer.start();
    emit changed(key, newValue);
}

void ConfigManager::quarantine(const QString &parseError)
{
    const QString target = path + u".corrupt-"_s + QDateTime::currentDateTime().toString(u"yyyyMMddHHmmss"_s);
    QFile::rename(path, target);
    qCWarning(lcConfig) << "Configuration was not valid JSON (" << parseError << "), moved to" << target
                        << "and reverted to defaults";
    data = defaultDocument();
    save();
}

} // namespace velmo
