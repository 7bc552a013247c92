#pragma once

#include "publish/FileState.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <filesystem>
#include <future>
#include <vector>

namespace velmo::publish {

class ProgressMeter;

/// A file as it stood when the build folder was walked.
struct BuildFile {
    QString path;        ///< relative to the build folder, with forward slashes
    qint64 size = 0;     ///< bytes
    qint64 modified = 0; ///< ns since the epoch, as FileState has both
    qint64 changed = 0;
    bool executable = false;

    bool isAsBefore(const BuildFile &before) const
    {
        return size == before.size && modified == before.modified && changed == before.changed;
    }
};

} // namespace velmo::publish

Q_DECLARE_TYPEINFO(velmo::publish::BuildFile, Q_RELOCATABLE_TYPE);

namespace velmo::publish {

/// Whether \a a comes before \a b in the order of the bytes of their UTF-8, which is that of manifests.
bool precedesByBytes(const QString &a, const QString &b);

struct BuildScan {
    QString root;           ///< the build folder, canonical
    QList<BuildFile> files; ///< sorted by the bytes of their paths
    QStringList refusals;   ///< a sentence for everything that cannot be published; empty for a good build

    /// Where to read \a file.
    QString locationOf(const BuildFile &file) const;
};

/// Walks a build folder and lists its files, together with all the reasons why it cannot be published. Reads only.
class BuildScanner {
public:
    /// Under how many paths one folder is walked at most. Links to folders that hold links to folders would otherwise
    /// double the paths with every level.
    static constexpr int mostPathsOfAFolder = 64;

    /// What is found is counted on \a meter, which may be null and reports as the walk goes on. Files are looked at on
    /// \a jobs threads.
    explicit BuildScanner(const QString &source, ProgressMeter *meter = nullptr, int jobs = 1);

    BuildScan scan();
    /// Walks once more. Whether the build is what \a before says, to the last file; it makes no list to find out.
    bool stillFinds(const BuildScan &before);

private:
    /// What stands in a folder, as far as the folder itself tells.
    struct Entry {
        enum class Kind { File, Folder, Other }; ///< Other is to be looked into, as links are

        QString name;
        Kind kind = Kind::Other;
    };

    void walkAll();
    void walk(const QString &folder, const QString &canonical);
    QList<Entry> entriesOf(const QString &folder);
    static Entry::Kind kindOf(const std::filesystem::directory_entry &entry);
    void visit(const QString &path, const QString &canonicalFolder, Entry::Kind kind);
    void visitOther(const QString &path);
    void visitFolder(const QString &path, const QString &canonical);
    void addFile(const QString &path);
    void lookAtWaiting();
    void lookAtPart(qsizetype from);
    void noteLooks();
    void noteLook(const QString &path, const FileState &state);
    void refuse(const QString &sentence);
    void note(const BuildFile &file);
    void countEntry();
    QString locationOf(const QString &path) const;

    QString source_;
    QString root_;  ///< the canonical form of source_
    QString below_; ///< the same, with a slash at its end
    ProgressMeter *meter_;
    int jobs_;
    QStringList waiting_;           ///< files that are yet to be looked at
    QStringList looked_;            ///< those that are being looked at
    std::vector<FileState> states_; ///< what comes of that
    std::future<void> looking_;
    QStringList ancestors_;      ///< canonical folders that lead to the one being walked, for loops of links
    QHash<QString, int> visits_; ///< of each canonical folder so far
    qsizetype entries_ = 0;      ///< walked so far: files, folders, and what is refused
    BuildScan scan_;
    const BuildScan *before_ = nullptr; ///< what is compared with, if that is what the walk is for
    qsizetype asBefore_ = 0;            ///< files that stand as they did
    qsizetype next_ = 0;                ///< the file of before_ that is likely met next
};

} // namespace velmo::publish
