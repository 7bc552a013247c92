#include "core/ConfigManager.h"
#include "core/Paths.h"
#include "support/FullDrive.h"
#include "support/LogCapture.h"
#include "support/PlainText.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>

#include <memory>

using namespace Qt::Literals::StringLiterals;
using velmo::ConfigManager;
using velmo::test::FullDrive;
using velmo::test::LogCapture;
using velmo::test::plainText;
using velmo::test::readFile;
using velmo::test::writeFile;

namespace {

constexpr int saveDelayMs = 400;
constexpr int wellAfterTheSaveMs = 700;

void writeSettings(const QByteArray &contents)
{
    writeFile(velmo::configFilePath(), contents);
}

QJsonObject savedDocument()
{
    return QJsonDocument::fromJson(readFile(velmo::configFilePath())).object();
}

bool settingsExist()
{
    return QFile::exists(velmo::configFilePath());
}

QJsonObject defaults()
{
    return QJsonDocument::fromJson(R"({
        "schema": 1,
        "window": {"width": 1400, "height": 850, "x": -1, "y": -1, "maximized": false},
        "game": {"installPath": "", "installedVersion": "", "installedBuild": 0, "launchArguments": "", "channel": ""},
        "launcher": {"rememberWindowGeometry": true, "autoCheckUpdates": true, "startWithWindows": false,
                     "minimizeToTray": false},
        "appearance": {"scale": 1.0, "animations": true}
    })")
        .object();
}

QStringList quarantinedNames()
{
    return QDir(velmo::dataDirectory()).entryList({u"launcher.json.corrupt-*"_s}, QDir::Files, QDir::Name);
}

QString loadedLine()
{
    return u"INFO velmo.config: Loaded configuration from \"%1\""_s.arg(velmo::configFilePath());
}

QString firstRunLine()
{
    return u"INFO velmo.config: No existing configuration, starting from defaults: \"%1\""_s.arg(
        velmo::configFilePath());
}

QString noDirectoryLine()
{
    return u"WARN velmo.config: Could not create configuration directory \"%1\""_s.arg(velmo::dataDirectory());
}

} // namespace

class tst_ConfigManager : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCapture> log;

private slots:
    void init();
    void cleanup();

    void startsFromTheDefaultsWithoutTouchingAFile();
    void everyKeyHasItsDefault_data();
    void everyKeyHasItsDefault();
    void filePathIsTheSettingsFile();

    void firstRunLogsAndWritesTheDefaults();
    void fileIsReadOverTheDefaults();
    void missingKeysTakeTheirDefaults();
    void unknownKeysSurviveTheNextSave();
    void groupsMergeOneLevelDeep();
    void groupThatIsNoObjectReplacesTheDefaults();
    void objectInThePlaceOfAValueStands();
    void schemaIsReplacedInMemoryOnly_data();
    void schemaIsReplacedInMemoryOnly();
    void missingSchemaIsAdded();
    void byteOrderMarkIsNoHarm();
    void unreadableFileStaysUntouched();

    void badFileIsQuarantined_data();
    void badFileIsQuarantined();
    void hugeBadFileIsQuarantined_data();
    void hugeBadFileIsQuarantined();
    void quarantineIsNamedAfterTheLocalTime();
    void failedQuarantineStillRevertsToDefaults();

    void valueWalksTheKey_data();
    void valueWalksTheKey();
    void typedReadsConvert();
    void readsComeFromMemory();

    void writeIsReadBackAtOnce_data();
    void writeIsReadBackAtOnce();
    void writeLeavesItsNeighboursAlone();
    void writeReplacesANonObjectInTheWay();
    void writeMakesMissingGroups();
    void writeAnnouncesKeyAndValueOnce();
    void saveByAListenerOvertakesTheTimer();
    void equalWriteEmitsNothingAndStartsNoTimer_data();
    void equalWriteEmitsNothingAndStartsNoTimer();

    void burstOfWritesCostsOneSave();
    void writtenValueIsNotOnDiskBeforeTheDelay();
    void saveWritesAtOnceAndStopsTheTimer();
    void fileIsIndentedJson();
    void textsThatBeginWithAByteOrderMarkAreReadBack();
    void saveLeavesNoOtherFile();
    void missingDirectoryIsMadeOnSave();
    void saveFailsWithoutADirectory();
    void saveFailsWhenTheFileCannotBeOpened();
    void failedCommitLeavesTheOldFileIntact_data();
    void failedCommitLeavesTheOldFileIntact();
    void failedSaveKeepsTheValuesForTheNext();
    void failedSaveIsNotTriedAgainByItself();

    void resetGoesBackToTheDefaultsAndSaves();
    void resetIsAnnouncedAfterTheSaveAndWithoutChanges();

    void destructionSavesAPendingWrite();
    void destructionWithoutAPendingWriteSavesNothing();
};

void tst_ConfigManager::init()
{
    QDir(velmo::dataDirectory()).removeRecursively();
    QFile::remove(velmo::dataDirectory());
    log = std::make_unique<LogCapture>();
}

void tst_ConfigManager::cleanup()
{
    log.reset();
}

void tst_ConfigManager::startsFromTheDefaultsWithoutTouchingAFile()
{
    writeSettings(R"({"window":{"width":1000}})");
    {
        const ConfigManager config;
        QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
    }
    QCOMPARE(readFile(velmo::configFilePath()), R"({"window":{"width":1000}})");
    QCOMPARE(log->texts(), QStringList());

    QVERIFY(QDir(velmo::dataDirectory()).removeRecursively());
    const ConfigManager config;
    QVERIFY(!QFile::exists(velmo::dataDirectory()));
}

void tst_ConfigManager::everyKeyHasItsDefault_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");
    const auto row = [](const char *key, const QVariant &expected) {
        QTest::newRow(key) << QString::fromLatin1(key) << expected;
    };
    row("schema", 1);
    row("window.width", 1400);
    row("window.height", 850);
    row("window.x", -1);
    row("window.y", -1);
    row("window.maximized", false);
    row("game.installPath", QString());
    row("game.installedVersion", QString());
    row("game.installedBuild", 0);
    row("game.launchArguments", QString());
    row("game.channel", QString());
    row("launcher.rememberWindowGeometry", true);
    row("launcher.autoCheckUpdates", true);
    row("launcher.startWithWindows", false);
    row("launcher.minimizeToTray", false);
    row("appearance.scale", 1.0);
    row("appearance.animations", true);
}

void tst_ConfigManager::everyKeyHasItsDefault()
{
    QFETCH(QString, key);
    QFETCH(QVariant, expected);
    const ConfigManager config;
    const QVariant value = config.value(key, u"the fallback"_s);
    QCOMPARE(value, expected);
    // Numbers of JSON have one type; the others keep theirs.
    const bool isNumber = expected.typeId() == QMetaType::Int || expected.typeId() == QMetaType::Double;
    QVERIFY(isNumber ? value.canConvert<double>() : value.typeId() == expected.typeId());
}

void tst_ConfigManager::filePathIsTheSettingsFile()
{
    const ConfigManager config;
    QCOMPARE(config.filePath(), velmo::configFilePath());
}

void tst_ConfigManager::firstRunLogsAndWritesTheDefaults()
{
    ConfigManager config;
    config.load();
    QCOMPARE(log->texts(), QStringList{firstRunLine()});
    QCOMPARE(savedDocument(), defaults());
}

void tst_ConfigManager::fileIsReadOverTheDefaults()
{
    writeSettings(R"({"window":{"width":1000,"maximized":true},"game":{"channel":"beta"},)"
                  R"("appearance":{"animations":false}})");
    ConfigManager config;
    config.load();
    QCOMPARE(log->texts(), QStringList{loadedLine()});
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1000);
    QCOMPARE(config.boolValue(u"window.maximized"_s, false), true);
    QCOMPARE(config.stringValue(u"game.channel"_s, QString()), u"beta"_s);
    QCOMPARE(config.boolValue(u"appearance.animations"_s, true), false);
    QCOMPARE(config.intValue(u"window.height"_s, 0), 850);
}

void tst_ConfigManager::missingKeysTakeTheirDefaults()
{
    writeSettings(R"({"launcher":{"minimizeToTray":true}})");
    ConfigManager config;
    config.load();
    QVERIFY(config.save());
    QJsonObject expected = defaults();
    QJsonObject launcher = expected.value("launcher"_L1).toObject();
    launcher.insert("minimizeToTray"_L1, true);
    expected.insert("launcher"_L1, launcher);
    QCOMPARE(savedDocument(), expected);
}

void tst_ConfigManager::unknownKeysSurviveTheNextSave()
{
    writeSettings(R"({"future":{"a":[1,null,{"b":"c"}]},"window":{"monitor":"left"},"note":"kept","none":null})");
    ConfigManager config;
    config.load();
    config.setValue(u"window.width"_s, 900);
    QVERIFY(config.save());
    const QJsonObject saved = savedDocument();
    QCOMPARE(QJsonDocument(saved.value("future"_L1).toObject()).toJson(QJsonDocument::Compact),
             R"({"a":[1,null,{"b":"c"}]})");
    QCOMPARE(saved.value("note"_L1), QJsonValue(u"kept"_s));
    QCOMPARE(saved.value("none"_L1), QJsonValue(QJsonValue::Null));
    const QJsonObject window = saved.value("window"_L1).toObject();
    QCOMPARE(window.value("monitor"_L1), QJsonValue(u"left"_s));
    QCOMPARE(window.value("width"_L1), QJsonValue(900));
}

void tst_ConfigManager::groupsMergeOneLevelDeep()
{
    writeSettings(R"({"window":{"width":{"logical":7}}})");
    ConfigManager config;
    config.load();
    QCOMPARE(config.intValue(u"window.width.logical"_s, 0), 7);
    QCOMPARE(config.intValue(u"window.height"_s, 0), 850);
}

void tst_ConfigManager::groupThatIsNoObjectReplacesTheDefaults()
{
    writeSettings(R"({"window":5})");
    ConfigManager config;
    config.load();
    QCOMPARE(config.intValue(u"window.width"_s, 77), 77);
    QCOMPARE(config.intValue(u"window"_s, 0), 5);
    config.setValue(u"window.width"_s, 1000);
    QVERIFY(config.save());
    QCOMPARE(savedDocument().value("window"_L1).toObject(), QJsonObject({{u"width"_s, 1000}}));
}

void tst_ConfigManager::objectInThePlaceOfAValueStands()
{
    writeSettings(R"({"extra":{"a":1},"game":[1,2]})");
    ConfigManager config;
    config.load();
    QCOMPARE(config.intValue(u"extra.a"_s, 0), 1);
    QCOMPARE(config.value(u"game"_s, {}).toList(), QVariantList({1, 2}));
}

void tst_ConfigManager::schemaIsReplacedInMemoryOnly_data()
{
    QTest::addColumn<QByteArray>("schema");
    QTest::newRow("higher") << QByteArrayLiteral("99");
    QTest::newRow("lower") << QByteArrayLiteral("0");
    QTest::newRow("string") << QByteArrayLiteral(R"("two")");
    QTest::newRow("object") << QByteArrayLiteral(R"({"major":2})");
}

void tst_ConfigManager::schemaIsReplacedInMemoryOnly()
{
    QFETCH(QByteArray, schema);
    const QByteArray written = R"({"schema":)" + schema + '}';
    writeSettings(written);
    {
        ConfigManager config;
        config.load();
        QCOMPARE(config.value(u"schema"_s, {}), QVariant(1));
        QCOMPARE(readFile(velmo::configFilePath()), written);
    }
    QCOMPARE(readFile(velmo::configFilePath()), written); // loading had left no save to do
    ConfigManager config;
    config.load();
    config.setValue(u"window.x"_s, 3);
    QVERIFY(config.save());
    QCOMPARE(savedDocument().value("schema"_L1), QJsonValue(1));
}

void tst_ConfigManager::missingSchemaIsAdded()
{
    writeSettings("{}");
    ConfigManager config;
    config.load();
    QCOMPARE(config.value(u"schema"_s, {}), QVariant(1));
}

void tst_ConfigManager::byteOrderMarkIsNoHarm()
{
    writeSettings("\xEF\xBB\xBF{\"window\":{\"width\":1000}}");
    ConfigManager config;
    config.load();
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1000);
    QCOMPARE(quarantinedNames(), QStringList());
}

void tst_ConfigManager::unreadableFileStaysUntouched()
{
    QVERIFY(QDir(velmo::configFilePath()).mkpath(u"inner"_s));
    QFile directory(velmo::configFilePath());
    QVERIFY(!directory.open(QIODevice::ReadOnly));
    {
        ConfigManager config;
        config.load();
        QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
    }
    QCOMPARE(log->texts(), QStringList{u"WARN velmo.config: Configuration exists but could not be opened: \"%1\""_s.arg(
                               directory.errorString())});
    QVERIFY(QFileInfo(velmo::configFilePath() + u"/inner"_s).isDir());
    QCOMPARE(quarantinedNames(), QStringList());
}

void tst_ConfigManager::badFileIsQuarantined_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("parserText");
    const QString noError = u"no error occurred"_s; // the parser has nothing against it, the launcher has
    QTest::newRow("empty") << QByteArray("") << u"illegal value"_s;
    QTest::newRow("blank") << QByteArray("  \n\t ") << u"illegal value"_s;
    QTest::newRow("array") << QByteArray("[1,2,3]") << noError;
    QTest::newRow("empty array") << QByteArray("[]") << noError;
    QTest::newRow("bare number") << QByteArray("5") << u"illegal value"_s;
    QTest::newRow("cut off") << QByteArray(R"({"window":{})") << u"unterminated object"_s;
    QTest::newRow("trailing text") << QByteArray("{} x") << u"garbage at the end of the document"_s;
    QTest::newRow("not UTF-8") << QByteArray("{\"game\":{\"channel\":\"\xC3\x28\"}}") << u"invalid UTF8 string"_s;
    QTest::newRow("UTF-16") << QByteArray("\xFF\xFE{\0}\0", 6) << u"illegal value"_s;
    QTest::newRow("zeros") << QByteArray(4096, '\0') << u"illegal value"_s;
    QTest::newRow("deep nesting") << QByteArray("{\"a\":") + QByteArray(100000, '[') << u"too deeply nested document"_s;
}

void tst_ConfigManager::badFileIsQuarantined()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, parserText);
    writeSettings(contents);
    ConfigManager config;
    config.setValue(u"window.width"_s, 1000); // what was in memory goes, too
    config.load();
    QCOMPARE(quarantinedNames().size(), 1);
    const QString target = QDir(velmo::dataDirectory()).filePath(quarantinedNames().first());
    QCOMPARE(
        log->texts(),
        QStringList{u"WARN velmo.config: Configuration was not valid JSON ( \"%1\" ), moved to \"%2\" and reverted "
                    "to defaults"_s.arg(parserText, target)});
    QCOMPARE(readFile(target), contents);
    QCOMPARE(savedDocument(), defaults());
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
}

void tst_ConfigManager::hugeBadFileIsQuarantined_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::newRow("nothing but zeros") << QByteArray();
    QTest::newRow("an endless string") << QByteArray(R"({"game":{"channel":")");
    QTest::newRow("zeros after a document") << QByteArray("{}");
}

void tst_ConfigManager::hugeBadFileIsQuarantined()
{
    QFETCH(QByteArray, beginning);
    constexpr qint64 hugeSize = 100'000'000;
    writeSettings(beginning);
    QVERIFY(QFile::resize(velmo::configFilePath(), hugeSize)); // the rest is zeros
    {
        ConfigManager config;
        config.load();
        QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
    }
    QCOMPARE(quarantinedNames().size(), 1);
    QCOMPARE(QFileInfo(QDir(velmo::dataDirectory()).filePath(quarantinedNames().first())).size(), hugeSize);
    QCOMPARE(savedDocument(), defaults());
}

void tst_ConfigManager::quarantineIsNamedAfterTheLocalTime()
{
    writeSettings("{");
    const QDateTime before = QDateTime::currentDateTime();
    ConfigManager config;
    config.load();
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(quarantinedNames().size(), 1);
    static const QRegularExpression pattern(uR"(^launcher\.json\.corrupt-(\d{14})$)"_s);
    const QString stamp = pattern.match(quarantinedNames().first()).captured(1);
    QVERIFY2(!stamp.isEmpty(), qPrintable(quarantinedNames().first()));
    const QDateTime moved = QDateTime::fromString(stamp, u"yyyyMMddHHmmss"_s);
    QVERIFY(moved.addSecs(1) > before && moved <= after);
}

void tst_ConfigManager::failedQuarantineStillRevertsToDefaults()
{
    writeSettings("{ bad");
    QStringList targets;
    const QDateTime now = QDateTime::currentDateTime();
    for (int second = 0; second < 120; ++second) { // wherever the bad file would go, something stands already
        const QString stamp = now.addSecs(second).toString(u"yyyyMMddHHmmss"_s);
        targets.append(velmo::configFilePath() + u".corrupt-"_s + stamp);
        QVERIFY(QFile::copy(velmo::configFilePath(), targets.last()));
    }
    ConfigManager config;
    config.load();
    QCOMPARE(quarantinedNames().size(), targets.size());
    QCOMPARE(savedDocument(), defaults());
    QCOMPARE(log->texts().size(), 1);
    QVERIFY(std::any_of(targets.cbegin(), targets.cend(), [this](const QString &target) {
        return log->texts().first().endsWith(u"moved to \"%1\" and reverted to defaults"_s.arg(target));
    }));
}

void tst_ConfigManager::valueWalksTheKey_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");
    const QVariant fallback = u"the fallback"_s;
    QTest::newRow("nested") << u"a.b.c"_s << QVariant(1);
    QTest::newRow("missing leaf") << u"a.b.x"_s << fallback;
    QTest::newRow("missing group") << u"x.b.c"_s << fallback;
    QTest::newRow("stored null") << u"a.none"_s << fallback;
    QTest::newRow("through a null") << u"a.none.c"_s << fallback;
    QTest::newRow("through a string") << u"game.installPath.foo"_s << fallback;
    QTest::newRow("through a number") << u"window.width.x"_s << fallback;
    QTest::newRow("through an array") << u"a.list.0"_s << fallback;
    QTest::newRow("another letter case") << u"Window.width"_s << fallback;
    QTest::newRow("leaf in another letter case") << u"window.Width"_s << fallback;
    QTest::newRow("empty part") << u"a..b"_s << QVariant(2);
    QTest::newRow("empty part at the end") << u"a."_s << QVariant(QVariantMap{{u"b"_s, 2}});
    QTest::newRow("empty part at the start") << u".a"_s << fallback;
    QTest::newRow("empty key") << QString() << fallback;
    QTest::newRow("no trimming") << u" a.b.c"_s << fallback;
    QTest::newRow("array") << u"a.list"_s << QVariant(QVariantList{1, u"two"_s});
    QTest::newRow("false is a value") << u"window.maximized"_s << QVariant(false);
    QTest::newRow("empty string is a value") << u"game.channel"_s << QVariant(QString());
}

void tst_ConfigManager::valueWalksTheKey()
{
    QFETCH(QString, key);
    QFETCH(QVariant, expected);
    writeSettings(R"({"a":{"b":{"c":1},"none":null,"list":[1,"two"],"":{"b":2}}})");
    ConfigManager config;
    config.load();
    QCOMPARE(config.value(key, u"the fallback"_s), expected);
}

void tst_ConfigManager::typedReadsConvert()
{
    writeSettings(R"({"t":{"number":12.6,"text":"34","yes":"true","flag":true,"words":"abc"}})");
    ConfigManager config;
    config.load();
    QCOMPARE(config.intValue(u"t.text"_s, 0), 34);
    QCOMPARE(config.intValue(u"t.number"_s, 0), 13);
    QCOMPARE(config.intValue(u"t.flag"_s, 0), 1);
    QCOMPARE(config.intValue(u"t.words"_s, 9), 0); // it is there, so the fallback is not asked
    QCOMPARE(config.intValue(u"t.absent"_s, 9), 9);
    QCOMPARE(config.boolValue(u"t.yes"_s, false), true);
    QCOMPARE(config.boolValue(u"t.number"_s, false), true);
    QCOMPARE(config.boolValue(u"t.absent"_s, true), true);
    QCOMPARE(config.stringValue(u"t.flag"_s, QString()), u"true"_s);
    QCOMPARE(config.stringValue(u"t.text"_s, QString()), u"34"_s);
    QCOMPARE(config.stringValue(u"t.absent"_s, u"else"_s), u"else"_s);
}

void tst_ConfigManager::readsComeFromMemory()
{
    writeSettings(R"({"window":{"width":1000}})");
    ConfigManager config;
    config.load();
    QVERIFY(QFile::remove(velmo::configFilePath()));
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1000);
}

void tst_ConfigManager::writeIsReadBackAtOnce_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("number") << u"window.width"_s << QVariant(1600);
    QTest::newRow("negative") << u"window.x"_s << QVariant(-32000);
    QTest::newRow("real") << u"appearance.scale"_s << QVariant(1.25);
    QTest::newRow("text") << u"game.installPath"_s << QVariant(u"D:/Spiele/Härröw – 日本"_s);
    QTest::newRow("flag") << u"launcher.minimizeToTray"_s << QVariant(true);
    QTest::newRow("list") << u"a.list"_s << QVariant(QVariantList{1, u"two"_s});
    QTest::newRow("top level") << u"alone"_s << QVariant(u"x"_s);
    QTest::newRow("empty parts") << u"a..b."_s << QVariant(7);
    QTest::newRow("empty key") << QString() << QVariant(8);
    QTest::newRow("four levels") << u"a.b.c.d"_s << QVariant(9);
}

void tst_ConfigManager::writeIsReadBackAtOnce()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    {
        ConfigManager config;
        config.setValue(key, value);
        QCOMPARE(config.value(key, {}), value);
        QVERIFY(config.save());
    }
    ConfigManager config;
    config.load();
    QCOMPARE(config.value(key, {}), value);
}

void tst_ConfigManager::writeLeavesItsNeighboursAlone()
{
    ConfigManager config;
    config.setValue(u"window.width"_s, 1000);
    QVERIFY(config.save());
    QJsonObject expected = defaults();
    QJsonObject window = expected.value("window"_L1).toObject();
    window.insert("width"_L1, 1000);
    expected.insert("window"_L1, window);
    QCOMPARE(savedDocument(), expected);
}

void tst_ConfigManager::writeReplacesANonObjectInTheWay()
{
    ConfigManager config;
    config.setValue(u"game.installPath.foo.bar"_s, 1);
    QVERIFY(config.save());
    const QJsonObject game = savedDocument().value("game"_L1).toObject();
    QCOMPARE(game.value("installPath"_L1).toObject(), QJsonObject({{u"foo"_s, QJsonObject({{u"bar"_s, 1}})}}));
    QCOMPARE(game.value("channel"_L1), QJsonValue(QString()));
}

void tst_ConfigManager::writeMakesMissingGroups()
{
    ConfigManager config;
    config.setValue(u"a..b"_s, 1);
    QVERIFY(config.save());
    const QJsonObject expected{{QString(), QJsonObject({{u"b"_s, 1}})}};
    QCOMPARE(savedDocument().value("a"_L1).toObject(), expected);
}

void tst_ConfigManager::writeAnnouncesKeyAndValueOnce()
{
    ConfigManager config;
    const QSignalSpy changed(&config, &ConfigManager::changed);
    const QSignalSpy reset(&config, &ConfigManager::reset);
    QVariant readInTheSlot;
    connect(&config, &ConfigManager::changed, this,
            [&config, &readInTheSlot](const QString &key) { readInTheSlot = config.value(key, {}); });
    config.setValue(u"window.width"_s, 1234);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.first().at(0).toString(), u"window.width"_s);
    QCOMPARE(changed.first().at(1).value<QVariant>(), QVariant(1234));
    QCOMPARE(readInTheSlot, QVariant(1234));
    QCOMPARE(reset.size(), 0);
}

/// The timer runs by the time a write is announced, so a listener's own save is the only one.
void tst_ConfigManager::saveByAListenerOvertakesTheTimer()
{
    {
        ConfigManager config;
        connect(&config, &ConfigManager::changed, this, [&config] { config.save(); });
        config.setValue(u"window.width"_s, 1234);
        QVERIFY(QFile::remove(velmo::configFilePath()));
    }
    QVERIFY(!settingsExist()); // a running timer would have made the destructor save
}

void tst_ConfigManager::equalWriteEmitsNothingAndStartsNoTimer_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("number") << u"window.width"_s << QVariant(1400);
    QTest::newRow("number of another type") << u"window.width"_s << QVariant(1400.0);
    QTest::newRow("text") << u"game.channel"_s << QVariant(QString());
    QTest::newRow("flag") << u"launcher.autoCheckUpdates"_s << QVariant(true);
    QTest::newRow("nothing under an absent key") << u"a.b"_s << QVariant();
}

void tst_ConfigManager::equalWriteEmitsNothingAndStartsNoTimer()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    {
        ConfigManager config;
        const QSignalSpy changed(&config, &ConfigManager::changed);
        config.setValue(key, value);
        QCOMPARE(changed.size(), 0);
    }
    QVERIFY(!settingsExist()); // a running timer would have made the destructor save
}

/// Two bursts of writes, and a save that comes between two timers which run beside its own from the last write on:
/// however late a busy machine lets them all be, they come in the order of their times.
void tst_ConfigManager::burstOfWritesCostsOneSave()
{
    constexpr int slightlyMs = 20;
    ConfigManager config;
    const auto writeBurst = [&config](int first) {
        for (int write = first; write < first + 5; ++write) {
            config.setValue(u"window.width"_s, write);
        }
    };
    bool savedTooEarly = false;
    bool savedInTime = false;
    writeBurst(1);
    QTimer::singleShot(saveDelayMs / 2, Qt::PreciseTimer, this, [&] {
        QTimer::singleShot(saveDelayMs - slightlyMs, Qt::PreciseTimer, this, [&] { savedTooEarly = settingsExist(); });
        writeBurst(11);
        QTimer::singleShot(saveDelayMs + slightlyMs, Qt::PreciseTimer, this, [&] {
            savedInTime = settingsExist();
            QTestEventLoop::instance().exitLoop();
        });
    });
    QTestEventLoop::instance().enterLoop(60);
    QVERIFY(!savedTooEarly);
    QVERIFY(savedInTime);
    QCOMPARE(savedDocument().value("window"_L1).toObject().value("width"_L1).toInt(), 15);
    QVERIFY(QFile::remove(velmo::configFilePath()));
    QTest::qWait(wellAfterTheSaveMs);
    QVERIFY(!settingsExist()); // no second save follows
}

/// What a crash leaves behind: only what had 400 ms of peace, or was saved by hand, is on disk.
void tst_ConfigManager::writtenValueIsNotOnDiskBeforeTheDelay()
{
    ConfigManager config;
    config.load();
    config.setValue(u"game.channel"_s, u"beta"_s);
    QCOMPARE(savedDocument(), defaults());
    QTRY_COMPARE(savedDocument().value("game"_L1).toObject().value("channel"_L1).toString(), u"beta"_s);
}

void tst_ConfigManager::saveWritesAtOnceAndStopsTheTimer()
{
    {
        ConfigManager config;
        config.setValue(u"game.channel"_s, u"beta"_s);
        QVERIFY(config.save());
        QCOMPARE(savedDocument().value("game"_L1).toObject().value("channel"_L1).toString(), u"beta"_s);
        QVERIFY(QFile::remove(velmo::configFilePath()));
    }
    QVERIFY(!settingsExist()); // a running timer would have made the destructor save
}

void tst_ConfigManager::fileIsIndentedJson()
{
    ConfigManager config;
    QVERIFY(config.save());
    const QByteArray bytes = readFile(velmo::configFilePath());
    QCOMPARE(plainText(bytes), QJsonDocument(defaults()).toJson(QJsonDocument::Indented));
#ifdef Q_OS_WIN
    QVERIFY(bytes.contains("\r\n    \"appearance\": {\r\n"));
#else
    QVERIFY(bytes.contains("\n    \"appearance\": {\n"));
#endif
}

/// Qt's reader takes one off the front of every text.
void tst_ConfigManager::textsThatBeginWithAByteOrderMarkAreReadBack()
{
    const QString text = u"\uFEFF\uFEFF-windowed"_s;
    const QString key = u"studio.\uFEFFname"_s;
    {
        ConfigManager config;
        config.setValue(u"game.launchArguments"_s, text);
        config.setValue(key, text);
        QVERIFY(config.save());
    }
    ConfigManager next;
    next.load();
    QCOMPARE(next.stringValue(u"game.launchArguments"_s, {}), text);
    QCOMPARE(next.stringValue(key, {}), text);
}

void tst_ConfigManager::saveLeavesNoOtherFile()
{
    ConfigManager config;
    QVERIFY(config.save());
    QVERIFY(config.save());
    QCOMPARE(QDir(velmo::dataDirectory()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList{u"launcher.json"_s});
}

void tst_ConfigManager::missingDirectoryIsMadeOnSave()
{
    ConfigManager config;
    QVERIFY(!QFile::exists(velmo::dataDirectory()));
    QVERIFY(config.save());
    QCOMPARE(savedDocument(), defaults());
}

void tst_ConfigManager::saveFailsWithoutADirectory()
{
    QVERIFY(velmo::ensureDirectory(QFileInfo(velmo::dataDirectory()).path()));
    QVERIFY(QFile(velmo::dataDirectory()).open(QIODevice::WriteOnly));
    ConfigManager config;
    QVERIFY(!config.save());
    config.load();
    QCOMPARE(log->texts(), QStringList({noDirectoryLine(), firstRunLine(), noDirectoryLine()}));
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
}

void tst_ConfigManager::saveFailsWhenTheFileCannotBeOpened()
{
    QVERIFY(QDir(velmo::configFilePath()).mkpath(u"."_s));
    ConfigManager config;
    QVERIFY(!config.save());
    QCOMPARE(log->texts(),
             QStringList{u"WARN velmo.config: Could not open configuration for writing: \"Filename refers "
                         "to a directory\""_s});
}

void tst_ConfigManager::failedCommitLeavesTheOldFileIntact_data()
{
    QTest::addColumn<int>("growth");
    QTest::newRow("small enough to be buffered until the commit") << 0;
    QTest::newRow("large") << 100000;
}

void tst_ConfigManager::failedCommitLeavesTheOldFileIntact()
{
    QFETCH(int, growth);
    ConfigManager config;
    config.load();
    const QByteArray before = readFile(velmo::configFilePath());
    config.setValue(u"game.launchArguments"_s, QString(u"-windowed"_s + QString(growth, u'x')));
    log->clear();
    {
        const FullDrive drive(0);
        QVERIFY(!config.save());
    }
    QCOMPARE(log->texts().size(), 1);
    QVERIFY(log->texts().first().startsWith(u"WARN velmo.config: Failed to commit configuration: \""_s));
    QCOMPARE(readFile(velmo::configFilePath()), before);
    QCOMPARE(QDir(velmo::dataDirectory()).entryList(QDir::Files | QDir::Hidden), QStringList{u"launcher.json"_s});
}

void tst_ConfigManager::failedSaveKeepsTheValuesForTheNext()
{
    QVERIFY(QDir(velmo::configFilePath()).mkpath(u"."_s));
    ConfigManager config;
    config.setValue(u"game.channel"_s, u"beta"_s);
    const QSignalSpy changed(&config, &ConfigManager::changed);
    const QSignalSpy reset(&config, &ConfigManager::reset);
    QVERIFY(!config.save());
    QCOMPARE(changed.size() + reset.size(), 0);
    QCOMPARE(config.stringValue(u"game.channel"_s, {}), u"beta"_s);
    QVERIFY(QDir(velmo::configFilePath()).removeRecursively());
    config.setValue(u"window.width"_s, 1000);
    QTRY_COMPARE(savedDocument().value("game"_L1).toObject().value("channel"_L1).toString(), u"beta"_s);
}

void tst_ConfigManager::failedSaveIsNotTriedAgainByItself()
{
    QVERIFY(QDir(velmo::configFilePath()).mkpath(u"."_s));
    {
        ConfigManager config;
        config.setValue(u"game.channel"_s, u"beta"_s);
        QTRY_COMPARE(log->texts().size(), 1); // the timer's save has failed
        QVERIFY(QDir(velmo::configFilePath()).removeRecursively());
    }
    QVERIFY(!settingsExist()); // a timer that ran again would have made the destructor save
    QCOMPARE(log->texts().size(), 1);
}

void tst_ConfigManager::resetGoesBackToTheDefaultsAndSaves()
{
    writeSettings(R"({"window":{"width":1000},"unknown":true})");
    ConfigManager config;
    config.load();
    config.setValue(u"game.channel"_s, u"beta"_s);
    log->clear();
    config.resetToDefaults();
    QCOMPARE(log->texts(), QStringList{u"INFO velmo.config: Resetting launcher configuration to defaults"_s});
    QCOMPARE(savedDocument(), defaults());
    QCOMPARE(config.intValue(u"window.width"_s, 0), 1400);
    QCOMPARE(config.value(u"unknown"_s, u"gone"_s), QVariant(u"gone"_s));
}

void tst_ConfigManager::resetIsAnnouncedAfterTheSaveAndWithoutChanges()
{
    ConfigManager config;
    config.setValue(u"game.channel"_s, u"beta"_s);
    const QSignalSpy changed(&config, &ConfigManager::changed);
    const QSignalSpy reset(&config, &ConfigManager::reset);
    QJsonObject savedAtTheSignal;
    connect(&config, &ConfigManager::reset, this, [&savedAtTheSignal] { savedAtTheSignal = savedDocument(); });
    config.resetToDefaults();
    QCOMPARE(reset.size(), 1);
    QCOMPARE(changed.size(), 0);
    QCOMPARE(savedAtTheSignal, defaults());
}

void tst_ConfigManager::destructionSavesAPendingWrite()
{
    {
        ConfigManager config;
        config.setValue(u"game.channel"_s, u"beta"_s);
        QVERIFY(!settingsExist());
    }
    QCOMPARE(savedDocument().value("game"_L1).toObject().value("channel"_L1).toString(), u"beta"_s);
}

void tst_ConfigManager::destructionWithoutAPendingWriteSavesNothing()
{
    {
        ConfigManager config;
        config.load();
        QVERIFY(QFile::remove(velmo::configFilePath()));
    }
    QVERIFY(!settingsExist());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ConfigManager>(argc, argv);
}

#include "tst_ConfigManager.moc"
