#pragma once

#include <QString>

namespace velmo::studio {

/// The folder whose files the studio serves. It never gives out a file that lies elsewhere.
class ServedTree {
public:
    ServedTree() = default;
    explicit ServedTree(const QString &root);

    /// The name of the file at \a path, which begins with a slash. Empty when there is none.
    QString find(const QString &path) const;

private:
    QString root_; ///< canonical; empty serves nothing
};

} // namespace velmo::studio
