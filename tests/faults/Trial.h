#pragma once

#include "Disturbance.h"
#include "Run.h"

#include <QRandomGenerator>
#include <QStringList>

namespace velmo::faults {

/// How a trial came out.
struct Outcome {
    enum Ending {
        Well,    ///< the work was done all the same
        Told,    ///< it was not, and the player or the studio was told in the words that are meant for it
        Stopped, ///< the program, or its player, went before the end
    };

    Ending ending = Well;
    QStringList violations;
    int earlyRecords = 0; ///< records on the drive without all that they name, which only a loss of power makes
    QStringList story;    ///< what happened, for whoever looks into it

    void note(Ending ended) { ending = std::max(ending, ended); }
    /// Takes down \a problems of the moment \a when.
    void expectNone(const QString &when, const QStringList &problems)
    {
        for (const QString &problem : problems) {
            violations.append(when + QStringLiteral(": ") + problem);
        }
    }
};

/// A whole install and then an update by the launcher's engine, each disturbed and then put right by one repair.
Outcome tryLauncher(const Kind &kind, quint32 seed);

/// The same of velmo-publish: a first build and then a second one, each disturbed and then published in peace.
Outcome tryPublisher(const Kind &kind, quint32 seed);

/// The environment of a program that the shim watches, with a user's folders below \a scratch.
QProcessEnvironment environmentIn(const Scratch &scratch, const QString &watched);

} // namespace velmo::faults
