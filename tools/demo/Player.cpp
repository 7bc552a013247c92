#include "Player.h"

#include "BuildFolder.h"
#include "Hand.h"
#include "Problem.h"

#include "core/Format.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int windowPatienceMs = 60 * 1000;
constexpr int playMs = 20 * 1000; // a real game may not end by itself

QString fileName(const QString &path)
{
    return QFileInfo(path).fileName();
}

} // namespace

Player::Player(Options options, Machine &machine)
    : options_(std::move(options))
    , machine_(machine)
    , album_(options_.screens)
    , launcher_(machine)
{}

void Player::start()
{
    launch();
    expectLog(startLines() + checkLines() + offerLines());
}

void Player::launch(const QStringList &arguments, bool opensToTheTray)
{
    hadSettings_ = QFile::exists(settingsFile());
    launcher_.start(arguments);
    if (!opensToTheTray) {
        expect(launcher_.showsWindow(), u"The window did not appear."_s);
        twin_ =
            twin_ ? std::move(twin_) : std::make_unique<WindowTwin>(launcher_.window().size(), machine_.isWindows());
    }
}

void Player::close()
{
    click(twin_->closeButton());
    expectLog(closingLines());
    waitForEnd();
}

void Player::waitForEnd()
{
    expect(launcher_.waitForEnd(windowPatienceMs) == 0, u"The launcher did not end well."_s);
    const QString more = launcher_.nextLine(0);
    expect(more.isNull(), u"The log goes on: "_s + more);
    const QString wrong = launcher_.malformedLine();
    expect(wrong.isEmpty(), u"This is no line of a log: "_s + wrong);
}

void Player::click(QPoint inWindow) const
{
    expect(inWindow.x() >= 0 && clickAt(launcher_.window().topLeft() + inWindow), u"This cannot be clicked on."_s);
}

void Player::openPage(const QString &tab)
{
    click(twin_->tab(tab));
}

void Player::clickSetting(const QString &label)
{
    openPage(u"Settings"_s);
    click(twin_->setting(label));
}

void Player::answer(const WindowTwin::Question &question, const QString &button)
{
    const QRect place = launcher_.otherWindow(question.title);
    expect(place.isValid(), u"Nothing is asked: "_s + question.title);
    keepScreen(u"question"_s);
    expect(clickAt(place.topLeft() + WindowTwin::questionButton(question, button)) &&
               waitFor([&] { return !launcher_.isOtherWindowSeen(question.title); }, windowPatienceMs),
           u"The question stays: "_s + question.title);
}

bool Player::strikeKeys(const QStringList &keys)
{
    launcher_.takeKeys();
    return strike(keys);
}

/// By the keyboard from the row above: texts break where the machine's fonts break them, and the button is small.
void Player::verifyFiles()
{
    clickSetting(u"Launch arguments"_s);
    expect(strikeKeys({u"Tab"_s, u"space"_s}), u"The keyboard is not there."_s);
    const auto count = filesBelow(installed_.folder).size();
    expectLog({stateLine(u"Verifying files"_s, u"Checking game files"_s),
               line(u"velmo.verify"_s, u"Verifying %1 files in \"<folder>\""_s.arg(count))});
}

void Player::selectBranch(const QString &id, const QString &name)
{
    const QSet<QString> windows = launcher_.visibleWindows();
    click(twin_->branchSelector(branch_));
    const QRect list = launcher_.menuBeside(windows);
    expect(list.isValid(), u"The list of branches did not open."_s);
    keepScreen(u"branches"_s);
    expect(clickAt(list.topLeft() + WindowTwin::branchRow(name)), u"The branch cannot be clicked on: "_s + name);
    expectLog({line(u"velmo.game"_s, u"Switching branch from \"%1\" to \"%2\""_s.arg(branch_, id))});
    branch_ = id;
    expectLog(QStringList{line(u"velmo.game"_s, u"Update channel is \"%1\" -> \"<manifest>\""_s.arg(id)),
                          line(u"velmo.update"_s, u"Checking for updates at \"<manifest>\""_s),
                          line(u"velmo.net"_s, u"GET \"<manifest>\""_s),
                          line(u"velmo.net"_s, u"OK \"<manifest>\" * bytes"_s)} +
              offerLines());
}

void Player::installOffer()
{
    const Difference difference = differenceOf(installed_.folder, offer().folder);
    const QStringList expected = downloadLines(difference.fetched, difference.bytes);
    click(twin_->primaryButton());
    expectLog(expected);
    installed_ = offer();
    expectLog(recordLines(difference.removed));
    expectInstalled();
    keepPicture(u"installed"_s);
}

void Player::playGame()
{
    const QStringList lines = playLines(options_.arguments.isEmpty() ? u"QList()"_s : u"*"_s, u"0 (normal)"_s);
    click(twin_->primaryButton());
    expectLog(lines.mid(0, 3));
    keepScreen(u"the game runs"_s);
    QString ended = nextLine(playMs);
    if (ended.isNull()) {
        options_.tell(u"      the game does not end by itself; closing it"_s);
        launcher_.endChildren();
        expectLog({line(u"velmo.game"_s, u"Game exited with code *"_s)});
    } else {
        expect(matches(lines.at(3), ended), u"The game ended otherwise: "_s + ended);
    }
    expectLog({lines.last()});
}

void Player::keepPicture(const QString &title)
{
    expect(album_.keep(QPixmap::fromImage(launcher_.picture()), title), u"The picture could not be written."_s);
}

void Player::keepScreen(const QString &title)
{
    expect(album_.keepScreen(title), u"The picture of the screen could not be written."_s);
}

void Player::presetSetting(const QString &section, const QString &key, const QJsonValue &value) const
{
    QJsonObject settings = QJsonDocument::fromJson(contentOf(settingsFile())).object();
    QJsonObject part = settings.value(section).toObject();
    part.insert(key, value);
    settings.insert(section, part);
    writeFile(settingsFile(), QJsonDocument(settings).toJson());
}

QJsonValue Player::setting(const QString &section, const QString &key) const
{
    return QJsonDocument::fromJson(contentOf(settingsFile())).object().value(section).toObject().value(key);
}

void Player::expectInstalled() const
{
    QStringList files = filesBelow(installFolder());
    files.removeAll(u".velmo/installed.json"_s);
    expect(files == filesBelow(installed_.folder), u"The installed files are not those of "_s + installed_.folder);
    const Difference difference = differenceOf(installFolder(), installed_.folder);
    expect(difference.fetched.isEmpty(), u"Other content than published: "_s + difference.fetched.value(0));
    options_.tell(u"      %1 files, each the same as published"_s.arg(files.size()));
}

void Player::expectLog(const QStringList &lines)
{
    for (const QString &expected : lines) {
        const QString written = nextLine(options_.patienceMs);
        expect(!written.isNull() && matches(expected, written),
               u"The log is another one.\nexpected: %1\nwritten:  %2"_s.arg(expected, written));
    }
}

void Player::expectAfterFiles(const QString &text)
{
    const QString expected = line(u"velmo.download"_s, text);
    QString written = nextLine(options_.patienceMs);
    while (written != expected) {
        expect(matches(line(u"velmo.download"_s, u"Downloading \"*\""_s), written),
               u"The transfer's log is another one.\nexpected: %1\nwritten:  %2"_s.arg(expected, written));
        written = nextLine(options_.patienceMs);
    }
}

/// A change of state is told to whoever watches.
QString Player::nextLine(int timeoutMs)
{
    static const QRegularExpression state(u"State: \"(.*)\" - \"(.*)\"$"_s);
    QString next = launcher_.nextLine(timeoutMs);
    const QRegularExpressionMatch match = state.match(next);
    if (match.hasMatch()) {
        options_.tell(u"      %1 - %2"_s.arg(match.captured(1), match.captured(2)));
    }
    return next;
}

bool Player::matches(const QString &pattern, const QString &line) const
{
    QString text = pattern;
    text.replace("<data>"_L1, machine_.nameOf(machine_.dataFolder()));
    text.replace("<program>"_L1, machine_.nameOf(machine_.programFolder()));
    text.replace("<folder>"_L1, machine_.nameOf(installFolder()));
    text.replace("<manifest>"_L1, options_.manifestAddress(branch_));
    const QString expression = QRegularExpression::escape(text).replace("\\*"_L1, ".*"_L1);
    return QRegularExpression(QRegularExpression::anchoredPattern(expression)).match(line).hasMatch();
}

QString Player::line(const QString &category, const QString &text, const QString &level)
{
    return u"[%1] %2%3"_s.arg(level, category.leftJustified(16), text);
}

QString Player::stateLine(const QString &state, const QString &detail)
{
    return line(u"velmo.game"_s, u"State: \"%1\" - \"%2\""_s.arg(state, detail));
}

QStringList Player::startLines() const
{
    const QString settings =
        hadSettings_ ? u"Loaded configuration from"_s : u"No existing configuration, starting from defaults:"_s;
    QStringList lines = {
        line(u"velmo.app"_s, u"Velmo Games Launcher \"0.1.0\" starting"_s),
        line(u"velmo.app"_s, u"Host: \"*\" \"*\""_s),
        line(u"velmo.app"_s, u"Qt: %1 TLS: available"_s.arg(machine_.qtVersion())),
        line(u"velmo.app"_s, u"Data directory: \"<data>\""_s),
        line(u"velmo.config"_s, settings + u" \"<data>/launcher.json\""_s),
    };
    lines += QStringList(8, line(u"velmo.ui"_s, u"Loaded bundled font \"*\" QList(\"*\")"_s));
    lines += {
        line(u"velmo.ui"_s, u"Type: \"Inter\" / \"Inter\" / \"Inter\" / \"JetBrains Mono\""_s),
        line(u"velmo.app"_s, u"Applying game profile override from \"<program>/game.json\""_s),
        line(u"velmo.game"_s, u"Update channel is \"%1\" -> \"<manifest>\""_s.arg(branch_)),
    };
    if (setting(u"launcher"_s, u"minimizeToTray"_s).toBool()) {
        lines += line(u"velmo.ui"_s, u"Tray icon active"_s);
    }
    return lines + QStringList{line(u"velmo.account"_s, u"No account service is configured for this build"_s)};
}

QStringList Player::checkLines() const
{
    return {
        installed_.folder.isEmpty() ? stateLine(u"Not installed"_s, u"Not installed"_s) : restingState(),
        line(u"velmo.update"_s, u"Checking for updates at \"<manifest>\""_s),
        line(u"velmo.net"_s, u"GET \"<manifest>\""_s),
        line(u"velmo.app"_s, u"Launcher ready. Game profile: \"HARROWFEN\""_s),
        line(u"velmo.net"_s, u"OK \"<manifest>\" * bytes"_s),
    };
}

QStringList Player::offerLines() const
{
    const Difference difference = differenceOf(installed_.folder, offer().folder);
    if (difference.fetched.isEmpty()) {
        return {line(u"velmo.update"_s, u"No update available; on build %1"_s.arg(offer().number))};
    }
    const QString size = formatBytes(difference.bytes);
    return {line(u"velmo.update"_s, u"Update available: \"%1\" build %2 - %3 files, %4 bytes"_s.arg(offer().version)
                                        .arg(offer().number)
                                        .arg(difference.fetched.size())
                                        .arg(difference.bytes)),
            installed_.folder.isEmpty() ? stateLine(u"Not installed"_s, size + u" required"_s)
                                        : stateLine(u"Update available"_s, size + u" to download"_s)};
}

QStringList Player::downloadLines(const QStringList &files, qint64 bytes) const
{
    QStringList lines = {
        stateLine(u"Downloading"_s, formatBytes(bytes) + u" to download"_s),
        line(u"velmo.download"_s,
             u"Starting download of %1 files, %2 bytes into \"<folder>\""_s.arg(files.size()).arg(bytes)),
    };
    for (const QString &path : files) {
        const qint64 kept = QFileInfo(installFolder() + u'/' + path + u".part"_s).size();
        lines += line(u"velmo.download"_s, kept > 0 ? u"Resuming \"%1\" from byte %2"_s.arg(fileName(path)).arg(kept)
                                                    : u"Downloading \"%1\""_s.arg(fileName(path)));
    }
    return lines + QStringList{line(u"velmo.download"_s, u"Download job complete"_s),
                               stateLine(u"Installing"_s, u"Finishing installation"_s)};
}

QStringList Player::recordLines(const QStringList &removed) const
{
    QStringList lines;
    for (const QString &path : removed) {
        lines += line(u"velmo.game"_s, u"Removed file no longer in the build: \"%1\""_s.arg(path));
    }
    lines += line(u"velmo.game"_s,
                  u"Recorded installed build \"%1\" ( %2 )"_s.arg(installed_.version).arg(installed_.number));
    return lines + QStringList{restingState()};
}

QStringList Player::playLines(const QString &arguments, const QString &code) const
{
    return {
        stateLine(u"Launching"_s, u"Starting HARROWFEN"_s),
        line(u"velmo.game"_s, u"Launching \"<folder>/%1\" %2"_s.arg(options_.program, arguments)),
        stateLine(u"Running"_s, u"HARROWFEN is running"_s),
        line(u"velmo.game"_s, u"Game exited with code "_s + code),
        restingState(),
    };
}

QStringList Player::closingLines()
{
    return {line(u"velmo.app"_s, u"Launcher closing"_s), line(u"velmo.app"_s, u"Launcher stopped"_s)};
}

QString Player::restingState() const
{
    return stateLine(u"Installed"_s, u"Version %1 installed"_s.arg(installed_.version));
}

} // namespace velmo::demo
