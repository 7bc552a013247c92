#include "data/GameProfile.h"
#include "game/InstallManager.h"
#include "support/FullDrive.h"
#include "support/HeldFile.h"
#include "support/LogCapture.h"
#include "support/PlainUserRights.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTimeZone>

#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>

using namespace Qt::Literals::StringLiterals;
using velmo::InstallManager;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::test::FullDrive;
using velmo::test::HeldFile;
using velmo::test::LogCapture;
using velmo::test::PlainUserRights;
using velmo::test::readFile;
using velmo::test::writeFile;

namespace {

constexpr qint64 largest = std::numeric_limits<qint64>::max();
constexpr QFileDevice::Permissions execute = QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;

ManifestFile entry(const QString &path, qint64 size = 0)
{
    return {path, QString(64, u'a'), size, {}, false};
}

Manifest manifestOf(const QStringList &paths, int build = 1)
{
    Manifest manifest;
    manifest.valid = true;
    manifest.version = u"0.%1.0"_s.arg(build);
    manifest.build = build;
    for (const QString &path : paths) {
        manifest.files.append(entry(path));
    }
    return manifest;
}

/// A record of one build; those of builds of one digit are of one size.
QByteArray buildDocument(int build)
{
    return R"({"version":"1.0","build":%1,"executable":"%1.exe"})"_ba.replace("%1", QByteArray::number(build));
}

QDateTime longAgo()
{
    return {QDate(2026, 2, 3), QTime(4, 5, 6), QTimeZone::utc()};
}

/// What the system says when \a path cannot be opened for writing.
QString openError(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) ? u"<opened>"_s : file.errorString();
}

QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class tst_InstallManager : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void withoutARootNothingIsKnownOrDone();
    void rootIsCleanedAndNotLookedAt();
    void metadataFolderIsBelowTheRoot();

    void prepareMakesTheFolderAndItsParents();
    void prepareKeepsWhatIsThere();
    void prepareWorksWithoutAnErrorText();
    void prepareRefusesAnEmptyRootWithoutALogLine();
    void prepareRefusesWhereNoFolderCanBeMade_data();
    void prepareRefusesWhereNoFolderCanBeMade();
    void prepareRefusesWhereTheProbeCannotBeOpened();
    void prepareRefusesAReadOnlyFolder();
    void prepareLooksOnlyAtTheOpeningOfTheProbe();

    void freeSpaceIsThatOfTheNearestExistingFolder_data();
    void freeSpaceIsThatOfTheNearestExistingFolder();
    void freeSpaceIsThatOfTheRootsOwnDrive();
    void freeSpaceIsUnknownWhereThereIsNoDrive();
    void requiredBytesAddTheMargin_data();
    void requiredBytesAddTheMargin();

    void executableIsTakenFromTheRecord();
    void executableFallsBackToTheProfile_data();
    void executableFallsBackToTheProfile();
    void executablePathIsCleaned();

    void recordCountsAsPresentWhateverItHolds_data();
    void recordCountsAsPresentWhateverItHolds();
    void missingRecordIsReadSilently();
    void folderInPlaceOfTheRecordIsReadSilently();
    void unreadableRecordWarns_data();
    void unreadableRecordWarns();
    void tamperedRecordIsRejected_data();
    void tamperedRecordIsRejected();
    void everyQuestionReadsTheDiskAgain();
    void untouchedRecordIsNotParsedAgain();
    void changedRecordIsParsedAgain_data();
    void changedRecordIsParsedAgain();
    void recordOfThisMomentIsParsedAgain();
    void damagedRecordIsToldOfEachTime_data();
    void damagedRecordIsToldOfEachTime();

    void committedRecordIsReadBack();
    void commitWritesTheIndentedForm();
    void textsThatBeginWithAByteOrderMarkAreReadBack();
    void commitMakesTheMetadataFolder();
    void commitReplacesTheRecordAndLeavesNothingElse();
    void committedProgramsCanBeRun();
    void commitGivesNoPermissionThroughALink();
    void invalidManifestIsNotCommitted();
    void commitWarnsWhenTheRecordCannotBeOpened_data();
    void commitWarnsWhenTheRecordCannotBeOpened();
    void failedCommitKeepsThePreviousRecord_data();
    void failedCommitKeepsThePreviousRecord();

    void staleFilesAreThoseThatLeftTheBuild();
    void staleFilesAreRemovedInTheOldOrder();
    void staleRemovalPassesOverWhatIsNotThere();
    void staleRemovalLeavesFoldersAndPartFiles();
    void folderInPlaceOfAStaleFileStays();
    void invalidPreviousManifestRemovesNothing();
    void emptyNextManifestRemovesEveryFile();
    void staleFileThatCannotBeDeletedIsForgotten();
    void tamperedRecordRemovesNothingOutsideTheRoot();

private:
    void writeRecord(const QByteArray &bytes, const QDateTime &time) const;

    QString root() const { return folder_->filePath(u"Meine Spiele/Härröwfen 沼"_s); }
    QString metadata() const { return root() + u"/.velmo"_s; }
    QString record() const { return metadata() + u"/installed.json"_s; }
    QString below(const QString &path) const { return root() + u'/' + path; }

    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<InstallManager> manager_;
    std::optional<LogCapture> log_;
};

void tst_InstallManager::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    manager_ = std::make_unique<InstallManager>();
    manager_->setInstallRoot(root());
    log_.emplace();
}

void tst_InstallManager::cleanup()
{
    manager_.reset();
    folder_.reset();
    log_.reset();
}

void tst_InstallManager::writeRecord(const QByteArray &bytes, const QDateTime &time) const
{
    writeFile(record(), bytes);
    QFile file(record());
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFileDevice::FileModificationTime)) {
        qFatal("Cannot set the time of %s", qPrintable(record()));
    }
}

void tst_InstallManager::withoutARootNothingIsKnownOrDone()
{
    const QString previousFolder = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder_->path()));
    const auto restore = qScopeGuard([previousFolder] { QDir::setCurrent(previousFolder); });
    writeFile(folder_->filePath(u".velmo/installed.json"_s), R"({"version":"1.0","build":1})");
    writeFile(folder_->filePath(u"stale.pak"_s), "stale");

    InstallManager manager;
    QCOMPARE(manager.installRoot(), QString());
    QCOMPARE(manager.availableBytes(), -1);
    QCOMPARE(manager.executablePath(), QString());
    QVERIFY(!manager.hasInstalledManifest());
    QVERIFY(!manager.loadInstalledManifest().valid);
    QVERIFY(!manager.commitInstalledManifest(manifestOf({}, 2)));
    QCOMPARE(manager.removeStaleFiles(manifestOf({u"stale.pak"_s}), manifestOf({})), 0);

    QCOMPARE(readFile(folder_->filePath(u".velmo/installed.json"_s)), R"({"version":"1.0","build":1})");
    QCOMPARE(namesIn(folder_->path()), (QStringList{u".velmo"_s, u"stale.pak"_s}));
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::rootIsCleanedAndNotLookedAt()
{
    manager_->setInstallRoot(folder_->path() + u"//games/./other/../Harrowfen/"_s);
    QCOMPARE(manager_->installRoot(), folder_->path() + u"/games/Harrowfen"_s);
    QVERIFY(namesIn(folder_->path()).isEmpty());
    manager_->setInstallRoot({});
    QCOMPARE(manager_->installRoot(), QString());
}

void tst_InstallManager::metadataFolderIsBelowTheRoot()
{
    QCOMPARE(manager_->metadataDir(), metadata());
    QVERIFY(!QFile::exists(metadata()));
}

void tst_InstallManager::prepareMakesTheFolderAndItsParents()
{
    QString error = u"untouched"_s;
    QVERIFY(manager_->prepare(&error));
    QCOMPARE(error, u"untouched"_s);
    QVERIFY(QFileInfo(metadata()).isDir());
    QCOMPARE(namesIn(root()), QStringList{u".velmo"_s});
    QCOMPARE(namesIn(metadata()), QStringList()); // the probe is gone
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::prepareKeepsWhatIsThere()
{
    writeFile(record(), "record");
    writeFile(below(u"Content/a.pak"_s), "game");
    writeFile(metadata() + u"/write-test.tmp"_s, "left by a launcher that was killed");
    QString error;
    QVERIFY(manager_->prepare(&error));
    QVERIFY(manager_->prepare(&error));
    QCOMPARE(readFile(record()), "record");
    QCOMPARE(readFile(below(u"Content/a.pak"_s)), "game");
    QCOMPARE(namesIn(metadata()), QStringList{u"installed.json"_s});
}

void tst_InstallManager::prepareWorksWithoutAnErrorText()
{
    QVERIFY(manager_->prepare(nullptr));
    manager_->setInstallRoot({});
    QVERIFY(!manager_->prepare(nullptr));
}

void tst_InstallManager::prepareRefusesAnEmptyRootWithoutALogLine()
{
    manager_->setInstallRoot({});
    QString error;
    QVERIFY(!manager_->prepare(&error));
    QCOMPARE(error, u"No installation folder has been chosen yet."_s);
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::prepareRefusesWhereNoFolderCanBeMade_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("the root is a file") << u""_s;
    QTest::newRow("a parent of the root is a file") << u"/.."_s;
    QTest::newRow("the metadata folder is a file") << u"/.velmo"_s;
}

void tst_InstallManager::prepareRefusesWhereNoFolderCanBeMade()
{
    QFETCH(QString, file);
    writeFile(QDir::cleanPath(root() + file), "in the way");
    QString error;
    QVERIFY(!manager_->prepare(&error));
    QCOMPARE(error, u"The launcher could not create the installation folder. Choose a different location, or run the "
                    "launcher from a folder you can write to."_s);
    QCOMPARE(log_->texts(), QStringList{u"WARN velmo.game: mkpath failed for \"%1\""_s.arg(metadata())});
    QCOMPARE(readFile(QDir::cleanPath(root() + file)), "in the way");
}

void tst_InstallManager::prepareRefusesWhereTheProbeCannotBeOpened()
{
    const QString probe = metadata() + u"/write-test.tmp"_s;
    QVERIFY(QDir().mkpath(probe));
    QString error;
    QVERIFY(!manager_->prepare(&error));
    QCOMPARE(error, u"The launcher does not have permission to write to the installation folder."_s);
    QCOMPARE(log_->texts(),
             QStringList{u"WARN velmo.game: Write probe failed at \"%1\" \"%2\""_s.arg(probe, openError(probe))});
}

void tst_InstallManager::prepareRefusesAReadOnlyFolder()
{
    QVERIFY(QDir().mkpath(metadata()));
    const QFileDevice::Permissions readOnly = QFileDevice::ReadOwner | QFileDevice::ExeOwner;
    QVERIFY(QFile::setPermissions(metadata(), readOnly));
    const auto restore =
        qScopeGuard([this, readOnly] { QFile::setPermissions(metadata(), readOnly | QFileDevice::WriteOwner); });
    const PlainUserRights plainUser;
    QString error;
    QVERIFY(!manager_->prepare(&error));
    QCOMPARE(error, u"The launcher does not have permission to write to the installation folder."_s);
    const QString probe = metadata() + u"/write-test.tmp"_s;
    QCOMPARE(log_->texts(),
             QStringList{u"WARN velmo.game: Write probe failed at \"%1\" \"%2\""_s.arg(probe, openError(probe))});
}

void tst_InstallManager::prepareLooksOnlyAtTheOpeningOfTheProbe()
{
    const FullDrive drive(0);
    QVERIFY(manager_->prepare(nullptr));
    QCOMPARE(namesIn(metadata()), QStringList());
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::freeSpaceIsThatOfTheNearestExistingFolder_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("the root exists") << u""_s;
    QTest::newRow("the root is missing") << u"/Harrowfen"_s;
    QTest::newRow("the root and its parents are missing") << u"/Games/Velmo Games/Harrowfen"_s;
}

void tst_InstallManager::freeSpaceIsThatOfTheNearestExistingFolder()
{
    QFETCH(QString, path);
    manager_->setInstallRoot(folder_->path() + path);
    const qint64 available = manager_->availableBytes();
    // Others write to the same drive meanwhile.
    constexpr qint64 drift = 2'000'000'000;
    const qint64 expected = QStorageInfo(folder_->path()).bytesAvailable();
    QVERIFY2(available >= 0 && std::abs(available - expected) < drift,
             qPrintable(u"%1 instead of %2"_s.arg(available).arg(expected)));
    QVERIFY(namesIn(folder_->path()).isEmpty());
}

void tst_InstallManager::freeSpaceIsThatOfTheRootsOwnDrive()
{
    manager_->setInstallRoot(u"/proc/Harrowfen"_s); // a file system without room for anything
    QCOMPARE(manager_->availableBytes(), 0);
}

void tst_InstallManager::freeSpaceIsUnknownWhereThereIsNoDrive()
{
#ifdef Q_OS_WIN
    manager_->setInstallRoot(u"Q:/Games/Harrowfen"_s);
    QCOMPARE(manager_->availableBytes(), -1);
#else
    // A working folder that is gone has no path any more, and so no drive can be told for what lies below it.
    const QString previousFolder = QDir::currentPath();
    const QString gone = folder_->filePath(u"gone"_s);
    QVERIFY(QDir().mkdir(gone));
    QVERIFY(QDir::setCurrent(gone));
    const auto restore = qScopeGuard([previousFolder] { QDir::setCurrent(previousFolder); });
    QVERIFY(QDir().rmdir(gone));
    manager_->setInstallRoot(u"Games/Harrowfen"_s);
    QCOMPARE(manager_->availableBytes(), -1);
#endif
}

void tst_InstallManager::requiredBytesAddTheMargin_data()
{
    QTest::addColumn<QList<qint64>>("sizes");
    QTest::addColumn<qint64>("required");
    QTest::newRow("no file") << QList<qint64>{} << 0LL;
    QTest::newRow("an empty file") << QList<qint64>{0} << 0LL;
    QTest::newRow("truncated") << QList<qint64>{10} << 11LL;
    QTest::newRow("a product just below the integer") << QList<qint64>{100} << 114LL;
    QTest::newRow("the margin is taken of the sum") << QList<qint64>{1, 1, 1, 1, 1, 1, 1, 1, 1, 1} << 11LL;
    QTest::newRow("a build") << QList<qint64>{123'000'000, 456'789} << 141'975'307LL;
    QTest::newRow("the largest that fits") << QList<qint64>{8'000'000'000'000'000'000} << 9'199'999'999'999'998'976LL;
    QTest::newRow("the margin runs over") << QList<qint64>{9'000'000'000'000'000'000} << largest;
    QTest::newRow("the sum runs over") << QList<qint64>{largest, largest, 5} << largest;
}

void tst_InstallManager::requiredBytesAddTheMargin()
{
    QFETCH(QList<qint64>, sizes);
    QList<ManifestFile> files;
    for (const qint64 size : std::as_const(sizes)) {
        files.append(entry(u"f%1"_s.arg(files.size()), size));
    }
    QTEST(InstallManager::requiredBytes(files), "required");
}

void tst_InstallManager::executableIsTakenFromTheRecord()
{
    Manifest manifest = manifestOf({});
    manifest.executable = u"Bin/Härröwfen Spiel.exe"_s;
    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(manager_->executablePath(), below(u"Bin/Härröwfen Spiel.exe"_s));
    QVERIFY(!QFile::exists(manager_->executablePath()));
}

void tst_InstallManager::executableFallsBackToTheProfile_data()
{
    QTest::addColumn<QByteArray>("installed");
    QTest::newRow("no record") << QByteArray();
    QTest::newRow("the record names none") << QByteArray(R"({"version":"1.0","build":1,"executable":""})");
    QTest::newRow("the record is damaged") << QByteArray(R"({"version":)");
    QTest::newRow("the record is rejected") << QByteArray(R"({"version":"","build":1,"executable":"a.exe"})");
    QTest::newRow("the record names one outside")
        << QByteArray(R"({"version":"1.0","build":1,"executable":"../a.exe"})");
}

void tst_InstallManager::executableFallsBackToTheProfile()
{
    QFETCH(QByteArray, installed);
    if (!installed.isEmpty()) {
        writeFile(record(), installed);
    }
    QVERIFY(!velmo::gameProfile().executable.isEmpty());
    QCOMPARE(manager_->executablePath(), below(velmo::gameProfile().executable));
}

void tst_InstallManager::executablePathIsCleaned()
{
    manager_->setInstallRoot(u"/"_s);
    QCOMPARE(manager_->executablePath(), u'/' + velmo::gameProfile().executable);
}

void tst_InstallManager::recordCountsAsPresentWhateverItHolds_data()
{
    QTest::addColumn<QByteArray>("installed");
    QTest::newRow("a syntax error") << QByteArray(R"({"version":"1.0",})");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("usable") << QByteArray(R"({"version":"1.0","build":1})");
}

void tst_InstallManager::recordCountsAsPresentWhateverItHolds()
{
    QFETCH(QByteArray, installed);
    QVERIFY(!manager_->hasInstalledManifest());
    writeFile(record(), installed);
    QVERIFY(manager_->hasInstalledManifest());
}

void tst_InstallManager::missingRecordIsReadSilently()
{
    const Manifest manifest = manager_->loadInstalledManifest();
    QVERIFY(!manifest.valid);
    QCOMPARE(manifest.build, 0);
    QVERIFY(manifest.files.isEmpty());
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::folderInPlaceOfTheRecordIsReadSilently()
{
    QVERIFY(QDir().mkpath(record()));
    QVERIFY(!manager_->loadInstalledManifest().valid);
    QCOMPARE(log_->texts(), QStringList());
}

void tst_InstallManager::unreadableRecordWarns_data()
{
    QTest::addColumn<QByteArray>("installed");
    QTest::addColumn<QString>("reason");
    QTest::newRow("empty") << QByteArray() << u"illegal value"_s;
    QTest::newRow("cut off in a text") << QByteArray(R"({"version":"1.)") << u"unterminated string"_s;
    QTest::newRow("cut off after a number")
        << QByteArray(R"({"version":"1.0","build":1)") << u"invalid termination by number"_s;
    QTest::newRow("two documents") << QByteArray(R"({} {})") << u"garbage at the end of the document"_s;
    QTest::newRow("an array") << QByteArray(R"([{"version":"1.0","build":1}])") << u"no error occurred"_s;
}

void tst_InstallManager::unreadableRecordWarns()
{
    QFETCH(QByteArray, installed);
    QFETCH(QString, reason);
    writeFile(record(), installed);
    QVERIFY(!manager_->loadInstalledManifest().valid);
    QCOMPARE(log_->texts(), QStringList{u"WARN velmo.game: Installed manifest is unreadable: \"%1\""_s.arg(reason)});
    QVERIFY(manager_->hasInstalledManifest());
    QCOMPARE(readFile(record()), installed);
}

void tst_InstallManager::tamperedRecordIsRejected_data()
{
    QTest::addColumn<QByteArray>("installed");
    QTest::addColumn<QString>("reason");
    const auto withPath = [](const QString &path) {
        const QJsonObject file{{u"path"_s, path}, {u"sha256"_s, QString(64, u'0')}, {u"size"_s, 1}};
        return QJsonDocument(QJsonObject{{u"version"_s, u"1.0"_s}, {u"build"_s, 1}, {u"files"_s, QJsonArray{file}}})
            .toJson();
    };
    const QStringList paths{u"../../evil.dll"_s, u"Content/../../evil.dll"_s, u"/etc/passwd"_s, u"C:/a"_s, u"a\\b"_s};
    for (const QString &path : paths) {
        QTest::newRow(qPrintable(path)) << withPath(path) << u"Manifest contains an invalid file entry: "_s + path;
    }
    QTest::newRow("executable") << QByteArray(R"({"version":"1.0","build":1,"executable":"../sh"})")
                                << u"Manifest names an executable outside the install directory."_s;
    QTest::newRow("no version") << QByteArray(R"({"build":1})") << u"Manifest is missing a version."_s;
    QTest::newRow("no build") << QByteArray(R"({"version":"1.0"})") << u"Manifest is missing a build number."_s;
}

void tst_InstallManager::tamperedRecordIsRejected()
{
    QFETCH(QByteArray, installed);
    QFETCH(QString, reason);
    writeFile(record(), installed);
    const Manifest manifest = manager_->loadInstalledManifest();
    QVERIFY(!manifest.valid);
    QVERIFY(manifest.files.isEmpty());
    const QList<LogCapture::Line> expected{
        {QtWarningMsg, u"velmo.game"_s, QDebug::toString(reason).prepend(u"Installed manifest rejected: "_s)}};
    QCOMPARE(log_->lines(), expected);
}

void tst_InstallManager::everyQuestionReadsTheDiskAgain()
{
    QVERIFY(manager_->commitInstalledManifest(manifestOf({}, 1)));
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
    writeFile(record(), R"({"version":"9.0","build":9,"executable":"nine.exe"})");
    QCOMPARE(manager_->loadInstalledManifest().build, 9);
    QCOMPARE(manager_->executablePath(), below(u"nine.exe"_s));
    QVERIFY(QFile::remove(record()));
    QVERIFY(!manager_->hasInstalledManifest());
    QVERIFY(!manager_->loadInstalledManifest().valid);
}

// Bytes that change without the file's size or time show whether they were read.

void tst_InstallManager::untouchedRecordIsNotParsedAgain()
{
    writeRecord(buildDocument(1), longAgo());
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
    writeRecord(buildDocument(2), longAgo());
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
    QCOMPARE(manager_->executablePath(), below(u"1.exe"_s));
}

void tst_InstallManager::changedRecordIsParsedAgain_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<bool>("replaced");
    QTest::newRow("another time") << buildDocument(2) << longAgo().addSecs(1) << false;
    QTest::newRow("another size") << buildDocument(2) + ' ' << longAgo() << false;
    QTest::newRow("another file") << buildDocument(2) << longAgo() << true;
}

void tst_InstallManager::changedRecordIsParsedAgain()
{
    QFETCH(const QByteArray, document);
    QFETCH(const QDateTime, time);
    QFETCH(const bool, replaced);
    writeRecord(buildDocument(1), longAgo());
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
    // Kept, so that the drive cannot give its number to the next one.
    QVERIFY(!replaced || QFile::rename(record(), record() + u".old"_s));
    writeRecord(document, time);
    QCOMPARE(manager_->loadInstalledManifest().build, 2);
    QCOMPARE(manager_->executablePath(), below(u"2.exe"_s));
}

void tst_InstallManager::recordOfThisMomentIsParsedAgain()
{
    const QDateTime ahead =
        QDateTime::currentDateTimeUtc().addDays(1); // and so within two seconds, however long this takes
    writeRecord(buildDocument(1), ahead);
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
    writeRecord(buildDocument(2), ahead);
    QCOMPARE(manager_->loadInstalledManifest().build, 2);
}

void tst_InstallManager::damagedRecordIsToldOfEachTime_data()
{
    QTest::addColumn<QByteArray>("damaged");
    QTest::newRow("cut off") << "{"_ba;
    QTest::newRow("without a version") << R"({"build":1})"_ba;
}

void tst_InstallManager::damagedRecordIsToldOfEachTime()
{
    QFETCH(const QByteArray, damaged);
    writeRecord(buildDocument(1), longAgo());
    QVERIFY(manager_->loadInstalledManifest().valid);
    writeRecord(damaged, longAgo());
    QVERIFY(!manager_->loadInstalledManifest().valid);
    QVERIFY(!manager_->loadInstalledManifest().valid);
    QCOMPARE(log_->texts().size(), 2);
    writeRecord(buildDocument(1), longAgo());
    QVERIFY(manager_->loadInstalledManifest().valid);
}

void tst_InstallManager::committedRecordIsReadBack()
{
    Manifest manifest = manifestOf({u"Content/a b.pak"_s, u"Übung/沼.txt"_s}, 42);
    manifest.channel = u"beta"_s;
    manifest.executable = u"Content/a b.pak"_s;
    manifest.notes = u"Zweite Zeile:\n沼"_s;
    manifest.released = QDateTime(QDate(2026, 2, 3), QTime(4, 5, 6), QTimeZone::utc()).toUTC();
    manifest.files[1].size = 5'000'000'000;
    manifest.files[1].executable = true;
    manifest.files[1].url = u"https://127.0.0.1/x"_s;

    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(log_->texts(), QStringList{u"INFO velmo.game: Recorded installed build \"0.42.0\" ( 42 )"_s});

    const Manifest read = manager_->loadInstalledManifest();
    QVERIFY(read.valid);
    QCOMPARE(read.toJson(), manifest.toJson());
    QCOMPARE(log_->lines().size(), 1);
}

void tst_InstallManager::commitWritesTheIndentedForm()
{
    const Manifest manifest = manifestOf({u"a"_s, u"b"_s}, 7);
    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(readFile(record()), QJsonDocument(manifest.toJson()).toJson(QJsonDocument::Indented));
}

/// Qt's reader takes one off the front of every text.
void tst_InstallManager::textsThatBeginWithAByteOrderMarkAreReadBack()
{
    Manifest manifest = manifestOf({u"\uFEFFa.pak"_s, u"b\uFEFF.pak"_s}, 7);
    manifest.version = u"\uFEFF\uFEFF1.0"_s;
    manifest.notes = u"\"\uFEFFquoted\""_s;
    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(manager_->loadInstalledManifest().toJson(), manifest.toJson());
}

void tst_InstallManager::commitMakesTheMetadataFolder()
{
    QVERIFY(!QFile::exists(root()));
    QVERIFY(manager_->commitInstalledManifest(manifestOf({})));
    QCOMPARE(namesIn(metadata()), QStringList{u"installed.json"_s});
}

void tst_InstallManager::commitReplacesTheRecordAndLeavesNothingElse()
{
    QVERIFY(manager_->commitInstalledManifest(manifestOf({u"a"_s, u"b"_s, u"c"_s}, 1)));
    QVERIFY(manager_->commitInstalledManifest(manifestOf({u"a"_s}, 2)));
    QCOMPARE(manager_->loadInstalledManifest().build, 2);
    QCOMPARE(manager_->loadInstalledManifest().files.size(), 1);
    QCOMPARE(namesIn(metadata()), QStringList{u"installed.json"_s});
}

void tst_InstallManager::committedProgramsCanBeRun()
{
    Manifest manifest = manifestOf({u"Bin/game"_s, u"data.pak"_s, u"missing"_s}, 1);
    manifest.files[0].executable = true;
    manifest.files[2].executable = true;
    writeFile(below(u"Bin/game"_s), "#!/bin/sh");
    writeFile(below(u"data.pak"_s), "data");
    QVERIFY((QFile::permissions(below(u"Bin/game"_s)) & execute) != execute);
    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(QFile::permissions(below(u"Bin/game"_s)) & execute, execute);
    QCOMPARE(QFile::permissions(below(u"data.pak"_s)) & execute, QFileDevice::Permissions());
    QVERIFY(!QFile::exists(below(u"missing"_s)));
}

void tst_InstallManager::commitGivesNoPermissionThroughALink()
{
    const QString victim = QFileInfo(root()).path() + u"/victim.txt"_s;
    writeFile(victim, "somebody else's");
    QVERIFY(QDir().mkpath(root()));
    QVERIFY(QFile::link(victim, below(u"game"_s)));
    Manifest manifest = manifestOf({u"game"_s}, 1);
    manifest.files[0].executable = true;
    const QFileDevice::Permissions before = QFile::permissions(victim);
    QVERIFY(manager_->commitInstalledManifest(manifest));
    QCOMPARE(QFile::permissions(victim), before);
}

void tst_InstallManager::invalidManifestIsNotCommitted()
{
    Manifest invalid = manifestOf({u"a"_s}, 2);
    invalid.valid = false;
    QVERIFY(!manager_->commitInstalledManifest(invalid));
    QVERIFY(!QFile::exists(root()));

    QVERIFY(manager_->commitInstalledManifest(manifestOf({}, 1)));
    const QByteArray before = readFile(record());
    QVERIFY(!manager_->commitInstalledManifest(invalid));
    QCOMPARE(readFile(record()), before);
    QCOMPARE(log_->lines().size(), 1); // of the commit that went through
}

void tst_InstallManager::commitWarnsWhenTheRecordCannotBeOpened_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<bool>("isFolder");
    QTest::newRow("a folder in place of the record") << u"/.velmo/installed.json"_s << true;
    QTest::newRow("a file in place of the metadata folder") << u"/.velmo"_s << false;
    QTest::newRow("a file in place of the root") << u""_s << false;
}

void tst_InstallManager::commitWarnsWhenTheRecordCannotBeOpened()
{
    QFETCH(QString, obstacle);
    QFETCH(bool, isFolder);
    if (isFolder) {
        QVERIFY(QDir().mkpath(root() + obstacle));
    } else {
        writeFile(root() + obstacle, "in the way");
    }
    QVERIFY(!manager_->commitInstalledManifest(manifestOf({})));
    const QList<LogCapture::Line> lines = log_->lines();
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.first().type, QtWarningMsg);
    QCOMPARE(lines.first().category, u"velmo.game"_s);
    const QRegularExpression text(u"^Could not record the installed manifest: \"[^\"]+\"$"_s);
    QVERIFY2(text.match(lines.first().text).hasMatch(), qPrintable(lines.first().text));
    QCOMPARE(QFileInfo(root() + obstacle).isDir(), isFolder);
}

void tst_InstallManager::failedCommitKeepsThePreviousRecord_data()
{
    QTest::addColumn<int>("room");
    QTest::addColumn<int>("files");
    QTest::newRow("no room at all") << 0 << 3;
    QTest::newRow("room for the beginning") << 100 << 3;
    QTest::newRow("no room for a long record") << 0 << 500;
    QTest::newRow("room for the beginning of a long record") << 30000 << 500;
}

void tst_InstallManager::failedCommitKeepsThePreviousRecord()
{
    QFETCH(int, room);
    QFETCH(int, files);
    Manifest next = manifestOf({}, 2);
    for (int index = 0; index < files; ++index) {
        next.files.append(entry(u"Content/%1.pak"_s.arg(index)));
    }
    QVERIFY(manager_->commitInstalledManifest(manifestOf({u"a"_s}, 1)));
    const QByteArray before = readFile(record());
    {
        const FullDrive drive(room);
        QVERIFY(!manager_->commitInstalledManifest(next));
    }
    const QList<LogCapture::Line> lines = log_->lines();
    QCOMPARE(lines.size(), 2); // the first is that of the commit that went through
    QCOMPARE(lines.last().type, QtWarningMsg);
    QCOMPARE(lines.last().category, u"velmo.game"_s);
    const QRegularExpression text(u"^Could not commit the installed manifest: \"[^\"]+\"$"_s);
    QVERIFY2(text.match(lines.last().text).hasMatch(), qPrintable(lines.last().text));
    QCOMPARE(readFile(record()), before);
    QCOMPARE(namesIn(metadata()), QStringList{u"installed.json"_s});
    QCOMPARE(manager_->loadInstalledManifest().build, 1);
}

void tst_InstallManager::staleFilesAreThoseThatLeftTheBuild()
{
    const QStringList names{u"kept.pak"_s, u"changed.pak"_s, u"gone old.pak"_s, u"Übung/weg.txt"_s, u"foreign.cfg"_s};
    for (const QString &name : names) {
        writeFile(below(name), "content");
    }
    const Manifest previous = manifestOf({u"kept.pak"_s, u"changed.pak"_s, u"gone old.pak"_s, u"Übung/weg.txt"_s}, 1);
    Manifest next = manifestOf({u"new.pak"_s, u"changed.pak"_s, u"kept.pak"_s}, 2);
    next.files[1].sha256 = QString(64, u'b');

    QCOMPARE(manager_->removeStaleFiles(previous, next), 2);
    QCOMPARE(log_->texts(),
             (QStringList{u"INFO velmo.game: Removed file no longer in the build: \"gone old.pak\""_s,
                          u"INFO velmo.game: Removed file no longer in the build: \"Übung/weg.txt\""_s}));
    QCOMPARE(namesIn(root()), (QStringList{u"changed.pak"_s, u"foreign.cfg"_s, u"kept.pak"_s, u"Übung"_s}));
    QCOMPARE(namesIn(below(u"Übung"_s)), QStringList());
}

void tst_InstallManager::staleFilesAreRemovedInTheOldOrder()
{
    const QStringList order{u"z"_s, u"a"_s, u"m"_s, u"b"_s};
    QStringList expected;
    for (const QString &name : order) {
        writeFile(below(name), "content");
        expected.append(u"INFO velmo.game: Removed file no longer in the build: \"%1\""_s.arg(name));
    }
    QCOMPARE(manager_->removeStaleFiles(manifestOf(order), manifestOf({})), 4);
    QCOMPARE(log_->texts(), expected);
}

void tst_InstallManager::staleRemovalPassesOverWhatIsNotThere()
{
    writeFile(below(u"last"_s), "content");
    QCOMPARE(manager_->removeStaleFiles(manifestOf({u"absent"_s, u"no/folder"_s, u"last"_s}), manifestOf({})), 1);
    QCOMPARE(log_->texts(), QStringList{u"INFO velmo.game: Removed file no longer in the build: \"last\""_s});
    QVERIFY(!QFile::exists(below(u"last"_s)));
}

void tst_InstallManager::staleRemovalLeavesFoldersAndPartFiles()
{
    writeFile(below(u"Content/Sub/a.pak"_s), "content");
    writeFile(below(u"Content/a.pak.part"_s), "content");
    QCOMPARE(manager_->removeStaleFiles(manifestOf({u"Content/Sub/a.pak"_s, u"Content/a.pak"_s}), manifestOf({})), 1);
    QCOMPARE(namesIn(below(u"Content"_s)), (QStringList{u"Sub"_s, u"a.pak.part"_s}));
    QCOMPARE(namesIn(below(u"Content/Sub"_s)), QStringList());
}

void tst_InstallManager::folderInPlaceOfAStaleFileStays()
{
    QVERIFY(QDir().mkpath(below(u"folder.pak"_s)));
    writeFile(below(u"after.pak"_s), "content");
    QCOMPARE(manager_->removeStaleFiles(manifestOf({u"folder.pak"_s, u"after.pak"_s}), manifestOf({})), 1);
    QCOMPARE(log_->lines().size(), 1);
    QVERIFY(QFileInfo(below(u"folder.pak"_s)).isDir());
}

void tst_InstallManager::invalidPreviousManifestRemovesNothing()
{
    writeFile(below(u"a"_s), "content");
    QCOMPARE(manager_->removeStaleFiles(Manifest(), manifestOf({})), 0);
    QVERIFY(QFile::exists(below(u"a"_s)));
}

void tst_InstallManager::emptyNextManifestRemovesEveryFile()
{
    writeFile(below(u"a"_s), "content");
    writeFile(below(u"b"_s), "content");
    QCOMPARE(manager_->removeStaleFiles(manifestOf({u"a"_s, u"b"_s}), Manifest()), 2);
    QCOMPARE(namesIn(root()), QStringList());
}

void tst_InstallManager::staleFileThatCannotBeDeletedIsForgotten()
{
    const Manifest previous = manifestOf({u"Locked/held.dll"_s, u"free.dll"_s}, 1);
    const Manifest next = manifestOf({u"new.dll"_s}, 2);
    writeFile(below(u"Locked/held.dll"_s), "content");
    writeFile(below(u"free.dll"_s), "content");
#ifdef Q_OS_WIN
    const HeldFile held(below(u"Locked/held.dll"_s), HeldFile::ReadingAndWriting);
    QVERIFY(held.isOpen());
#else
    const QFileDevice::Permissions readOnly = QFileDevice::ReadOwner | QFileDevice::ExeOwner;
    const QString locked = below(u"Locked"_s);
    QVERIFY(QFile::setPermissions(locked, readOnly));
    const auto restore =
        qScopeGuard([locked, readOnly] { QFile::setPermissions(locked, readOnly | QFileDevice::WriteOwner); });
    const PlainUserRights plainUser;
#endif

    QCOMPARE(manager_->removeStaleFiles(previous, next), 1);
    QCOMPARE(log_->texts(), QStringList{u"INFO velmo.game: Removed file no longer in the build: \"free.dll\""_s});
    QVERIFY(QFile::exists(below(u"Locked/held.dll"_s)));

    QVERIFY(manager_->commitInstalledManifest(next));
    const Manifest recorded = manager_->loadInstalledManifest();
    QCOMPARE(recorded.files.size(), 1);
    QCOMPARE(recorded.files.first().path, u"new.dll"_s);
}

void tst_InstallManager::tamperedRecordRemovesNothingOutsideTheRoot()
{
    const QString victim = QFileInfo(root()).path() + u"/victim.txt"_s;
    writeFile(victim, "precious");
    writeFile(below(u"inside"_s), "content");
    writeFile(record(), R"({"version":"1.0","build":1,"files":[)"
                        R"({"path":"inside","size":7,"sha256":")" +
                            QByteArray(64, '0') +
                            R"("},)"
                            R"({"path":"../victim.txt","size":8,"sha256":")" +
                            QByteArray(64, '0') + R"("}]})");
    QCOMPARE(manager_->removeStaleFiles(manager_->loadInstalledManifest(), Manifest()), 0);
    QCOMPARE(readFile(victim), "precious");
    QVERIFY(QFile::exists(below(u"inside"_s)));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_InstallManager>(argc, argv);
}

#include "tst_InstallManager.moc"
