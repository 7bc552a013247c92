#pragma once

#include <QStringList>

namespace velmo::publish {

/// How a task of velmo-publish ended. What else it has to tell stands in the result of its kind.
struct TaskResult {
    QStringList problems; ///< sentences that name the path; empty when all was done
    QStringList warnings; ///< sentences on what somebody should look at, though all was done

    bool isGood() const { return problems.isEmpty(); }
    void add(const TaskResult &part)
    {
        problems += part.problems;
        warnings += part.warnings;
    }
};

} // namespace velmo::publish
