#include "Story.h"

#include "BuildFolder.h"
#include "Hand.h"
#include "Problem.h"

#include "shell/TrayIcon.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int windowPatienceMs = 60 * 1000;
constexpr qint64 lineBytesPerSecond = 40'000'000;
constexpr qint64 stillBytesPerSecond = 1; // so slow that nothing but the start of a transfer is seen
constexpr QSize smallest(820, 520);

QString ownProgram()
{
    return QStringLiteral(VELMO_DEMO_GAME);
}

QString warning(const QString &category, const QString &text)
{
    return Player::line(category, text, u"WARN "_s);
}

/// The choice of what to play, made complete.
Story::Options completed(Story::Options options)
{
    QDir(options.work).removeRecursively();
    options.program = options.program.isEmpty() ? QFileInfo(ownProgram()).fileName() : options.program;
    return options;
}

} // namespace

Story::Story(Options options, Machine &machine)
    : options_(completed(std::move(options)))
    , machine_(machine)
    , studio_(QDir(options_.work).filePath(u"tree"_s))
    , player_({options_.screens, options_.program, options_.arguments, options_.patienceMs, options_.tell,
               [this](const QString &branch) { return studio_.manifestAddress(branch); }},
              machine)
    , first_{u"1.0.0"_s, 100, QDir(options_.work).filePath(u"builds/1.0.0"_s)}
{}

const QList<Story::Step> &Story::steps()
{
    static const QList<Step> all = {
        {u"Make the builds"_s, &Story::makeBuilds},
        {u"Publish build 1.0.0 on the release branch"_s, &Story::publishFirstBuild},
        {u"Serve the content tree over TLS on loopback"_s, &Story::serve},
        {u"Start the launcher for the first time"_s, &Story::firstStart},
        {u"Begin to install and cancel"_s, &Story::cancelInstall},
        {u"Install the game"_s, &Story::install},
        {u"Look at every page"_s, &Story::visitPages},
        {u"Read the news"_s, &Story::readNews},
        {u"Play"_s, &Story::play},
        {u"Hide in the tray and come back"_s, &Story::hideToTray},
        {u"Publish build 1.1.0, and 1.2.0-beta on the beta branch"_s, &Story::publishUpdate},
        {u"Close the launcher and start it again"_s, &Story::restart},
        {u"Update"_s, &Story::install},
        {u"Damage two files and delete one"_s, &Story::damage},
        {u"Verify and repair"_s, &Story::repair},
        {u"Verify once more"_s, &Story::verifyAgain},
        {u"Switch to the beta branch"_s, &Story::switchToBeta},
        {u"Switch back"_s, &Story::switchBack},
        {u"Stop the server, start the launcher and play"_s, &Story::playOffline},
        {u"Reset the settings"_s, &Story::resetSettings},
    };
    return all;
}

void Story::open()
{
    makeBuilds();
    publishFirstBuild();
    publish(update_, u"beta"_s);
    serve();
    player_.launcher().start();
    while (!player_.nextLine(options_.patienceMs).isNull() || player_.launcher().isRunning()) {
    }
    expect(player_.launcher().waitForEnd(0) == 0, u"The launcher did not end well."_s);
}

void Story::makeBuilds()
{
    if (options_.game.isEmpty()) {
        generateGame(first_.folder, ownProgram());
    } else {
        copyFolder(options_.game, first_.folder);
    }
    const QString program = QDir(first_.folder).filePath(options_.program);
    expect(QFile::exists(program) || QFile::copy(ownProgram(), program),
           u"The program could not be put at "_s + program);
    update_ = makeNext(first_, u"1.1.0"_s, 110);
    beta_ = makeNext(update_, u"1.2.0-beta"_s, 120);
}

void Story::publishFirstBuild()
{
    publish(first_, u"release"_s);
}

void Story::serve()
{
    studio_.serve();
    studio_.server().setBytesPerSecond(lineBytesPerSecond);
    studio_.writeProfile(machine_.programFolder(), options_.program);
    // The twin of the window looks beside this program.
    studio_.writeProfile(QCoreApplication::applicationDirPath(), options_.program);
    options_.tell(u"      "_s + studio_.server().url(u"/"_s).toString());
}

void Story::firstStart()
{
    if (!options_.arguments.isEmpty()) {
        player_.presetSetting(u"game"_s, u"launchArguments"_s, options_.arguments);
    }
    player_.start();
    player_.keepPicture(u"not installed"_s);
}

void Story::cancelInstall()
{
    const Difference all = differenceOf({}, first_.folder);
    studio_.server().setBytesPerSecond(stillBytesPerSecond);
    player_.click(player_.twin().primaryButton());
    player_.expectLog(player_.downloadLines(all.fetched, all.bytes).mid(0, 2));
    player_.keepPicture(u"downloading"_s);
    player_.click(player_.twin().cancelButton());
    player_.expectAfterFiles(u"Download cancelled by the user"_s);
    player_.expectLog({Player::line(u"velmo.game"_s, u"Install cancelled; leaving partial files in place for resume"_s),
                       player_.offerLines().last()});
    studio_.server().setBytesPerSecond(lineBytesPerSecond);
}

/// As the window opens, and at its smallest.
void Story::visitPages()
{
    const QSize usual = player_.launcher().window().size();
    for (const QSize size : {usual, smallest}) {
        expect(player_.launcher().resizeWindow(size), u"The window does not take another size."_s);
        player_.twin().resize(size);
        // Not Community first: Home, which is left there, has a picture that moves by itself.
        for (const QString &tab : {u"Settings"_s, u"Community"_s, u"Home"_s}) {
            const QImage before = pageSeen();
            player_.openPage(tab);
            expect(waitFor([&] { return pageSeen() != before; }, windowPatienceMs),
                   u"The page %1 did not open."_s.arg(tab));
            player_.keepPicture(u"page "_s + tab + (size == smallest ? u" smallest"_s : QString()));
        }
    }
    expect(player_.launcher().resizeWindow(usual), u"The window does not become as large again."_s);
    player_.twin().resize(usual);
}

/// What is between the title bar and the action bar.
QImage Story::pageSeen()
{
    constexpr int barHeights = 100;
    return player_.launcher().picture(player_.launcher().window().adjusted(0, barHeights, 0, -barHeights));
}

/// An open article has a button where the list has its heading.
void Story::readNews()
{
    player_.openPage(u"News"_s);
    player_.expectLog({Player::line(u"velmo.net"_s, u"GET \"%1\""_s.arg(studio_.newsAddress())),
                       Player::line(u"velmo.net"_s, u"OK \"%1\" * bytes"_s.arg(studio_.newsAddress()))});
    player_.keepPicture(u"page News"_s);
    const QRect card = player_.twin().firstCard();
    const QRect heading =
        QRect(card.left(), card.top() - 90, 180, 80).translated(player_.launcher().window().topLeft());
    const QImage list = player_.launcher().picture(heading);
    player_.click({card.center().x(), card.top() + 40});
    expect(waitFor([&] { return player_.launcher().picture(heading) != list; }, windowPatienceMs),
           u"The first article did not open."_s);
    player_.keepPicture(u"article"_s);
    player_.openPage(u"Home"_s);
}

void Story::hideToTray()
{
    if (!TrayIcon::isSupported()) {
        options_.tell(u"      there is no tray here"_s);
        return;
    }
    LauncherProcess &launcher = player_.launcher();
    player_.clickSetting(u"Minimise to the system tray"_s);
    player_.expectLog({Player::line(u"velmo.ui"_s, u"Tray icon active"_s)});
    const QPoint icon = launcher.trayIcon();
    expect(icon.x() > 0, u"There is no icon in the tray."_s);
    player_.click(player_.twin().minimiseButton());
    expect(waitFor([&] { return !launcher.isWindowSeen(); }, windowPatienceMs), u"The window did not hide."_s);
    player_.keepScreen(u"in the tray"_s);
    expect(clickAt(icon) && launcher.showsWindow(), u"The window did not come back."_s);
    player_.keepPicture(u"page Settings with tray"_s);
    player_.clickSetting(u"Minimise to the system tray"_s);
    player_.openPage(u"Home"_s);
}

void Story::publishUpdate()
{
    publish(update_, u"release"_s);
    publish(beta_, u"beta"_s);
}

void Story::restart()
{
    player_.close();
    player_.start();
    player_.keepPicture(u"update available"_s);
}

void Story::damage()
{
    damaged_ = damageBuild(player_.installFolder(), options_.program);
    options_.tell(u"      flipped a byte of %1\n      shortened %2\n      deleted %3"_s.arg(
        damaged_.at(0), damaged_.at(1), damaged_.at(2)));
}

void Story::repair()
{
    // What is missing is fetched before what is damaged.
    QStringList files = damaged_.mid(0, 2);
    files.sort();
    files.prepend(damaged_.at(2));
    qint64 bytes = 0;
    for (const QString &path : std::as_const(files)) {
        bytes += QFileInfo(QDir(update_.folder).filePath(path)).size();
    }
    const QStringList transfer = player_.downloadLines(files, bytes); // as long as none is under way
    const auto checked = filesBelow(update_.folder).size() - 1;
    player_.verifyFiles();
    player_.expectLog(
        QStringList{
            Player::line(u"velmo.verify"_s, u"Verification finished: %1 checked, 1 missing, 2 corrupt"_s.arg(checked)),
            warning(u"velmo.game"_s, u"Verification found 3 files needing repair"_s),
            Player::stateLine(u"Repairing files"_s, u"Repairing 3 files"_s)} +
        transfer + player_.recordLines({}));
    player_.expectInstalled();
    player_.keepPicture(u"repaired"_s);
}

void Story::verifyAgain()
{
    const auto count = filesBelow(update_.folder).size();
    player_.verifyFiles();
    player_.expectLog(
        {Player::line(u"velmo.verify"_s, u"Verification finished: %1 checked, 0 missing, 0 corrupt"_s.arg(count)),
         Player::line(u"velmo.game"_s, u"Verification passed: %1 files"_s.arg(count)), player_.recordLines({}).last()});
}

void Story::switchToBeta()
{
    player_.selectBranch(u"beta"_s, u"Beta"_s);
    player_.installOffer();
}

void Story::switchBack()
{
    player_.selectBranch(u"release"_s, u"Release"_s);
    player_.installOffer();
}

void Story::playOffline()
{
    player_.close();
    studio_.stop();
    // As if it had been chosen; a reset forgets that and finds the game all the same.
    player_.presetSetting(u"game"_s, u"installPath"_s, machine_.nameOf(player_.installFolder()));
    startOffline();
    player_.playGame();
    player_.openPage(u"News"_s);
    player_.expectLog({Player::line(u"velmo.net"_s, u"GET \"%1\""_s.arg(studio_.newsAddress())),
                       warning(u"velmo.net"_s, u"Request failed: *"_s),
                       Player::line(u"velmo.ui"_s, u"News feed unavailable, showing bundled articles: *"_s)});
    player_.keepPicture(u"page News offline"_s);
    studio_.serve();
}

void Story::resetSettings()
{
    // By the keyboard, from the field to the button in the last row.
    player_.clickSetting(u"Launch arguments"_s);
    expect(player_.strikeKeys({u"w"_s}) &&
               waitFor([&] { return player_.setting(u"game"_s, u"launchArguments"_s) != ""_L1; }, windowPatienceMs),
           u"The arguments are not kept."_s);
    expect(player_.strikeKeys({u"Tab"_s, u"Tab"_s, u"Tab"_s, u"Tab"_s, u"space"_s}), u"The keyboard is not there."_s);
    player_.answer(WindowTwin::reset, u"Reset settings"_s);
    player_.expectLog({Player::line(u"velmo.config"_s, u"Resetting launcher configuration to defaults"_s),
                       Player::line(u"velmo.ui"_s, u"Launcher settings reset from the settings page"_s)});
    player_.keepPicture(u"reset"_s);
    player_.close();
    expect(player_.setting(u"game"_s, u"launchArguments"_s).toString().isEmpty() &&
               player_.setting(u"game"_s, u"installPath"_s).toString().isEmpty(),
           u"The settings are not the first ones."_s);
    player_.expectInstalled(); // the game is not touched
}

void Story::startOffline()
{
    player_.launch();
    player_.expectLog(player_.startLines() + player_.checkLines().mid(0, 4) +
                      QStringList{warning(u"velmo.net"_s, u"Request failed: *"_s),
                                  warning(u"velmo.update"_s, u"Update check failed: *"_s),
                                  warning(u"velmo.game"_s, u"Update check failed, continuing in offline mode: *"_s)});
}

Build Story::publishNext(const Build &from, const QString &version, int number, const QString &branch)
{
    const Build next = makeNext(from, version, number);
    publish(next, branch);
    return next;
}

Build Story::makeNext(const Build &from, const QString &version, int number) const
{
    const Build next{version, number, QDir(options_.work).filePath(u"builds/"_s + version)};
    copyFolder(from.folder, next.folder);
    options_.tell(u"      %1: %2"_s.arg(version, makeNextBuild(next.folder, options_.program, version).join(u", "_s)));
    return next;
}

void Story::publish(const Build &build, const QString &branch)
{
    studio_.publish(build.folder, branch, build.version, build.number, options_.program);
    player_.setOffer(branch, build);
}

} // namespace velmo::demo
