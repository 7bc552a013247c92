#include "publish/CommandLine.h"

#include "publish/PathRules.h"

#include <QCommandLineParser>
#include <QThread>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace velmo::publish {

namespace {

constexpr int mostJobs = 256;
constexpr int mostDays = 36500;
constexpr int fewestTransfers = 4; // each waits for its store most of the time
constexpr int mostTransfers = 64;
constexpr auto defaultGame = "harrowfen"_L1;

constexpr QStringView help =
    uR"(velmo-publish puts a build of the game into the content tree that players download from.

Usage:
  velmo-publish --source DIR --out TREE --channel NAME --version TEXT --build N [options]
  velmo-publish --push REMOTE --out TREE [--prune-older-than DAYS] [--dry-run] [--game ID]
  velmo-publish --check TREE [--game ID] [--jobs N]
  velmo-publish --check https://HOST/.../manifest.json [--sample N] [--every-byte] [--tree TREE]

To publish:
  --source DIR       The build folder. Every file in it is published, hidden ones too; empty
                     folders are not. Symbolic links are followed as long as they stay inside.
  --out TREE         The content tree, outside the build folder. It is made when it is missing.
  --channel NAME     The channel, such as release or beta: a to z, 0 to 9 and hyphens, no hyphen
                     first, and no name that Windows reserves.
  --version TEXT     The version that players see, such as 1.2.0.
  --build N          The build number, 0 to 2147483647. It must be above the channel's present one.
  --executable PATH  The game's program, as a path of the build with forward slashes.
  --notes TEXT       Release notes.
  --prune            Afterwards remove the content files that no manifest of the tree names.
                     Players who are downloading a build that is gone lose its files.
  --allow-older      Publish even if the channel's build number is not below this one, or if the
                     channel's manifest is damaged. This is how to roll back.
  --trust-times      Take a file that has the size and the times of the last publishing with this
                     option for the same, and do not read it. The tree keeps them in .times.

To push, after publishing or by itself:
  --push REMOTE      Upload the tree through rclone, to any place that rclone knows: the content
                     files that are missing there, and when all are proved to be there the
                     manifests. If it is interrupted, run it again. Deletes nothing.
  --prune-older-than DAYS
                     Afterwards remove from the remote the content files that no manifest there has
                     named for so long, 1 to 36500 days.
  --dry-run          Only say what would be uploaded and removed; not together with --source.

To check:
  --check TREE       Read the whole tree and prove it: every manifest is good, the packed one holds
                     the same, and every file that it names is there with its size and hash. Changes
                     nothing.

To check what is live:
  --check ADDRESS    Ask a server for a channel's manifest and for its files, and tell of each
                     thing that the launcher needs of a server whether it is kept or broken.
  --sample N         Ask for N of the files alone, the same ones each time.
  --every-byte       Fetch the files whole, and hash them.
  --tree TREE        What was published there: the manifest and parts of the files must be its own.
  --trust FILE       Certificates in PEM that are trusted beside those of the system, such as that
                     of a server of one's own.

For all:
  --game ID          The game's folder in the tree; harrowfen if not given.
  --jobs N           How many files to work on at a time, 1 to 256; one for each processor core if
                     not given.
  -h, --help         Show this text.

The tree:
  TREE/harrowfen/release/manifest.json   what the channel's build consists of; manifest.json.gz
                                         beside it is the same, packed
  TREE/harrowfen/files/ab/abcd...        each file once, named after the SHA-256 of its bytes
Builds and channels share the files that are equal. The manifest is replaced last and in one piece,
so the published build stands until the new one is complete, and also if publishing fails.
A file that the tree already holds with the right size is not copied again; --check reads it.
Copies lie in TREE/harrowfen/files/.incoming until the drive has taken them.

A build is refused, with a sentence for each reason and before anything is written, if it has:
  - no files at all, or files and folders that cannot be read
  - a path that the launcher does not take: above 260 characters, with one of \ < > : " | ? * or a
    control character, or with a name that ends in a blank or a dot
  - a name that Windows reserves, such as CON, NUL.txt or com1
  - paths that differ only in letter case, in the file or in a folder: A/x and a/y
  - a name that ends in .part, or .velmo at the top: the launcher uses these itself
  - a symbolic link that leaves the build, leads nowhere or leads into itself
  - a folder that symbolic links put under more than 64 paths
  - anything that is neither a file nor a folder, such as a socket
  - no file at --executable
It is refused because of the channel's present manifest, since players could not update, if it has:
  - a path that the manifest has in other letter case: Data/A.pak there and data/a.pak here
  - a folder with the name of a file of the manifest, or a file with the name of a folder of it
The sentence says what to do, most often: first publish a build without that path.
It is also refused if the build number is not above the published one, if the channel's manifest is
damaged, if another channel's is and --prune is given, or if the build lies in the tree or the tree
in the build. It fails if a file of the build changes, goes or comes while it is being published.

Exit codes:
  0  All was done; with --check, the tree or the server is good.
  1  Refused or failed; with --check, something is wrong with the tree or the server. The reasons
     are on the error output, a line for each, with control characters of names shown as \n or \x1b.
  2  The command line is wrong; nothing was looked at.

Examples:
  velmo-publish --source build/Windows --out /srv/content --channel release --version 1.2.0 \
      --build 120 --executable Harrowfen/Binaries/Win64/Harrowfen-Win64-Shipping.exe
  velmo-publish --source build/Windows --out /srv/content --channel beta --version 1.3.0-rc1 \
      --build 131 --notes "First release candidate" --prune
  velmo-publish --push store:bucket/content --out /srv/content --prune-older-than 30
  velmo-publish --check /srv/content
  velmo-publish --check https://cdn.example/harrowfen/release/manifest.json --sample 200 \
      --tree /srv/content
)";

QList<QCommandLineOption> allOptions()
{
    return {QCommandLineOption(QStringList{u"h"_s, u"help"_s}),
            QCommandLineOption(u"source"_s, {}, u"DIR"_s),
            QCommandLineOption(u"out"_s, {}, u"TREE"_s),
            QCommandLineOption(u"channel"_s, {}, u"NAME"_s),
            QCommandLineOption(u"version"_s, {}, u"TEXT"_s),
            QCommandLineOption(u"build"_s, {}, u"N"_s),
            QCommandLineOption(u"executable"_s, {}, u"PATH"_s),
            QCommandLineOption(u"notes"_s, {}, u"TEXT"_s),
            QCommandLineOption(u"prune"_s),
            QCommandLineOption(u"allow-older"_s),
            QCommandLineOption(u"trust-times"_s),
            QCommandLineOption(u"check"_s, {}, u"TREE"_s),
            QCommandLineOption(u"sample"_s, {}, u"N"_s),
            QCommandLineOption(u"every-byte"_s),
            QCommandLineOption(u"tree"_s, {}, u"TREE"_s),
            QCommandLineOption(u"trust"_s, {}, u"FILE"_s),
            QCommandLineOption(u"push"_s, {}, u"REMOTE"_s),
            QCommandLineOption(u"prune-older-than"_s, {}, u"DAYS"_s),
            QCommandLineOption(u"dry-run"_s),
            QCommandLineOption(u"game"_s, {}, u"ID"_s, defaultGame),
            QCommandLineOption(u"jobs"_s, {}, u"N"_s)};
}

QString isolatedMistake(const QCommandLineParser &parser)
{
    const QStringList positional = parser.positionalArguments();
    if (!positional.isEmpty()) {
        return u"\"%1\" stands alone; every value follows its option."_s.arg(positional.first());
    }
    for (const QCommandLineOption &option : allOptions()) {
        if (!option.valueName().isEmpty() && parser.values(option).size() > 1) {
            return u"--%1 is given more than once."_s.arg(option.names().first());
        }
    }
    return {};
}

/// For a name that becomes a folder of the tree.
QString folderMistake(const QString &option, const QString &name)
{
    if (!TreeLayout::isFolderName(name)) {
        return u"%1 takes letters a to z, digits and hyphens, no hyphen first, not \"%2\"."_s.arg(option, name);
    }
    if (isReservedByWindows(name)) {
        return u"%1 cannot be \"%2\": Windows reserves that name for a device."_s.arg(option, name);
    }
    return {};
}

QString gameMistake(const QCommandLineParser &parser)
{
    return folderMistake(u"--game"_s, parser.value(u"game"_s));
}

QString jobsMistake(const QCommandLineParser &parser)
{
    if (!parser.isSet(u"jobs"_s)) {
        return {};
    }
    bool isNumber = false;
    const int jobs = parser.value(u"jobs"_s).toInt(&isNumber);
    return isNumber && jobs >= 1 && jobs <= mostJobs
               ? QString()
               : u"--jobs takes a number from 1 to %1, not \"%2\"."_s.arg(mostJobs).arg(parser.value(u"jobs"_s));
}

bool isAddress(const QString &place)
{
    return place.contains("://"_L1);
}

QString checkLiveMistake(const QCommandLineParser &parser)
{
    static const QStringList fitting = {u"check"_s, u"sample"_s, u"every-byte"_s, u"tree"_s, u"trust"_s, u"game"_s};
    for (const QString &name : parser.optionNames()) {
        if (!fitting.contains(name)) {
            return u"--%1 does not go with --check of a server."_s.arg(name);
        }
    }
    const QUrl address(parser.value(u"check"_s), QUrl::StrictMode);
    if (!address.isValid() || address.scheme() != "https"_L1 || address.host().isEmpty()) {
        return u"--check of a server takes an address that begins with https://, not \"%1\"."_s.arg(
            QUrl(parser.value(u"check"_s)).toDisplayString());
    }
    bool isNumber = true;
    const bool isGood = !parser.isSet(u"sample"_s) || (parser.value(u"sample"_s).toInt(&isNumber) > 0 && isNumber);
    return isGood ? QString() : u"--sample takes a number from 1 on, not \"%1\"."_s.arg(parser.value(u"sample"_s));
}

QString checkMistake(const QCommandLineParser &parser)
{
    if (isAddress(parser.value(u"check"_s))) {
        return checkLiveMistake(parser);
    }
    for (const QString &name : parser.optionNames()) {
        if (name != "check"_L1 && name != "game"_L1 && name != "jobs"_L1) {
            return u"--%1 does not go with --check."_s.arg(name);
        }
    }
    return parser.value(u"check"_s).isEmpty() ? u"--check needs the folder of a tree."_s : QString();
}

/// What of a command line with --push or without is wrong about it.
QString pushMistake(const QCommandLineParser &parser)
{
    for (const QString &name : {u"prune-older-than"_s, u"dry-run"_s}) {
        if (parser.isSet(name) && !parser.isSet(u"push"_s)) {
            return u"--%1 goes with --push."_s.arg(name);
        }
    }
    if (!parser.isSet(u"push"_s)) {
        return {};
    }
    if (parser.value(u"push"_s).isEmpty()) {
        return u"--push needs a place to upload to."_s;
    }
    if (parser.isSet(u"dry-run"_s) && parser.isSet(u"source"_s)) {
        return u"--dry-run does not go with --source."_s;
    }
    bool isNumber = true;
    const int days =
        parser.isSet(u"prune-older-than"_s) ? parser.value(u"prune-older-than"_s).toInt(&isNumber) : mostDays;
    return isNumber && days >= 1 && days <= mostDays
               ? QString()
               : u"--prune-older-than takes a number from 1 to %1, not \"%2\"."_s.arg(mostDays).arg(
                     parser.value(u"prune-older-than"_s));
}

/// Of a tree that is published already.
QString pushAloneMistake(const QCommandLineParser &parser)
{
    static const QStringList known = {u"push"_s, u"out"_s, u"game"_s, u"jobs"_s, u"prune-older-than"_s, u"dry-run"_s};
    for (const QString &name : parser.optionNames()) {
        if (!known.contains(name)) {
            return u"--%1 does not go with --push unless there is a --source."_s.arg(name);
        }
    }
    return parser.value(u"out"_s).isEmpty() ? u"--out is missing."_s : QString();
}

bool isPushAlone(const QCommandLineParser &parser)
{
    return parser.isSet(u"push"_s) && !parser.isSet(u"source"_s) && !parser.isSet(u"check"_s);
}

QString publishMistake(const QCommandLineParser &parser)
{
    for (const QString &name : {u"sample"_s, u"every-byte"_s, u"tree"_s, u"trust"_s}) {
        if (parser.isSet(name)) {
            return u"--%1 goes with --check of a server alone."_s.arg(name);
        }
    }
    for (const QString &name : {u"source"_s, u"out"_s, u"channel"_s, u"version"_s, u"build"_s}) {
        if (parser.value(name).isEmpty()) {
            return u"--%1 is missing."_s.arg(name);
        }
    }
    const QString channel = parser.value(u"channel"_s);
    if (const QString mistake = folderMistake(u"--channel"_s, channel); !mistake.isEmpty()) {
        return mistake;
    }
    if (channel == TreeLayout::contentFolderName()) {
        return u"--channel cannot be \"%1\": the content files lie in that folder."_s.arg(channel);
    }
    bool isNumber = false;
    const int build = parser.value(u"build"_s).toInt(&isNumber);
    if (!isNumber || build < 0) {
        return u"--build takes a number from 0 to 2147483647, not \"%1\"."_s.arg(parser.value(u"build"_s));
    }
    return {};
}

/// The first thing that is wrong; empty for a good command line.
QString mistakeIn(const QCommandLineParser &parser)
{
    const auto otherMistake = isPushAlone(parser) ? pushAloneMistake : publishMistake;
    const auto taskMistake = parser.isSet(u"check"_s) ? checkMistake : otherMistake;
    for (const auto &mistake : {isolatedMistake, gameMistake, jobsMistake, taskMistake, pushMistake}) {
        if (const QString text = mistake(parser); !text.isEmpty()) {
            return text;
        }
    }
    return {};
}

PublishOrder orderOf(const QCommandLineParser &parser)
{
    PublishOrder order;
    order.source = parser.value(u"source"_s);
    order.tree = parser.value(parser.isSet(u"check"_s) ? u"check"_s : u"out"_s);
    order.game = parser.value(u"game"_s);
    order.channel = parser.value(u"channel"_s);
    order.version = parser.value(u"version"_s);
    order.build = parser.value(u"build"_s).toInt();
    order.executable = parser.value(u"executable"_s);
    order.notes = parser.value(u"notes"_s);
    order.prune = parser.isSet(u"prune"_s);
    order.allowOlder = parser.isSet(u"allow-older"_s);
    order.trustTimes = parser.isSet(u"trust-times"_s);
    order.jobs = parser.isSet(u"jobs"_s) ? parser.value(u"jobs"_s).toInt()
                                         : std::clamp(QThread::idealThreadCount(), 1, mostJobs);
    return order;
}

LiveOrder liveOrderOf(const QCommandLineParser &parser)
{
    LiveOrder order;
    order.manifest = QUrl(parser.value(u"check"_s), QUrl::StrictMode);
    order.tree = parser.value(u"tree"_s);
    order.game = parser.value(u"game"_s);
    order.sample = parser.value(u"sample"_s).toInt();
    order.everyByte = parser.isSet(u"every-byte"_s);
    return order;
}

PushOrder pushOf(const QCommandLineParser &parser, const PublishOrder &order)
{
    PushOrder push;
    push.remote = RemoteAddress(parser.value(u"push"_s));
    push.tree = order.tree;
    push.game = order.game;
    push.transfers = std::clamp(order.jobs, fewestTransfers, mostTransfers);
    push.pruneOlderThanDays = parser.value(u"prune-older-than"_s).toInt();
    push.dryRun = parser.isSet(u"dry-run"_s);
    return push;
}

} // namespace

CommandLine parseCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOptions(allOptions());
    CommandLine line;
    if (!parser.parse(arguments)) {
        line.mistake = parser.errorText();
        return line;
    }
    if (parser.isSet(u"help"_s)) {
        line.task = CommandLine::Task::Help;
        return line;
    }
    line.mistake = mistakeIn(parser);
    if (line.mistake.isEmpty() && isAddress(parser.value(u"check"_s))) {
        line.task = CommandLine::Task::CheckLive;
        line.live = liveOrderOf(parser);
        line.trust = parser.value(u"trust"_s);
    } else if (line.mistake.isEmpty()) {
        const auto otherTask = isPushAlone(parser) ? CommandLine::Task::Push : CommandLine::Task::Publish;
        line.task = parser.isSet(u"check"_s) ? CommandLine::Task::Check : otherTask;
        line.order = orderOf(parser);
        line.push = pushOf(parser, line.order);
    }
    return line;
}

QString commandLineHelp()
{
    return help.toString();
}

} // namespace velmo::publish
