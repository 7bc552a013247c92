#include "data/Manifest.h"
#include "support/LogCapture.h"
#include "support/TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <algorithm>
#include <ctime>
#include <limits>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::test::LogCapture;

namespace {

const QString validHash = u"0123456789abcdef"_s.repeated(4);
constexpr qint64 largest = std::numeric_limits<qint64>::max();

QJsonObject parsed(const QByteArray &json)
{
    return QJsonDocument::fromJson(json).object();
}

/// A file entry that is right but for what a test changes.
QJsonObject fileEntry(const QString &path = u"data/a.pak"_s)
{
    return {{u"path"_s, path}, {u"sha256"_s, validHash}, {u"size"_s, 10}};
}

QJsonObject fileEntryWith(const QString &key, const QJsonValue &value)
{
    QJsonObject entry = fileEntry();
    entry.insert(key, value);
    return entry;
}

QJsonObject document(const QJsonArray &files = {})
{
    return {{u"version"_s, u"1.0"_s}, {u"build"_s, 7}, {u"files"_s, files}};
}

QJsonObject documentWith(const QString &key, const QJsonValue &value)
{
    QJsonObject object = document();
    object.insert(key, value);
    return object;
}

Manifest read(const QJsonObject &object)
{
    return Manifest::fromJson(object, nullptr);
}

/// What fromJson has against \a object; "accepted" when nothing.
QString objection(const QJsonObject &object)
{
    QString error;
    const Manifest manifest = Manifest::fromJson(object, &error);
    return manifest.valid ? u"accepted"_s : error;
}

QString invalidEntry(const QString &path)
{
    return u"Manifest contains an invalid file entry: %1"_s.arg(path);
}

bool isUntouched(const Manifest &manifest)
{
    return !manifest.valid && manifest.version.isEmpty() && manifest.build == 0 && manifest.channel == u"release"_s &&
           manifest.executable.isEmpty() && !manifest.released.isValid() && manifest.notes.isEmpty() &&
           manifest.files.isEmpty();
}

Manifest ofBuild(int build)
{
    return read({{u"version"_s, u"1"_s}, {u"build"_s, build}});
}

QByteArray documentOfFiles(int count)
{
    QJsonArray files;
    for (int i = 0; i < count; ++i) {
        files.append(fileEntry(u"content/part %1/file-%2.pak"_s.arg(i % 100).arg(i)));
    }
    return QJsonDocument(document(files)).toJson();
}

} // namespace

class tst_Manifest : public QObject {
    Q_OBJECT

private slots:
    void defaults();
    void typesAreRegistered();

    void smallestManifestIsValid();
    void everyMemberIsRead();
    void versionIsRequired_data();
    void versionIsRequired();
    void buildIsRequired_data();
    void buildIsRequired();
    void versionIsCheckedBeforeTheBuild();
    void channelDefaultsToRelease_data();
    void channelDefaultsToRelease();
    void executableMustBeASafePath_data();
    void executableMustBeASafePath();
    void executableIsCheckedBeforeTheFiles();
    void released_data();
    void released();
    void filesThatAreNoArrayReadAsNone_data();
    void filesThatAreNoArrayReadAsNone();
    void filesKeepTheirOrder();
    void unknownKeysAreIgnored();
    void duplicatePathsAreKept();
    void lastOfDuplicateKeysCounts();

    void hash_data();
    void hash();
    void size_data();
    void size();
    void urlIsCopiedUnchecked();
    void executableMark_data();
    void executableMark();
    void entryThatIsNoObjectIsInvalid_data();
    void entryThatIsNoObjectIsInvalid();
    void oneBadEntryRejectsTheWholeDocument();
    void firstBadEntryIsNamed();
    void rejectionDropsWhatWasRead();
    void errorMayBeNull();
    void errorIsLeftAloneOnSuccess();
    void nothingIsLogged();

    void safePath_data();
    void safePath();
    void everyForbiddenCharacterIsRefused();
    void pathLengthIsBounded();
    void unsafePathRejectsTheDocument();

    void serialisesEveryMember();
    void serialisesNoAbsentReleaseTime();
    void serialisedManifestReadsBack();
    void largestExactSizeReadsBack();
    void sizeIsWrittenAsADouble();

    void totalSizeAddsUp();
    void totalSizeHoldsAtTheLargestNumber();
    void newerGoesByBuild_data();
    void newerGoesByBuild();
    void anyValidManifestIsNewerThanAnInvalidOne();

    void deepNestingIsNoManifest();
    void manyFilesAreReadQuickly();
};

void tst_Manifest::defaults()
{
    QVERIFY(isUntouched(Manifest()));
    const ManifestFile file;
    QCOMPARE(file.path + file.sha256 + file.url, QString());
    QCOMPARE(file.size, 0);
    QVERIFY(!file.executable);
}

void tst_Manifest::typesAreRegistered()
{
    QVERIFY(QMetaType::fromName("velmo::Manifest").isValid());
    QVERIFY(QMetaType::fromName("QList<velmo::ManifestFile>").isValid());
}

void tst_Manifest::smallestManifestIsValid()
{
    QString error;
    const Manifest manifest = Manifest::fromJson(parsed(R"({"version":"1.0","build":0})"), &error);
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.version, u"1.0"_s);
    QCOMPARE(manifest.build, 0);
    QCOMPARE(manifest.channel, u"release"_s);
    QCOMPARE(manifest.executable + manifest.notes, QString());
    QVERIFY(!manifest.released.isValid());
    QVERIFY(manifest.files.isEmpty());
}

void tst_Manifest::everyMemberIsRead()
{
    const Manifest manifest = read(
        parsed(R"({"version":"2.1-ß","build":123,"channel":"beta","executable":"bin/game.exe","notes":"Line\nNext",)"
               R"("released":"2026-08-31T14:25:30Z","files":[{"path":"bin/game.exe","sha256":")" +
               validHash.toUtf8() + R"(","size":5000000000,"url":"https://cdn.example/x?y=1","executable":true}]})"));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.version, u"2.1-ß"_s);
    QCOMPARE(manifest.build, 123);
    QCOMPARE(manifest.channel, u"beta"_s);
    QCOMPARE(manifest.executable, u"bin/game.exe"_s);
    QCOMPARE(manifest.notes, u"Line\nNext"_s);
    QCOMPARE(manifest.released, QDateTime(QDate(2026, 8, 31), QTime(14, 25, 30), QTimeZone::utc()));
    QCOMPARE(manifest.files.size(), 1);
    const ManifestFile &file = manifest.files.first();
    QCOMPARE(file.path, u"bin/game.exe"_s);
    QCOMPARE(file.sha256, validHash);
    QCOMPARE(file.size, Q_INT64_C(5000000000));
    QCOMPARE(file.url, u"https://cdn.example/x?y=1"_s);
    QCOMPARE(file.executable, true);
}

void tst_Manifest::versionIsRequired_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("missing") << QByteArrayLiteral(R"({"build":5})");
    QTest::newRow("empty") << QByteArrayLiteral(R"({"version":"","build":5})");
    QTest::newRow("number") << QByteArrayLiteral(R"({"version":1.5,"build":5})");
    QTest::newRow("null") << QByteArrayLiteral(R"({"version":null,"build":5})");
    QTest::newRow("array") << QByteArrayLiteral(R"({"version":["1"],"build":5})");
    QTest::newRow("nothing at all") << QByteArrayLiteral("{}");
}

void tst_Manifest::versionIsRequired()
{
    QFETCH(QByteArray, json);
    QCOMPARE(objection(parsed(json)), u"Manifest is missing a version."_s);
}

void tst_Manifest::buildIsRequired_data()
{
    QTest::addColumn<QByteArray>("build");
    QTest::addColumn<int>("expected"); // -1: rejected
    QTest::newRow("zero") << QByteArrayLiteral("0") << 0;
    QTest::newRow("one") << QByteArrayLiteral("1") << 1;
    QTest::newRow("largest") << QByteArrayLiteral("2147483647") << 2147483647;
    QTest::newRow("integer with a point") << QByteArrayLiteral("3.0") << 3;
    QTest::newRow("negative") << QByteArrayLiteral("-1") << -1;
    QTest::newRow("fraction") << QByteArrayLiteral("3.5") << -1;
    QTest::newRow("beyond 32 bits") << QByteArrayLiteral("2147483648") << -1;
    QTest::newRow("beyond everything") << QByteArrayLiteral("1e300") << -1;
    QTest::newRow("string") << QByteArrayLiteral(R"("5")") << -1;
    QTest::newRow("bool") << QByteArrayLiteral("true") << -1;
    QTest::newRow("null") << QByteArrayLiteral("null") << -1;
    QTest::newRow("object") << QByteArrayLiteral("{}") << -1;
}

void tst_Manifest::buildIsRequired()
{
    QFETCH(QByteArray, build);
    QFETCH(int, expected);
    const QJsonObject object = parsed(R"({"version":"1","build":)" + build + '}');
    QCOMPARE(object.size(), 2);
    QCOMPARE(objection(object), expected < 0 ? u"Manifest is missing a build number."_s : u"accepted"_s);
    QCOMPARE(read(object).build, std::max(expected, 0));
    QCOMPARE(objection(parsed(R"({"version":"1"})")), u"Manifest is missing a build number."_s);
}

void tst_Manifest::versionIsCheckedBeforeTheBuild()
{
    QCOMPARE(objection(parsed(R"({"build":-1,"executable":"../x"})")), u"Manifest is missing a version."_s);
    QCOMPARE(objection(parsed(R"({"version":"1","build":-1,"executable":"../x"})")),
             u"Manifest is missing a build number."_s);
}

void tst_Manifest::channelDefaultsToRelease_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("given") << QJsonValue(u"beta"_s) << u"beta"_s;
    QTest::newRow("empty") << QJsonValue(QString()) << u"release"_s;
    QTest::newRow("number") << QJsonValue(5) << u"release"_s;
    QTest::newRow("null") << QJsonValue() << u"release"_s;
}

void tst_Manifest::channelDefaultsToRelease()
{
    QFETCH(QJsonValue, value);
    QFETCH(QString, expected);
    const Manifest manifest = read(documentWith(u"channel"_s, value));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.channel, expected);
}

void tst_Manifest::executableMustBeASafePath_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("safe") << QJsonValue(u"bin/game.exe"_s) << true;
    QTest::newRow("not among the files") << QJsonValue(u"elsewhere/game.exe"_s) << true;
    QTest::newRow("empty") << QJsonValue(QString()) << true;
    QTest::newRow("of another type") << QJsonValue(5) << true;
    QTest::newRow("climbing") << QJsonValue(u"../game.exe"_s) << false;
    QTest::newRow("absolute") << QJsonValue(u"/usr/bin/game"_s) << false;
    QTest::newRow("drive") << QJsonValue(u"C:/Windows/game.exe"_s) << false;
    QTest::newRow("backslash") << QJsonValue(u"bin\\game.exe"_s) << false;
    QTest::newRow("blank at the end") << QJsonValue(u"bin/game.exe "_s) << false;
}

void tst_Manifest::executableMustBeASafePath()
{
    QFETCH(QJsonValue, value);
    QFETCH(bool, accepted);
    const QJsonObject object = documentWith(u"executable"_s, value);
    QCOMPARE(objection(object),
             accepted ? u"accepted"_s : u"Manifest names an executable outside the install directory."_s);
    QCOMPARE(read(object).executable, accepted ? value.toString() : QString());
}

void tst_Manifest::executableIsCheckedBeforeTheFiles()
{
    QJsonObject object = document({fileEntry(u"../x"_s)});
    object.insert("executable"_L1, u"../y"_s);
    QCOMPARE(objection(object), u"Manifest names an executable outside the install directory."_s);
}

void tst_Manifest::released_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QDateTime>("expected");
    const QDate date(2026, 8, 31);
    QTest::newRow("UTC") << QJsonValue(u"2026-08-31T14:25:30Z"_s)
                         << QDateTime(date, QTime(14, 25, 30), QTimeZone::utc());
    QTest::newRow("offset") << QJsonValue(u"2026-08-31T14:25:30+02:00"_s)
                            << QDateTime(date, QTime(12, 25, 30), QTimeZone::utc());
    QTest::newRow("date alone") << QJsonValue(u"2026-08-31"_s) << date.startOfDay();
    QTest::newRow("unparsable") << QJsonValue(u"last Monday"_s) << QDateTime();
    QTest::newRow("empty") << QJsonValue(QString()) << QDateTime();
    QTest::newRow("number") << QJsonValue(1788186330) << QDateTime();
}

void tst_Manifest::released()
{
    QFETCH(QJsonValue, value);
    QFETCH(QDateTime, expected);
    const Manifest manifest = read(documentWith(u"released"_s, value));
    QVERIFY(manifest.valid); // a bad date is no error
    QCOMPARE(manifest.released.isValid(), expected.isValid());
    QCOMPARE(manifest.released, expected);
}

void tst_Manifest::filesThatAreNoArrayReadAsNone_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("empty array") << QJsonValue(QJsonArray());
    QTest::newRow("object") << QJsonValue(fileEntry());
    QTest::newRow("string") << QJsonValue(u"x"_s);
    QTest::newRow("null") << QJsonValue();
}

void tst_Manifest::filesThatAreNoArrayReadAsNone()
{
    QFETCH(QJsonValue, value);
    const Manifest manifest = read(documentWith(u"files"_s, value));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.files.size(), 0);
}

void tst_Manifest::filesKeepTheirOrder()
{
    const Manifest manifest = read(document({fileEntry(u"c"_s), fileEntry(u"a"_s), fileEntry(u"b"_s)}));
    QCOMPARE(manifest.files.size(), 3);
    QCOMPARE(manifest.files.at(0).path, u"c"_s);
    QCOMPARE(manifest.files.at(1).path, u"a"_s);
    QCOMPARE(manifest.files.at(2).path, u"b"_s);
}

void tst_Manifest::unknownKeysAreIgnored()
{
    QJsonObject object = document({fileEntryWith(u"mode"_s, 493)});
    object.insert("Version"_L1, 5);
    object.insert("schema"_L1, QJsonObject{{u"major"_s, 9}});
    QCOMPARE(objection(object), u"accepted"_s);
    QCOMPARE(read(object).version, u"1.0"_s);
}

void tst_Manifest::duplicatePathsAreKept()
{
    const Manifest manifest = read(document({fileEntry(u"a"_s), fileEntry(u"a"_s)}));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.files.size(), 2);
}

/// A second "path" must not slip past the check: what is checked is what is kept.
void tst_Manifest::lastOfDuplicateKeysCounts()
{
    const QByteArray rest = R"(,"sha256":")" + validHash.toUtf8() + R"(","size":1}]})";
    const QByteArray start = R"({"version":"1","build":1,"build":2,"files":[{)";
    const QJsonObject bad = parsed(start + R"("path":"ok","path":"../evil")" + rest);
    QCOMPARE(objection(bad), invalidEntry(u"../evil"_s));
    const QJsonObject good = parsed(start + R"("path":"../evil","path":"ok")" + rest);
    QCOMPARE(objection(good), u"accepted"_s);
    QCOMPARE(read(good).files.first().path, u"ok"_s);
    QCOMPARE(read(good).build, 2);
}

void tst_Manifest::hash_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("lower case") << QJsonValue(u"abcdef0123456789"_s.repeated(4)) << true;
    QTest::newRow("upper case") << QJsonValue(u"ABCDEF0123456789"_s.repeated(4)) << true;
    QTest::newRow("63 digits") << QJsonValue(u"a"_s.repeated(63)) << false;
    QTest::newRow("65 digits") << QJsonValue(u"a"_s.repeated(65)) << false;
    QTest::newRow("empty") << QJsonValue(QString()) << false;
    QTest::newRow("a letter beyond f") << QJsonValue(u"a"_s.repeated(63) + u'g') << false;
    QTest::newRow("blank at the start") << QJsonValue(u' ' + u"a"_s.repeated(63)) << false;
    QTest::newRow("line break at the end") << QJsonValue(u"a"_s.repeated(64) + u'\n') << false;
    QTest::newRow("line break instead of a digit") << QJsonValue(u"a"_s.repeated(63) + u'\n') << false;
    QTest::newRow("digits of another script") << QJsonValue(u"٠"_s.repeated(64)) << false;
    QTest::newRow("wide letters") << QJsonValue(u"ａ"_s.repeated(64)) << false;
    QTest::newRow("number") << QJsonValue(5) << false;
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << false;
    QTest::newRow("null") << QJsonValue() << false;
}

void tst_Manifest::hash()
{
    QFETCH(QJsonValue, value);
    QFETCH(bool, accepted);
    const QJsonObject object = document({fileEntryWith(u"sha256"_s, value)});
    QCOMPARE(objection(object), accepted ? u"accepted"_s : invalidEntry(u"data/a.pak"_s));
    if (accepted) {
        QCOMPARE(read(object).files.first().sha256, value.toString().toLower());
    }
}

void tst_Manifest::size_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<qint64>("expected"); // -1: rejected
    QTest::newRow("zero") << QByteArrayLiteral("0") << Q_INT64_C(0);
    QTest::newRow("one") << QByteArrayLiteral("1") << Q_INT64_C(1);
    QTest::newRow("beyond 32 bits") << QByteArrayLiteral("5000000000") << Q_INT64_C(5000000000);
    QTest::newRow("largest exact") << QByteArrayLiteral("9007199254740992") << Q_INT64_C(9007199254740992);
    QTest::newRow("fraction") << QByteArrayLiteral("10.99") << Q_INT64_C(10);
    QTest::newRow("negative half") << QByteArrayLiteral("-0.5") << Q_INT64_C(0);
    QTest::newRow("just above -1") << QByteArrayLiteral("-0.999") << Q_INT64_C(0);
    QTest::newRow("exponent") << QByteArrayLiteral("1e3") << Q_INT64_C(1000);
    QTest::newRow("minus one") << QByteArrayLiteral("-1") << Q_INT64_C(-1);
    QTest::newRow("below zero") << QByteArrayLiteral("-1.5") << Q_INT64_C(-1);
    QTest::newRow("string") << QByteArrayLiteral(R"("10")") << Q_INT64_C(-1);
    QTest::newRow("null") << QByteArrayLiteral("null") << Q_INT64_C(-1);
    QTest::newRow("bool") << QByteArrayLiteral("true") << Q_INT64_C(-1);
    QTest::newRow("beyond 64 bits") << QByteArrayLiteral("9223372036854775808") << Q_INT64_C(-1);
    QTest::newRow("beyond everything") << QByteArrayLiteral("1e300") << Q_INT64_C(-1);
    QTest::newRow("below everything") << QByteArrayLiteral("-1e300") << Q_INT64_C(-1);
}

void tst_Manifest::size()
{
    QFETCH(QByteArray, value);
    QFETCH(qint64, expected);
    const QJsonValue size = parsed(R"({"size":)" + value + '}').value("size"_L1);
    QVERIFY(!size.isUndefined());
    const QJsonObject object = document({fileEntryWith(u"size"_s, size)});
    QCOMPARE(objection(object), expected < 0 ? invalidEntry(u"data/a.pak"_s) : u"accepted"_s);
    if (expected >= 0) {
        QCOMPARE(read(object).files.first().size, expected);
    }
    QJsonObject without = fileEntry();
    without.remove("size"_L1);
    QCOMPARE(objection(document({without})), invalidEntry(u"data/a.pak"_s));
}

void tst_Manifest::urlIsCopiedUnchecked()
{
    for (const QString &url : {u"http://plain.example/"_s, u"../up"_s, u"not a url \n"_s, QString()}) {
        const Manifest manifest = read(document({fileEntryWith(u"url"_s, url)}));
        QVERIFY(manifest.valid);
        QCOMPARE(manifest.files.first().url, url);
    }
    const Manifest manifest = read(document({fileEntryWith(u"url"_s, 5)}));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.files.first().url, QString());
}

void tst_Manifest::executableMark_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("expected");
    QTest::newRow("true") << QJsonValue(true) << true;
    QTest::newRow("false") << QJsonValue(false) << false;
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << false;
    QTest::newRow("string") << QJsonValue(u"true"_s) << false;
    QTest::newRow("number") << QJsonValue(1) << false;
}

void tst_Manifest::executableMark()
{
    QFETCH(QJsonValue, value);
    QFETCH(bool, expected);
    const Manifest manifest = read(document({fileEntryWith(u"executable"_s, value)}));
    QVERIFY(manifest.valid);
    QCOMPARE(manifest.files.first().executable, expected);
}

void tst_Manifest::entryThatIsNoObjectIsInvalid_data()
{
    QTest::addColumn<QJsonValue>("entry");
    QTest::newRow("empty object") << QJsonValue(QJsonObject());
    QTest::newRow("string") << QJsonValue(u"data/a.pak"_s);
    QTest::newRow("number") << QJsonValue(5);
    QTest::newRow("null") << QJsonValue();
    QTest::newRow("array") << QJsonValue(QJsonArray{fileEntry()});
}

void tst_Manifest::entryThatIsNoObjectIsInvalid()
{
    QFETCH(QJsonValue, entry);
    QCOMPARE(objection(document({fileEntry(), entry})), invalidEntry(QString()));
}

void tst_Manifest::oneBadEntryRejectsTheWholeDocument()
{
    QJsonArray files;
    for (int i = 0; i < 50; ++i) {
        files.append(fileEntry(u"f%1"_s.arg(i)));
    }
    QCOMPARE(objection(document(files)), u"accepted"_s);
    files.append(fileEntry(u"/etc/passwd"_s));
    QCOMPARE(objection(document(files)), invalidEntry(u"/etc/passwd"_s));
}

void tst_Manifest::firstBadEntryIsNamed()
{
    QJsonObject badHash = fileEntry(u"second"_s);
    badHash.insert("sha256"_L1, u"x"_s);
    QCOMPARE(objection(document({fileEntry(u"first"_s), badHash, fileEntry(u"../third"_s)})),
             invalidEntry(u"second"_s));
}

void tst_Manifest::rejectionDropsWhatWasRead()
{
    QJsonObject object = document({fileEntry(), fileEntry(u"../x"_s)});
    object.insert("channel"_L1, u"beta"_s);
    object.insert("notes"_L1, u"text"_s);
    object.insert("released"_L1, u"2026-08-31T00:00:00Z"_s);
    object.insert("executable"_L1, u"game"_s);
    QVERIFY(isUntouched(read(object)));
    QVERIFY(isUntouched(read(parsed(R"({"version":"1","build":-5,"channel":"beta"})"))));
    QVERIFY(isUntouched(read(parsed(R"({"version":"1","build":5,"channel":"beta","executable":"../x"})"))));
}

void tst_Manifest::errorMayBeNull()
{
    QVERIFY(!Manifest::fromJson({}, nullptr).valid);
    QVERIFY(!Manifest::fromJson(document({fileEntry(u".."_s)}), nullptr).valid);
    QVERIFY(Manifest::fromJson(document(), nullptr).valid);
}

void tst_Manifest::errorIsLeftAloneOnSuccess()
{
    QString error = u"as it was"_s;
    QVERIFY(Manifest::fromJson(document(), &error).valid);
    QCOMPARE(error, u"as it was"_s);
}

void tst_Manifest::nothingIsLogged()
{
    const LogCapture log;
    read({});
    read(document({fileEntry(u"../x"_s)}));
    read(document({fileEntry()}));
    QCOMPARE(log.texts(), QStringList());
}

void tst_Manifest::safePath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("safe");
    const auto safe = [](const QString &path) { QTest::addRow("safe: %s", qPrintable(path)) << path << true; };
    const auto unsafe = [](const QString &path) { QTest::addRow("unsafe: %s", qPrintable(path)) << path << false; };

    safe(u"a"_s);
    safe(u"a/b/c.pak"_s);
    safe(u"a/b.c d"_s);
    safe(u"a b/c d"_s);
    safe(u" a/ b"_s); // only the end of a segment matters
    safe(u".hidden/.file"_s);
    safe(u"..a/a..b"_s);
    safe(u"..."_s + u"a"_s);
    safe(u"Harröw – 日本/🎮.pak"_s);
    safe(u"a!#$%&'()+,-;=@[]^_`{}~"_s);
    safe(u"con"_s);                 // device names are the platform's affair
    safe(u"PROGRA~1/GAME~1.EXE"_s); // a short name is one of the install folder's own, too
    safe(u"a\x7f"_s);

    unsafe(QString());
    unsafe(u"Content/../../evil.dll"_s);
    unsafe(u".."_s);
    unsafe(u"../a"_s);
    unsafe(u"a/.."_s);
    unsafe(u"."_s);
    unsafe(u"./a"_s);
    unsafe(u"a/./b"_s);
    unsafe(u"a/."_s);
    unsafe(u"a//b"_s);
    unsafe(u"a//"_s);
    unsafe(u"/"_s);
    unsafe(u"/a"_s);
    unsafe(u"//server/share"_s);
    unsafe(u"a/"_s);
    unsafe(u"C:/a"_s);
    unsafe(u"c:a"_s);
    unsafe(u"Z:"_s);
    unsafe(u"a\\b"_s);
    unsafe(u"..\\a"_s);
    unsafe(u"a/b."_s);
    unsafe(u"a./b"_s);
    unsafe(u"a/b "_s);
    unsafe(u"a /b"_s);
    unsafe(u"a/..."_s);
    unsafe(u"a/.. /b"_s);
    unsafe(u" "_s);
    unsafe(u"a/ /b"_s);
    unsafe(u"a/b:c"_s);
    unsafe(u"a/b::$DATA"_s);
    // Half a surrogate pair must not blind any of the rules.
    QTest::newRow("half a pair after a drive") << u"C:/a/%1"_s.arg(QChar(0xD800)) << false;
    QTest::newRow("half a pair after a colon") << u"a/b:c%1"_s.arg(QChar(0xDFFF)) << false;
    QTest::newRow("half a pair before a star") << u"%1a/b*"_s.arg(QChar(0xD800)) << false;
    QTest::newRow("half a pair after a control character") << u"a\x01%1"_s.arg(QChar(0xD800)) << false;
}

void tst_Manifest::safePath()
{
    QFETCH(QString, path);
    QFETCH(bool, safe);
    QCOMPARE(Manifest::isSafeManifestPath(path), safe);
}

void tst_Manifest::everyForbiddenCharacterIsRefused()
{
    QString forbidden = u"<>:\"|?*\\"_s;
    for (char16_t control = 0; control < 0x20; ++control) {
        forbidden.append(QChar(control));
    }
    for (const QChar character : std::as_const(forbidden)) {
        for (const QString &path : {u"a/b%1c"_s, u"%1b/c"_s, u"a/b%1"_s}) {
            QVERIFY2(!Manifest::isSafeManifestPath(path.arg(character)),
                     qPrintable(QString::number(character.unicode())));
        }
    }
    for (char16_t code = 0x20; code < 0x7F; ++code) {
        if (!forbidden.contains(QChar(code))) {
            QVERIFY2(Manifest::isSafeManifestPath(u"a/b%1c"_s.arg(QChar(code))), qPrintable(QString::number(code)));
        }
    }
}

void tst_Manifest::pathLengthIsBounded()
{
    QVERIFY(Manifest::isSafeManifestPath(QString(260, u'a')));
    QVERIFY(!Manifest::isSafeManifestPath(QString(261, u'a')));
    QVERIFY(Manifest::isSafeManifestPath(u"ä/"_s.repeated(129) + u"xy"_s)); // characters count, not bytes
    QVERIFY(!Manifest::isSafeManifestPath(QString(10'000'000, u'a')));
}

void tst_Manifest::unsafePathRejectsTheDocument()
{
    for (const QString &path : {u"../x"_s, u"C:/x"_s, u"x."_s, QString(261, u'a')}) {
        QCOMPARE(objection(document({fileEntry(path)})), invalidEntry(path));
    }
    // As a server would send it: the JSON parser lets half a pair through.
    const QJsonObject halfPair =
        parsed(R"({"version":"1","build":1,"files":[{"path":"C:/Windows/\ud800/x","sha256":")" + validHash.toUtf8() +
               R"(","size":1}]})");
    QVERIFY(!halfPair.isEmpty());
    QVERIFY(!read(halfPair).valid);
}

void tst_Manifest::serialisesEveryMember()
{
    Manifest manifest;
    manifest.valid = true;
    manifest.version = u"1.2"_s;
    manifest.build = 34;
    manifest.channel = u"beta"_s;
    manifest.executable = u"bin/game"_s;
    manifest.notes = u"n"_s;
    manifest.released = QDateTime(QDate(2026, 8, 31), QTime(14, 25, 30), QTimeZone::utc()).toUTC();
    manifest.files = {{u"a"_s, validHash, 5000000000, u"u"_s, true}, {u"b"_s, validHash, 0, QString(), false}};
    const QJsonObject expected{
        {u"version"_s, u"1.2"_s},
        {u"build"_s, 34},
        {u"channel"_s, u"beta"_s},
        {u"executable"_s, u"bin/game"_s},
        {u"notes"_s, u"n"_s},
        {u"released"_s, u"2026-08-31T14:25:30Z"_s},
        {u"files"_s, QJsonArray{QJsonObject{{u"path"_s, u"a"_s},
                                            {u"sha256"_s, validHash},
                                            {u"size"_s, 5000000000.0},
                                            {u"url"_s, u"u"_s},
                                            {u"executable"_s, true}},
                                QJsonObject{{u"path"_s, u"b"_s},
                                            {u"sha256"_s, validHash},
                                            {u"size"_s, 0.0},
                                            {u"url"_s, QString()},
                                            {u"executable"_s, false}}}},
    };
    QCOMPARE(manifest.toJson(), expected);
}

void tst_Manifest::serialisesNoAbsentReleaseTime()
{
    const QStringList keys = {u"build"_s, u"channel"_s, u"executable"_s, u"files"_s, u"notes"_s, u"version"_s};
    QCOMPARE(read(document()).toJson().keys(), keys);
    QCOMPARE(read(documentWith(u"released"_s, u"nonsense"_s)).toJson().keys(), keys);
}

void tst_Manifest::serialisedManifestReadsBack()
{
    QJsonObject object = document({fileEntry(u"a"_s), fileEntryWith(u"url"_s, u"https://x.example/y"_s)});
    object.insert("released"_L1, u"2026-08-31T14:25:30Z"_s);
    object.insert("executable"_L1, u"a"_s);
    object.insert("channel"_L1, u"dev"_s);
    object.insert("notes"_L1, u"ü\n"_s);
    const QJsonObject once = read(object).toJson();
    const Manifest again = read(parsed(QJsonDocument(once).toJson()));
    QVERIFY(again.valid);
    QCOMPARE(again.toJson(), once);
    QCOMPARE(again.files.size(), 2);
    QCOMPARE(again.files.at(1).url, u"https://x.example/y"_s);
}

void tst_Manifest::largestExactSizeReadsBack()
{
    Manifest manifest = read(document({fileEntry()}));
    manifest.files.first().size = Q_INT64_C(9007199254740991);
    const Manifest again = read(parsed(QJsonDocument(manifest.toJson()).toJson()));
    QCOMPARE(again.files.first().size, Q_INT64_C(9007199254740991));
}

void tst_Manifest::sizeIsWrittenAsADouble()
{
    Manifest manifest = read(document({fileEntry()}));
    manifest.files.first().size = Q_INT64_C(9007199254740993); // which no double holds
    const QJsonValue written = manifest.toJson().value("files"_L1).toArray().first().toObject().value("size"_L1);
    QCOMPARE(written.toInteger(), Q_INT64_C(9007199254740992));
}

void tst_Manifest::totalSizeAddsUp()
{
    QCOMPARE(Manifest().totalSize(), 0);
    Manifest manifest;
    manifest.files = {{u"a"_s, validHash, 3000000000, {}, false},
                      {u"b"_s, validHash, 0, {}, false},
                      {u"c"_s, validHash, 4, {}, false}};
    QCOMPARE(manifest.totalSize(), Q_INT64_C(3000000004));
    QCOMPARE(velmo::totalSize(manifest.files.mid(1)), 4);
}

void tst_Manifest::totalSizeHoldsAtTheLargestNumber()
{
    QCOMPARE(velmo::addSizes(largest, 0), largest);
    QCOMPARE(velmo::addSizes(largest - 1, 1), largest);
    QCOMPARE(velmo::addSizes(largest, 1), largest);
    QCOMPARE(velmo::addSizes(largest, largest), largest);
    QJsonArray files;
    for (int i = 0; i < 3; ++i) {
        QJsonObject entry = fileEntry(u"f%1"_s.arg(i));
        entry.insert("size"_L1, 9.2e18);
        files.append(entry);
    }
    const Manifest manifest = read(document(files));
    QVERIFY(manifest.valid); // no rule is about the sum
    QCOMPARE(manifest.totalSize(), largest);
}

void tst_Manifest::newerGoesByBuild_data()
{
    QTest::addColumn<int>("build");
    QTest::addColumn<int>("other");
    QTest::addColumn<bool>("newer");
    QTest::newRow("higher") << 8 << 7 << true;
    QTest::newRow("equal") << 7 << 7 << false;
    QTest::newRow("lower") << 6 << 7 << false;
    QTest::newRow("zero") << 0 << 0 << false;
}

void tst_Manifest::newerGoesByBuild()
{
    QFETCH(int, build);
    QFETCH(int, other);
    QFETCH(bool, newer);
    QCOMPARE(ofBuild(build).isNewerThan(ofBuild(other)), newer);
}

void tst_Manifest::anyValidManifestIsNewerThanAnInvalidOne()
{
    QVERIFY(ofBuild(0).isNewerThan(Manifest()));
    QVERIFY(ofBuild(5).isNewerThan(Manifest()));
    QVERIFY(!Manifest().isNewerThan(Manifest()));
    QVERIFY(!Manifest().isNewerThan(ofBuild(0)));
    QVERIFY(!Manifest().isNewerThan(ofBuild(5)));
}

void tst_Manifest::deepNestingIsNoManifest()
{
    const QByteArray deep =
        QByteArray(R"({"version":"1","build":1,"files":)") + QByteArray(500, '[') + QByteArray(500, ']') + '}';
    QCOMPARE(objection(parsed(deep)), invalidEntry(QString()));
}

void tst_Manifest::manyFilesAreReadQuickly()
{
    constexpr double allowedSeconds = VELMO_SLOW_BUILD ? 100.0 : 10.0; // fifty times what they need
    const QByteArray json = documentOfFiles(100'000);
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < 3; ++run) { // the shortest, beside whatever else the machine does
        const std::clock_t start = std::clock();
        const Manifest manifest = read(parsed(json));
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        QVERIFY(manifest.valid);
        QCOMPARE(manifest.files.size(), 100'000);
    }
    // How the time grows is bench/growth's to say: it counts instructions, which no neighbour changes.
    QVERIFY2(best < allowedSeconds, qPrintable(QString::number(best)));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Manifest>(argc, argv);
}

#include "tst_Manifest.moc"
