#pragma once

#include "Scratch.h"
#include "support/TestStudio.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

class QRandomGenerator;

namespace velmo::faults {

/// What one run of a program is to suffer.
struct Disturbance {
    struct Event {
        int afterMs;                  ///< after the start; 0 is before it
        std::function<bool()> happen; ///< false asks for it once more, a little later
    };

    QList<std::pair<QString, QString>> variables; ///< see shim/Plan.h
    QList<Event> events;                          ///< while the program runs
    int programs = 1;                             ///< at once, for one and the same user
    int patienceMs = 30000;                       ///< of the player, see launcher.cpp
    bool mayBeKilled = false;
    bool losesPower = false;
    bool failsReads = false; ///< of whole files, so that good ones look damaged
    quint64 memoryBytes = 0; ///< that the program may have for its data; 0 is without a limit
};

/// What a disturbance is made of.
struct Surroundings {
    QRandomGenerator &random;
    Scratch &scratch;
    QString worksIn;                             ///< the folder that the program fills
    QStringList served;                          ///< paths at the studio, that of the manifest first
    test::TestStudio *studio = nullptr;          ///< null where a program has no studio
    qint64 bytes = 0;                            ///< that there are to fetch or to copy
    std::function<void()> publishNext = nullptr; ///< the studio's next build comes out
};

struct Kind {
    QString name;
    bool publishes; ///< concerns velmo-publish, else the launcher
    bool needsDrives;
    Disturbance (*disturb)(Surroundings &);
};

/// All of them, in the order of the table that is printed.
const QList<Kind> &kinds();

// The server's.
Disturbance cut(Surroundings &around);
Disturbance stall(Surroundings &around);
Disturbance trickle(Surroundings &around);
Disturbance serverErrors(Surroundings &around);
Disturbance wrongBytes(Surroundings &around);
Disturbance wrongLength(Surroundings &around);
Disturbance redirect(Surroundings &around);
Disturbance manifestChange(Surroundings &around);

// The machine's.
Disturbance fullDisk(Surroundings &around);
Disturbance diskErrors(Surroundings &around);
Disturbance readOnlyDisk(Surroundings &around);
Disturbance clockJump(Surroundings &around);
Disturbance kill(Surroundings &around);
Disturbance powerLoss(Surroundings &around);
Disturbance twoPrograms(Surroundings &around);
Disturbance littleMemory(Surroundings &around);

} // namespace velmo::faults
