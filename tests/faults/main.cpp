// One trial: velmo-faults KIND SEED, or velmo-faults --kinds for the kinds there are. Prints how it ended, in one word
// of "well", "told" and "stopped", with the number of Outcome::earlyRecords, and then what did not hold. Ends with 0
// when all held, with 1 when not, with 2 when it was called wrongly, and with 77 where this machine does not let it
// have file systems of its own and the kind needs them.

#include "Trial.h"
#include "support/TestEnvironment.h"
#include "tools/publish/SmallDrive.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

using namespace velmo::faults;

namespace {

enum ExitCode { Held = 0, Violated = 1, CalledWrongly = 2, NotHere = 77 };

int listKinds()
{
    for (const Kind &kind : kinds()) {
        std::printf("%s\n", qPrintable(kind.name));
    }
    return Held;
}

int report(const Outcome &outcome, bool verbose)
{
    constexpr const char *endings[] = {"well", "told", "stopped"};
    std::printf("%s %d\n", endings[outcome.ending], outcome.earlyRecords);
    for (const QString &violation : outcome.violations) {
        std::printf("  VIOLATION %s\n", qPrintable(violation));
    }
    if (verbose || !outcome.violations.isEmpty()) {
        for (const QString &line : outcome.story) {
            std::printf("  %s\n", qPrintable(line));
        }
    }
    return outcome.violations.isEmpty() ? Held : Violated;
}

} // namespace

int main(int argc, char **argv)
{
    const bool hasDrives = velmo::test::SmallDrive::prepare(); // while there is one thread
    const velmo::test::TestEnvironment environment;
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("--kinds")) {
        return listKinds();
    }
    const auto kind = std::find_if(kinds().begin(), kinds().end(),
                                   [&](const Kind &candidate) { return candidate.name == arguments.value(1); });
    bool isNumber = false;
    const quint32 seed = arguments.value(2).toUInt(&isNumber);
    if (kind == kinds().end() || !isNumber) {
        std::fprintf(stderr, "usage: velmo-faults KIND SEED [--verbose] | --kinds\n");
        return CalledWrongly;
    }
    if (kind->needsDrives && !hasDrives) {
        std::printf("not here: no file systems of our own\n");
        return NotHere;
    }
    const Outcome outcome = kind->publishes ? tryPublisher(*kind, seed) : tryLauncher(*kind, seed);
    return report(outcome, arguments.contains(QLatin1String("--verbose")));
}
