#include "core/Paths.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;
using velmo::test::TestEnvironment;

class tst_Paths : public QObject {
    Q_OBJECT

private slots:
    void everyPathHasItsPlace_data();
    void everyPathHasItsPlace();
    void dataDirectoryFollowsTheConfigLocation();
    void gamesRootFollowsTheHomeFolder();
    void askingForPathsCreatesNothing();
    void emptyPathIsNoDirectory();
    void existingDirectoryIsEnsured();
    void missingDirectoryIsMadeWithItsParents();
    void fileInTheWayMakesEnsuringFail_data();
    void fileInTheWayMakesEnsuringFail();
};

void tst_Paths::everyPathHasItsPlace_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    const QString home = TestEnvironment::home();
    QTest::newRow("data directory") << velmo::dataDirectory() << home + u"/.config/VelmoGames/Launcher"_s;
    QTest::newRow("settings") << velmo::configFilePath() << home + u"/.config/VelmoGames/Launcher/launcher.json"_s;
    QTest::newRow("logs") << velmo::logsDirectory() << home + u"/.config/VelmoGames/Launcher/logs"_s;
    QTest::newRow("games root") << velmo::defaultGamesRoot() << home + u"/VelmoGames/Games"_s;
}

void tst_Paths::everyPathHasItsPlace()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(path, expected);
    QVERIFY(QDir::isAbsolutePath(path));
    QVERIFY(!path.contains(u'\\'));
}

void tst_Paths::dataDirectoryFollowsTheConfigLocation()
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    const auto restore = qScopeGuard([before] { qputenv("XDG_CONFIG_HOME", before); });
    const QTemporaryDir elsewhere;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(elsewhere.path()));
    QCOMPARE(velmo::dataDirectory(), elsewhere.filePath(u"VelmoGames/Launcher"_s));
    QCOMPARE(velmo::configFilePath(), elsewhere.filePath(u"VelmoGames/Launcher/launcher.json"_s));
    QCOMPARE(velmo::logsDirectory(), elsewhere.filePath(u"VelmoGames/Launcher/logs"_s));
}

void tst_Paths::gamesRootFollowsTheHomeFolder()
{
    const QByteArray before = qgetenv("HOME");
    const auto restore = qScopeGuard([before] { qputenv("HOME", before); });
    const QTemporaryDir elsewhere;
    qputenv("HOME", QFile::encodeName(elsewhere.path()));
    QCOMPARE(velmo::defaultGamesRoot(), elsewhere.filePath(u"VelmoGames/Games"_s));
}

void tst_Paths::askingForPathsCreatesNothing()
{
    QVERIFY(!QFile::exists(velmo::dataDirectory()));
    QVERIFY(!QFile::exists(velmo::logsDirectory()));
    QVERIFY(!QFile::exists(velmo::defaultGamesRoot()));
}

void tst_Paths::emptyPathIsNoDirectory()
{
    QVERIFY(!velmo::ensureDirectory(QString()));
    QVERIFY(!velmo::ensureDirectory(u""_s));
}

void tst_Paths::existingDirectoryIsEnsured()
{
    const QTemporaryDir directory;
    QFile kept(directory.filePath(u"kept"_s));
    QVERIFY(kept.open(QIODevice::WriteOnly));
    QVERIFY(velmo::ensureDirectory(directory.path()));
    QVERIFY(kept.exists());
}

void tst_Paths::missingDirectoryIsMadeWithItsParents()
{
    const QTemporaryDir directory;
    const QString deep = directory.filePath(u"a/b with blank/ü"_s);
    QVERIFY(velmo::ensureDirectory(deep));
    QVERIFY(QFileInfo(deep).isDir());
    QVERIFY(velmo::ensureDirectory(deep));
}

void tst_Paths::fileInTheWayMakesEnsuringFail_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("the file itself") << u"occupied"_s;
    QTest::newRow("below the file") << u"occupied/below"_s;
}

void tst_Paths::fileInTheWayMakesEnsuringFail()
{
    QFETCH(QString, path);
    const QTemporaryDir directory;
    QFile occupied(directory.filePath(u"occupied"_s));
    QVERIFY(occupied.open(QIODevice::WriteOnly));
    QVERIFY(!velmo::ensureDirectory(directory.filePath(path)));
    QVERIFY(QFileInfo(occupied).isFile());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Paths>(argc, argv);
}

#include "tst_Paths.moc"
