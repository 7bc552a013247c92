#include "support/TestEnvironment.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

using namespace Qt::Literals::StringLiterals;

namespace {

// The map of src, from left to right: which rooms each room may include from, besides itself.
const QHash<QString, QStringList> doors = {
    {u"core"_s, {}},
    {u"data"_s, {u"core"_s}},
    {u"net"_s, {u"core"_s}},
    {u"game"_s, {u"core"_s, u"data"_s, u"net"_s}},
    {u"theme"_s, {u"core"_s}},
    {u"widgets"_s, {u"core"_s, u"data"_s, u"net"_s, u"game"_s, u"theme"_s}},
    {u"pages"_s, {u"core"_s, u"data"_s, u"net"_s, u"game"_s, u"theme"_s, u"widgets"_s}},
    {u"shell"_s, {u"core"_s, u"data"_s, u"net"_s, u"game"_s, u"theme"_s, u"widgets"_s, u"pages"_s}},
};

// These lie in src/core but belong to the program: they see every room, and no room sees them.
const QStringList programFiles = {u"core/Application.h"_s, u"core/Application.cpp"_s, u"core/main.cpp"_s};

QString roomOf(const QString &path)
{
    return path.section(u'/', 0, 0);
}

bool isRoom(const QString &name)
{
    return doors.contains(name);
}

bool mayOpen(const QString &from, const QString &to)
{
    return from == to || doors.value(from).contains(to);
}

/// What is wrong with the line `#include "header"` in \a file; empty when nothing.
QString problemOfQuoted(const QString &file, const QString &header)
{
    if (header == QFileInfo(file).completeBaseName() + u".moc"_s) {
        return {};
    }
    const bool fromSrc = header.count(u'/') == 1 && isRoom(roomOf(header)) && header.endsWith(u".h"_s);
    if (!fromSrc) {
        return u"\"%1\" is not written from src"_s.arg(header);
    }
    if (programFiles.contains(file)) {
        return {};
    }
    if (programFiles.contains(header)) {
        return u"\"%1\" belongs to the program"_s.arg(header);
    }
    if (!mayOpen(roomOf(file), roomOf(header))) {
        return u"no door from %1 to %2"_s.arg(roomOf(file), roomOf(header));
    }
    return {};
}

/// What is wrong in the file \a file, a path from src, with the contents \a text.
QStringList problemsOf(const QString &file, const QString &text)
{
    static const QRegularExpression include(uR"(^[ \t]*#[ \t]*include[ \t]*(["<])([^">\n]+)[">])"_s,
                                            QRegularExpression::MultilineOption);
    static const QRegularExpression pragma(u"^#pragma once$"_s, QRegularExpression::MultilineOption);
    QStringList problems;
    if (!isRoom(roomOf(file))) {
        problems.append(u"%1 is no room"_s.arg(roomOf(file)));
    }
    if (file.endsWith(u".h"_s) && !pragma.match(text).hasMatch()) {
        problems.append(u"no #pragma once"_s);
    }
    for (auto match = include.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch line = match.next();
        const QString header = line.captured(2);
        if (line.captured(1) == u"\""_s) {
            problems.append(problemOfQuoted(file, header));
        } else if (header.contains(u'/') && isRoom(roomOf(header))) {
            problems.append(u"<%1> is ours and wants quotes"_s.arg(header));
        }
    }
    problems.removeAll(QString());
    return problems;
}

QDir sources()
{
    return QDir(QStringLiteral(VELMO_SOURCES));
}

QString contentsOf(const QString &path)
{
    QFile file(sources().filePath(path));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// The text of the test class \a name; empty when there is none.
QString testNamed(const QString &name)
{
    QDirIterator iterator(sources().filePath(u"../tests"_s), {name + u".cpp"_s}, QDir::Files,
                          QDirIterator::Subdirectories);
    return iterator.hasNext() ? contentsOf(iterator.next()) : QString();
}

/// Every header and source, as paths from src.
QStringList sourceFiles()
{
    QStringList files;
    QDirIterator iterator(sources().path(), {u"*.h"_s, u"*.cpp"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        files.append(sources().relativeFilePath(iterator.next()));
    }
    files.sort();
    return files;
}

} // namespace

class tst_Architecture : public QObject {
    Q_OBJECT

private slots:
    void mapHasNoRoundTrips();
    void badIncludeIsDetected_data();
    void badIncludeIsDetected();
    void everyFileKeepsToTheMap_data();
    void everyFileKeepsToTheMap();
    void everyRoomLinksOnlyThroughItsDoors_data();
    void everyRoomLinksOnlyThroughItsDoors();
    void everyTestThatTheSecurityPageNamesExists();
};

void tst_Architecture::mapHasNoRoundTrips()
{
    for (auto room = doors.cbegin(); room != doors.cend(); ++room) {
        for (const QString &other : room.value()) {
            QVERIFY2(isRoom(other), qPrintable(other));
            QVERIFY2(!doors.value(other).contains(room.key()), qPrintable(room.key() + u" and "_s + other));
        }
    }
}

void tst_Architecture::badIncludeIsDetected_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("problems");
    const auto good = [](const char *name, const QString &file, const QString &text) {
        QTest::newRow(name) << file << text << QStringList();
    };
    const auto bad = [](const char *name, const QString &file, const QString &text, const QString &problem) {
        QTest::newRow(name) << file << text << QStringList{problem};
    };
    good("own room", u"core/Logging.cpp"_s, u"#include \"core/Paths.h\"\n"_s);
    good("room to the left", u"game/GameManager.cpp"_s, u"#include \"net/ApiClient.h\"\n"_s);
    good("library", u"core/Paths.cpp"_s, u"#include <QDir>\n#include <sys/stat.h>\n"_s);
    good("meta-object code", u"net/Thing.cpp"_s, u"#include \"Thing.moc\"\n"_s);
    good("program sees all", u"core/Application.cpp"_s, u"#include \"shell/MainWindow.h\"\n"_s);
    good("entry point sees the program", u"core/main.cpp"_s, u"#include \"core/Application.h\"\n"_s);
    good("guarded header", u"core/Paths.h"_s, u"// Where things lie.\n#pragma once\n"_s);
    good("include in a comment", u"core/Paths.cpp"_s, u"// #include \"shell/MainWindow.h\"\n"_s);

    bad("room to the right", u"core/Paths.cpp"_s, u"#include \"game/GameManager.h\"\n"_s,
        u"no door from core to game"_s);
    bad("to the left without a door", u"net/ApiClient.cpp"_s, u"#include \"data/Manifest.h\"\n"_s,
        u"no door from net to data"_s);
    bad("theme beyond core", u"theme/Theme.cpp"_s, u"#include \"data/GameProfile.h\"\n"_s,
        u"no door from theme to data"_s);
    bad("page to the window", u"pages/HomePage.cpp"_s, u"#include \"shell/MainWindow.h\"\n"_s,
        u"no door from pages to shell"_s);
    bad("room to the program", u"core/Paths.cpp"_s, u"#include \"core/Application.h\"\n"_s,
        u"\"core/Application.h\" belongs to the program"_s);
    bad("climbing", u"game/GameManager.cpp"_s, u"#include \"../core/Paths.h\"\n"_s,
        u"\"../core/Paths.h\" is not written from src"_s);
    bad("same folder", u"core/Logging.cpp"_s, u"#include \"Paths.h\"\n"_s, u"\"Paths.h\" is not written from src"_s);
    bad("unknown folder", u"core/Logging.cpp"_s, u"#include \"utils/Text.h\"\n"_s,
        u"\"utils/Text.h\" is not written from src"_s);
    bad("source file", u"core/Logging.cpp"_s, u"#include \"core/Paths.cpp\"\n"_s,
        u"\"core/Paths.cpp\" is not written from src"_s);
    bad("program climbing", u"core/Application.cpp"_s, u"#include \"Application.h\"\n"_s,
        u"\"Application.h\" is not written from src"_s);
    bad("own header in angle brackets", u"core/Paths.cpp"_s, u"#include <game/GameManager.h>\n"_s,
        u"<game/GameManager.h> is ours and wants quotes"_s);
    bad("spaced out", u"core/Paths.cpp"_s, u"int a;\n  #  include \"game/GameManager.h\"\n"_s,
        u"no door from core to game"_s);
    bad("unguarded header", u"core/Paths.h"_s, u"namespace velmo {}\n"_s, u"no #pragma once"_s);
    bad("file in no room", u"utils/Text.cpp"_s, QString(), u"utils is no room"_s);
    QTest::newRow("each line counts") << u"core/Paths.cpp"_s
                                      << u"#include \"game/A.h\"\n#include \"core/B.h\"\n#include \"C.h\"\n"_s
                                      << QStringList(
                                             {u"no door from core to game"_s, u"\"C.h\" is not written from src"_s});
}

void tst_Architecture::badIncludeIsDetected()
{
    QFETCH(QString, file);
    QFETCH(QString, text);
    QFETCH(QStringList, problems);
    QCOMPARE(problemsOf(file, text), problems);
}

void tst_Architecture::everyFileKeepsToTheMap_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files = sourceFiles();
    QVERIFY(files.contains(u"core/Application.cpp"_s)); // the search looks into the right folder
    for (const QString &file : files) {
        QTest::newRow(qPrintable(file)) << file;
    }
}

void tst_Architecture::everyFileKeepsToTheMap()
{
    QFETCH(QString, file);
    const QString text = contentsOf(file);
    QVERIFY(!text.isEmpty());
    const QStringList problems = problemsOf(file, text);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(u'\n')));
}

void tst_Architecture::everyRoomLinksOnlyThroughItsDoors_data()
{
    QTest::addColumn<QString>("room");
    const QStringList rooms = sources().entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QVERIFY(rooms.contains(u"core"_s));
    for (const QString &room : rooms) {
        QTest::newRow(qPrintable(room)) << room;
    }
}

void tst_Architecture::everyRoomLinksOnlyThroughItsDoors()
{
    QFETCH(QString, room);
    static const QRegularExpression library(uR"(\bvelmo_(\w+))"_s);
    const QString text = contentsOf(room + u"/CMakeLists.txt"_s);
    QVERIFY(text.contains(u"velmo_room(%1"_s.arg(room)));
    for (auto match = library.globalMatch(text); match.hasNext();) {
        const QString linked = match.next().captured(1);
        if (isRoom(linked)) {
            QVERIFY2(mayOpen(room, linked), qPrintable(u"no door from %1 to %2"_s.arg(room, linked)));
        }
    }
}

/// A bare name there, in backticks and in camel case, is a function of the class that was named last.
void tst_Architecture::everyTestThatTheSecurityPageNamesExists()
{
    static const QRegularExpression name(u"`(?:(tst_\\w+)(?:::)?)?([a-z]+[A-Z]\\w*)?`"_s);
    const QString page = contentsOf(u"../docs/security.md"_s);
    QString test;
    int functions = 0;
    for (auto match = name.globalMatch(page); match.hasNext();) {
        const QRegularExpressionMatch named = match.next();
        test = named.hasCaptured(1) ? named.captured(1) : test;
        const QString text = testNamed(test);
        QVERIFY2(!text.isEmpty(), qPrintable(test));
        if (named.hasCaptured(2)) {
            ++functions;
            QVERIFY2(text.contains(u"\nvoid %1::%2()\n"_s.arg(test, named.captured(2))),
                     qPrintable(test + u"::"_s + named.captured(2)));
        }
    }
    QVERIFY(functions > 50); // the search finds them
}

int main(int argc, char **argv)
{
    return velmo::test::runTest<tst_Architecture>(argc, argv);
}

#include "tst_Architecture.moc"
