#include "data/Manifest.h"

#include "data/JsonNumber.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringTokenizer>

#include <algorithm>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr qsizetype longestPath = 260; // characters

[[maybe_unused]] const int manifestTypeId = qRegisterMetaType<Manifest>("velmo::Manifest");
[[maybe_unused]] const int fileListTypeId = qRegisterMetaType<QList<ManifestFile>>("QList<velmo::ManifestFile>");

// Spelt out, since patterns would cost more than all else of reading a long manifest.

bool isHexDigit(QChar character)
{
    return (character >= u'0' && character <= u'9') || (character >= u'a' && character <= u'f') ||
           (character >= u'A' && character <= u'F');
}

bool isSha256(QStringView text)
{
    return text.size() == 64 && std::all_of(text.begin(), text.end(), isHexDigit);
}

/// What no file name holds on one platform or another: a backslash parts folders on Windows, and a colon follows a
/// drive.
bool isForbidden(QChar character)
{
    switch (character.unicode()) {
    case u'\\':
    case u'<':
    case u'>':
    case u':':
    case u'"':
    case u'|':
    case u'?':
    case u'*':
        return true;
    default:
        return character < u' ';
    }
}

bool isSafeSegment(QStringView segment)
{
    return !segment.isEmpty() && segment != u"." && segment != u".." && !segment.endsWith(u' ') &&
           !segment.endsWith(u'.');
}

ManifestFile fileFromJson(const QJsonObject &object)
{
    ManifestFile file;
    file.path = object.value("path"_L1).toString();
    file.sha256 = object.value("sha256"_L1).toString().toLower();
    file.size = truncatedToInt64(object.value("size"_L1).toDouble(-1.0));
    file.url = object.value("url"_L1).toString();
    file.executable = object.value("executable"_L1).toBool(false);
    return file;
}

QJsonObject fileToJson(const ManifestFile &file)
{
    return {{u"path"_s, file.path},
            {u"sha256"_s, file.sha256},
            {u"size"_s, static_cast<double>(file.size)},
            {u"url"_s, file.url},
            {u"executable"_s, file.executable}};
}

bool isValid(const ManifestFile &file)
{
    return Manifest::isSafeManifestPath(file.path) && isSha256(file.sha256) && file.size >= 0;
}

Manifest rejected(QString *error, const QString &reason)
{
    if (error) {
        *error = reason;
    }
    return {};
}

} // namespace

Manifest Manifest::fromJson(const QJsonObject &object, QString *error)
{
    Manifest manifest;
    manifest.version = object.value("version"_L1).toString();
    manifest.build = object.value("build"_L1).toInt(-1);
    if (manifest.version.isEmpty()) {
        return rejected(error, u"Manifest is missing a version."_s);
    }
    if (manifest.build < 0) {
        return rejected(error, u"Manifest is missing a build number."_s);
    }
    const QString channel = object.value("channel"_L1).toString();
    if (!channel.isEmpty()) {
        manifest.channel = channel;
    }
    manifest.executable = object.value("executable"_L1).toString();
    if (!manifest.executable.isEmpty() && !isSafeManifestPath(manifest.executable)) {
        return rejected(error, u"Manifest names an executable outside the install directory."_s);
    }
    manifest.notes = object.value("notes"_L1).toString();
    manifest.released = QDateTime::fromString(object.value("released"_L1).toString(), Qt::ISODate);

    const QJsonArray files = object.value("files"_L1).toArray();
    manifest.files.reserve(files.size());
    for (const auto &element : files) {
        const ManifestFile file = fileFromJson(element.toObject());
        if (!isValid(file)) {
            return rejected(error, u"Manifest contains an invalid file entry: %1"_s.arg(file.path));
        }
        manifest.files.append(file);
    }
    manifest.valid = true;
    return manifest;
}

QJsonObject Manifest::toJson() const
{
    QJsonArray fileArray;
    for (const ManifestFile &file : files) {
        fileArray.append(fileToJson(file));
    }
    QJsonObject object{{u"version"_s, version},       {u"build"_s, build}, {u"channel"_s, channel},
                       {u"executable"_s, executable}, {u"notes"_s, notes}, {u"files"_s, fileArray}};
    if (released.isValid()) {
        object.insert(u"released"_s, released.toString(Qt::ISODate));
    }
    return object;
}

qint64 Manifest::totalSize() const
{
    return velmo::totalSize(files);
}

bool Manifest::isNewerThan(const Manifest &other) const
{
    return other.valid ? build > other.build : valid;
}

bool Manifest::isSafeManifestPath(const QString &path)
{
    if (path.size() > longestPath || !path.isValidUtf16() || std::any_of(path.begin(), path.end(), isForbidden)) {
        return false;
    }
    // An empty path has one empty segment; a slash in front, at the end or twice makes one too.
    for (const QStringView segment : QStringTokenizer(path, u'/')) {
        if (!isSafeSegment(segment)) {
            return false;
        }
    }
    return true;
}

qint64 totalSize(const QList<ManifestFile> &files)
{
    qint64 sum = 0;
    for (const ManifestFile &file : files) {
        sum = addSizes(sum, file.size);
    }
    return sum;
}

qint64 addSizes(qint64 a, qint64 b)
{
    constexpr qint64 largest = std::numeric_limits<qint64>::max();
    return a > largest - b ? largest : a + b;
}

} // namespace velmo
