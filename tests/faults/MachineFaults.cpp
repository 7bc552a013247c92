#include "Disturbance.h"
#include "shim/Plan.h"

#include <QRandomGenerator>

#include <cerrno>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

constexpr qint64 bytesPerReply = 12000; // about what comes at a time; a copy is made in larger steps
constexpr int changesPerFile = 5;       // besides the writes
constexpr int firstChanges = 12;
constexpr qint64 mebibyte = qint64{1024} * 1024;

/// A number from 1 to how often a run changes the disk, or a little above; often among the first, which are few and
/// concern the settings.
int anyChange(const Surroundings &around)
{
    const qint64 writes = around.studio ? around.bytes / bytesPerReply : 0;
    const auto all = static_cast<int>(writes + changesPerFile * around.served.size());
    return 1 + around.random.bounded(around.random.bounded(4) == 0 ? firstChanges : all);
}

/// Milliseconds after the start, within the time that most runs take; often before it.
int anyMoment(const Surroundings &around)
{
    return around.random.bounded(3) == 0 ? 0 : around.random.bounded(around.studio ? 800 : 30);
}

QString row(int call, int first, int count, int error)
{
    return u"%1,%2,%3,%4"_s.arg(QString::number(call), QString::number(first), QString::number(count),
                                QString::number(error));
}

} // namespace

/// Some other program fills the drive, or that of the settings, or both.
Disturbance fullDisk(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    Disturbance disturbance;
    const int which = 1 + random.bounded(3);
    for (const auto &[bit, folder] : {std::pair(1, around.scratch.drive()), std::pair(2, around.scratch.home())}) {
        if ((which & bit) != 0) {
            const qint64 left = random.bounded(4) == 0 ? 0 : random.bounded(static_cast<int>(around.bytes));
            disturbance.events.append({anyMoment(around), [folder = folder, left] {
                                           Scratch::fill(folder, left);
                                           return true;
                                       }});
        }
    }
    if (around.studio) {
        around.studio->server().setBytesPerSecond(around.bytes); // so that there is a middle
    }
    return disturbance;
}

Disturbance diskErrors(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    QStringList rows;
    for (int i = 1 + random.bounded(3); i > 0; --i) {
        constexpr int errors[] = {EIO, EIO, ENOSPC, EDQUOT};
        const int error = errors[random.bounded(4)];
        const int count = random.bounded(3) == 0 ? 1000000 : 1 + random.bounded(3);
        const auto files = static_cast<int>(around.served.size());
        switch (random.bounded(8)) {
        case 0:
            rows.append(row(static_cast<int>(Call::Open), 1 + random.bounded(files), count, error));
            break;
        case 1:
            rows.append(row(static_cast<int>(Call::Read), 1 + random.bounded(2 * files), count, EIO));
            break;
        case 2:
            rows.append(row(static_cast<int>(Call::Sync), 1 + random.bounded(files), count, error));
            break;
        case 3:
            rows.append(row(static_cast<int>(Call::Rename), 1 + random.bounded(files), count, error));
            break;
        case 4:
            rows.append(row(static_cast<int>(Call::Remove), 1 + random.bounded(3), count, error));
            break;
        case 5: // a short write tells no error; the next one does, or none
            rows.append(row(static_cast<int>(Call::Write), anyChange(around), 1, 0));
            break;
        default:
            rows.append(row(static_cast<int>(Call::Write), anyChange(around), count, error));
        }
    }
    Disturbance disturbance;
    disturbance.variables.append({u"VELMO_FAULT_FAIL"_s, rows.join(u';')});
    return disturbance;
}

/// As a kernel does that met an error, or by a remount, which waits for a moment in which nobody writes.
Disturbance readOnlyDisk(Surroundings &around)
{
    Disturbance disturbance;
    if (around.random.bounded(2) == 0) {
        disturbance.variables.append({u"VELMO_FAULT_FAIL"_s, row(-1, anyChange(around), 1000000, EROFS)});
    } else {
        disturbance.events.append(
            {anyMoment(around), [&scratch = around.scratch] { return scratch.setDriveReadOnly(true); }});
        if (around.studio) {
            around.studio->server().setBytesPerSecond(around.bytes);
        }
    }
    return disturbance;
}

Disturbance clockJump(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    QStringList jumps;
    int afterMs = 0;
    for (int i = 1 + random.bounded(4); i > 0; --i) {
        constexpr qint64 hour = 3600;
        constexpr qint64 most[] = {2, hour, 30 * 24 * hour, 30 * 365 * 24 * hour};
        const qint64 span = most[random.bounded(4)];
        const qint64 seconds = static_cast<qint64>((2.0 * random.generateDouble() - 1.0) * static_cast<double>(span));
        jumps.append(u"%1,%2"_s.arg(afterMs).arg(seconds));
        afterMs += anyMoment(around);
    }
    if (around.studio) {
        around.studio->server().setBytesPerSecond(around.bytes);
    }
    Disturbance disturbance;
    disturbance.variables.append({u"VELMO_FAULT_CLOCK"_s, jumps.join(u';')});
    return disturbance;
}

Disturbance kill(Surroundings &around)
{
    Disturbance disturbance;
    disturbance.mayBeKilled = true;
    disturbance.variables.append({u"VELMO_FAULT_KILL"_s, QString::number(anyChange(around))});
    return disturbance;
}

Disturbance powerLoss(Surroundings &around)
{
    Disturbance disturbance = kill(around);
    disturbance.losesPower = true;
    if (around.random.bounded(4) == 0) {
        disturbance.variables.clear(); // the power goes when all is done
    }
    return disturbance;
}

Disturbance twoPrograms(Surroundings &around)
{
    if (around.studio && around.random.bounded(2) == 0) {
        around.studio->server().setBytesPerSecond(around.bytes);
    }
    Disturbance disturbance;
    disturbance.programs = 2;
    return disturbance;
}

/// Of data, since a bound on addresses would count the libraries, which lie in memory once for all programs. Below 32
/// MiB the threads of Qt's network find no room for their stacks, and Qt ends or waits for ever in its own code.
Disturbance littleMemory(Surroundings &around)
{
    Disturbance disturbance;
    disturbance.memoryBytes =
        static_cast<quint64>((32 + around.random.bounded(1 + around.random.bounded(97))) * mebibyte);
    disturbance.mayBeKilled = true;
    return disturbance;
}

} // namespace velmo::faults
