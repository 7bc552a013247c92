#include "data/GameProfile.h"
#include "support/LogCapture.h"
#include "support/PlainText.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <limits>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using velmo::GameChannel;
using velmo::GameProfile;
using velmo::test::LogCapture;
using velmo::test::writeFile;
using Field = QString GameProfile::*;

Q_DECLARE_METATYPE(Field)

namespace {

const QString notJsonLine = u"WARN velmo.app: Game profile is not valid JSON: \"%1\""_s;

GameProfile applied(const QByteArray &json, GameProfile profile = {})
{
    velmo::applyProfileJson(profile, json);
    return profile;
}

/// {"a":{"b":value}} for the path "a.b".
QByteArray documentWith(const QByteArray &path, const QByteArray &value)
{
    const qsizetype dot = path.indexOf('.');
    if (dot >= 0) {
        return documentWith(path.left(dot), documentWith(path.mid(dot + 1), value));
    }
    return "{\"" + path + "\":" + value + '}';
}

QStringList idsOf(const GameProfile &profile)
{
    QStringList ids;
    for (const GameChannel &channel : profile.channels) {
        ids.append(channel.id);
    }
    return ids;
}

GameProfile withChannels(const QStringList &ids)
{
    GameProfile profile;
    for (const QString &id : ids) {
        profile.channels.append({id, id.toUpper(), QString(), QString()});
    }
    return profile;
}

/// What a program of its own reads, in a folder of its own.
struct Reading {
    explicit Reading(const QString &program)
        : program_(folder_.filePath(QFileInfo(program).fileName()))
    {
        QFile::copy(program, program_);
    }

    QString overridePath() const { return folder_.filePath(u"game.json"_s); }

    void writeOverride(const QByteArray &json) const { writeFile(overridePath(), json); }

    bool run()
    {
        QProcess process;
        process.setWorkingDirectory(QDir::rootPath()); // the folder of the program counts, not the working directory
        process.start(program_, QStringList());
        if (!process.waitForFinished() || process.exitCode() != 0) {
            return false;
        }
        profile = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
        log = QString::fromLocal8Bit(velmo::test::plainText(process.readAllStandardError()))
                  .split(u'\n', Qt::SkipEmptyParts);
        return !profile.isEmpty();
    }

    QString overrideLine() const
    {
        return u"info velmo.app: Applying game profile override from \"%1\""_s.arg(overridePath());
    }

    QJsonObject profile;
    QStringList log;

private:
    QTemporaryDir folder_;
    QString program_;
};

QJsonObject bundledReading()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    return reading.run() ? reading.profile : QJsonObject();
}

} // namespace

class tst_GameProfile : public QObject {
    Q_OBJECT

private slots:
    void builtInDefaults();
    void bundledFields_data();
    void bundledFields();
    void bundledTextsAreFilled();
    void bundledChannelsAreInOrder();
    void bundledAddressesAreHttps();
    void bundledProfileReadsWithoutALine();

    void stringIsTakenFromItsKey_data();
    void stringIsTakenFromItsKey();
    void emptyOrForeignStringChangesNothing_data();
    void emptyOrForeignStringChangesNothing();
    void unknownKeysAreIgnored();
    void nestedGroupThatIsNoObjectChangesNothing();
    void estimatedInstallSize_data();
    void estimatedInstallSize();
    void badDocumentChangesNothingAndWarns_data();
    void badDocumentChangesNothingAndWarns();
    void emptyObjectChangesNothing();

    void channelsAreReplacedWhole();
    void absentOrEmptyChannelsLeaveTheList_data();
    void absentOrEmptyChannelsLeaveTheList();
    void channelWithoutIdIsDroppedSilently();
    void noUsableChannelLeavesNone();
    void channelMembersAreReadAsStrings();
    void doubledChannelIdsAreKept();

    void lookupFallsBack_data();
    void lookupFallsBack();
    void lookupFindsTheFirstOfDoubles();
    void lookupInAnEmptyListGivesAnEmptyChannel();

    void overrideIsAppliedOnTop();
    void overrideReplacesTheChannels();
    void overrideWithAnEmptyTitleChangesNothing();
    void brokenOverrideLeavesTheBundledProfile();
    void unreadableOverrideIsPassedOver();
    void missingResourceWarnsAndLeavesTheDefaults();
    void overrideStandsWithoutTheResource();
};

void tst_GameProfile::builtInDefaults()
{
    const GameProfile profile;
    QCOMPARE(profile.studio, u"VELMO GAMES"_s);
    QCOMPARE(profile.gameId, u"harrowfen"_s);
    QCOMPARE(profile.title, u"HARROWFEN"_s);
    QCOMPARE(profile.installFolderName, u"Harrowfen"_s);
    QCOMPARE(profile.defaultChannel, u"release"_s);
    QCOMPARE(profile.estimatedInstallSize, 0);
    QVERIFY(profile.channels.isEmpty());
    const QStringList empty = {profile.tagline,    profile.description,  profile.developmentStage,
                               profile.executable, profile.newsEndpoint, profile.statusEndpoint,
                               profile.discordUrl, profile.websiteUrl,   profile.supportUrl,
                               profile.heroImage,  profile.studioLogo,   profile.gameLogo};
    QCOMPARE(empty.join(QString()), QString());
}

void tst_GameProfile::bundledFields_data()
{
    QTest::addColumn<Field>("field");
    QTest::addColumn<QString>("expected");
    QTest::newRow("studio") << &GameProfile::studio << u"VELMO GAMES"_s;
    QTest::newRow("gameId") << &GameProfile::gameId << u"harrowfen"_s;
    QTest::newRow("title") << &GameProfile::title << u"HARROWFEN"_s;
    QTest::newRow("developmentStage") << &GameProfile::developmentStage << u"IN DEVELOPMENT"_s;
    QTest::newRow("installFolderName") << &GameProfile::installFolderName << u"Harrowfen"_s;
    QTest::newRow("executable") << &GameProfile::executable
                                << u"Harrowfen/Binaries/Win64/Harrowfen-Win64-Shipping.exe"_s;
    QTest::newRow("defaultChannel") << &GameProfile::defaultChannel << u"release"_s;
    QTest::newRow("hero") << &GameProfile::heroImage << u"images/hero.jpg"_s;
    QTest::newRow("studioLogo") << &GameProfile::studioLogo << u"images/velmo-wordmark.png"_s;
    QTest::newRow("gameLogo") << &GameProfile::gameLogo << u"images/harrowfen-wordmark.png"_s;
}

void tst_GameProfile::bundledFields()
{
    QFETCH(Field, field);
    QFETCH(QString, expected);
    QCOMPARE(velmo::gameProfile().*field, expected);
    // It comes from the document and not from the defaults.
    QFile bundled(u":/data/game.json"_s);
    QVERIFY(bundled.open(QIODevice::ReadOnly));
    GameProfile blank;
    blank.*field = u"blank"_s;
    QCOMPARE(applied(bundled.readAll(), blank).*field, expected);
}

void tst_GameProfile::bundledTextsAreFilled()
{
    const GameProfile &profile = velmo::gameProfile();
    QVERIFY(!profile.tagline.isEmpty());
    QVERIFY(!profile.description.isEmpty());
    QVERIFY(!profile.channel(u"playtest"_s).description.isEmpty());
    QCOMPARE(profile.estimatedInstallSize, 0);
    QFile bundled(u":/data/game.json"_s);
    QVERIFY(bundled.open(QIODevice::ReadOnly));
    QVERIFY(!QJsonDocument::fromJson(bundled.readAll()).object().contains("estimatedInstallSize"_L1));
}

void tst_GameProfile::bundledChannelsAreInOrder()
{
    struct Row {
        QString id;
        QString name;
        QString description;
    };
    const QList<Row> expected = {
        {u"release"_s, u"Release"_s, u"The stable public build. Recommended for everyone."_s},
        {u"beta"_s, u"Beta"_s, u"Next release candidate. Expect rough edges and occasional downtime."_s},
        {u"playtest"_s, u"Playtest"_s, velmo::gameProfile().channel(u"playtest"_s).description},
        {u"dev"_s, u"Development"_s, u"Internal builds straight off the branch. Velmo Games team only."_s},
    };
    const QList<GameChannel> channels = velmo::gameProfile().channels;
    QCOMPARE(channels.size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        QCOMPARE(channels.at(i).id, expected.at(i).id);
        QCOMPARE(channels.at(i).name, expected.at(i).name);
        QCOMPARE(channels.at(i).description, expected.at(i).description);
        QCOMPARE(QUrl(channels.at(i).manifest).path(), u"/harrowfen/%1/manifest.json"_s.arg(expected.at(i).id));
    }
}

void tst_GameProfile::bundledAddressesAreHttps()
{
    const GameProfile &profile = velmo::gameProfile();
    QStringList addresses = {profile.newsEndpoint, profile.statusEndpoint, profile.discordUrl, profile.websiteUrl,
                             profile.supportUrl};
    for (const GameChannel &channel : profile.channels) {
        addresses.append(channel.manifest);
        QCOMPARE(QUrl(channel.manifest).host(), QUrl(profile.channels.first().manifest).host());
    }
    for (const QString &address : std::as_const(addresses)) {
        QVERIFY2(QUrl(address, QUrl::StrictMode).isValid(), qPrintable(address));
        QCOMPARE(QUrl(address).scheme(), u"https"_s);
        QVERIFY2(!QUrl(address).host().isEmpty(), qPrintable(address));
    }
    QCOMPARE(QUrl(profile.newsEndpoint).path(), u"/api/v1/news"_s);
    QCOMPARE(QUrl(profile.statusEndpoint).path(), u"/api/v1/status"_s);
    QCOMPARE(QUrl(profile.newsEndpoint).host(), QUrl(profile.statusEndpoint).host());
    QCOMPARE(profile.discordUrl, profile.supportUrl);
}

void tst_GameProfile::bundledProfileReadsWithoutALine()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList());
    QCOMPARE(reading.profile.value("read once"_L1), QJsonValue(true));
    QCOMPARE(reading.profile.value("tagline"_L1).toString(), velmo::gameProfile().tagline);
}

void tst_GameProfile::stringIsTakenFromItsKey_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<Field>("field");
    const auto row = [](const char *path, Field field) { QTest::newRow(path) << QByteArray(path) << field; };
    row("studio", &GameProfile::studio);
    row("gameId", &GameProfile::gameId);
    row("title", &GameProfile::title);
    row("tagline", &GameProfile::tagline);
    row("description", &GameProfile::description);
    row("developmentStage", &GameProfile::developmentStage);
    row("installFolderName", &GameProfile::installFolderName);
    row("executable", &GameProfile::executable);
    row("defaultChannel", &GameProfile::defaultChannel);
    row("endpoints.news", &GameProfile::newsEndpoint);
    row("endpoints.status", &GameProfile::statusEndpoint);
    row("links.discord", &GameProfile::discordUrl);
    row("links.website", &GameProfile::websiteUrl);
    row("links.support", &GameProfile::supportUrl);
    row("artwork.hero", &GameProfile::heroImage);
    row("artwork.studioLogo", &GameProfile::studioLogo);
    row("artwork.gameLogo", &GameProfile::gameLogo);
}

void tst_GameProfile::stringIsTakenFromItsKey()
{
    QFETCH(QByteArray, path);
    QFETCH(Field, field);
    const GameProfile profile = applied(documentWith(path, R"("Überschrieben")"));
    QCOMPARE(profile.*field, u"Überschrieben"_s);
    // Nothing else moved: with the one field put back, the profile prints as the default does.
    const QList<Field> fields = {
        &GameProfile::studio,         &GameProfile::gameId,
        &GameProfile::title,          &GameProfile::tagline,
        &GameProfile::description,    &GameProfile::developmentStage,
        &GameProfile::executable,     &GameProfile::installFolderName,
        &GameProfile::defaultChannel, &GameProfile::newsEndpoint,
        &GameProfile::statusEndpoint, &GameProfile::discordUrl,
        &GameProfile::websiteUrl,     &GameProfile::supportUrl,
        &GameProfile::heroImage,      &GameProfile::studioLogo,
        &GameProfile::gameLogo,
    };
    const GameProfile untouched;
    for (const Field other : fields) {
        if (other != field) {
            QCOMPARE(profile.*other, untouched.*other);
        }
    }
    QCOMPARE(profile.channels.size(), 0);
    QCOMPARE(profile.estimatedInstallSize, 0);
}

void tst_GameProfile::emptyOrForeignStringChangesNothing_data()
{
    stringIsTakenFromItsKey_data();
}

void tst_GameProfile::emptyOrForeignStringChangesNothing()
{
    QFETCH(QByteArray, path);
    QFETCH(Field, field);
    GameProfile standing;
    standing.*field = u"standing"_s;
    for (const char *value : {R"("")", "null", "5", "true", R"(["text"])", R"({"a":"b"})"}) {
        const LogCapture log;
        QCOMPARE(applied(documentWith(path, value), standing).*field, u"standing"_s);
        QCOMPARE(log.texts(), QStringList());
    }
}

void tst_GameProfile::unknownKeysAreIgnored()
{
    const LogCapture log;
    const GameProfile profile =
        applied(R"({"Title":"A","title ":"B","extra":{"title":"C"},"endpoints":{"title":"D"},"title":"E"})");
    QCOMPARE(profile.title, u"E"_s);
    QCOMPARE(profile.studio, u"VELMO GAMES"_s);
    QCOMPARE(log.texts(), QStringList());
}

void tst_GameProfile::nestedGroupThatIsNoObjectChangesNothing()
{
    GameProfile standing;
    standing.newsEndpoint = u"a"_s;
    standing.websiteUrl = u"b"_s;
    standing.heroImage = u"c"_s;
    const GameProfile profile = applied(R"({"endpoints":"x","links":["y"],"artwork":7})", standing);
    QCOMPARE(profile.newsEndpoint, u"a"_s);
    QCOMPARE(profile.websiteUrl, u"b"_s);
    QCOMPARE(profile.heroImage, u"c"_s);
}

void tst_GameProfile::estimatedInstallSize_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<qint64>("expected");
    constexpr qint64 standing = 1234;
    QTest::newRow("number") << QByteArrayLiteral("50000000000") << Q_INT64_C(50000000000);
    QTest::newRow("zero") << QByteArrayLiteral("0") << Q_INT64_C(0);
    QTest::newRow("negative") << QByteArrayLiteral("-5") << Q_INT64_C(-5);
    QTest::newRow("fraction") << QByteArrayLiteral("1999.99") << Q_INT64_C(1999);
    QTest::newRow("negative fraction") << QByteArrayLiteral("-1.99") << Q_INT64_C(-1);
    QTest::newRow("exponent") << QByteArrayLiteral("4.5e10") << Q_INT64_C(45000000000);
    QTest::newRow("beyond 64 bits") << QByteArrayLiteral("1e300") << std::numeric_limits<qint64>::min();
    QTest::newRow("string") << QByteArrayLiteral(R"("5000")") << standing;
    QTest::newRow("null") << QByteArrayLiteral("null") << standing;
    QTest::newRow("bool") << QByteArrayLiteral("true") << standing;
    QTest::newRow("array") << QByteArrayLiteral("[5000]") << standing;
}

void tst_GameProfile::estimatedInstallSize()
{
    QFETCH(QByteArray, value);
    QFETCH(qint64, expected);
    GameProfile standing;
    standing.estimatedInstallSize = 1234;
    QCOMPARE(applied(documentWith("estimatedInstallSize", value), standing).estimatedInstallSize, expected);
}

void tst_GameProfile::badDocumentChangesNothingAndWarns_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("parserText");
    QTest::newRow("empty") << QByteArray("") << u"illegal value"_s;
    QTest::newRow("array") << QByteArray(R"([{"title":"X"}])") << u"no error occurred"_s;
    QTest::newRow("cut off") << QByteArray(R"({"title":"X","links":{})") << u"unterminated object"_s;
    QTest::newRow("trailing comma") << QByteArray(R"({"title":"X",})") << u"object is missing after a comma"_s;
    QTest::newRow("trailing text") << QByteArray(R"({"title":"X"} x)") << u"garbage at the end of the document"_s;
    QTest::newRow("not UTF-8") << QByteArray("{\"title\":\"\xC3\x28\"}") << u"invalid UTF8 string"_s;
    QTest::newRow("deep nesting") << QByteArray("{\"title\":") + QByteArray(100000, '[')
                                  << u"too deeply nested document"_s;
}

void tst_GameProfile::badDocumentChangesNothingAndWarns()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, parserText);
    const LogCapture log;
    const GameProfile profile = applied(json, withChannels({u"a"_s}));
    QCOMPARE(profile.title, u"HARROWFEN"_s);
    QCOMPARE(idsOf(profile), QStringList{u"a"_s});
    QCOMPARE(log.texts(), QStringList{notJsonLine.arg(parserText)});
}

void tst_GameProfile::emptyObjectChangesNothing()
{
    const LogCapture log;
    const GameProfile profile = applied("{}", withChannels({u"a"_s}));
    QCOMPARE(profile.title, u"HARROWFEN"_s);
    QCOMPARE(idsOf(profile), QStringList{u"a"_s});
    QCOMPARE(log.texts(), QStringList());
}

void tst_GameProfile::channelsAreReplacedWhole()
{
    const GameProfile profile = applied(R"({"channels":[{"id":"b","name":"Bee","description":"Buzz.",)"
                                        R"("manifest":"https://b.example/m"},{"id":"a"}]})",
                                        withChannels({u"a"_s, u"z"_s}));
    QCOMPARE(idsOf(profile), QStringList({u"b"_s, u"a"_s}));
    QCOMPARE(profile.channels.at(0).name, u"Bee"_s);
    QCOMPARE(profile.channels.at(0).description, u"Buzz."_s);
    QCOMPARE(profile.channels.at(0).manifest, u"https://b.example/m"_s);
    QCOMPARE(profile.channels.at(1).name, QString()); // not merged with the old "a"
}

void tst_GameProfile::absentOrEmptyChannelsLeaveTheList_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("absent") << QByteArrayLiteral("{}");
    QTest::newRow("empty array") << QByteArrayLiteral(R"({"channels":[]})");
    QTest::newRow("object") << QByteArrayLiteral(R"({"channels":{"id":"x"}})");
    QTest::newRow("string") << QByteArrayLiteral(R"({"channels":"x"})");
    QTest::newRow("null") << QByteArrayLiteral(R"({"channels":null})");
}

void tst_GameProfile::absentOrEmptyChannelsLeaveTheList()
{
    QFETCH(QByteArray, json);
    QCOMPARE(idsOf(applied(json, withChannels({u"a"_s, u"b"_s}))), QStringList({u"a"_s, u"b"_s}));
}

void tst_GameProfile::channelWithoutIdIsDroppedSilently()
{
    const LogCapture log;
    const GameProfile profile =
        applied(R"({"channels":[{"name":"no id"},{"id":""},{"id":5},{"id":"kept"},"text",null,[{"id":"x"}]]})");
    QCOMPARE(idsOf(profile), QStringList{u"kept"_s});
    QCOMPARE(log.texts(), QStringList());
}

void tst_GameProfile::noUsableChannelLeavesNone()
{
    QCOMPARE(idsOf(applied(R"({"channels":[{"name":"no id"},7]})", withChannels({u"a"_s}))), QStringList());
}

void tst_GameProfile::channelMembersAreReadAsStrings()
{
    const GameProfile profile = applied(R"({"channels":[{"id":"a","name":1,"description":null,"manifest":["x"]}]})");
    QCOMPARE(idsOf(profile), QStringList{u"a"_s});
    QCOMPARE(profile.channels.first().name + profile.channels.first().description + profile.channels.first().manifest,
             QString());
}

void tst_GameProfile::doubledChannelIdsAreKept()
{
    QCOMPARE(idsOf(applied(R"({"channels":[{"id":"a"},{"id":"a"}]})")), QStringList({u"a"_s, u"a"_s}));
}

void tst_GameProfile::lookupFallsBack_data()
{
    QTest::addColumn<QStringList>("channels");
    QTest::addColumn<QString>("defaultChannel");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QString>("found");
    const QStringList three = {u"one"_s, u"two"_s, u"three"_s};
    QTest::newRow("by id") << three << u"two"_s << u"three"_s << u"three"_s;
    QTest::newRow("unknown id") << three << u"two"_s << u"gone"_s << u"two"_s;
    QTest::newRow("empty id") << three << u"two"_s << QString() << u"two"_s;
    QTest::newRow("id in another letter case") << three << u"two"_s << u"Three"_s << u"two"_s;
    QTest::newRow("default in another letter case") << three << u"Two"_s << u"gone"_s << u"one"_s;
    QTest::newRow("neither") << three << u"gone too"_s << u"gone"_s << u"one"_s;
    QTest::newRow("no default") << three << QString() << QString() << u"one"_s;
}

void tst_GameProfile::lookupFallsBack()
{
    QFETCH(QStringList, channels);
    QFETCH(QString, defaultChannel);
    QFETCH(QString, wanted);
    QFETCH(QString, found);
    GameProfile profile = withChannels(channels);
    profile.defaultChannel = defaultChannel;
    QCOMPARE(profile.channel(wanted).id, found);
    QCOMPARE(profile.channel(wanted).name, found.toUpper());
}

void tst_GameProfile::lookupFindsTheFirstOfDoubles()
{
    GameProfile profile = withChannels({u"a"_s, u"a"_s});
    profile.channels[1].name = u"second"_s;
    QCOMPARE(profile.channel(u"a"_s).name, u"A"_s);
}

void tst_GameProfile::lookupInAnEmptyListGivesAnEmptyChannel()
{
    const GameChannel channel = GameProfile().channel(u"release"_s);
    QCOMPARE(channel.id + channel.name + channel.description + channel.manifest, QString());
}

void tst_GameProfile::overrideIsAppliedOnTop()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    const QByteArray json = R"({"title":"OTHER","endpoints":{"news":"https://n.example/"}})";
    reading.writeOverride(json);
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList{reading.overrideLine()});
    QJsonObject expected = bundledReading();
    expected.insert("title"_L1, u"OTHER"_s);
    expected.insert("newsEndpoint"_L1, u"https://n.example/"_s);
    QCOMPARE(reading.profile, expected);
}

void tst_GameProfile::overrideReplacesTheChannels()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    reading.writeOverride(R"({"channels":[{"id":"qa","name":"QA"}]})");
    QVERIFY(reading.run());
    QJsonObject expected = bundledReading();
    expected.insert("channels"_L1, QJsonArray{u"qa"_s});
    expected.insert("release"_L1, u"qa"_s); // what a lookup of "release" gives
    QCOMPARE(reading.profile, expected);
}

void tst_GameProfile::overrideWithAnEmptyTitleChangesNothing()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    reading.writeOverride(R"({"title":""})");
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList{reading.overrideLine()});
    QCOMPARE(reading.profile, bundledReading());
}

void tst_GameProfile::brokenOverrideLeavesTheBundledProfile()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    reading.writeOverride(R"({"title":"OTHER",)");
    QVERIFY(reading.run());
    QCOMPARE(reading.log,
             QStringList({reading.overrideLine(),
                          u"warning velmo.app: Game profile is not valid JSON: \"unterminated object\""_s}));
    QCOMPARE(reading.profile, bundledReading());
}

void tst_GameProfile::unreadableOverrideIsPassedOver()
{
    Reading reading(QStringLiteral(PROFILE_READER));
    QVERIFY(QDir().mkdir(reading.overridePath())); // it exists and cannot be opened as a file
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList());
    QCOMPARE(reading.profile, bundledReading());
}

void tst_GameProfile::missingResourceWarnsAndLeavesTheDefaults()
{
    Reading reading(QStringLiteral(BARE_PROFILE_READER));
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList{u"warning velmo.app: Bundled game profile missing; using built-in defaults"_s});
    QCOMPARE(reading.profile.value("title"_L1), QJsonValue(u"HARROWFEN"_s));
    QCOMPARE(reading.profile.value("executable"_L1), QJsonValue(QString()));
    QCOMPARE(reading.profile.value("channels"_L1).toArray(), QJsonArray());
    QCOMPARE(reading.profile.value("release"_L1), QJsonValue(QString()));
}

void tst_GameProfile::overrideStandsWithoutTheResource()
{
    Reading reading(QStringLiteral(BARE_PROFILE_READER));
    reading.writeOverride(R"({"title":"OTHER"})");
    QVERIFY(reading.run());
    QCOMPARE(reading.log, QStringList({u"warning velmo.app: Bundled game profile missing; using built-in defaults"_s,
                                       reading.overrideLine()}));
    QCOMPARE(reading.profile.value("title"_L1), QJsonValue(u"OTHER"_s));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_GameProfile>(argc, argv);
}

#include "tst_GameProfile.moc"
