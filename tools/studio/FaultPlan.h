#pragma once

#include "studio/StudioServer.h"

#include <QHash>
#include <QList>
#include <QString>

namespace velmo::studio {

/// Which faults wait at which path, and how often each path has been asked for.
class FaultPlan {
public:
    /// One request for a path, by its number, and the faults that it meets, in the order in which they were added.
    struct Attempt {
        int number = 0;
        QList<Fault> faults;
    };

    void add(const QString &path, const Fault &fault);
    /// Forgets the faults and the count.
    void clear();
    /// Begins to count anew; the faults stay.
    void restart();
    /// Counts a request for \a path.
    Attempt next(const QString &path);

private:
    QHash<QString, QList<Fault>> faults_;
    QHash<QString, int> attempts_;
};

} // namespace velmo::studio
