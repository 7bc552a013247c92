#include "core/LibrarySearch.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <windows.h>

using namespace Qt::Literals::StringLiterals;

namespace {

/// Whether the library \a name is found by its name alone.
bool isFound(const wchar_t *name)
{
    const HMODULE library = LoadLibraryW(name);
    return library && FreeLibrary(library);
}

} // namespace

class tst_LibrarySearch : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void libraryOfTheCurrentFolderIsNotLoaded();
    void libraryOfThePathIsNotLoaded();
    void librariesOfTheSystemAreLoaded();
    void environmentDoesNotMovePlugins_data();
    void environmentDoesNotMovePlugins();

private:
    QTemporaryDir folder_;
    QString before_;
};

/// The first test alone meets a search that has not been restricted yet: there is no way back within a process.
void tst_LibrarySearch::init()
{
    before_ = QDir::currentPath();
    QVERIFY(folder_.isValid());
    const QString planted = folder_.filePath(u"planted.dll"_s);
    QVERIFY(QFile::exists(planted) || QFile::copy(QStringLiteral(VELMO_PLANTED), planted));
}

void tst_LibrarySearch::cleanup()
{
    QDir::setCurrent(before_);
}

void tst_LibrarySearch::libraryOfTheCurrentFolderIsNotLoaded()
{
    QVERIFY(QDir::setCurrent(folder_.path()));
    QVERIFY(isFound(L"planted.dll")); // which is why there is something to restrict
    velmo::restrictLibrarySearch();
    QVERIFY(!isFound(L"planted.dll"));
}

void tst_LibrarySearch::libraryOfThePathIsNotLoaded()
{
    const QByteArray path = qgetenv("PATH");
    const QByteArray longer = QDir::toNativeSeparators(folder_.path()).toLocal8Bit() + ';' + path;
    qputenv("PATH", longer);
    velmo::restrictLibrarySearch();
    const bool found = isFound(L"planted.dll");
    qputenv("PATH", path);
    QVERIFY(!found);
}

void tst_LibrarySearch::librariesOfTheSystemAreLoaded()
{
    velmo::restrictLibrarySearch();
    QVERIFY(isFound(L"version.dll"));
    QVERIFY(isFound(L"uxtheme.dll"));
}

void tst_LibrarySearch::environmentDoesNotMovePlugins_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::newRow("plugins") << QByteArray("QT_PLUGIN_PATH");
    QTest::newRow("platform") << QByteArray("QT_QPA_PLATFORM_PLUGIN_PATH");
}

void tst_LibrarySearch::environmentDoesNotMovePlugins()
{
    QFETCH(const QByteArray, variable);
    qputenv(variable.constData(), folder_.path().toLocal8Bit());
    velmo::restrictLibrarySearch();
    QVERIFY(!qEnvironmentVariableIsSet(variable.constData()));
}

QTEST_GUILESS_MAIN(tst_LibrarySearch)

#include "tst_LibrarySearch.moc"
