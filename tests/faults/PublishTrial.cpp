#include "Builds.h"
#include "PowerLoss.h"
#include "Snapshot.h"
#include "Trial.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

/// A studio with a folder for its build and a content tree.
class PublishTrial {
public:
    PublishTrial(const Kind &kind, quint32 seed)
        : kind_(kind)
        , random_(seed)
        , prunes_(random_.bounded(2) == 0)
    {
        builds_.append(firstBuild(random_, false));
        builds_.append(nextBuild(builds_.first(), random_, false));
    }

    Outcome run()
    {
        for (int build = 0; build < builds_.size(); ++build) {
            phase(build);
        }
        return outcome_;
    }

private:
    void makeBuild(const test::Build &build) const;
    void phase(int build);
    void disturbedRun(int build, const QString &name);
    Command publish(int build) const;
    QStringList problemsOfCheck() const { return problemsOfCheck(tree()); }
    QStringList problemsOfCheck(const QString &tree) const;
    QStringList problemsForPlayers() const;
    /// The number of the build that the tree serves; 0 when it has no manifest.
    int servedBuild() const;
    QString source() const { return scratch_.home() + u"/build"_s; }
    QString tree() const { return scratch_.drive() + u"/tree"_s; }
    QStringList exceptions() const
    {
        return {tree(), Scratch::filler(scratch_.drive()), Scratch::filler(scratch_.home())};
    }

    const Kind &kind_;
    QRandomGenerator random_;
    bool prunes_;
    Scratch scratch_;
    QList<test::Build> builds_;
    Outcome outcome_;
};

void PublishTrial::makeBuild(const test::Build &build) const
{
    QDir(source()).removeRecursively();
    for (const test::BuildFile &file : build.files) {
        QFile target(source() + u'/' + file.path);
        QDir().mkpath(QFileInfo(target).path());
        if (!target.open(QIODevice::WriteOnly) || target.write(file.content) != file.content.size()) {
            qFatal("Cannot write %s", qPrintable(target.fileName()));
        }
    }
}

void PublishTrial::phase(int build)
{
    const QString name = build == 0 ? u"first build"_s : u"second build"_s;
    makeBuild(builds_.at(build));
    const Snapshot before(scratch_.folder(), exceptions());
    const int servedBefore = servedBuild();
    disturbedRun(build, name);
    QStringList problems;
    const int served = servedBuild();
    if (served != servedBefore && served != builds_.at(build).build) {
        problems.append(u"the tree serves build %1 instead of %2 or %3"_s.arg(
            QString::number(served), QString::number(servedBefore), QString::number(builds_.at(build).build)));
    }
    problems += problemsForPlayers();
    Scratch::makeRoom(scratch_.drive());
    Scratch::makeRoom(scratch_.home());
    outcome_.expectNone(name, problems);

    const Run inPeace = runDisturbed(publish(build), {}).first();
    problems = crashesOf(inPeace, false);
    if (inPeace.code != 0 || servedBuild() != builds_.at(build).build) {
        problems.append(u"publishing in peace fails: "_s + inPeace.errors);
    }
    outcome_.expectNone(name + u", published again"_s, problems + problemsOfCheck());
    outcome_.expectNone(name, Snapshot(scratch_.folder(), exceptions()).changesSince(before));
}

void PublishTrial::disturbedRun(int build, const QString &name)
{
    QStringList paths;
    qint64 bytes = 1;
    for (const test::BuildFile &file : builds_.at(build).files) {
        paths.append(file.path);
        bytes += file.content.size();
    }
    Surroundings around{random_, scratch_, tree(), paths, nullptr, bytes, nullptr};
    Disturbance disturbance = kind_.disturb(around);
    const QString journal = test::TestEnvironment::ownFolder() + u"/journal"_s;
    std::optional<PowerLoss> power;
    if (disturbance.losesPower) {
        power.emplace(QStringList{tree()});
        disturbance.variables.append({u"VELMO_FAULT_JOURNAL"_s, journal});
    }
    for (const auto &[variable, value] : disturbance.variables) {
        outcome_.story.append(u"%1: %2=%3"_s.arg(name, variable, value));
    }
    const Run run = runDisturbed(publish(build), disturbance).first();
    outcome_.story.append(u"%1: velmo-publish ends by %2 %3: %4"_s.arg(name, run.bySignal ? u"signal"_s : u"code"_s,
                                                                       QString::number(run.code), run.errors));
    QStringList problems = crashesOf(run, disturbance.mayBeKilled);
    if (run.bySignal) {
        outcome_.note(Outcome::Stopped);
    } else if (run.code != 0) {
        outcome_.note(Outcome::Told);
        if (run.errors.trimmed().isEmpty()) {
            problems.append(u"it fails without a word"_s);
        }
    }
    outcome_.expectNone(name, problems);
    if (power) {
        power->strike(journal, random_);
        QFile::remove(journal);
        outcome_.note(Outcome::Stopped);
    }
}

Command PublishTrial::publish(int build) const
{
    const test::Build &which = builds_.at(build);
    // Again is not a newer build, and what is damaged is to be replaced.
    QStringList arguments{
        u"--source"_s,     source(),         u"--out"_s,    tree(),       u"--channel"_s,
        u"release"_s,      u"--version"_s,   which.version, u"--build"_s, QString::number(which.build),
        u"--executable"_s, which.executable, u"--jobs"_s,   u"1"_s,       u"--allow-older"_s};
    if (prunes_) {
        arguments.append(u"--prune"_s);
    }
    return {QString::fromUtf8(VELMO_PUBLISH_PROGRAM), arguments, environmentIn(scratch_, tree())};
}

/// What is broken for players, of whom some are handed the packed manifest. It may be that of the other build, as long
/// as that is whole, too.
QStringList PublishTrial::problemsForPlayers() const
{
    const QString view = test::TestEnvironment::ownFolder() + u"/view"_s;
    QStringList problems;
    for (const QString &form : {u"cat"_s, u"gzip -dc"_s}) {
        const QString manifest = tree() + u"/harrowfen/release/manifest.json"_s + (form == "cat"_L1 ? u""_s : u".gz"_s);
        if (!QFile::exists(manifest)) {
            continue;
        }
        QDir().mkpath(view + u"/harrowfen/release"_s);
        QFile::link(tree() + u"/harrowfen/files"_s, view + u"/harrowfen/files"_s);
        const QString command = form + u" '"_s + manifest + u"' > '"_s + view + u"/harrowfen/release/manifest.json'"_s;
        if (QProcess::execute(u"sh"_s, {u"-c"_s, command}) != 0) {
            problems.append(u"\"%1\" cannot be read"_s.arg(manifest));
        }
        problems += problemsOfCheck(view);
        QFile::remove(view + u"/harrowfen/files"_s);
        QDir(view).removeRecursively();
    }
    return problems;
}

QStringList PublishTrial::problemsOfCheck(const QString &tree) const
{
    const Run run =
        runDisturbed({QString::fromUtf8(VELMO_PUBLISH_PROGRAM), {u"--check"_s, tree}, environmentIn(scratch_, tree)},
                     {})
            .first();
    return run.code == 0 && !run.bySignal ? QStringList() : QStringList(u"--check: "_s + run.errors);
}

int PublishTrial::servedBuild() const
{
    QFile manifest(tree() + u"/harrowfen/release/manifest.json"_s);
    if (!manifest.open(QIODevice::ReadOnly)) {
        return 0;
    }
    return QJsonDocument::fromJson(manifest.readAll()).object().value(u"build"_s).toInt(-1);
}

} // namespace

Outcome tryPublisher(const Kind &kind, quint32 seed)
{
    return PublishTrial(kind, seed).run();
}

} // namespace velmo::faults
