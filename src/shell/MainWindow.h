#pragma once

#include "game/GameState.h"
#include "shell/FramelessWindow.h"

#include <QTimer>

class QStackedWidget;

namespace velmo {

class ActionBar;
class ApiClient;
class CommunityPage;
class ConfigManager;
class GameManager;
class HomePage;
class NewsPage;
class SettingsPage;
class TitleBar;
class TrayIcon;

/// The launcher's one window: title bar, pages, action bar, and its icon in the tray. Presents errors, keeps its
/// geometry in the settings, and decides what closing and minimising mean.
class MainWindow : public FramelessWindow {
    Q_OBJECT

public:
    /// Neither \a config nor \a game nor \a api is owned. A window that was saved maximised shows itself at once.
    MainWindow(ConfigManager *config, GameManager *game, ApiClient *api, QWidget *parent = nullptr);

public slots:
    /// Brings the window back to the screen, maximised if it was.
    void restoreFromTray();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void build(ApiClient *api);
    void buildPages(ApiClient *api);
    void connectParts();
    void connectTray();
    void showPage(int index);
    void hideToTray();
    void hideIfMinimized();
    void followTraySetting();
    void quitFromTray();
    void updateWindowTitle(GameState state, const QString &detail);
    void restoreGeometryFromConfig();
    void saveGeometryToConfig();
    void centreOnPrimaryScreen();
    void placeAt(const QPoint &position);
    void presentError(const QString &message, const QString &detail);

    ConfigManager *config;
    GameManager *game;
    TitleBar *titleBar = nullptr;
    ActionBar *actionBar = nullptr;
    QStackedWidget *stack = nullptr;
    HomePage *homePage = nullptr;
    NewsPage *newsPage = nullptr;
    CommunityPage *communityPage = nullptr;
    SettingsPage *settingsPage = nullptr;
    TrayIcon *trayIcon = nullptr;
    bool hidingToTray = false; ///< while the window hides, so that what the hide changes is not taken for the user's
    /// Runs until the window is active on the screen: on its way there, its system may still tell that it is minimised.
    QTimer returning;
};

} // namespace velmo
