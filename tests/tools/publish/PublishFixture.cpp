#include "tools/publish/PublishFixture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

PublishFixture::PublishFixture()
{
    QDir(folder()).mkdir(u"build"_s);
    openToAll(folder());
}

QString PublishFixture::folder() const
{
    return folder_.path();
}

QString PublishFixture::build() const
{
    return folder_.filePath(u"build"_s);
}

QString PublishFixture::tree() const
{
    return folder_.filePath(u"tree"_s);
}

void PublishFixture::write(const QString &path, const QByteArray &bytes) const
{
    writeFile(QDir(build()).filePath(path), bytes);
}

publish::PublishOrder PublishFixture::order() const
{
    publish::PublishOrder order;
    order.source = build();
    order.tree = tree();
    order.game = u"harrowfen"_s;
    order.channel = u"release"_s;
    order.version = u"1.0"_s;
    order.build = 1;
    order.jobs = 2;
    return order;
}

publish::PublishResult PublishFixture::publish() const
{
    return publish::Publisher(order()).run();
}

publish::ContentTree PublishFixture::contentTree() const
{
    return {tree(), u"harrowfen"_s};
}

Manifest PublishFixture::manifest(const QString &channel) const
{
    return contentTree().readManifest(channel).manifest;
}

QString PublishFixture::storedPath(const QByteArray &bytes) const
{
    const QString sha256 = sha256Of(bytes);
    return QDir(tree()).filePath(u"harrowfen/files/%1/%2"_s.arg(sha256.first(2), sha256));
}

QStringList PublishFixture::filesBelow(const QString &folder)
{
    QStringList paths;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        paths.append(QDir(folder).relativeFilePath(it.next()));
    }
    paths.sort();
    return paths;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool anyContains(const QStringList &sentences, const QString &text)
{
    return std::any_of(sentences.begin(), sentences.end(),
                       [&text](const QString &sentence) { return sentence.contains(text); });
}

void openToAll(const QString &folder)
{
    QFile::setPermissions(folder, QFile::permissions(folder) | QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                      QFile::ExeOther);
}

QByteArray brotliOf(const QByteArray &bytes)
{
    // Bit by bit: a window of 64 KiB, not the last block, four digits for its length less one, and it is not
    // compressed.
    const auto head = static_cast<quint32>((bytes.size() - 1) << 4 | 1 << 20);
    const char begin[] = {static_cast<char>(head), static_cast<char>(head >> 8), static_cast<char>(head >> 16)};
    return QByteArray(begin, sizeof begin) + bytes + '\x03'; // the last block, an empty one
}

} // namespace velmo::test
