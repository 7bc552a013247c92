#pragma once

#include "Disturbance.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace velmo::faults {

/// How one run of a program ended.
struct Run {
    bool inTime = true;
    bool bySignal = false;
    int code = 0; ///< the exit code, or the signal
    QStringList output;
    QString errors;
};

/// What is to be run.
struct Command {
    QString program;
    QStringList arguments;
    QProcessEnvironment environment;
};

/// Runs it, or as many at once as \a disturbance says, with what that does meanwhile.
QList<Run> runDisturbed(const Command &command, const Disturbance &disturbance);

/// What cannot have been meant in a run; empty where there is nothing. \a mayBeKilled as in Disturbance.
QStringList crashesOf(const Run &run, bool mayBeKilled);

} // namespace velmo::faults
