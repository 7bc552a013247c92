// A manifest as the content server sends it. Two, separated by the byte 1E, are compared as well: the second is the
// update of the first.

#include "data/Manifest.h"
#include "Target.h"
#include "core/SaveFile.h"
#include "game/UpdateManager.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::ManifestFile;
using velmo::UpdateManager;
using velmo::fuzz::require;

namespace {

constexpr qsizetype longestPath = 260;
constexpr qsizetype hashDigits = 64;

/// The rules for a path, said in another way than the launcher says them.
bool isHarmless(const QString &path)
{
    const auto isForbidden = [](QChar c) { return c < u' ' || u"<>:\"|?*\\"_s.contains(c); };
    const auto isBad = [&isForbidden](const QString &segment) {
        return segment.isEmpty() || segment.endsWith(u'.') || segment.endsWith(u' ') ||
               std::any_of(segment.begin(), segment.end(), isForbidden);
    };
    const QStringList segments = path.split(u'/');
    return path.isValidUtf16() && path.size() <= longestPath && std::none_of(segments.begin(), segments.end(), isBad);
}

void checkPath(const QString &path)
{
    const bool accepted = Manifest::isSafeManifestPath(path);
    require(accepted == isHarmless(path), "the path rules take what is harmless on every platform, and nothing else");
    if (accepted) {
        const QString target = u"/games/Harrowfen/"_s + path;
        require(QDir::cleanPath(target) == target, "a path that is accepted stays in the install folder");
    }
}

void checkFile(const ManifestFile &file)
{
    const auto isDigit = [](QChar c) { return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f'); };
    require(isHarmless(file.path), "every file has a path that the rules let pass");
    require(file.sha256.size() == hashDigits && std::all_of(file.sha256.begin(), file.sha256.end(), isDigit),
            "every hash is 64 digits in lower case");
    require(file.size >= 0, "no size is negative");
}

bool isSameFile(const ManifestFile &a, const ManifestFile &b)
{
    return a.path == b.path && a.sha256 == b.sha256 && a.size == b.size && a.executable == b.executable;
}

Manifest read(const QByteArray &bytes, QString *error)
{
    return Manifest::fromJson(QJsonDocument::fromJson(bytes).object(), error);
}

/// As the record of what is installed goes to the disk and comes back.
void checkRoundTrip(const Manifest &manifest)
{
    QString error;
    const QByteArray record = velmo::jsonForFile(manifest.toJson());
    const Manifest back = read(record, &error);
    require(back.valid && error.isEmpty(), "what was accepted is accepted from its own record");
    require(back.build == manifest.build && back.executable == manifest.executable, "a record keeps build and program");
    require(std::equal(back.files.begin(), back.files.end(), manifest.files.begin(), manifest.files.end(), isSameFile),
            "a record keeps every file");
    const QByteArray again = velmo::jsonForFile(back.toJson());
    require(again == velmo::jsonForFile(read(again, nullptr).toJson()), "a record that is rewritten stays the same");
}

Manifest checkDocument(const QByteArray &bytes)
{
    QString error;
    const Manifest manifest = read(bytes, &error);
    require(manifest.valid == error.isEmpty(), "a manifest is either valid or refused with a reason");
    if (!manifest.valid) {
        require(manifest.version.isEmpty() && manifest.files.isEmpty(), "nothing of a refused manifest is left");
        return manifest;
    }
    require(!manifest.version.isEmpty() && manifest.build >= 0 && !manifest.channel.isEmpty(),
            "a valid manifest has a version, a build and a branch");
    require(manifest.executable.isEmpty() || isHarmless(manifest.executable), "the program lies in the install folder");
    require(manifest.totalSize() >= 0, "the sizes together are no negative number");
    std::for_each(manifest.files.begin(), manifest.files.end(), checkFile);
    checkRoundTrip(manifest);
    return manifest;
}

void checkUpdate(const Manifest &installed, const Manifest &latest)
{
    QSet<QString> paths;
    for (const ManifestFile &file : latest.files) {
        paths.insert(file.path);
    }
    const QList<ManifestFile> changed = UpdateManager::changedFiles(installed, latest);
    require(changed.size() <= latest.files.size(), "an update fetches no more than the build holds");
    for (const ManifestFile &file : changed) {
        require(paths.contains(file.path), "an update fetches what the build names");
    }
    // A path may stand twice, with two hashes: then the build differs from itself.
    if (paths.size() == latest.files.size()) {
        require(UpdateManager::changedFiles(latest, latest).isEmpty(), "a build is no update of itself");
    }
    require(!(installed.isNewerThan(latest) && latest.isNewerThan(installed)), "one of two builds is the newer");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    checkPath(QString::fromUtf8(input));
    // Half a surrogate pair, which a JSON text can hold, is nothing that UTF-8 can say.
    checkPath(QString(reinterpret_cast<const QChar *>(input.constData()), input.size() / 2));

    const QList<QByteArray> documents = parts(input);
    const Manifest installed = checkDocument(documents.first());
    if (documents.size() > 1) {
        checkUpdate(installed, checkDocument(documents.at(1)));
    }
}
