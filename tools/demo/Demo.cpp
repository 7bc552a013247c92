#include "Demo.h"

#include "BuildFolder.h"
#include "Hand.h"

#include "core/ConfigManager.h"
#include "pages/SettingsPage.h"
#include "shell/MainWindow.h"
#include "shell/NavTab.h"
#include "shell/TitleBarButton.h"
#include "shell/TrayIcon.h"
#include "widgets/ChannelSelector.h"
#include "widgets/NewsCard.h"
#include "widgets/PrimaryButton.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QScrollArea>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int playTimeoutMs = 20 * 1000; // a real game may not end by itself
constexpr int tabChangeMs = 300;
constexpr int trayTimeoutMs = 2000; // then the icon has moved to its place
constexpr int trayClicks = 10;
constexpr qint64 lineBytesPerSecond = 40'000'000;

constexpr int firstBuild = 100;
constexpr int updateBuild = 110;
constexpr int betaBuild = 120;

constexpr std::array<Branch, 2> branches = {{
    {u"release", u"Release", u"What everyone plays."},
    {u"beta", u"Beta", u"The next build, a week early."},
}};

const QString firstVersion = u"1.0.0"_s;
const QString updateVersion = u"1.1.0"_s;
const QString betaVersion = u"1.2.0-beta"_s;

void say(const QString &text)
{
    std::fputs((text + u'\n').toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

bool complain(const QString &text)
{
    say(u"   !! "_s + text);
    return false;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool sameContent(const QString &a, const QString &b)
{
    constexpr qint64 blockBytes = qint64{1024} * 1024;
    QFile left(a);
    QFile right(b);
    if (!left.open(QIODevice::ReadOnly) || !right.open(QIODevice::ReadOnly) || left.size() != right.size()) {
        return false;
    }
    while (!left.atEnd()) {
        if (left.read(blockBytes) != right.read(blockBytes)) {
            return false;
        }
    }
    return true;
}

bool flipLastByte(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || file.size() < 1 || !file.seek(file.size() - 1)) {
        return false;
    }
    const char flipped = static_cast<char>(file.read(1).at(0) ^ 0x55);
    return file.seek(file.size() - 1) && file.write(&flipped, 1) == 1;
}

bool isResting(GameState state)
{
    return state == GameState::NotInstalled || state == GameState::Installed || state == GameState::UpdateAvailable ||
           state == GameState::Error;
}

} // namespace

Demo::Demo(Options options)
    : options_(std::move(options))
    , album_(options_.screens)
{}

bool Demo::play()
{
    const std::pair<QString, bool (Demo::*)()> story[] = {
        {u"Make the builds"_s, &Demo::makeBuilds},
        {u"Publish build 1.0.0 on the release branch"_s, &Demo::publishFirstBuild},
        {u"Serve the content tree over TLS on loopback"_s, &Demo::serve},
        {u"Start the launcher for the first time"_s, &Demo::firstStart},
        {u"Begin to install and cancel"_s, &Demo::cancelInstall},
        {u"Install the game"_s, &Demo::install},
        {u"Look at every page"_s, &Demo::visitPages},
        {u"Read the news"_s, &Demo::readNews},
        {u"Play"_s, &Demo::playGame},
        {u"Hide in the tray and come back"_s, &Demo::hideToTray},
        {u"Publish build 1.1.0, and 1.2.0-beta on the beta branch"_s, &Demo::publishUpdate},
        {u"Close the launcher and start it again"_s, &Demo::restart},
        {u"Update"_s, &Demo::update},
        {u"Damage two files and delete one"_s, &Demo::damage},
        {u"Verify and repair"_s, &Demo::repair},
        {u"Verify once more"_s, &Demo::verifyAgain},
        {u"Switch to the beta branch"_s, &Demo::switchToBeta},
        {u"Switch back"_s, &Demo::switchBack},
        {u"Stop the server, start the launcher and play"_s, &Demo::playOffline},
        {u"Reset the settings"_s, &Demo::resetSettings},
    };
    int number = 0;
    for (const auto &[title, step] : story) {
        say(u"\n%1. %2"_s.arg(QString::number(++number), title));
        if (!(this->*step)()) {
            return complain(u"Step %1 did not end where it should."_s.arg(number));
        }
        if (launcher_ && !album_.keepScreen(u"step %1 %2"_s.arg(QString::number(number), title))) {
            return complain(u"The picture of the screen could not be written."_s);
        }
    }
    launcher_.reset();
    say(u"\nEvery step ended where it should."_s);
    return true;
}

bool Demo::open()
{
    if (!makeBuilds() || !publishFirstBuild() ||
        !publish(buildFolder(updateVersion), u"beta"_s, updateVersion, updateBuild) || !serve()) {
        return false;
    }
    launcher_ = std::make_unique<LauncherSession>(installFolder());
    launcher_->game().start();
    QApplication::exec();
    launcher_.reset();
    return true;
}

bool Demo::makeBuilds()
{
    QDir(options_.work).removeRecursively();
    const QString first = buildFolder(firstVersion);
    const QString ownProgram = QStringLiteral(VELMO_DEMO_GAME);
    if (options_.game.isEmpty()) {
        if (!generateGame(first, ownProgram)) {
            return complain(u"The game could not be generated in "_s + first);
        }
    } else if (!copyFolder(options_.game, first)) {
        return complain(u"The folder %1 could not be copied."_s.arg(options_.game));
    }
    if (options_.program.isEmpty()) {
        options_.program = QFileInfo(ownProgram).fileName();
        const QString target = QDir(first).filePath(options_.program);
        if (!QFile::exists(target) && !QFile::copy(ownProgram, target)) {
            return complain(u"The program could not be put at "_s + target);
        }
    }
    for (const auto &[from, to] : {std::pair(firstVersion, updateVersion), std::pair(updateVersion, betaVersion)}) {
        const bool copied = copyFolder(buildFolder(from), buildFolder(to));
        const QStringList changes = copied ? makeNextBuild(buildFolder(to), options_.program, to) : QStringList();
        if (changes.isEmpty()) {
            return complain(u"Build %1 could not be made; a game needs five files or more."_s.arg(to));
        }
        say(u"      %1: %2"_s.arg(to, changes.join(u", "_s)));
    }
    return true;
}

bool Demo::publishFirstBuild()
{
    return publish(buildFolder(firstVersion), u"release"_s, firstVersion, firstBuild);
}

bool Demo::serve()
{
    if (!startServer(0)) {
        return false;
    }
    studio_.setDocument(u"/api/v1/news"_s, contentOf(u":/demo/news.json"_s));
    studio_.setDocument(u"/api/v1/status"_s, R"({"status":"online"})");
    say(u"      "_s + studio_.url(u"/"_s).toString());

    QSslConfiguration trust = QSslConfiguration::defaultConfiguration();
    trust.addCaCertificate(QSslCertificate(contentOf(u":/certificates/authority.pem"_s), QSsl::Pem));
    QSslConfiguration::setDefaultConfiguration(trust);
    return writeProfile();
}

bool Demo::startServer(quint16 port)
{
    studio::StudioServer::Options server;
    server.root = QDir(options_.work).filePath(u"tree"_s);
    server.certificateChain = contentOf(u":/certificates/server-chain.pem"_s);
    server.privateKey = contentOf(u":/certificates/server.key"_s);
    server.bytesPerSecond = lineBytesPerSecond;
    server.port = port;
    QString error;
    return studio_.start(server, &error) || complain(error);
}

bool Demo::firstStart()
{
    return startLauncher(GameState::NotInstalled) &&
           (launcher_->game().detail().endsWith(u" required"_s) || complain(u"The size to install is not shown."_s));
}

bool Demo::cancelInstall()
{
    const auto underWay = [this] { return launcher_->game().state() == GameState::Downloading; };
    if (!launcher_->run([this] { press(u"INSTALL"_s); }, underWay, stepTimeoutMs)) {
        return complain(u"The install did not begin."_s);
    }
    const auto cancel = [this] { clickButton(launcher_->window(), u"Cancel"_s); };
    return settlesAt(cancel, GameState::NotInstalled) && passedExactly({GameState::NotInstalled});
}

bool Demo::install()
{
    return installPending(firstVersion) && installedFilesAreThoseOf(buildFolder(firstVersion));
}

bool Demo::playGame()
{
    GameManager &game = launcher_->game();
    launcher_->config().setValue(u"game.launchArguments"_s, options_.arguments);
    const auto ended = [&game] { return game.state() != GameState::Launching && game.state() != GameState::Running; };
    const auto begun = [this] { return !launcher_->passed().isEmpty(); };
    QTimer picture;
    picture.setSingleShot(true);
    QObject::connect(&picture, &QTimer::timeout, &picture, [this] { album_.keepScreen(u"the game runs"_s); });
    picture.start(1000);
    const bool endedByItself =
        launcher_->run([this] { press(u"PLAY"_s); }, [&] { return begun() && ended(); }, playTimeoutMs);
    if (!endedByItself) {
        say(u"      the game does not end by itself; closing it"_s);
        const QList<LauncherSession::Step> before = launcher_->passed();
        const auto close = [&game] { game.findChild<QProcess *>()->terminate(); };
        if (!launcher_->run(close, ended, playTimeoutMs)) {
            return complain(u"The game did not end."_s);
        }
        return before.size() == 2 && before.at(1).state == GameState::Running && game.state() == GameState::Installed;
    }
    return passedExactly({GameState::Launching, GameState::Running, GameState::Installed});
}

bool Demo::hideToTray()
{
    if (!TrayIcon::isSupported()) {
        say(u"      there is no tray here"_s);
        return true;
    }
    MainWindow &window = launcher_->window();
    const auto boxes = window.findChildren<QCheckBox *>();
    const auto box = std::find_if(boxes.begin(), boxes.end(), [](const QCheckBox *candidate) {
        return candidate->accessibleName() == "Minimise to the system tray"_L1;
    });
    const auto iconIsThere = [&window] {
        const auto *icon = window.findChild<QSystemTrayIcon *>();
        return icon && icon->geometry().width() > 4 && icon->geometry().x() > 0;
    };
    if (box == boxes.end() || !openPage(u"Settings"_s) || !clickSetting(*box) || !waitFor(iconIsThere)) {
        return complain(u"There is no icon in the tray."_s);
    }
    const auto *minimise = window.findChild<TitleBarButton *>();
    if (!click(*minimise) || !waitFor([&window] { return window.isHidden(); })) {
        return complain(u"The window did not hide."_s);
    }
    album_.keepScreen(u"in the tray"_s);
    const auto isBack = [&window] { return window.isVisible() && window.windowHandle()->isExposed(); };
    for (int i = 0; i < trayClicks && !isBack(); ++i) {
        clickAt(window.findChild<QSystemTrayIcon *>()->geometry().center());
        launcher_->run([] {}, isBack, trayTimeoutMs);
    }
    if (!isBack()) {
        return complain(u"The window did not come back."_s);
    }
    keepWindow(u"page Settings with tray"_s);
    return clickSetting(*box) && openPage(u"Home"_s);
}

bool Demo::publishUpdate()
{
    return publish(buildFolder(updateVersion), u"release"_s, updateVersion, updateBuild) &&
           publish(buildFolder(betaVersion), u"beta"_s, betaVersion, betaBuild);
}

bool Demo::restart()
{
    launcher_.reset();
    return startLauncher(GameState::UpdateAvailable);
}

bool Demo::update()
{
    return installPending(updateVersion) && installedFilesAreThoseOf(buildFolder(updateVersion));
}

bool Demo::visitPages()
{
    for (const QString &tab : {u"Community"_s, u"Settings"_s, u"Home"_s}) {
        if (!openPage(tab)) {
            return false;
        }
        keepWindow(u"page "_s + tab);
    }
    return true;
}

bool Demo::readNews()
{
    const auto cardsOf = [](const MainWindow &window) { return window.findChildren<NewsCard *>(); };
    const auto liveFeedShown = [&] {
        return cardsOf(launcher_->window()).size() == 5 && cardsOf(launcher_->smallestWindow()).size() == 5;
    };
    if (!openPage(u"News"_s) || !waitFor(liveFeedShown)) {
        return complain(u"The live feed did not arrive."_s);
    }
    keepWindow(u"page News"_s);
    const NewsCard *first = cardsOf(launcher_->window()).constFirst();
    QObject::connect(first, &NewsCard::activated, cardsOf(launcher_->smallestWindow()).constFirst(),
                     &NewsCard::activated);
    if (!click(*first) || !windowShows(u"Lantern week begins on Friday"_s)) {
        return complain(u"The first article did not open."_s);
    }
    keepWindow(u"article"_s);
    return openPage(u"Home"_s);
}

bool Demo::damage()
{
    QStringList files = largestFilesBelow(buildFolder(updateVersion));
    files.removeAll(options_.program);
    if (files.size() < 3 || QFileInfo(QDir(installFolder()).filePath(files.at(2))).size() < 2) {
        return complain(u"The game has too few files to damage."_s);
    }
    const QDir installed(installFolder());
    const QString flipped = installed.filePath(files.at(0));
    const QString shortened = installed.filePath(files.at(1));
    const QString deleted = installed.filePath(files.at(2));
    QFile shorter(shortened);
    if (!flipLastByte(flipped) || !shorter.resize(shorter.size() - 1) || !QFile::remove(deleted)) {
        return complain(u"The files could not be damaged."_s);
    }
    say(u"      flipped a byte of %1\n      shortened %2\n      deleted %3"_s.arg(files.at(0), files.at(1),
                                                                                  files.at(2)));
    return true;
}

bool Demo::repair()
{
    const auto verify = [this] { verifyFiles(); };
    if (!settlesAt(verify, GameState::Installed) ||
        !passedExactly({GameState::Verifying, GameState::Repairing, GameState::Downloading, GameState::Installing,
                        GameState::Installed})) {
        return false;
    }
    const VerificationResult &found = launcher_->verification();
    if (found.missing.size() != 1 || found.corrupt.size() != 2) {
        return complain(
            u"%1 missing and %2 damaged files were found."_s.arg(found.missing.size()).arg(found.corrupt.size()));
    }
    return installedFilesAreThoseOf(buildFolder(updateVersion));
}

bool Demo::verifyAgain()
{
    const auto verify = [this] { verifyFiles(); };
    return settlesAt(verify, GameState::Installed) && passedExactly({GameState::Verifying, GameState::Installed}) &&
           (launcher_->verification().filesNeedingRepair().isEmpty() || complain(u"Damage is left."_s));
}

bool Demo::switchToBeta()
{
    return selectBranch(branches.at(1)) && installPending(betaVersion) &&
           installedFilesAreThoseOf(buildFolder(betaVersion));
}

bool Demo::switchBack()
{
    return selectBranch(branches.at(0)) && installPending(updateVersion) &&
           installedFilesAreThoseOf(buildFolder(updateVersion));
}

bool Demo::playOffline()
{
    launcher_.reset();
    const quint16 port = studio_.port();
    studio_.stop();
    return startLauncher(GameState::Installed, ServiceStatus::Offline) && playGame() && startServer(port);
}

bool Demo::resetSettings()
{
    if (!openPage(u"Settings"_s)) {
        return false;
    }
    // The click holds on until the dialog is answered, so whoever answers waits already, and clicks again if need be.
    constexpr int mostClicks = 10;
    int clicks = 0;
    QTimer answer;
    answer.setSingleShot(true);
    QObject::connect(&answer, &QTimer::timeout, &answer, [this, &answer, &clicks] {
        QWidget *dialog = QApplication::activeModalWidget();
        if (dialog && clicks == mostClicks) {
            dialog->close();
        } else if (dialog && dialog->windowHandle()->isExposed()) {
            ++clicks;
            album_.keepScreen(u"question"_s);
            clickButton(*dialog, u"Reset settings"_s);
        }
        answer.start();
    });
    answer.start(200);
    if (!clickButton(launcher_->window(), u"Reset"_s) || !launcher_->game().installPath().isEmpty() ||
        !launcher_->config().stringValue(u"game.launchArguments"_s, {}).isEmpty()) {
        return complain(u"The settings are not the first ones."_s);
    }
    return installedFilesAreThoseOf(buildFolder(updateVersion)); // the game is not touched
}

bool Demo::publish(const QString &folder, const QString &channel, const QString &version, int build)
{
    QProcess publisher;
    publisher.setProcessChannelMode(QProcess::ForwardedChannels);
    publisher.start(QStringLiteral(VELMO_PUBLISH_PROGRAM),
                    {u"--source"_s, folder, u"--out"_s, QDir(options_.work).filePath(u"tree"_s), u"--channel"_s,
                     channel, u"--version"_s, version, u"--build"_s, QString::number(build), u"--executable"_s,
                     options_.program});
    publisher.waitForFinished(-1);
    return (publisher.exitStatus() == QProcess::NormalExit && publisher.exitCode() == 0) ||
           complain(u"velmo-publish failed."_s);
}

/// The launcher finds the studio through a profile beside the program, as a tester's launcher would.
bool Demo::writeProfile() const
{
    QJsonArray channels;
    for (const Branch &branch : branches) {
        const QString manifest = u"/harrowfen/%1/manifest.json"_s.arg(branch.id);
        channels.append(QJsonObject{{u"id"_s, branch.id.toString()},
                                    {u"name"_s, branch.name.toString()},
                                    {u"description"_s, branch.description.toString()},
                                    {u"manifest"_s, studio_.url(manifest).toString()}});
    }
    const QJsonObject endpoints{{u"news"_s, studio_.url(u"/api/v1/news"_s).toString()},
                                {u"status"_s, studio_.url(u"/api/v1/status"_s).toString()}};
    const QJsonObject profile{
        {u"executable"_s, options_.program}, {u"channels"_s, channels}, {u"endpoints"_s, endpoints}};
    const QByteArray bytes = QJsonDocument(profile).toJson();
    QFile file(QDir(QCoreApplication::applicationDirPath()).filePath(u"game.json"_s));
    return (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) ||
           complain(u"The profile could not be written to "_s + file.fileName());
}

bool Demo::startLauncher(GameState resting, ServiceStatus service)
{
    launcher_ = std::make_unique<LauncherSession>(installFolder());
    watchWindow();
    const auto checked = [this] { return launcher_->serviceStatus() != ServiceStatus::Connecting; };
    const auto exposed = [this] { return launcher_->window().windowHandle()->isExposed(); };
    if (!waitFor(exposed)) {
        return complain(u"The window did not appear."_s);
    }
    if (!launcher_->run([this] { launcher_->game().start(); }, checked, stepTimeoutMs) ||
        launcher_->serviceStatus() != service) {
        return complain(u"The check for updates did not end as it should."_s);
    }
    return launcher_->game().state() == resting;
}

/// Clicks on the primary button once it stands there with \a caption and can be clicked on.
bool Demo::press(const QString &caption)
{
    const auto *button = launcher_->window().findChild<PrimaryButton *>();
    return (button->text() == caption && click(*button)) || complain(u"The button does not offer "_s + caption);
}

/// Clicks on the tab, and lets the window of the smallest pictures follow.
bool Demo::openPage(const QString &tab)
{
    const auto tabIn = [&tab](const MainWindow &window) {
        const QList<NavTab *> tabs = window.findChildren<NavTab *>();
        const auto found = std::find_if(tabs.begin(), tabs.end(),
                                        [&tab](const NavTab *candidate) { return candidate->text() == tab; });
        return found == tabs.end() ? nullptr : *found;
    };
    const NavTab *real = tabIn(launcher_->window());
    if (!real || !click(*real) || !waitFor([real] { return real->isChecked(); })) {
        return complain(u"The page %1 did not open."_s.arg(tab));
    }
    tabIn(launcher_->smallestWindow())->click();
    QElapsedTimer change; // what is seen of it takes its time
    change.start();
    return waitFor([&change] { return change.hasExpired(tabChangeMs); });
}

bool Demo::verifyFiles()
{
    return openPage(u"Settings"_s) && clickButton(launcher_->window(), u"Verify files"_s);
}

/// Scrolls to \a control of the settings page and clicks on it.
bool Demo::clickSetting(const QWidget *control)
{
    auto *page = launcher_->window().findChild<SettingsPage *>();
    page->findChild<QScrollArea *>()->ensureWidgetVisible(const_cast<QWidget *>(control));
    return click(*control);
}

bool Demo::clickButton(const QWidget &window, const QString &caption)
{
    const QList<QPushButton *> buttons = window.findChildren<QPushButton *>();
    for (const QPushButton *button : buttons) {
        if (button->text() == caption && button->isVisible()) {
            const auto *page = launcher_->window().findChild<SettingsPage *>();
            return page->isAncestorOf(button) ? clickSetting(button) : click(*button);
        }
    }
    return complain(u"There is no button "_s + caption);
}

/// Opens the list in the title bar and clicks on the branch.
bool Demo::chooseBranch(const QString &name)
{
    const auto *selector = launcher_->window().findChild<ChannelSelector *>();
    const auto opened = [] { return QApplication::activePopupWidget() != nullptr; };
    if (!click(*selector) || !waitFor(opened)) {
        return complain(u"The list of branches did not open."_s);
    }
    album_.keepScreen(u"branches"_s);
    const QList<QWidget *> rows = QApplication::activePopupWidget()->findChildren<QWidget *>();
    for (const QWidget *row : rows) {
        if (row->accessibleName() == name) {
            return click(*row);
        }
    }
    return complain(u"The list does not hold the branch "_s + name);
}

/// Keeps a picture of the window in each state, and compares what it shows with the state.
void Demo::watchWindow()
{
    QObject::connect(launcher_.get(), &LauncherSession::stateShown, launcher_.get(),
                     [this](GameState state, const QString &detail) {
                         keepWindow(GameManager::stateLabel(state));
                         windowDeviated_ = windowDeviated_ || !windowShows(detail);
                     });
}

/// As it stands on the screen, and at its smallest.
void Demo::keepWindow(const QString &title)
{
    album_.keep(launcher_->window().grab(), title);
    album_.keep(launcher_->smallestWindow().grab(), title + u" smallest"_s);
}

bool Demo::windowShows(const QString &text) const
{
    const QList<QLabel *> labels = launcher_->window().findChildren<QLabel *>();
    return std::any_of(labels.begin(), labels.end(),
                       [&text](const QLabel *label) { return label->isVisible() && label->text() == text; }) ||
           complain(u"The window does not show: "_s + text);
}

bool Demo::installPending(const QString &version)
{
    const QString caption = launcher_->game().state() == GameState::NotInstalled ? u"INSTALL"_s : u"UPDATE"_s;
    return settlesAt([this, caption] { press(caption); }, GameState::Installed) &&
           passedExactly({GameState::Downloading, GameState::Installing, GameState::Installed}) &&
           (launcher_->game().installedVersion() == version || complain(u"Another version is installed."_s));
}

bool Demo::selectBranch(const Branch &branch)
{
    GameManager &game = launcher_->game();
    const auto offered = [this, &game] {
        return launcher_->serviceStatus() != ServiceStatus::Connecting && game.state() == GameState::UpdateAvailable;
    };
    return (launcher_->run([this, &branch] { chooseBranch(branch.name.toString()); }, offered, stepTimeoutMs) &&
            game.currentChannelId() == branch.id) ||
           complain(u"The branch's build was not offered."_s);
}

/// Runs \a action and waits for the state to leave rest and come back to it.
bool Demo::settlesAt(const std::function<void()> &action, GameState resting)
{
    const auto settled = [this] {
        return !launcher_->passed().isEmpty() && isResting(launcher_->passed().constLast().state);
    };
    if (!launcher_->run(action, settled, stepTimeoutMs)) {
        return complain(u"The step did not come to rest."_s);
    }
    if (!launcher_->lastError().isEmpty() || windowDeviated_ || launcher_->game().state() != resting) {
        return complain(u"The state is "_s + GameManager::stateLabel(launcher_->game().state()));
    }
    return true;
}

bool Demo::passedExactly(const QList<GameState> &expected) const
{
    QList<GameState> passed;
    for (const LauncherSession::Step &step : launcher_->passed()) {
        passed.append(step.state);
    }
    return passed == expected || complain(u"Other states were passed than expected."_s);
}

bool Demo::installedFilesAreThoseOf(const QString &folder) const
{
    QStringList installed = filesBelow(installFolder());
    installed.removeAll(u".velmo/installed.json"_s);
    if (installed != filesBelow(folder)) {
        return complain(u"The installed files are not those of "_s + folder);
    }
    for (const QString &path : std::as_const(installed)) {
        if (!sameContent(QDir(installFolder()).filePath(path), QDir(folder).filePath(path))) {
            return complain(u"Other content than published: "_s + path);
        }
    }
    say(u"      %1 files, each the same as published"_s.arg(installed.size()));
    return true;
}

QString Demo::buildFolder(const QString &version) const
{
    return QDir(options_.work).filePath(u"builds/"_s + version);
}

QString Demo::installFolder() const
{
    return QDir(options_.work).filePath(u"installed"_s);
}

} // namespace velmo::demo
