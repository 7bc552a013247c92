#include "publish/PathRules.h"
#include "support/TestEnvironment.h"

using namespace Qt::Literals::StringLiterals;

class tst_PathRules : public QObject {
    Q_OBJECT

private slots:
    void goodPathIsTaken_data();
    void goodPathIsTaken();
    void badPathIsRefusedByName_data();
    void badPathIsRefusedByName();
    void clashNamesBothPaths_data();
    void clashNamesBothPaths();
    void namesThatDifferInMoreThanCaseStandTogether_data();
    void namesThatDifferInMoreThanCaseStandTogether();
    void eachClashingPathIsReportedOnce();
    void updateThatFailsOnWindowsSaysWhatToDo_data();
    void updateThatFailsOnWindowsSaysWhatToDo();
    void updateThatLeavesOtherNamesAloneIsTaken_data();
    void updateThatLeavesOtherNamesAloneIsTaken();
    void everyClashOfAnUpdateIsReported();
};

void tst_PathRules::goodPathIsTaken_data()
{
    QTest::addColumn<QString>("path");
    for (const QString &path :
         {u"a"_s, u"Data/Level 1.pak"_s, u".hidden"_s, u"Füße/地図.bin"_s, u"CONTENT/x"_s, u"com/x"_s, u"com0"_s,
          u"com10"_s, u"lpt"_s, u"null.txt"_s, u"xcon"_s, u"x.con"_s, u"conin"_s, u"part"_s, u"a.part.pak"_s,
          u"apart"_s, u"Data/.velmo/x"_s, QString(260, u'a')}) {
        QTest::newRow(qUtf8Printable(path)) << path;
    }
}

void tst_PathRules::goodPathIsTaken()
{
    QFETCH(QString, path);
    QCOMPARE(velmo::publish::pathRefusal(path), QString());
}

void tst_PathRules::badPathIsRefusedByName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    const QString unsafe = u"is not a path that the launcher takes"_s;
    for (const QString &path : {u"a:b"_s, u"a/b:c"_s, u"what?"_s, u"a*b"_s, u"a\"b"_s, u"a<b"_s, u"a>b"_s, u"a|b"_s,
                                u"a\\b"_s, u"a\nb"_s, u"a."_s, u"a /b"_s, u"Data./b"_s, QString(261, u'a')}) {
        QTest::newRow(qUtf8Printable(path)) << path << unsafe;
    }
    const QString reserved = u"holds a name that Windows reserves for a device"_s;
    for (const QString &path : {u"CON"_s, u"prn"_s, u"Aux"_s, u"NUL"_s, u"nul.txt"_s, u"Nul.tar.gz"_s, u"a/con/b"_s,
                                u"aux.d/b"_s, u"con .txt"_s, u"COM1"_s, u"com9.log"_s, u"LPT1"_s, u"lpt9"_s, u"COM¹"_s,
                                u"com².txt"_s, u"LPT³"_s, u"CONIN$"_s, u"conout$"_s}) {
        QTest::newRow(qUtf8Printable(path)) << path << reserved;
    }
    const QString inFlight = u"holds a name that ends in \".part\""_s;
    for (const QString &path : {u"game.pak.part"_s, u"a.PART"_s, u".part"_s, u"data.part/x"_s}) {
        QTest::newRow(qUtf8Printable(path)) << path << inFlight;
    }
}

void tst_PathRules::badPathIsRefusedByName()
{
    QFETCH(QString, path);
    QFETCH(QString, reason);
    const QString refusal = velmo::publish::pathRefusal(path);
    QVERIFY2(refusal.startsWith(u"\"%1\" "_s.arg(path) + reason), qUtf8Printable(refusal));
    QVERIFY(refusal.endsWith(u'.'));
}

void tst_PathRules::clashNamesBothPaths_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("files") << u"Readme"_s << u"README"_s
                           << u"\"README\" cannot stand beside \"Readme\": Windows takes \"README\" and \"Readme\" for "
                              "one name."_s;
    QTest::newRow("folders") << u"A/x"_s << u"a/y"_s
                             << u"\"a/y\" cannot stand beside \"A/x\": Windows takes \"a\" and \"A\" for one name."_s;
    QTest::newRow("inner folders")
        << u"Data/Maps/x"_s << u"Data/maps/y"_s
        << u"\"Data/maps/y\" cannot stand beside \"Data/Maps/x\": Windows takes \"Data/maps\" and \"Data/Maps\" for "
           "one name."_s;
    QTest::newRow("file and folder") << u"data"_s << u"DATA/x"_s
                                     << u"\"DATA/x\" cannot stand beside \"data\": Windows takes \"DATA\" and "
                                        "\"data\" for one name."_s;
    QTest::newRow("beyond ASCII") << u"Ärger"_s << u"ärger"_s
                                  << u"\"ärger\" cannot stand beside \"Ärger\": Windows takes \"ärger\" and \"Ärger\" "
                                     "for one name."_s;
}

void tst_PathRules::clashNamesBothPaths()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    QFETCH(QString, sentence);
    QCOMPARE(velmo::publish::caseClashes(QStringList{first, second}), QStringList{sentence});
}

void tst_PathRules::namesThatDifferInMoreThanCaseStandTogether_data()
{
    QTest::addColumn<QStringList>("paths");
    QTest::newRow("none") << QStringList();
    QTest::newRow("one folder") << QStringList{u"A/x"_s, u"A/y"_s, u"A/B/x"_s};
    QTest::newRow("same name in two folders") << QStringList{u"A/x"_s, u"B/X"_s};
    QTest::newRow("sharp s") << QStringList{u"straße"_s, u"strasse"_s};
    QTest::newRow("beyond the basic plane") << QStringList{u"😀"_s, u"😁"_s};
}

void tst_PathRules::namesThatDifferInMoreThanCaseStandTogether()
{
    QFETCH(QStringList, paths);
    QCOMPARE(velmo::publish::caseClashes(paths), QStringList());
}

void tst_PathRules::eachClashingPathIsReportedOnce()
{
    const QStringList clashes = velmo::publish::caseClashes(QStringList{u"A/B/x"_s, u"a/b/X"_s, u"a/c"_s});
    QCOMPARE(clashes.size(), 2);
    QVERIFY(clashes.at(0).startsWith("\"a/b/X\""_L1));
    QVERIFY(clashes.at(1).startsWith("\"a/c\""_L1));
}

void tst_PathRules::updateThatFailsOnWindowsSaysWhatToDo_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("sentence");
    const QString renamed =
        u"\"%2\" is \"%1\" in the published build: Windows takes them for one file, which would be "
        "deleted after the update. Keep the old name, or first publish a build without this file."_s;
    QTest::newRow("file") << u"Readme"_s << u"README"_s << renamed.arg(u"Readme"_s, u"README"_s);
    QTest::newRow("folder") << u"Data/A.pak"_s << u"data/A.pak"_s << renamed.arg(u"Data/A.pak"_s, u"data/A.pak"_s);
    QTest::newRow("both") << u"Data/A.pak"_s << u"data/a.pak"_s << renamed.arg(u"Data/A.pak"_s, u"data/a.pak"_s);
    QTest::newRow("beyond ASCII") << u"Ärger"_s << u"ärger"_s << renamed.arg(u"Ärger"_s, u"ärger"_s);
    const QString filled =
        u"The folder \"%2\" is the file \"%1\" in the published build, and nothing can be put into a "
        "file. First publish a build without \"%1\", or give the folder another name."_s;
    QTest::newRow("file to folder") << u"Data"_s << u"Data/x"_s << filled.arg(u"Data"_s, u"Data"_s);
    QTest::newRow("file to folder far up") << u"a/b"_s << u"a/b/c/d/e"_s << filled.arg(u"a/b"_s, u"a/b"_s);
    QTest::newRow("file to folder in other case") << u"data"_s << u"Data/x"_s << filled.arg(u"data"_s, u"Data"_s);
    const QString emptied =
        u"The file \"%2\" is the folder \"%1\" in the published build, and the launcher leaves a folder "
        "standing even when it is empty. Give the file another name."_s;
    QTest::newRow("folder to file") << u"Data/x"_s << u"Data"_s << emptied.arg(u"Data"_s, u"Data"_s);
    QTest::newRow("inner folder to file") << u"a/b/c/d"_s << u"a/b"_s << emptied.arg(u"a/b"_s, u"a/b"_s);
    QTest::newRow("folder to file in other case") << u"Data/x"_s << u"data"_s << emptied.arg(u"Data"_s, u"data"_s);
}

void tst_PathRules::updateThatFailsOnWindowsSaysWhatToDo()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(QString, sentence);
    QCOMPARE(velmo::publish::updateClashes(QStringList{u"a/same"_s, before}, QStringList{u"a/same"_s, after}),
             QStringList{sentence});
}

void tst_PathRules::updateThatLeavesOtherNamesAloneIsTaken_data()
{
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("after");
    QTest::newRow("the same") << QStringList{u"A/x"_s, u"b"_s} << QStringList{u"A/x"_s, u"b"_s};
    QTest::newRow("the first") << QStringList() << QStringList{u"A/x"_s};
    QTest::newRow("gone") << QStringList{u"A/x"_s, u"b"_s} << QStringList{u"b"_s};
    QTest::newRow("come") << QStringList{u"b"_s} << QStringList{u"A/x"_s, u"b"_s};
    QTest::newRow("a folder in other case with other files") << QStringList{u"Data/x"_s} << QStringList{u"data/y"_s};
    QTest::newRow("a name that another begins with") << QStringList{u"Data"_s} << QStringList{u"Data.pak/x"_s};
    QTest::newRow("the name in another folder") << QStringList{u"A/x"_s} << QStringList{u"B/X"_s};
}

void tst_PathRules::updateThatLeavesOtherNamesAloneIsTaken()
{
    QFETCH(QStringList, before);
    QFETCH(QStringList, after);
    QCOMPARE(velmo::publish::updateClashes(before, after), QStringList());
}

void tst_PathRules::everyClashOfAnUpdateIsReported()
{
    // The published one comes from another tool, which let two names of one file through.
    const QStringList clashes =
        velmo::publish::updateClashes(QStringList{u"B"_s, u"C/x"_s, u"C/y"_s, u"a"_s, u"A"_s, u"d"_s},
                                      QStringList{u"A"_s, u"b/1"_s, u"b/2"_s, u"C"_s, u"D"_s});
    QCOMPARE(clashes.size(), 4);
    QVERIFY(clashes.at(0).startsWith("The folder \"b\" is the file \"B\""_L1));
    QVERIFY(clashes.at(1).startsWith("\"A\" is \"a\""_L1));
    QVERIFY(clashes.at(2).startsWith("\"D\" is \"d\""_L1));
    QVERIFY(clashes.at(3).startsWith("The file \"C\" is the folder \"C\""_L1));
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_PathRules>(argc, argv);
}

#include "tst_PathRules.moc"
