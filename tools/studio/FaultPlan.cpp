#include "studio/FaultPlan.h"

namespace velmo::studio {

void FaultPlan::add(const QString &path, const Fault &fault)
{
    faults_[path].append(fault);
}

void FaultPlan::clear()
{
    faults_.clear();
    attempts_.clear();
}

void FaultPlan::restart()
{
    attempts_.clear();
}

FaultPlan::Attempt FaultPlan::next(const QString &path)
{
    Attempt attempt;
    attempt.number = ++attempts_[path];
    const QList<Fault> planned = faults_.value(path);
    for (const Fault &fault : planned) {
        if (attempt.number >= fault.firstAttempt && attempt.number <= fault.lastAttempt) {
            attempt.faults.append(fault);
        }
    }
    return attempt;
}

} // namespace velmo::studio
