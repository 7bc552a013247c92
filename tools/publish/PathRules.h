#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <functional>
#include <vector>

namespace velmo::publish {

// What a build's paths must be like so that every player's machine takes them.

/// Many paths, wherever they stand, which outlives this.
class PathList {
public:
    // NOLINTNEXTLINE(google-explicit-constructor): a list of paths is one
    PathList(const QStringList &paths)
        : size_(paths.size())
        , at_([&paths](qsizetype index) -> const QString & { return paths.at(index); })
    {}
    /// The paths of files of a build or of a manifest.
    template<typename File>
    explicit PathList(const QList<File> &files)
        : size_(files.size())
        , at_([&files](qsizetype index) -> const QString & { return files.at(index).path; })
    {}

    qsizetype size() const { return size_; }
    const QString &at(qsizetype index) const { return at_(index); }

private:
    qsizetype size_;
    std::function<const QString &(qsizetype)> at_;
};

/// Whether \a name, of a file or a folder, is a device in every folder of Windows.
bool isReservedByWindows(QStringView name);

/// Why \a path, relative with forward slashes, cannot be published, as a sentence; empty when it can.
QString pathRefusal(const QString &path);

/// One sentence for each of \a paths that Windows would take for another of them, or would lay into another's folder,
/// because they differ in letter case alone.
QStringList caseClashes(const PathList &paths);

/// One sentence for each path of a build that a player who has \a published cannot get by an update to \a next. The
/// launcher downloads first, then deletes the files that left the build, and never removes a folder.
QStringList updateClashes(const PathList &published, const PathList &next);

/// Whether updateClashes may have something to say, for a published build that is seen in pieces: so no more than some
/// bytes for each name are in memory. False only if it has nothing to say.
class UpdateLook {
public:
    explicit UpdateLook(const PathList &next);

    void addPublished(const PathList &paths);
    bool mayClash();

private:
    /// Marks that are looked for, in order.
    class MarkSet {
    public:
        void add(quint64 mark) { marks_.push_back(mark); }
        void sort();
        bool contains(quint64 mark) const;

    private:
        std::vector<quint64> marks_;
    };

    PathList next_;
    MarkSet written_; ///< of the next build's files
    MarkSet files_;   ///< as Windows looks them up
    MarkSet folders_;
    MarkSet publishedFolders_;
    bool departureMayClash_ = false;
};

} // namespace velmo::publish
