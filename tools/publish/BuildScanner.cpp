#include "publish/BuildScanner.h"

#include "InsideFolder.h"
#include "publish/DecodedName.h"
#include "publish/FileState.h"
#include "publish/ParallelFor.h"
#include "publish/PathRules.h"
#include "publish/ProgressMeter.h"
#include "publish/Reason.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr qsizetype entriesPerReport = 256;
constexpr qsizetype filesOfALook = 4096; // where several threads share them
constexpr qsizetype filesOfAThread = 128;

/// Puts the units of UTF-16 into the order of the letters that they stand for: surrogates behind all others.
constexpr char16_t rank(char16_t unit)
{
    constexpr char16_t firstSurrogate = 0xd800;
    constexpr char16_t firstBehind = 0xe000;
    if (unit >= firstBehind) {
        return static_cast<char16_t>(unit - (firstBehind - firstSurrogate));
    }
    return unit >= firstSurrogate ? static_cast<char16_t>(unit + (0x10000 - firstBehind)) : unit;
}

/// What the paths of things in \a folder begin with.
QString folderBelow(const QString &folder)
{
    return folder.endsWith(u'/') ? folder : QString(folder + u'/');
}

/// What path::filename() gives, which takes apart and copies the whole path of every entry.
NativeName lastName(const std::filesystem::path &path)
{
    const NativeName whole(path.native());
    constexpr std::filesystem::path::value_type separators[] = {'/', std::filesystem::path::preferred_separator, 0};
    return whole.substr(whole.find_last_of(separators) + 1);
}

bool precedes(const BuildFile &a, const BuildFile &b)
{
    return precedesByBytes(a.path, b.path);
}

} // namespace

bool precedesByBytes(const QString &a, const QString &b)
{
    const QStringView one(a);
    const QStringView other(b);
    const auto [in, against] =
        std::mismatch(one.utf16(), one.utf16() + one.size(), other.utf16(), other.utf16() + other.size());
    if (against == other.utf16() + other.size()) {
        return false;
    }
    return in == one.utf16() + one.size() || rank(*in) < rank(*against);
}

QString BuildScan::locationOf(const BuildFile &file) const
{
    return folderBelow(root) + file.path;
}

BuildScanner::BuildScanner(const QString &source, ProgressMeter *meter, int jobs)
    : source_(source)
    , root_(QFileInfo(source).canonicalFilePath())
    , below_(folderBelow(root_))
    , meter_(meter)
    , jobs_(jobs)
{}

BuildScan BuildScanner::scan()
{
    before_ = nullptr;
    walkAll();
    std::sort(scan_.files.begin(), scan_.files.end(), precedes);
    scan_.refusals += caseClashes(PathList(scan_.files));
    if (scan_.files.isEmpty() && scan_.refusals.isEmpty()) {
        refuse(u"\"%1\" holds no files."_s.arg(source_));
    }
    return std::exchange(scan_, {});
}

bool BuildScanner::stillFinds(const BuildScan &before)
{
    before_ = &before;
    asBefore_ = 0;
    next_ = 0;
    walkAll();
    return scan_.refusals.isEmpty() && scan_.files.isEmpty() && asBefore_ == before.files.size();
}

void BuildScanner::walkAll()
{
    scan_ = {};
    scan_.root = root_;
    ancestors_ = {root_};
    visits_.clear();
    entries_ = 0;
    if (QFileInfo(source_).isDir()) {
        walk({}, root_);
        lookAtWaiting();
        noteLooks();
    } else {
        refuse(u"\"%1\" is not a folder."_s.arg(source_));
    }
}

void BuildScanner::walk(const QString &folder, const QString &canonical)
{
    for (const Entry &entry : entriesOf(folder)) {
        visit(folder.isEmpty() ? entry.name : QString(folder + u'/' + entry.name), canonical, entry.kind);
        countEntry();
    }
}

/// Not by QDir, which leaves out names that it cannot decode: a build must never lose a file without a word.
QList<BuildScanner::Entry> BuildScanner::entriesOf(const QString &folder)
{
    QList<Entry> entries;
    std::error_code failure;
    std::filesystem::directory_iterator entry(QFileInfo(locationOf(folder)).filesystemFilePath(), failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        const DecodedName name = decodedName(lastName(entry->path()));
        if (name.lossless) {
            entries.append({name.text, kindOf(*entry)});
        } else {
            refuse(u"\"%1\" has a name that is not valid Unicode."_s.arg(QDir(folder).filePath(name.text)));
        }
    }
    if (failure) {
        refuse(u"\"%1\" cannot be read: %2."_s.arg(folder.isEmpty() ? source_ : folder,
                                                   reasonText(QString::fromStdString(failure.message()))));
    }
    std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.name < b.name; });
    return entries;
}

/// Windows tells a folder from a junction only on a closer look.
BuildScanner::Entry::Kind BuildScanner::kindOf(const std::filesystem::directory_entry &entry)
{
#ifdef Q_OS_WIN
    Q_UNUSED(entry)
#else
    std::error_code failure;
    if (entry.is_symlink(failure) || failure) {
        return Entry::Kind::Other;
    }
    if (entry.is_regular_file(failure)) {
        return Entry::Kind::File;
    }
    if (entry.is_directory(failure)) {
        return Entry::Kind::Folder;
    }
#endif
    return Entry::Kind::Other;
}

void BuildScanner::visit(const QString &path, const QString &canonicalFolder, Entry::Kind kind)
{
    const bool isKnown =
        before_ && kind == Entry::Kind::File; // or it was not there before, as any that is to be refused
    if (!isKnown && path.compare(".velmo"_L1, Qt::CaseInsensitive) == 0) {
        refuse(u"\"%1\" cannot be published: the launcher keeps its record of an installation there."_s.arg(path));
    } else if (const QString refusal = isKnown ? QString() : pathRefusal(path); !refusal.isEmpty()) {
        refuse(refusal);
    } else if (kind == Entry::Kind::File) {
        addFile(path);
    } else if (kind == Entry::Kind::Folder) {
        visitFolder(path, QDir(canonicalFolder).filePath(path.section(u'/', -1)));
    } else {
        visitOther(path);
    }
}

void BuildScanner::visitOther(const QString &path)
{
    const QFileInfo entry(locationOf(path));
    const bool isLink = entry.isSymbolicLink() || entry.isJunction();
    // A junction is no link to Qt, which takes it for where its target lies.
    const QString canonical = (entry.isJunction() ? QFileInfo(entry.junctionTarget()) : entry).canonicalFilePath();
    if (isLink && (!entry.exists() || canonical.isEmpty())) {
        refuse(u"\"%1\" is a symbolic link that leads nowhere."_s.arg(path));
    } else if (isLink && canonical != root_ && !isInside(canonical, root_)) {
        refuse(u"\"%1\" is a symbolic link that leaves the build, to \"%2\"."_s.arg(path, canonical));
    } else if (entry.isDir()) {
        visitFolder(path, canonical);
    } else if (entry.isFile()) {
        addFile(path);
    } else {
        refuse(u"\"%1\" is neither a file nor a folder."_s.arg(path));
    }
}

void BuildScanner::visitFolder(const QString &path, const QString &canonical)
{
    if (ancestors_.contains(canonical)) {
        refuse(u"\"%1\" is a symbolic link that leads back to a folder around it."_s.arg(path));
        return;
    }
    const int visits = ++visits_[canonical];
    if (visits > mostPathsOfAFolder) {
        if (visits == mostPathsOfAFolder + 1) { // one sentence is enough for all the paths that follow
            refuse(u"\"%1\" leads to the folder \"%2\", which symbolic links already put under %3 other "
                   "paths; more are not followed."_s.arg(path, canonical, QString::number(mostPathsOfAFolder)));
        }
        return;
    }
    ancestors_.append(canonical);
    walk(path, canonical);
    ancestors_.removeLast();
}

/// Looked at with others, for that takes most of the time of a walk and goes on all cores.
void BuildScanner::addFile(const QString &path)
{
    waiting_.append(path);
    if (waiting_.size() >= (jobs_ == 1 ? 1 : filesOfALook)) {
        lookAtWaiting();
    }
}

/// Goes on while the walk does, which gathers the next ones meanwhile.
void BuildScanner::lookAtWaiting()
{
    noteLooks();
    looked_ = std::exchange(waiting_, {});
    states_.resize(static_cast<std::size_t>(looked_.size()));
    if (jobs_ > 1 && looked_.size() > filesOfAThread) {
        const qsizetype parts = (looked_.size() + filesOfAThread - 1) / filesOfAThread;
        const auto look = [this](qsizetype part) { return lookAtPart(part * filesOfAThread), true; };
        looking_ = std::async(std::launch::async, [this, parts, look] { parallelFor(parts, jobs_, look, [] {}); });
    } else {
        for (qsizetype from = 0; from < looked_.size(); from += filesOfAThread) {
            lookAtPart(from);
        }
        noteLooks();
    }
}

void BuildScanner::lookAtPart(qsizetype from)
{
    FolderLook look(before_ ? FileLook::Attributes : FileLook::Readable);
    for (qsizetype index = from; index < std::min(from + filesOfAThread, looked_.size()); ++index) {
        const QString &path = looked_.at(index);
        const qsizetype name = path.lastIndexOf(u'/') + 1;
        states_[static_cast<std::size_t>(index)] = look.stateOf(below_ + path.first(name), path.sliced(name));
    }
}

void BuildScanner::noteLooks()
{
    if (looking_.valid()) {
        looking_.get();
    }
    for (qsizetype index = 0; index < looked_.size(); ++index) {
        noteLook(looked_.at(index), states_.at(static_cast<std::size_t>(index)));
    }
    looked_.clear();
}

void BuildScanner::noteLook(const QString &path, const FileState &state)
{
    if (!state.reason.isEmpty()) {
        scan_.refusals.append(u"\"%1\" cannot be read: %2."_s.arg(path, reasonText(state.reason)));
        return;
    }
    note({path, state.size, state.modified, state.changed, state.executable});
    if (meter_) {
        meter_->addBytes(state.size);
        meter_->addFile();
    }
}

/// Behind what is to be said of the files before.
void BuildScanner::refuse(const QString &sentence)
{
    lookAtWaiting();
    noteLooks();
    scan_.refusals.append(sentence);
}

/// Takes down \a file, unless it only is to stand as it did.
void BuildScanner::note(const BuildFile &file)
{
    if (before_) {
        const auto end = before_->files.end();
        auto found = before_->files.begin() + next_;
        if (found == end || found->path != file.path) {
            found = std::lower_bound(before_->files.begin(), end, file, precedes);
        }
        if (found != end && found->path == file.path && found->isAsBefore(file)) {
            ++asBefore_;
            next_ = found - before_->files.begin() + 1;
            return;
        }
    }
    scan_.files.append(file);
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

QString BuildScanner::locationOf(const QString &path) const
{
    return path.isEmpty() ? root_ : QString(below_ + path);
}

} // namespace velmo::publish
