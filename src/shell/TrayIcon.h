#pragma once

#include "game/GameState.h"

#include <QObject>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace velmo {

class ConfigManager;
class GameManager;

/// Keeps the launcher within reach while its window is hidden: an icon in the system tray with the game's status. The
/// object is there whether or not the icon is. While the icon shows, closing the last window does not end the program.
class TrayIcon : public QObject {
    Q_OBJECT

public:
    /// Neither \a config nor \a game is owned. No icon yet.
    TrayIcon(ConfigManager *config, GameManager *game, QObject *parent = nullptr);
    ~TrayIcon() override;

    /// Whether this desktop has a system tray.
    static bool isSupported();
    bool isVisible() const;
    /// Makes the icon or takes it down; without a system tray it cannot be made, which is logged.
    void setEnabled(bool enabled);
    /// Tells by a balloon where the window went; once in the life of the process.
    void showHiddenNotice();

signals:
    void restoreRequested();
    void quitRequested();

private:
    void createIcon();
    void removeIcon();
    QMenu *buildMenu();
    void updateStatus(GameState state, const QString &detail);

    [[maybe_unused]] ConfigManager *config; ///< for what the icon may follow one day; its owner passes the setting on
    GameManager *game;
    QSystemTrayIcon *icon = nullptr; ///< null while the tray is off, as everything below
    QMenu *menu = nullptr;           ///< a window of its own, without a parent
    QAction *statusAction = nullptr;
    QAction *openAction = nullptr;
    QAction *quitAction = nullptr;
    bool noticeShown = false;
};

} // namespace velmo
