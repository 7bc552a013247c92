#include "shell/MainWindow.h"

#include "core/ConfigManager.h"
#include "core/Logging.h"
#include "data/GameProfile.h"
#include "game/GameManager.h"
#include "pages/CommunityPage.h"
#include "pages/HomePage.h"
#include "pages/NewsPage.h"
#include "pages/SettingsPage.h"
#include "shell/ActionBar.h"
#include "shell/PageStack.h"
#include "shell/TitleBar.h"
#include "shell/TrayIcon.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ModalDialog.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr std::chrono::seconds longestReturn{5}; // from the tray to the screen, on a busy machine

bool reachesAnyScreen(const QRect &rect)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    return std::any_of(screens.begin(), screens.end(),
                       [&rect](const QScreen *screen) { return screen->availableGeometry().intersects(rect); });
}

} // namespace

MainWindow::MainWindow(ConfigManager *config, GameManager *game, ApiClient *api, QWidget *parent)
    : FramelessWindow(parent)
    , config(config)
    , game(game)
{
    setWindowTitle(gameProfile().title);
    setObjectName(u"RootSurface"_s);
    build(api);
    connectParts();
    connectTray();
    actionBar->setServiceStatus(ServiceStatus::Connecting, QString());
    restoreGeometryFromConfig();
    if (stack->count() > 0) {
        showPage(0);
    }
}

void MainWindow::restoreFromTray()
{
    if (isHidden()) {
        returning.start();
    }
    // Shown again as it was hidden, some window managers would take it for minimised once more. Not before this moment:
    // under X11, a window that ceases to be minimised comes to the screen.
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    if (config->boolValue(u"window.maximized"_s, false)) {
        showMaximized();
    } else {
        showNormal();
    }
    raise();
    activateWindow();
}

void MainWindow::changeEvent(QEvent *event)
{
    FramelessWindow::changeEvent(event);
    if (isActiveWindow() && !isMinimized()) {
        returning.stop();
    }
    if (event->type() == QEvent::WindowStateChange && !hidingToTray && isMinimized() && trayIcon->isVisible()) {
        // Not from within the change itself: the window system is still in the middle of it.
        QTimer::singleShot(0, this, &MainWindow::hideIfMinimized);
    }
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (isTransfer(game->state())) {
        const bool agreed = ModalDialog::confirm(
            this, u"Close the launcher"_s,
            u"A download is still in progress.\n\nClosing now keeps everything downloaded so far and resumes where it "
            "left off the next time you open the launcher."_s,
            u"Close anyway"_s);
        if (!agreed) {
            event->ignore();
            return;
        }
        game->cancelOperation();
    }
    saveGeometryToConfig();
    config->save();
    qCInfo(lcApp) << "Launcher closing";
    event->accept();
    if (trayIcon->isVisible()) {
        QCoreApplication::quit(); // with an icon in the tray, the last window's close would not end the program
    }
}

void MainWindow::build(ApiClient *api)
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    // Made from top to bottom, which is also the order in which the keyboard goes through them.
    titleBar = new TitleBar(this);
    titleBar->setVersionText(u"Launcher %1"_s.arg(QCoreApplication::applicationVersion()));
    column->addWidget(titleBar);
    addCaptionRegion(titleBar);
    stack = new PageStack(this);
    stack->setObjectName(u"ContentArea"_s);
    buildPages(api);
    column->addWidget(stack, 1);
    actionBar = new ActionBar(game, this);
    column->addWidget(actionBar);
}

void MainWindow::buildPages(ApiClient *api)
{
    homePage = new HomePage(game, stack);
    newsPage = new NewsPage(api, stack);
    communityPage = new CommunityPage(stack);
    settingsPage = new SettingsPage(config, game, stack);
    // In the order of NavPage.
    stack->addWidget(homePage);
    stack->addWidget(newsPage);
    stack->addWidget(communityPage);
    stack->addWidget(settingsPage);
}

void MainWindow::connectParts()
{
    connect(titleBar, &TitleBar::minimizeRequested, this, &QWidget::showMinimized);
    connect(titleBar, &TitleBar::maximizeRestoreRequested, this, &FramelessWindow::toggleMaximized);
    connect(titleBar, &TitleBar::closeRequested, this, &QWidget::close);
    connect(this, &FramelessWindow::maximizedChanged, titleBar, &TitleBar::setMaximized);
    connect(titleBar, &TitleBar::pageRequested, this, [this](NavPage page) { showPage(static_cast<int>(page)); });
    ChannelSelector *selector = titleBar->channelSelector();
    selector->setChannelId(game->currentChannelId());
    connect(selector, &ChannelSelector::channelSelected, game, &GameManager::selectChannel);
    connect(game, &GameManager::channelChanged, selector, &ChannelSelector::setChannelId);
    connect(game, &GameManager::serviceStatusChanged, actionBar, &ActionBar::setServiceStatus);
    connect(game, &GameManager::errorOccurred, this, &MainWindow::presentError);
    connect(game, &GameManager::stateChanged, this, &MainWindow::updateWindowTitle);
}

void MainWindow::connectTray()
{
    trayIcon = new TrayIcon(config, game, this);
    returning.setSingleShot(true);
    returning.setInterval(longestReturn);
    connect(&returning, &QTimer::timeout, this, &MainWindow::hideIfMinimized);
    connect(trayIcon, &TrayIcon::restoreRequested, this, &MainWindow::restoreFromTray);
    connect(trayIcon, &TrayIcon::quitRequested, this, &MainWindow::quitFromTray);
    connect(config, &ConfigManager::changed, this, [this](const QString &key) {
        if (key == "launcher.minimizeToTray"_L1) {
            followTraySetting();
        }
    });
    trayIcon->setEnabled(config->boolValue(u"launcher.minimizeToTray"_s, false));
    connect(game, &GameManager::stateChanged, this, [this](GameState state) {
        if (state == GameState::Running && trayIcon->isVisible() && !isHidden()) {
            hideToTray();
        }
    });
}

void MainWindow::showPage(int index)
{
    if (index < 0 || index >= stack->count()) {
        return;
    }
    stack->setCurrentIndex(index);
    titleBar->setActivePage(index);
    if (auto *page = qobject_cast<Page *>(stack->widget(index))) {
        page->onPageShown();
    }
}

void MainWindow::hideToTray()
{
    if (!trayIcon->isVisible()) {
        return;
    }
    returning.stop();
    hidingToTray = true;
    saveGeometryToConfig();
    hide();
    trayIcon->showHiddenNotice();
    hidingToTray = false;
}

/// Leaves a window on its way back alone; the question comes once more when it has had the time to arrive.
void MainWindow::hideIfMinimized()
{
    if (!returning.isActive() && isMinimized() && trayIcon->isVisible()) {
        hideToTray();
    }
}

void MainWindow::followTraySetting()
{
    trayIcon->setEnabled(config->boolValue(u"launcher.minimizeToTray"_s, false));
    if (!trayIcon->isVisible() && isHidden()) {
        restoreFromTray(); // or nothing would bring the window back
    }
}

void MainWindow::quitFromTray()
{
    saveGeometryToConfig();
    config->save();
    qCInfo(lcApp) << "Quit requested from the tray";
    QCoreApplication::quit();
}

void MainWindow::updateWindowTitle(GameState state, const QString &detail)
{
    const QString &title = gameProfile().title;
    setWindowTitle(isTransfer(state) ? u"%1 - %2"_s.arg(title, detail) : title);
}

void MainWindow::restoreGeometryFromConfig()
{
    const QSize stored(config->intValue(u"window.width"_s, minimumWidth()),
                       config->intValue(u"window.height"_s, minimumHeight()));
    resize(stored.expandedTo(minimumSize()));
    const QPoint position(config->intValue(u"window.x"_s, -1), config->intValue(u"window.y"_s, -1));
    if (!config->boolValue(u"launcher.rememberWindowGeometry"_s, true)) {
        centreOnPrimaryScreen();
        return;
    }
    // Negative means never saved; a window on a monitor to the left of or above the primary one comes back centred.
    const bool saved = position.x() >= 0 && position.y() >= 0;
    if (saved && reachesAnyScreen(QRect(position, stored))) {
        placeAt(position);
    } else {
        centreOnPrimaryScreen();
    }
    if (config->boolValue(u"window.maximized"_s, false)) {
        showMaximized();
    }
}

void MainWindow::saveGeometryToConfig()
{
    if (!config->boolValue(u"launcher.rememberWindowGeometry"_s, true)) {
        return;
    }
    config->setValue(u"window.maximized"_s, isMaximized());
    const QRect rect = restoredGeometry();
    config->setValue(u"window.width"_s, rect.width());
    config->setValue(u"window.height"_s, rect.height());
    config->setValue(u"window.x"_s, rect.x());
    config->setValue(u"window.y"_s, rect.y());
}

void MainWindow::centreOnPrimaryScreen()
{
    placeAt(QGuiApplication::primaryScreen()->availableGeometry().center() - rect().center());
}

/// A position as it is saved. move() would leave room for a native caption, which the window paints over.
void MainWindow::placeAt(const QPoint &position)
{
    setGeometry(QRect(position, size()));
}

void MainWindow::presentError(const QString &message, const QString &detail)
{
    qCWarning(lcUi) << "Presenting error to the user:" << message;
    ModalDialog::showError(this, u"Something went wrong"_s, message, detail);
}

} // namespace velmo
