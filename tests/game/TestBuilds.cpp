#include "TestBuilds.h"

#include "support/TestFiles.h"

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

Manifest Build::manifest() const
{
    Manifest manifest;
    manifest.valid = true;
    manifest.version = version;
    manifest.build = build;
    manifest.executable = executable;
    manifest.notes = notes;
    for (const BuildFile &file : files) {
        ManifestFile entry;
        entry.path = file.path;
        entry.sha256 = sha256Of(file.content);
        entry.size = file.content.size();
        entry.executable = file.executable;
        entry.url = file.url;
        manifest.files.append(entry);
    }
    return manifest;
}

QByteArray Build::content(const QString &path) const
{
    for (const BuildFile &file : files) {
        if (file.path == path) {
            return file.content;
        }
    }
    return {};
}

QString gameProgram()
{
    return QString::fromUtf8(VELMO_TEST_GAME);
}

BuildFile gameProgramFile()
{
    static const QByteArray program = readFile(gameProgram());
    return {u"bin/game"_s, program, true, {}};
}

Build firstBuild()
{
    return {u"1.0.0"_s,
            10,
            {{u"bin/game"_s, QByteArray(100, 'p'), true, {}},
             {u"data/one.dat"_s, QByteArray(600, 'a'), false, {}},
             {u"data/old.dat"_s, QByteArray(300, 'b'), false, {}}},
            u"bin/game"_s,
            {}};
}

Build secondBuild()
{
    return {u"1.1.0"_s,
            11,
            {{u"bin/game"_s, QByteArray(100, 'p'), true, {}},
             {u"data/new.dat"_s, QByteArray(50, 'n'), false, {}},
             {u"data/one.dat"_s, QByteArray(600, 'c'), false, {}}},
            u"bin/game"_s,
            {}};
}

Build patchedBuild()
{
    Build build = firstBuild();
    build.version = u"1.1.0"_s;
    build.build = 11;
    build.files[2].content = QByteArray(250, 'c');
    return build;
}

Build playableBuild(const QString &version)
{
    Build build = firstBuild();
    build.version = version;
    build.files[0] = gameProgramFile();
    return build;
}

Build slowBuild()
{
    Build build = firstBuild();
    QByteArray content(400000, Qt::Uninitialized);
    for (qsizetype i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 7 / 3);
    }
    build.files[2].content = content;
    return build;
}

} // namespace velmo::test
