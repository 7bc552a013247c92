#include "Disturbance.h"

#include <QRandomGenerator>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

using studio::Fault;

constexpr int attemptsOfTheLauncher = 4; // for one file
constexpr qint64 reach = 300000;         // bytes; beyond the end of most files, which then have no fault
constexpr double transferSeconds = 1.5;  // where something is to happen meanwhile

/// For the first attempts or, seldom, for all that the launcher makes.
Fault fault(Fault::Kind kind, QRandomGenerator &random)
{
    Fault made;
    made.kind = kind;
    made.bytes = random.bounded(5) == 0 ? 0 : random.bounded(static_cast<int>(reach));
    made.lastAttempt = random.bounded(8) == 0 ? attemptsOfTheLauncher : 1 + random.bounded(2);
    return made;
}

/// Puts faults of \a kinds on up to \a most of the files and, seldom, on the manifest.
void spread(const Surroundings &around, const QList<Fault::Kind> &kinds, int most,
            const std::function<void(Fault &)> &adjust = {})
{
    QRandomGenerator &random = around.random;
    const auto put = [&](const QString &path) {
        Fault made = fault(kinds.at(random.bounded(static_cast<int>(kinds.size()))), random);
        if (adjust) {
            adjust(made);
        }
        around.studio->server().addFault(path, made);
    };
    for (int i = 1 + random.bounded(most); i > 0; --i) {
        put(around.served.at(1 + random.bounded(static_cast<int>(around.served.size()) - 1)));
    }
    if (random.bounded(5) == 0) {
        put(around.served.first());
    }
}

void slowDown(const Surroundings &around, double seconds)
{
    around.studio->server().setBytesPerSecond(
        std::max<qint64>(10000, static_cast<qint64>(static_cast<double>(around.bytes) / seconds)));
}

} // namespace

/// And what answers the attempt to go on from there.
Disturbance cut(Surroundings &around)
{
    spread(around, {Fault::CloseAfter}, 3);
    spread(around, {Fault::IgnoreRange, Fault::RangeRefused, Fault::WrongRange}, 2,
           [](Fault &fault) { fault.lastAttempt = 2; });
    return {};
}

Disturbance stall(Surroundings &around)
{
    spread(around, {Fault::Stall}, 2, [](Fault &fault) { fault.lastAttempt = 1; });
    Disturbance disturbance;
    disturbance.patienceMs = 1500 + around.random.bounded(2000);
    return disturbance;
}

Disturbance trickle(Surroundings &around)
{
    slowDown(around, transferSeconds * 2);
    spread(around, {Fault::CloseAfter}, 1);
    return {};
}

Disturbance serverErrors(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    spread(around, {Fault::Status}, 3, [&random](Fault &fault) {
        constexpr int statuses[] = {500, 502, 503, 504, 429, 408};
        fault.status = statuses[random.bounded(6)];
    });
    return {};
}

Disturbance wrongBytes(Surroundings &around)
{
    spread(around, {Fault::Corrupt, Fault::Corrupt, Fault::WrongRange}, 3);
    return {};
}

Disturbance wrongLength(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    spread(around, {Fault::LengthOffset}, 3,
           [&random](Fault &fault) { fault.bytes = (random.bounded(2) == 0 ? 1 : -1) * (1 + random.bounded(5000)); });
    return {};
}

Disturbance redirect(Surroundings &around)
{
    QRandomGenerator &random = around.random;
    spread(around, {Fault::Redirect}, 3, [&](Fault &fault) {
        const QStringList targets = {u"http://127.0.0.1:1/insecure"_s,
                                     u"https://127.0.0.1:1/nobody"_s,
                                     around.studio->url(around.served.last()).toString(QUrl::FullyEncoded),
                                     around.studio->url(u"/nothing"_s).toString(),
                                     u"file:///etc/hostname"_s,
                                     u"not an address"_s};
        fault.location = targets.at(random.bounded(static_cast<int>(targets.size())));
    });
    return {};
}

Disturbance manifestChange(Surroundings &around)
{
    slowDown(around, transferSeconds);
    const int afterMs = 100 + around.random.bounded(static_cast<int>(transferSeconds * 1000));
    Disturbance disturbance;
    disturbance.events.append({afterMs, [publish = around.publishNext] {
                                   publish();
                                   return true;
                               }});
    return disturbance;
}

} // namespace velmo::faults
