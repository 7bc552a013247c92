// A launcher.json as it may lie in the data folder. Behind a byte 1E each, keys and texts follow that are set one after
// the other, as in "game.channel=beta".

#include "Target.h"
#include "core/ConfigManager.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::ConfigManager;
using velmo::fuzz::readFile;
using velmo::fuzz::require;
using velmo::fuzz::warnings;

namespace {

constexpr qsizetype mostWrites = 6; // each of them takes a save and a load

bool isJsonObject(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    return error.error == QJsonParseError::NoError && document.isObject();
}

QStringList filesBeside(const QString &path)
{
    return QFileInfo(path).dir().entryList(QDir::Files);
}

void checkLoaded(const ConfigManager &config, const QByteArray &file)
{
    require(config.intValue(u"schema"_s, 0) == 1, "the settings are taken as the present schema");
    const QStringList files = filesBeside(config.filePath());
    if (isJsonObject(file)) {
        require(warnings() == 0 && files.size() == 1, "settings that can be read are left where they are");
        require(readFile(config.filePath()) == file, "reading the settings does not change them");
        return;
    }
    require(warnings() == 1, "settings that cannot be read are told in one line");
    require(files.size() == 2 && readFile(QFileInfo(config.filePath()).dir().filePath(files.last())) == file,
            "settings that cannot be read are moved aside as they are");
    require(isJsonObject(readFile(config.filePath())), "the defaults take the place of what cannot be read");
    require(config.intValue(u"window.width"_s, 0) == 1400, "what cannot be read leaves the defaults");
}

void checkWrite(ConfigManager &config, const QByteArray &line)
{
    const QString key = QString::fromUtf8(line.left(line.indexOf('=')));
    const QString text = QString::fromUtf8(line.mid(line.indexOf('=') + 1));
    constexpr qsizetype deepestKey = 8; // the program's own have two parts
    if (!line.contains('=') || key.count(u'.') >= deepestKey) {
        return;
    }
    config.setValue(key, text);
    require(config.value(key, {}).toString() == text, "a setting reads as it was set");
    require(config.save(), "settings can be saved");
    ConfigManager next;
    next.load();
    const bool isKept = key.section(u'.', 0, 0) != "schema"_L1;
    if (isKept) {
        require(next.stringValue(key, u"missing"_s) == text, "the next start finds what was set");
    }
}

/// What is saved is read again as it was saved.
void checkSave(ConfigManager &config)
{
    require(config.save(), "settings can be saved");
    const QByteArray first = readFile(config.filePath());
    ConfigManager next;
    next.load();
    require(next.save() && readFile(config.filePath()) == first, "settings that are read and saved stay the same");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication();
    qputenv("XDG_CONFIG_HOME", scratchFolder().toUtf8());
    const QList<QByteArray> pieces = parts(input);
    ConfigManager config;
    writeFile(config.filePath(), pieces.first());
    config.load();
    checkLoaded(config, pieces.first());
    checkSave(config);
    for (qsizetype at = 1; at < std::min(pieces.size(), mostWrites + 1); ++at) {
        checkWrite(config, pieces.at(at));
    }
}
