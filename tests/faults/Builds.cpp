#include "Builds.h"

#include "support/TestFiles.h"

#include <QRandomGenerator>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

QByteArray noise(QRandomGenerator &random)
{
    constexpr int sizes[] = {0, 1, 100, 4096, 70000, 200000, 300000, 400000};
    const int size = sizes[random.bounded(8)] + random.bounded(3);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes) {
        byte = static_cast<char>(random.generate());
    }
    return bytes;
}

test::BuildFile named(const QString &path, const QByteArray &content, bool byContent)
{
    return {path, content, path == "bin/game"_L1, byContent ? u"../files/"_s + test::sha256Of(content) : QString()};
}

} // namespace

test::Build firstBuild(QRandomGenerator &random, bool byContent)
{
    test::Build build{u"1.0.0"_s, 10, {}, u"bin/game"_s, {}};
    build.files.append(named(u"bin/game"_s, "#!/bin/sh\n" + noise(random), byContent));
    for (const QString &path :
         {u"data/a.pak"_s, u"data/b c.pak"_s, u"data/deep/er/ä.pak"_s, u"data/d.part.pak"_s, u"e%20f+g"_s, u"h"_s,
          u"levels/1/map"_s, u"levels/2/map"_s, u"old/one"_s, u"old/two"_s, u"z.tail"_s}) {
        build.files.append(named(path, noise(random), byContent && path != "h"_L1));
    }
    return build;
}

test::Build nextBuild(const test::Build &before, QRandomGenerator &random, bool byContent)
{
    test::Build build = before;
    build.version = u"1.%1.0"_s.arg(before.build);
    build.build = before.build + 1;
    for (test::BuildFile &file : build.files) {
        if (random.bounded(2) == 0) {
            file = named(file.path, noise(random), byContent && file.path != "h"_L1);
        }
    }
    build.files.removeIf([](const test::BuildFile &file) { return file.path.startsWith("old/"_L1); });
    build.files.append(named(u"new/%1"_s.arg(build.build), noise(random), byContent));
    build.files.append(named(u"new/deep/%1"_s.arg(build.build), noise(random), byContent));
    return build;
}

} // namespace velmo::faults
