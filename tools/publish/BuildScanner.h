#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace velmo::publish {

class ProgressMeter;

/// A file as it stood when the build folder was walked.
struct BuildFile {
    QString path;        ///< relative to the build folder, with forward slashes
    QString location;    ///< absolute; where to read it
    qint64 size = 0;     ///< bytes
    qint64 modified = 0; ///< ms since the epoch
    bool executable = false;

    /// Whether the file on disk is no longer the one that was seen.
    bool hasChanged() const;
};

struct BuildScan {
    QList<BuildFile> files; ///< sorted by the bytes of their paths
    QStringList refusals;   ///< a sentence for everything that cannot be published; empty for a good build
};

/// Walks a build folder and lists its files, together with all the reasons why it cannot be published. Reads only.
class BuildScanner {
public:
    /// Under how many paths one folder is walked at most. Links to folders that hold links to folders would otherwise
    /// double the paths with every level.
    static constexpr int mostPathsOfAFolder = 64;

    /// What is found is counted on \a meter, which may be null and reports as the walk goes on.
    explicit BuildScanner(const QString &source, ProgressMeter *meter = nullptr);

    BuildScan scan();

private:
    void walk(const QString &folder);
    QStringList namesIn(const QString &folder);
    void visit(const QString &path);
    void visitFolder(const QString &path, const QString &canonical);
    void addFile(const QString &path);
    void countEntry();
    bool isInside(const QString &canonical) const;
    QString locationOf(const QString &path) const;

    QString source_;
    QString root_; ///< the canonical form of source_
    ProgressMeter *meter_;
    QStringList ancestors_;      ///< canonical folders that lead to the one being walked, for loops of links
    QHash<QString, int> visits_; ///< of each canonical folder so far
    qsizetype entries_ = 0;      ///< walked so far: files, folders, and what is refused
    BuildScan scan_;
};

} // namespace velmo::publish
