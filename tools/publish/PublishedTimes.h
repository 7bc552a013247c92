#pragma once

#include "publish/BuildScanner.h"
#include "publish/ContentHash.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QSaveFile>
#include <QString>

#include <chrono>
#include <vector>

namespace velmo::publish {

/// What the files of a channel were like when they were last published: size, times and hash of each, in the order of
/// the bytes of their paths. Read in that order, so that a list of a million is never in memory.
class PublishedTimes {
public:
    /// What a file of the list held.
    struct Content {
        ContentHash hash;
        qint64 size = 0;
    };

    /// Of all files of the list at \a path, in its order.
    static std::vector<Content> contentsIn(const QString &path);

    /// The list at \a path. One that is missing or of no use knows no file.
    explicit PublishedTimes(const QString &path);

    /// The hash of \a file if it stands as it did, none otherwise. Each call's path comes behind that of the last.
    ContentHash hashOf(const BuildFile &file);
    /// Whether the list knows those files, as many as \a files, that hashOf() was asked for, and no other.
    bool knowsJust(qsizetype files);

    /// Begins the list that takes the place of the one at \a path. A file whose change is so young at \a seenAt, when
    /// it was looked at, that the next one might bear the same time, is not known from it.
    class Writer {
    public:
        Writer(const QString &path, std::chrono::system_clock::time_point seenAt);
        void add(const BuildFile &file, const ContentHash &hash);
        /// A sentence when that fails; no list stands then.
        [[nodiscard]] QString finish();

    private:
        QSaveFile file_;
        QByteArray waiting_;
        std::chrono::system_clock::time_point seenAt_;
    };

    /// Takes the list away. Whether none stands.
    static bool forget(const QString &path);

private:
    /// One file's beginning; the bytes of its path follow.
    struct Head {
        qint64 size;
        qint64 modified;
        qint64 changed;
        ContentHash hash;
        qint64 pathBytes;
    };

    bool readEntry();
    bool has(qint64 bytes);

    QFile file_;
    QByteArray read_;    ///< of the file
    qsizetype next_ = 0; ///< of those, the first that is not used
    Head head_{};
    QByteArrayView path_; ///< of the entry that was read last
    qsizetype entries_ = 0;
    qsizetype known_ = 0;
    bool ended_ = true;
};

} // namespace velmo::publish
