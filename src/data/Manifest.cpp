#include "data/Manifest.h"

#include "data/JsonNumber.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr qsizetype longestPath = 260; // characters

[[maybe_unused]] const int manifestTypeId = qRegisterMetaType<Manifest>("velmo::Manifest");
[[maybe_unused]] const int fileListTypeId = qRegisterMetaType<QList<ManifestFile>>("QList<velmo::ManifestFile>");

bool isSha256(const QString &text)
{
    static const QRegularExpression pattern(u"^[0-9a-fA-F]{64}$"_s);
    // The pattern's end also matches before a final line break, which the length rules out.
    return text.size() == 64 && pattern.match(text).hasMatch();
}

bool isDriveQualified(const QString &path)
{
    static const QRegularExpression pattern(u"^[A-Za-z]:"_s);
    return pattern.match(path).hasMatch();
}

bool hasForbiddenCharacter(const QString &path)
{
    static const QRegularExpression pattern(uR"([<>:"|?*\x00-\x1F])"_s);
    return pattern.match(path).hasMatch();
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
    // Half a surrogate pair would keep the patterns below from matching anything.
    if (path.isEmpty() || !path.isValidUtf16() || path.size() > longestPath || path.contains(u'\\') ||
        path.startsWith(u'/') || path.contains("//"_L1) || isDriveQualified(path)) {
        return false;
    }
    const QList<QStringView> segments = QStringView(path).split(u'/');
    return std::all_of(segments.begin(), segments.end(), isSafeSegment) && !hasForbiddenCharacter(path);
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
