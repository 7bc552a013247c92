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
    const QString data = TestEnvironment::dataLocation() + u"/VelmoGames/Launcher"_s;
    QTest::newRow("data directory") << velmo::dataDirectory() << data;
    QTest::newRow("settings") << velmo::configFilePath() << data + u"/launcher.json"_s;
    QTest::newRow("logs") << velmo::logsDirectory() << data + u"/logs"_s;
    QTest::newRow("games root") << velmo::defaultGamesRoot() << QDir::homePath() + u"/VelmoGames/Games"_s;
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
    const auto restore = qScopeGuard([] { TestEnvironment::redirect(TestEnvironment::ownFolder()); });
    const QTemporaryDir elsewhere;
    TestEnvironment::redirect(elsewhere.path());
    const QString data = TestEnvironment::dataLocation(elsewhere.path()) + u"/VelmoGames/Launcher"_s;
    QCOMPARE(velmo::dataDirectory(), data);
    QCOMPARE(velmo::configFilePath(), data + u"/launcher.json"_s);
    QCOMPARE(velmo::logsDirectory(), data + u"/logs"_s);
}

void tst_Paths::gamesRootFollowsTheHomeFolder()
{
    const auto restore = qScopeGuard([] { TestEnvironment::redirect(TestEnvironment::ownFolder()); });
    const QTemporaryDir elsewhere;
    TestEnvironment::redirect(elsewhere.path());
    QCOMPARE(velmo::defaultGamesRoot(), elsewhere.filePath(u"VelmoGames/Games"_s));
}

void tst_Paths::askingForPathsCreatesNothing()
{
    const bool hadGames = QFile::exists(QDir::homePath() + u"/VelmoGames/Games"_s);
    QVERIFY(!QFile::exists(velmo::dataDirectory()));
    QVERIFY(!QFile::exists(velmo::logsDirectory()));
    QCOMPARE(QFile::exists(velmo::defaultGamesRoot()), hadGames);
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
