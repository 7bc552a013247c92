// A build folder that velmo-publish walks. The input is a list of entries, each ended by a byte 0, which no name holds:
// a letter and a path. "f" is a file, "x" one that can be run, "d" a folder, "p" a pipe, "l" a link, whose path and
// target stand around a ">".

#include "Target.h"
#include "data/Manifest.h"
#include "publish/BuildScanner.h"
#include "publish/OneLine.h"
#include "publish/PathRules.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QSet>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;
using velmo::Manifest;
using velmo::fuzz::require;
using velmo::publish::BuildFile;
using velmo::publish::BuildScan;
using velmo::publish::BuildScanner;

namespace fs = std::filesystem;

namespace {

constexpr qsizetype mostEntries = 40;

/// Whether \a path stays below the folder that it is joined to.
bool isContained(const fs::path &path)
{
    return !path.empty() && path.is_relative() && std::none_of(path.begin(), path.end(), [](const fs::path &name) {
        return name.empty() || name == "." || name == "..";
    });
}

/// Makes the folders around \a path below \a root. False when one cannot be made; nothing is made through a link.
bool makeFolders(const fs::path &root, const fs::path &path)
{
    fs::path folder = root;
    const fs::path around = path.parent_path();
    return std::all_of(around.begin(), around.end(), [&folder](const fs::path &name) {
        folder /= name;
        std::error_code failure;
        return fs::is_directory(fs::symlink_status(folder, failure)) || fs::create_directory(folder, failure);
    });
}

void makeEntry(const fs::path &root, char kind, const std::string &text)
{
    const size_t arrow = kind == 'l' ? text.rfind('>') : text.size();
    const fs::path path = text.substr(0, std::min(arrow, text.size()));
    std::error_code failure;
    if (!isContained(path) || !makeFolders(root, path) || fs::exists(fs::symlink_status(root / path, failure))) {
        return;
    }
    const fs::path place = root / path;
    if (kind == 'd') {
        fs::create_directory(place, failure);
    } else if (kind == 'p') {
        mkfifo(place.c_str(), S_IRUSR | S_IWUSR);
    } else if (kind == 'l' && arrow != std::string::npos) {
        fs::create_symlink(text.substr(arrow + 1), place, failure);
    } else if (kind == 'f' || kind == 'x') {
        std::ofstream(place) << text;
        fs::permissions(place, kind == 'x' ? fs::perms::owner_all : fs::perms::owner_read, failure);
    }
}

/// Names of the regular files of \a root, no link followed, as bytes.
QSet<QByteArray> filesOnDisk(const fs::path &root)
{
    QSet<QByteArray> names;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        if (entry.symlink_status().type() == fs::file_type::regular) {
            names.insert(QByteArray::fromStdString(entry.path().lexically_relative(root).native()));
        }
    }
    return names;
}

void checkRefusals(const QStringList &refusals)
{
    for (const QString &refusal : refusals) {
        const QString line = velmo::publish::onOneLine(refusal);
        require(line.endsWith(u'.'), "a refusal is a sentence");
        const auto breaksOut = [](QChar c) {
            return c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
        };
        require(std::none_of(line.begin(), line.end(), breaksOut), "no name breaks out of its line");
    }
}

/// What every file of a build is, refused or not.
void checkFile(const BuildFile &file, const BuildScan &scan)
{
    // As bytes: a link of a build that is refused may lead to a name that no QString can say.
    const fs::path canonical = fs::canonical(QFileInfo(scan.locationOf(file)).filesystemFilePath());
    const fs::path root = QFileInfo(scan.root).filesystemFilePath();
    require(canonical.native().starts_with(root.native() + '/'), "a file that is published lies in the build folder");
    require(fs::is_regular_file(canonical) && qint64(fs::file_size(canonical)) == file.size,
            "a file has the size it has");
    require(Manifest::isSafeManifestPath(file.path), "a file that is published has a path that the launcher takes");
    require(!file.path.startsWith(".velmo/"_L1, Qt::CaseInsensitive), "the launcher's own folder is not published");
}

/// What a build that is not refused promises on top of it.
void checkBuild(const QList<BuildFile> &files, const fs::path &root)
{
    QSet<QByteArray> published;
    Manifest manifest;
    manifest.version = u"1"_s;
    QStringList paths;
    for (const BuildFile &file : files) {
        published.insert(file.path.toUtf8());
        paths.append(file.path);
        manifest.files.append({file.path, QString(64, u'a'), file.size, {}, file.executable});
    }
    require(published.contains(filesOnDisk(root)), "a build loses no file without a word");
    require(published.size() == files.size(), "no path is published twice");
    require(velmo::publish::caseClashes(paths).isEmpty(), "no two paths are one on Windows");
    require(velmo::publish::updateClashes(paths, paths).isEmpty(), "a build can follow itself");
    require(Manifest::fromJson(manifest.toJson(), nullptr).valid, "the launcher takes the manifest of the build");
}

} // namespace

void velmo::fuzz::feed(const QByteArray &input)
{
    makeApplication();
    const QString source = scratchFolder() + u"/build"_s;
    const fs::path root = QFileInfo(source).filesystemFilePath();
    fs::create_directory(root);
    const QList<QByteArray> entries = parts(input, '\0').first(std::min(mostEntries, parts(input, '\0').size()));
    for (const QByteArray &entry : entries) {
        if (!entry.isEmpty()) {
            makeEntry(root, entry.front(), entry.sliced(1).toStdString());
        }
    }

    const BuildScan scan = BuildScanner(source).scan();
    checkRefusals(scan.refusals);
    require(scan.files.isEmpty() || scan.root == QFileInfo(source).canonicalFilePath(), "the root is the build folder");
    for (const BuildFile &file : scan.files) {
        checkFile(file, scan);
    }
    require(std::is_sorted(scan.files.begin(), scan.files.end(),
                           [](const BuildFile &a, const BuildFile &b) { return a.path.toUtf8() < b.path.toUtf8(); }),
            "files are in the order of their bytes");
    require(!scan.files.isEmpty() || !scan.refusals.isEmpty(), "an empty build is refused");
    if (scan.refusals.isEmpty()) {
        checkBuild(scan.files, root);
        require(BuildScanner(source).stillFinds(scan), "a build that nobody touched is found again");
    }
}
