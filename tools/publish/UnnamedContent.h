#pragma once

#include "publish/ContentHash.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>

namespace velmo::publish {

/// Since when the content files of a remote are named by no manifest of it. The remote cannot tell that by itself: a
/// file's own time is that of its upload, which may lie years before a build lets go of it.
class UnnamedContent {
public:
    UnnamedContent() = default;
    /// Reads what json() has written. What cannot be read, or lies behind \a now, counts as never seen: its time begins
    /// anew.
    UnnamedContent(const QByteArray &json, const QDateTime &now);

    /// Of the files that are \a present and not \a named the ones that were not known begin at \a now; the rest is
    /// forgotten.
    void update(const QList<ContentHash> &present, const QSet<ContentHash> &named, const QDateTime &now);
    /// Those that have been unnamed for \a days or longer.
    QList<ContentHash> olderThan(int days, const QDateTime &now) const;
    void forget(const QList<ContentHash> &contents);

    qsizetype size() const { return since_.size(); }
    bool operator==(const UnnamedContent &) const = default;
    QByteArray json() const;

private:
    QHash<ContentHash, qint64> since_; ///< seconds since 1970
};

} // namespace velmo::publish
