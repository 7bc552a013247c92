#include "support/TestEnvironment.h"
#include "theme/ResourcePath.h"

#include <QDir>

using namespace Qt::Literals::StringLiterals;
using velmo::theme::isNetworkPath;
using velmo::theme::resolveResourcePath;

/// Runs in a folder of its own that holds "data" and "resources", each with less than the one after it.
class tst_ResourcePath : public QObject {
    Q_OBJECT

private slots:
    void besideTheProgramComesFirst();
    void theResourcesFolderComesSecond();
    void theSourceTreeComesThird();
    void whatIsCompiledInComesLast();
    void folderCounts();
    void nothingAnywhereIsEmpty();
    void pathToAnotherHostIsKnown_data();
    void pathToAnotherHostIsKnown();
    void pathToAnotherHostIsNotLookedFor();
};

void tst_ResourcePath::besideTheProgramComesFirst()
{
    QVERIFY(QFile::exists(u":/data/game.json"_s));
    QCOMPARE(resolveResourcePath(u"data/game.json"_s), QCoreApplication::applicationDirPath() + u"/data/game.json"_s);
}

void tst_ResourcePath::theResourcesFolderComesSecond()
{
    QVERIFY(QFile::exists(u":/data/news.json"_s));
    QCOMPARE(resolveResourcePath(u"data/news.json"_s),
             QCoreApplication::applicationDirPath() + u"/resources/data/news.json"_s);
}

void tst_ResourcePath::theSourceTreeComesThird()
{
    QVERIFY(QFile::exists(u":/styles/velmo.qss"_s));
#ifdef SOURCE_RESOURCES
    QCOMPARE(resolveResourcePath(u"styles/velmo.qss"_s), QStringLiteral(SOURCE_RESOURCES "/styles/velmo.qss"));
#else
    QCOMPARE(resolveResourcePath(u"styles/velmo.qss"_s), u":/styles/velmo.qss"_s); // shipped without a source tree
#endif
}

void tst_ResourcePath::whatIsCompiledInComesLast()
{
    QCOMPARE(resolveResourcePath(u"compiled/only.txt"_s), u":/compiled/only.txt"_s);
}

void tst_ResourcePath::folderCounts()
{
    QCOMPARE(resolveResourcePath(u"data"_s), QCoreApplication::applicationDirPath() + u"/data"_s);
}

void tst_ResourcePath::nothingAnywhereIsEmpty()
{
    QCOMPARE(resolveResourcePath(u"data/missing.json"_s), QString());
    QVERIFY(resolveResourcePath(u"missing"_s).isEmpty());
}

void tst_ResourcePath::pathToAnotherHostIsKnown_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("known");
    for (const QString &path : {u"//host/share/a.png"_s, uR"(\\host\share\a.png)"_s, uR"(/\host/share)"_s,
                                uR"(\/host/share)"_s, u"//"_s, uR"(\\?\UNC\host\share\a.png)"_s, uR"(\\.\pipe\a)"_s,
                                u"\\?\?\\UNC\\host\\share\\a.png"_s, u"/?\?/UNC/host/share/a.png"_s}) {
        QTest::newRow(qUtf8Printable(path)) << path << true;
    }
    for (const QString &path : {QString(), u"/"_s, u"a"_s, u"/a//b.png"_s, u"a//b.png"_s, u"C:/a.png"_s,
                                uR"(C:\a.png)"_s, u":/a.png"_s, uR"(\a.png)"_s, u"a?"_s, u"images/hero.jpg"_s}) {
        QTest::newRow(qUtf8Printable(path + u"."_s)) << path << false;
    }
}

void tst_ResourcePath::pathToAnotherHostIsKnown()
{
    QFETCH(const QString, path);
    QFETCH(const bool, known);
    QCOMPARE(isNetworkPath(path), known);
}

/// Where two slashes lead to no other host, they lead to a file that is there.
void tst_ResourcePath::pathToAnotherHostIsNotLookedFor()
{
    const QString here = resolveResourcePath(u"data/game.json"_s);
    QCOMPARE(resolveResourcePath(here), here);
    QCOMPARE(resolveResourcePath(u'/' + here), QString());
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ResourcePath>(argc, argv);
}

#include "tst_ResourcePath.moc"
