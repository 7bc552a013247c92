#include "BuildFolder.h"

#include "Problem.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <iterator>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

/// One kind of generated file.
struct FileKind {
    QStringView pattern; // %1 is the file's number
    int count;
    qint64 bytes; // of the first; each further one is a little longer
};

constexpr std::array<FileKind, 4> fileKinds = {{
    {u"Content/world-%1.pak", 6, 5'500'000},
    {u"Content/Audio/night-%1.bank", 14, 900'000},
    {u"Content/Textures/bark-%1.tex", 60, 64'000},
    {u"Config/Region %1/wörter.ini", 118, 700},
}};
constexpr qint64 growthBytes = 1'237;
constexpr quint32 seed = 20261029;

QByteArray randomBytes(QRandomGenerator &random, qint64 count)
{
    QByteArray bytes((count + 3) / 4 * 4, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    bytes.truncate(count);
    return bytes;
}

bool sameContent(const QString &a, const QString &b)
{
    constexpr qint64 blockBytes = qint64{1024} * 1024;
    QFile left(a);
    QFile right(b);
    if (!left.open(QIODevice::ReadOnly) || !right.open(QIODevice::ReadOnly) || left.size() != right.size()) {
        return false;
    }
    while (!left.atEnd()) {
        if (left.read(blockBytes) != right.read(blockBytes)) {
            return false;
        }
    }
    return true;
}

/// The files below \a folder but \a program, the largest first.
QStringList largestFilesBelow(const QString &folder, const QString &program)
{
    QStringList files = filesBelow(folder);
    files.removeAll(program);
    const auto sizeOf = [&folder](const QString &path) { return QFileInfo(QDir(folder).filePath(path)).size(); };
    std::stable_sort(files.begin(), files.end(),
                     [&](const QString &a, const QString &b) { return sizeOf(a) > sizeOf(b); });
    return files;
}

} // namespace

void generateGame(const QString &folder, const QString &program)
{
    QRandomGenerator random(seed);
    for (const FileKind &kind : fileKinds) {
        for (int i = 0; i < kind.count; ++i) {
            const QString name = kind.pattern.toString().arg(i, 3, 10, QLatin1Char('0'));
            writeFile(QDir(folder).filePath(name), randomBytes(random, kind.bytes + i * growthBytes));
        }
    }
    // A file of no bytes belongs to every real build.
    writeFile(QDir(folder).filePath(u"Config/first-run.marker"_s), {});
    const QString copy = QDir(folder).filePath(QFileInfo(program).fileName());
    expect(QFile::copy(program, copy), u"The program could not be put at "_s + copy);
}

void copyFolder(const QString &source, const QString &target)
{
    const QStringList files = filesBelow(source);
    expect(!files.isEmpty(), u"There are no files in "_s + source);
    for (const QString &path : files) {
        const QString copy = QDir(target).filePath(path);
        expect(QDir().mkpath(QFileInfo(copy).absolutePath()) && QFile::copy(QDir(source).filePath(path), copy),
               u"This could not be copied: "_s + path);
    }
}

QStringList makeNextBuild(const QString &folder, const QString &program, const QString &version)
{
    const QStringList files = largestFilesBelow(folder, program);
    expect(files.size() >= 4, u"Build %1 could not be made; a game needs five files or more."_s.arg(version));
    const QDir directory(folder);
    const QString added = u"Patch/%1/notes.txt"_s.arg(version);
    QStringList done;
    for (const QString &path : {files.at(0), files.at(files.size() / 2)}) {
        QFile file(directory.filePath(path));
        file.setPermissions(file.permissions() | QFileDevice::WriteOwner);
        expect(file.open(QIODevice::Append) && file.write("\nbuild " + version.toUtf8() + "\n") > 0,
               u"This could not be changed: "_s + path);
        done.append(u"changed "_s + path);
    }
    expect(QFile::remove(directory.filePath(files.last())), u"This could not be removed: "_s + files.last());
    writeFile(directory.filePath(added), "What is new in " + version.toUtf8() + "\n");
    return done + QStringList{u"removed "_s + files.last(), u"added "_s + added};
}

QStringList damageBuild(const QString &folder, const QString &program)
{
    const QStringList files = largestFilesBelow(folder, program).mid(0, 3);
    const QDir directory(folder);
    expect(files.size() == 3 && QFileInfo(directory.filePath(files.at(2))).size() > 1,
           u"The game has too few files to damage."_s);
    QFile flipped(directory.filePath(files.at(0)));
    expect(flipped.open(QIODevice::ReadWrite) && flipped.seek(flipped.size() - 1), flipped.errorString());
    const char byte = static_cast<char>(flipped.read(1).at(0) ^ 0x55);
    expect(flipped.seek(flipped.size() - 1) && flipped.write(&byte, 1) == 1, flipped.errorString());
    QFile shortened(directory.filePath(files.at(1)));
    expect(shortened.resize(shortened.size() - 1), shortened.errorString());
    expect(QFile::remove(directory.filePath(files.at(2))), u"This could not be removed: "_s + files.at(2));
    return files;
}

Difference differenceOf(const QString &from, const QString &to)
{
    Difference difference;
    const QStringList before = from.isEmpty() ? QStringList() : filesBelow(from);
    const QStringList after = filesBelow(to);
    std::copy_if(before.begin(), before.end(), std::back_inserter(difference.removed),
                 [&](const QString &path) { return !after.contains(path); });
    for (const QString &path : after) {
        const QString file = QDir(to).filePath(path);
        if (!before.contains(path) || !sameContent(QDir(from).filePath(path), file)) {
            difference.fetched.append(path);
            difference.bytes += QFileInfo(file).size();
        }
    }
    return difference;
}

QStringList filesBelow(const QString &folder)
{
    QStringList files;
    const QDir directory(folder);
    QDirIterator walk(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        files.append(directory.relativeFilePath(walk.next()));
    }
    files.sort();
    return files;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    expect(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush(),
           u"This could not be written: "_s + path);
}

} // namespace velmo::demo
