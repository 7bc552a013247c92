#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace velmo::faults {

/// Everything that stands below a folder, links included: what it is, its content, its mode and when it was changed.
class Snapshot {
public:
    /// Leaves out what is below \a exceptions; their parents may change with them.
    Snapshot(const QString &folder, const QStringList &exceptions);

    /// A sentence for each path that is not as it was in \a before.
    QStringList changesSince(const Snapshot &before) const;

private:
    QMap<QString, QString> entries_; ///< by path
};

} // namespace velmo::faults
