#include "support/TestEnvironment.h"
#include "theme/ResourcePath.h"

#include <QDir>

using namespace Qt::Literals::StringLiterals;
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

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_ResourcePath>(argc, argv);
}

#include "tst_ResourcePath.moc"
