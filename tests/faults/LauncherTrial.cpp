#include "Builds.h"
#include "PowerLoss.h"
#include "Snapshot.h"
#include "Trial.h"
#include "WrittenWords.h"
#include "support/TestEnvironment.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

using test::Build;
using test::BuildFile;

constexpr int buildsAhead = 4;

QByteArray recordOf(const Build &build)
{
    return QJsonDocument(build.manifest().toJson()).toJson();
}

/// A player and a studio, and the builds that come out one after the other.
class LauncherTrial {
public:
    LauncherTrial(const Kind &kind, quint32 seed);

    Outcome run();

private:
    void furnish();
    void plantLinks();
    void publishNext();
    void phase(const QString &name);
    void examineNewRecord(const Build &record, QStringList &problems);
    void disturbedRun(const QString &name);
    void repair(const QString &name);
    void takeDown(const QString &name, const Run &run, bool mayBeKilled);

    Command command(const QString &wish, int tries, int patienceMs) const;
    QStringList servedPaths() const;
    QString addressPath(const BuildFile &file) const;
    std::optional<Build> recordedBuild(QStringList *problems) const;
    QStringList problemsWithSettings() const;
    QStringList problemsWithPlaces() const;
    QStringList problemsWithFiles(const Build &build) const;
    QStringList exceptions() const
    {
        return {root_, scratch_.data(), Scratch::filler(scratch_.drive()), Scratch::filler(scratch_.home())};
    }

    const Kind &kind_;
    QRandomGenerator random_;
    Scratch scratch_;
    test::TestStudio studio_;
    QString root_ = scratch_.drive() + u"/games/Harrowfen"_s;
    bool byContent_;
    bool prunes_;
    QList<Build> builds_; ///< in the order in which they come out
    int offered_ = -1;
    int recorded_ = -1; ///< before the present phase
    Outcome outcome_;
};

LauncherTrial::LauncherTrial(const Kind &kind, quint32 seed)
    : kind_(kind)
    , random_(seed)
    , byContent_(random_.bounded(2) == 0)
    , prunes_(random_.bounded(2) == 0)
{
    builds_.append(firstBuild(random_, byContent_));
    while (builds_.size() < buildsAhead) {
        builds_.append(nextBuild(builds_.last(), random_, byContent_));
    }
    furnish();
    if (random_.bounded(2) == 0) {
        plantLinks();
    }
}

void LauncherTrial::furnish()
{
    const QString program = scratch_.programs() + u"/launcher"_s;
    QFile::copy(QString::fromUtf8(VELMO_FAULT_LAUNCHER), program);
    const QJsonObject channel{{u"id"_s, u"release"_s},
                              {u"name"_s, u"Release"_s},
                              {u"manifest"_s, studio_.url(u"/release/manifest.json"_s).toString()}};
    QFile profile(scratch_.programs() + u"/game.json"_s);
    if (!QFile::exists(program) || !profile.open(QIODevice::WriteOnly)) {
        qFatal("Cannot furnish %s", qPrintable(scratch_.folder()));
    }
    profile.write(QJsonDocument(QJsonObject{{u"executable"_s, u"bin/game"_s},
                                            {u"defaultChannel"_s, u"release"_s},
                                            {u"channels"_s, QJsonArray{channel}}})
                      .toJson());
}

/// Somebody has laid links where files of the build are to come, which lead to what is not the game's.
void LauncherTrial::plantLinks()
{
    const QStringList names = {u"data/a.pak"_s, u"data/b c.pak.part"_s, u"levels/1/map"_s, u"levels/2/map.part"_s};
    for (const QString &name : names) {
        const QString path = root_ + u'/' + name;
        QDir().mkpath(QFileInfo(path).path());
        QFile::link(scratch_.outsideFile(), path);
    }
}

void LauncherTrial::publishNext()
{
    const Build &build = builds_.at(++offered_);
    if (prunes_) {
        QDir(studio_.root() + u"/files"_s).removeRecursively();
    }
    for (const BuildFile &file : build.files) {
        studio_.writeFile(addressPath(file), file.content);
    }
    studio_.writeFile(u"/release/manifest.json"_s, QJsonDocument(build.manifest().toJson()).toJson());
}

Outcome LauncherTrial::run()
{
    phase(u"install"_s);
    phase(u"update"_s);
    return outcome_;
}

void LauncherTrial::phase(const QString &name)
{
    recorded_ = offered_;
    publishNext();
    const Snapshot before(scratch_.folder(), exceptions());
    disturbedRun(name);
    QStringList problems;
    const std::optional<Build> record = recordedBuild(&problems);
    problems += problemsWithSettings() + problemsWithPlaces();
    if (record && (recorded_ < 0 || record->build != builds_.at(recorded_).build)) {
        examineNewRecord(*record, problems);
    }
    outcome_.expectNone(name, problems);
    outcome_.expectNone(name, Snapshot(scratch_.folder(), exceptions()).changesSince(before));
    repair(name);
    outcome_.expectNone(name + u", repaired"_s, Snapshot(scratch_.folder(), exceptions()).changesSince(before));
}

/// What is recorded has arrived: a record is written last. Two at once can write over each other's files behind it, and
/// a drive that loses its power may have kept the record before the files, since nobody waits for them; the repair has
/// to find both.
void LauncherTrial::examineNewRecord(const Build &record, QStringList &problems)
{
    const QStringList missing = problemsWithFiles(record);
    if (kind_.name == "power-loss"_L1) {
        outcome_.earlyRecords += missing.isEmpty() ? 0 : 1;
        outcome_.story += missing;
    } else if (kind_.name != "two-launchers"_L1) {
        problems += missing;
    }
}

void LauncherTrial::disturbedRun(const QString &name)
{
    qint64 bytes = 1;
    for (const BuildFile &file : builds_.at(offered_).files) {
        const bool stands = recorded_ >= 0 && builds_.at(recorded_).content(file.path) == file.content;
        bytes += stands ? 0 : file.content.size();
    }
    Surroundings around{random_, scratch_, root_, servedPaths(), &studio_, bytes, [this] { publishNext(); }};
    Disturbance disturbance = kind_.disturb(around);
    const QString journal = test::TestEnvironment::ownFolder() + u"/journal"_s;
    std::optional<PowerLoss> power;
    if (disturbance.losesPower) {
        power.emplace(QStringList{root_, scratch_.data()});
        disturbance.variables.append({u"VELMO_FAULT_JOURNAL"_s, journal});
    }
    for (const auto &[variable, value] : disturbance.variables) {
        outcome_.story.append(u"%1: %2=%3"_s.arg(name, variable, value));
    }
    const int tries = 1 + random_.bounded(2);
    const QList<Run> runs = runDisturbed(command(u"install"_s, tries, disturbance.patienceMs), disturbance);
    for (const Run &run : runs) {
        takeDown(name, run, disturbance.mayBeKilled);
    }
    if (power) {
        power->strike(journal, random_);
        QFile::remove(journal);
        outcome_.note(Outcome::Stopped);
    }
}

void LauncherTrial::repair(const QString &name)
{
    studio_.server().clearFaults();
    studio_.server().setBytesPerSecond(0);
    Scratch::makeRoom(scratch_.drive());
    Scratch::makeRoom(scratch_.home());
    if (kind_.needsDrives && !scratch_.setDriveReadOnly(false)) {
        qFatal("The drive does not become writable again");
    }
    const Run run = runDisturbed(command(u"repair"_s, 1, Disturbance().patienceMs), {}).first();
    const QString when = name + u", repaired"_s;
    QStringList problems = crashesOf(run, false);
    if (run.output.isEmpty() || run.output.last() != "installed"_L1) {
        problems.append(u"the repair ends with \"%1\""_s.arg(run.output.join(u'|')));
    }
    const std::optional<Build> record = recordedBuild(&problems);
    if (!record || record->build != builds_.at(offered_).build) {
        problems.append(u"the record is not that of the offered build"_s);
    } else {
        problems += problemsWithFiles(*record);
    }
    problems += problemsWithSettings() + problemsWithPlaces();
    if (!problems.isEmpty()) {
        outcome_.story.append(when + u":\n"_s + run.errors);
    }
    outcome_.expectNone(when, problems);
}

void LauncherTrial::takeDown(const QString &name, const Run &run, bool mayBeKilled)
{
    const QString last = run.output.isEmpty() ? u"(nothing)"_s : run.output.last();
    outcome_.story.append(u"%1: the launcher ends by %2 %3: %4"_s.arg(name, run.bySignal ? u"signal"_s : u"code"_s,
                                                                      QString::number(run.code), last));
    QStringList problems = crashesOf(run, mayBeKilled);
    for (const QString &line : run.output) {
        if (line.startsWith("leaked: "_L1)) {
            problems.append(line);
        }
    }
    const QString message = last.section(u": "_s, 1);
    if (run.bySignal || last == "left"_L1) {
        outcome_.note(Outcome::Stopped);
    } else if (last.startsWith("failed: "_L1) || last.startsWith("unchecked: "_L1)) {
        outcome_.note(Outcome::Told);
        if (!isForThePlayer(message)) {
            problems.append(u"the player is told in unknown words: \"%1\""_s.arg(message));
        }
    } else if (last != "installed"_L1) {
        problems.append(u"it says nothing of how it ended"_s);
    }
    if (!problems.isEmpty()) {
        outcome_.story.append(name + u":\n"_s + run.errors);
    }
    outcome_.expectNone(name, problems);
}

Command LauncherTrial::command(const QString &wish, int tries, int patienceMs) const
{
    return {scratch_.programs() + u"/launcher"_s,
            {root_, wish, QString::number(tries), QString::number(patienceMs)},
            environmentIn(scratch_, scratch_.folder())};
}

/// That of the manifest first.
QStringList LauncherTrial::servedPaths() const
{
    QStringList paths{u"/release/manifest.json"_s};
    for (const BuildFile &file : builds_.at(offered_).files) {
        paths.append(addressPath(file));
    }
    return paths;
}

QString LauncherTrial::addressPath(const BuildFile &file) const
{
    return file.url.isEmpty() ? u"/release/"_s + QUrl(file.path).path() : file.url.mid(2);
}

/// The build that the record names, if there is one. It must be, whole, the old one or one that was offered.
std::optional<Build> LauncherTrial::recordedBuild(QStringList *problems) const
{
    const QString path = root_ + u"/.velmo/installed.json"_s;
    if (!QFile::exists(path)) {
        if (recorded_ >= 0) {
            problems->append(u"the record is gone"_s);
        }
        return std::nullopt;
    }
    const QByteArray bytes = test::readFile(path);
    for (int i = std::max(recorded_, 0); i <= offered_; ++i) {
        if (bytes == recordOf(builds_.at(i))) {
            return builds_.at(i);
        }
    }
    problems->append(u"the record is neither the old nor the new one: %1 bytes"_s.arg(bytes.size()));
    return std::nullopt;
}

QStringList LauncherTrial::problemsWithSettings() const
{
    const QString path = scratch_.data() + u"/launcher.json"_s;
    QStringList problems;
    if (QFile::exists(path) && !QJsonDocument::fromJson(test::readFile(path)).isObject()) {
        problems.append(u"the settings are damaged"_s);
    }
    if (!QDir(scratch_.data()).entryList({u"launcher.json.corrupt-*"_s}).isEmpty()) {
        problems.append(u"the launcher has found its settings damaged"_s);
    }
    return problems;
}

/// Files stand only where they belong. A replacement that was being written may be left beside its target.
QStringList LauncherTrial::problemsWithPlaces() const
{
    static const QRegularExpression own(
        u"^(home/\\.config/VelmoGames/Launcher/(launcher\\.json(\\.[A-Za-z]{6})?|logs/launcher-[-0-9]+\\.log)"
        "|drive/games/Harrowfen/\\.velmo/(installed\\.json(\\.[A-Za-z]{6})?|write-test\\.tmp))$"_s);
    QStringList known;
    for (int i = std::max(recorded_, 0); i <= offered_; ++i) {
        for (const BuildFile &file : builds_.at(i).files) {
            known.append({root_ + u'/' + file.path, root_ + u'/' + file.path + u".part"_s});
        }
    }
    if (recorded_ < 0 || offered_ > 0) { // what an earlier phase has left in part stays
        for (const BuildFile &file : builds_.first().files) {
            known.append(root_ + u'/' + file.path + u".part"_s);
        }
    }
    QStringList problems;
    for (const QString &folder : {root_, scratch_.data()}) {
        QDirIterator files(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            if (!known.contains(path) && !own.match(QDir(scratch_.folder()).relativeFilePath(path)).hasMatch()) {
                problems.append(u"a file where none belongs: "_s + path);
            }
        }
    }
    return problems;
}

QStringList LauncherTrial::problemsWithFiles(const Build &build) const
{
    QStringList problems;
    for (const BuildFile &file : build.files) {
        const QFileInfo info(root_ + u'/' + file.path);
        if (!info.isFile() || info.isSymbolicLink()) {
            problems.append(u"recorded and not there: "_s + file.path);
        } else if (test::readFile(info.filePath()) != file.content) {
            problems.append(u"recorded and not right: %1, %2 bytes instead of %3"_s.arg(
                file.path, QString::number(info.size()), QString::number(file.content.size())));
        } else if (file.executable && !info.isExecutable()) {
            problems.append(u"cannot be run: "_s + file.path);
        }
    }
    return problems;
}

} // namespace

QProcessEnvironment environmentIn(const Scratch &scratch, const QString &watched)
{
    QProcessEnvironment environment = test::TestEnvironment::redirected(scratch.home());
    environment.insert(u"no_proxy"_s, u"*"_s);
    environment.insert(u"TMPDIR"_s, scratch.folder() + u"/tmp"_s);
    environment.insert(u"LD_PRELOAD"_s, QString::fromUtf8(VELMO_FAULT_SHIM));
    environment.insert(u"VELMO_FAULT_FOLDER"_s, watched);
    return environment;
}

Outcome tryLauncher(const Kind &kind, quint32 seed)
{
    return LauncherTrial(kind, seed).run();
}

} // namespace velmo::faults
