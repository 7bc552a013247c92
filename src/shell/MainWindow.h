#pragma once

#include "game/GameState.h"
#include "shell/FramelessWindow.h"

class QStackedWidget;

namespace velmo {

class ActionBar;
class ConfigManager;
class GameManager;
class TitleBar;

/// The launcher's one window: title bar, pages, action bar. Presents errors, keeps its geometry in the settings, and
/// decides what closing means.
class MainWindow : public FramelessWindow {
    Q_OBJECT

public:
    /// Neither \a config nor \a game is owned.
    MainWindow(ConfigManager *config, GameManager *game, QWidget *parent = nullptr);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void build();
    void connectParts();
    void showPage(int index);
    void updateWindowTitle(GameState state, const QString &detail);
    void restoreGeometryFromConfig();
    void saveGeometryToConfig();
    void centreOnPrimaryScreen();
    void presentError(const QString &message, const QString &detail);

    ConfigManager *config;
    GameManager *game;
    TitleBar *titleBar = nullptr;
    ActionBar *actionBar = nullptr;
    QStackedWidget *stack = nullptr;
};

} // namespace velmo
