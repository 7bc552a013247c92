#include "BuildFolder.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <array>

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

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray randomBytes(QRandomGenerator &random, qint64 count)
{
    QByteArray bytes((count + 3) / 4 * 4, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    bytes.truncate(count);
    return bytes;
}

bool replaceProgram(const QString &source, const QString &target)
{
    QFile::remove(target);
    return QFile::copy(source, target);
}

} // namespace

bool generateGame(const QString &folder, const QString &program)
{
    QRandomGenerator random(seed);
    for (const FileKind &kind : fileKinds) {
        for (int i = 0; i < kind.count; ++i) {
            const QString name = kind.pattern.toString().arg(i, 3, 10, QLatin1Char('0'));
            if (!writeFile(QDir(folder).filePath(name), randomBytes(random, kind.bytes + i * growthBytes))) {
                return false;
            }
        }
    }
    // A file of no bytes belongs to every real build.
    return writeFile(QDir(folder).filePath(u"Config/first-run.marker"_s), {}) &&
           replaceProgram(program, QDir(folder).filePath(QFileInfo(program).fileName()));
}

bool copyFolder(const QString &source, const QString &target)
{
    const QStringList files = filesBelow(source);
    for (const QString &path : files) {
        const QString copy = QDir(target).filePath(path);
        if (!QDir().mkpath(QFileInfo(copy).absolutePath()) || !QFile::copy(QDir(source).filePath(path), copy)) {
            return false;
        }
    }
    return !files.isEmpty();
}

QStringList makeNextBuild(const QString &folder, const QString &program, const QString &version)
{
    QStringList files = largestFilesBelow(folder);
    files.removeAll(program);
    if (files.size() < 4) {
        return {};
    }
    QStringList done;
    const QDir directory(folder);
    for (const QString &path : {files.at(0), files.at(files.size() / 2)}) {
        QFile file(directory.filePath(path));
        file.setPermissions(file.permissions() | QFileDevice::WriteOwner);
        if (!file.open(QIODevice::Append) || file.write("\nbuild " + version.toUtf8() + "\n") < 1) {
            return {};
        }
        done.append(u"changed "_s + path);
    }
    if (!QFile::remove(directory.filePath(files.last()))) {
        return {};
    }
    done.append(u"removed "_s + files.last());
    const QString added = u"Patch/%1/notes.txt"_s.arg(version);
    if (!writeFile(directory.filePath(added), "What is new in " + version.toUtf8() + "\n")) {
        return {};
    }
    done.append(u"added "_s + added);
    return done;
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

QStringList largestFilesBelow(const QString &folder)
{
    QStringList files = filesBelow(folder);
    const auto sizeOf = [&folder](const QString &path) { return QFileInfo(QDir(folder).filePath(path)).size(); };
    std::stable_sort(files.begin(), files.end(),
                     [&](const QString &a, const QString &b) { return sizeOf(a) > sizeOf(b); });
    return files;
}

} // namespace velmo::demo
