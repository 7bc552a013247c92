#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <functional>

using namespace Qt::Literals::StringLiterals;

namespace {

// The map of src, from left to right: which rooms each room may include from, besides itself. The map of what is around
// it stands in docs/architecture.md.
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

/// The names of the folders around src, each with what it may include from, by the table of \a page.
QHash<QString, QStringList> mapIn(const QString &page)
{
    static const QRegularExpression row(u"^\\| `((?:tools|bench|fuzz|tests)[^`]*)` \\| .* \\| (.+) \\|$"_s,
                                        QRegularExpression::MultilineOption);
    QHash<QString, QStringList> map;
    for (auto match = row.globalMatch(page); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        map.insert(found.captured(1), found.captured(2).remove(u'`').split(u", "_s));
    }
    return map;
}

/// The folder of \a map to which \a folder belongs: itself or the next above it; itself where there is none.
QString placeOf(const QHash<QString, QStringList> &map, const QString &folder)
{
    for (QString place = folder; !place.isEmpty(); place = place.section(u'/', 0, -2)) {
        if (map.contains(place)) {
            return place;
        }
    }
    return folder;
}

/// Whether a file in the folder \a from, which is one of \a map, may include from the folder \a to.
bool mayUse(const QHash<QString, QStringList> &map, const QString &from, const QString &to)
{
    const QStringList named = map.value(from);
    return to == from || named.contains(to) ||
           (to.startsWith("src/"_L1) && std::any_of(named.begin(), named.end(), [&to](const QString &name) {
                return name == "src"_L1 || (name.startsWith("src/"_L1) && mayOpen(name.sliced(4), to.sliced(4)));
            }));
}

/// The folders of ours from which the text \a text of a file in \a folder includes. Everything is relative to the root,
/// below which \a exists tells what there is.
QStringList usedFolders(const QString &folder, const QString &text, const std::function<bool(const QString &)> &exists)
{
    static const QRegularExpression include(u"^[ \\t]*#[ \\t]*include[ \\t]*\"([^\"\\n]+)\""_s,
                                            QRegularExpression::MultilineOption);
    // Where includes are written from; the last ones hand fixtures to other folders.
    const QStringList starts = {folder,          u"src"_s,         u"tools"_s,     u"tests"_s,
                                u"tests/game"_s, u"tests/pages"_s, u"tests/net"_s, u"tools/demo"_s};
    QStringList folders;
    for (auto match = include.globalMatch(text); match.hasNext();) {
        const QString header = match.next().captured(1);
        for (const QString &start : starts) {
            const QString path = QDir::cleanPath(start + u'/' + header);
            if (exists(path)) {
                folders.append(path.section(u'/', 0, -2));
                break;
            }
        }
    }
    folders.removeDuplicates();
    return folders;
}

QDir sources()
{
    return QDir(QStringLiteral(VELMO_SOURCES));
}

QString contentsOf(const QString &path)
{
    return QString::fromUtf8(velmo::test::readFile(sources().filePath(path), {}));
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

/// Every header and source around src, as paths from the root.
QStringList filesAroundSources()
{
    const QDir root(sources().filePath(u".."_s));
    QStringList files;
    for (const QString &house : {u"bench"_s, u"fuzz"_s, u"tests"_s, u"tools"_s}) {
        QDirIterator iterator(root.filePath(house), {u"*.h"_s, u"*.cpp"_s}, QDir::Files, QDirIterator::Subdirectories);
        while (iterator.hasNext()) {
            files.append(root.relativeFilePath(iterator.next()));
        }
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
    void badUseIsDetected_data();
    void badUseIsDetected();
    void everythingAroundTheSourcesKeepsToTheMap_data();
    void everythingAroundTheSourcesKeepsToTheMap();
    void everythingOnTheMapExists();
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

void tst_Architecture::badUseIsDetected_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("allowed");
    QTest::newRow("own folder") << u"tests/net/tst_A.cpp"_s << u"LoopbackPeer.h"_s << true;
    QTest::newRow("folder without a row") << u"tests/net/deep/tst_A.cpp"_s << u"net/ApiClient.h"_s << true;
    QTest::newRow("own room") << u"tests/net/tst_A.cpp"_s << u"net/ApiClient.h"_s << true;
    QTest::newRow("room that the room sees") << u"tests/net/tst_A.cpp"_s << u"core/Paths.h"_s << true;
    QTest::newRow("room to the right") << u"tests/net/tst_A.cpp"_s << u"game/GameManager.h"_s << false;
    QTest::newRow("every room") << u"tests/all/tst_A.cpp"_s << u"shell/MainWindow.h"_s << true;
    QTest::newRow("named folder") << u"tests/all/tst_A.cpp"_s << u"support/LogCapture.h"_s << true;
    QTest::newRow("folder that is not named") << u"tests/net/tst_A.cpp"_s << u"support/LogCapture.h"_s << false;
    QTest::newRow("climbing") << u"tests/all/tst_A.cpp"_s << u"../net/LoopbackPeer.h"_s << false;
    QTest::newRow("fixture by its name") << u"tests/all/tst_A.cpp"_s << u"LoopbackPeer.h"_s << false;
    QTest::newRow("nothing may be used") << u"tools/studio/A.cpp"_s << u"core/Paths.h"_s << false;
    QTest::newRow("not on the map") << u"bench/a.cpp"_s << u"core/Paths.h"_s << false;
    QTest::newRow("not ours") << u"tools/studio/A.cpp"_s << u"sha.h"_s << true;
}

void tst_Architecture::badUseIsDetected()
{
    QFETCH(const QString, file);
    QFETCH(const QString, header);
    QFETCH(const bool, allowed);
    const auto map = mapIn(u"| `net` | no folder | of these |\n"
                           "| `tests/net` | tests, `net` | `src/net` |\n"
                           "| `tests/all` | tests | `src`, `tests/support` |\n"
                           "| `tools/studio` | a server | nothing |\n"_s);
    const QStringList existing = {u"src/net/ApiClient.h"_s,      u"src/core/Paths.h"_s,
                                  u"src/game/GameManager.h"_s,   u"src/shell/MainWindow.h"_s,
                                  u"tests/net/LoopbackPeer.h"_s, u"tests/support/LogCapture.h"_s};
    const QString folder = file.section(u'/', 0, -2);
    const QStringList used = usedFolders(folder, u"#include \"%1\"\n"_s.arg(header),
                                         [&existing](const QString &path) { return existing.contains(path); });
    QCOMPARE(std::all_of(used.begin(), used.end(),
                         [&](const QString &to) { return mayUse(map, placeOf(map, folder), placeOf(map, to)); }),
             allowed);
    QCOMPARE(used.isEmpty(), header == "sha.h"_L1);
}

void tst_Architecture::everythingAroundTheSourcesKeepsToTheMap_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files = filesAroundSources();
    QVERIFY(files.contains(u"tests/support/LogCapture.h"_s)); // the search looks into the right folders
    for (const QString &file : files) {
        QTest::newRow(qPrintable(file)) << file;
    }
}

void tst_Architecture::everythingAroundTheSourcesKeepsToTheMap()
{
    QFETCH(const QString, file);
    static const auto map = mapIn(contentsOf(u"../docs/architecture.md"_s));
    const QDir root(sources().filePath(u".."_s));
    const QString folder = file.section(u'/', 0, -2);
    const QString place = placeOf(map, folder);
    QVERIFY2(map.contains(place), qPrintable(folder + u" is not on the map"_s));
    const QStringList used =
        usedFolders(folder, contentsOf(u"../"_s + file), [&root](const QString &path) { return root.exists(path); });
    for (const QString &to : used) {
        QVERIFY2(mayUse(map, place, placeOf(map, to)), qPrintable(u"%1 may not use %2"_s.arg(place, to)));
    }
}

void tst_Architecture::everythingOnTheMapExists()
{
    const auto map = mapIn(contentsOf(u"../docs/architecture.md"_s));
    QVERIFY(map.size() > 20); // the search finds the rows
    const QDir root(sources().filePath(u".."_s));
    for (auto row = map.cbegin(); row != map.cend(); ++row) {
        QVERIFY2(root.exists(row.key()), qPrintable(row.key()));
        for (const QString &used : row.value()) {
            QVERIFY2(used == "nothing"_L1 || root.exists(used), qPrintable(row.key() + u": "_s + used));
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
