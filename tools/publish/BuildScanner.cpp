#include "publish/BuildScanner.h"

#include "publish/DecodedName.h"
#include "publish/PathRules.h"
#include "publish/ProgressMeter.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype entriesPerReport = 256;

bool precedesByBytes(const BuildFile &a, const BuildFile &b)
{
    return a.path.toUtf8() < b.path.toUtf8();
}

QStringList pathsOf(const QList<BuildFile> &files)
{
    QStringList paths;
    for (const BuildFile &file : files) {
        paths.append(file.path);
    }
    return paths;
}

} // namespace

bool BuildFile::hasChanged() const
{
    const QFileInfo now(location);
    return !now.isFile() || now.size() != size || now.lastModified().toMSecsSinceEpoch() != modified;
}

BuildScanner::BuildScanner(const QString &source, ProgressMeter *meter)
    : source_(source)
    , root_(QFileInfo(source).canonicalFilePath())
    , meter_(meter)
{}

BuildScan BuildScanner::scan()
{
    scan_ = {};
    if (!QFileInfo(source_).isDir()) {
        scan_.refusals.append(u"\"%1\" is not a folder."_s.arg(source_));
        return scan_;
    }
    ancestors_ = {root_};
    visits_.clear();
    entries_ = 0;
    walk({});
    std::sort(scan_.files.begin(), scan_.files.end(), precedesByBytes);
    scan_.refusals += caseClashes(pathsOf(scan_.files));
    if (scan_.files.isEmpty() && scan_.refusals.isEmpty()) {
        scan_.refusals.append(u"\"%1\" holds no files."_s.arg(source_));
    }
    return scan_;
}

void BuildScanner::walk(const QString &folder)
{
    for (const QString &name : namesIn(folder)) {
        visit(folder.isEmpty() ? name : QString(folder + u'/' + name));
        countEntry();
    }
}

/// Not by QDir, which leaves out names that it cannot decode: a build must never lose a file without a word.
QStringList BuildScanner::namesIn(const QString &folder)
{
    QStringList names;
    std::error_code failure;
    std::filesystem::directory_iterator entry(QFileInfo(locationOf(folder)).filesystemFilePath(), failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        const DecodedName name = decodedName(entry->path().filename());
        if (name.lossless) {
            names.append(name.text);
        } else {
            scan_.refusals.append(
                u"\"%1\" has a name that is not valid Unicode."_s.arg(QDir(folder).filePath(name.text)));
        }
    }
    if (failure) {
        scan_.refusals.append(u"\"%1\" cannot be read: %2."_s.arg(folder.isEmpty() ? source_ : folder,
                                                                  QString::fromStdString(failure.message())));
    }
    names.sort();
    return names;
}

void BuildScanner::visit(const QString &path)
{
    if (path.compare(".velmo"_L1, Qt::CaseInsensitive) == 0) {
        scan_.refusals.append(
            u"\"%1\" cannot be published: the launcher keeps its record of an installation there."_s.arg(path));
        return;
    }
    if (const QString refusal = pathRefusal(path); !refusal.isEmpty()) {
        scan_.refusals.append(refusal);
        return;
    }
    const QFileInfo entry(locationOf(path));
    const QString canonical = entry.canonicalFilePath();
    if (entry.isSymbolicLink() && !entry.exists()) {
        scan_.refusals.append(u"\"%1\" is a symbolic link that leads nowhere."_s.arg(path));
    } else if (entry.isSymbolicLink() && !isInside(canonical)) {
        scan_.refusals.append(u"\"%1\" is a symbolic link that leaves the build, to \"%2\"."_s.arg(path, canonical));
    } else if (entry.isDir()) {
        visitFolder(path, canonical);
    } else if (entry.isFile()) {
        addFile(path);
    } else {
        scan_.refusals.append(u"\"%1\" is neither a file nor a folder."_s.arg(path));
    }
}

void BuildScanner::visitFolder(const QString &path, const QString &canonical)
{
    if (ancestors_.contains(canonical)) {
        scan_.refusals.append(u"\"%1\" is a symbolic link that leads back to a folder around it."_s.arg(path));
        return;
    }
    const int visits = ++visits_[canonical];
    if (visits > mostPathsOfAFolder) {
        if (visits == mostPathsOfAFolder + 1) { // one sentence is enough for all the paths that follow
            scan_.refusals.append(
                u"\"%1\" leads to the folder \"%2\", which symbolic links already put under %3 other "
                "paths; more are not followed."_s.arg(path, canonical, QString::number(mostPathsOfAFolder)));
        }
        return;
    }
    ancestors_.append(canonical);
    walk(path);
    ancestors_.removeLast();
}

void BuildScanner::addFile(const QString &path)
{
    const QString location = locationOf(path);
    QFile file(location);
    if (!file.open(QIODevice::ReadOnly)) {
        scan_.refusals.append(u"\"%1\" cannot be read: %2."_s.arg(path, file.errorString()));
        return;
    }
    constexpr QFile::Permissions anyRun = QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
    const QFileInfo info(location);
    scan_.files.append({path, location, info.size(), info.lastModified().toMSecsSinceEpoch(),
                        (info.permissions() & anyRun) != QFile::Permissions()});
    if (meter_) {
        meter_->addBytes(info.size());
        meter_->addFile();
    }
}

/// Not files alone: a walk through folders that hold none takes its time too.
void BuildScanner::countEntry()
{
    ++entries_;
    if (meter_) {
        meter_->addEntry();
        if (entries_ % entriesPerReport == 0) {
            meter_->report();
        }
    }
}

bool BuildScanner::isInside(const QString &canonical) const
{
    return canonical == root_ || canonical.startsWith(root_.endsWith(u'/') ? root_ : QString(root_ + u'/'));
}

QString BuildScanner::locationOf(const QString &path) const
{
    return path.isEmpty() ? root_ : QDir(root_).filePath(path);
}

} // namespace velmo::publish
