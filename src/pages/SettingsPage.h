#pragma once

#include "pages/Page.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace velmo {

class ChannelSelector;
class ConfigManager;
class GameManager;
class SettingRow;

/// Every setting in one scrolling column. A control writes through the moment it changes; nothing waits to be applied.
class SettingsPage : public Page {
    Q_OBJECT

public:
    /// Neither \a config nor \a game is owned.
    SettingsPage(ConfigManager *config, GameManager *game, QWidget *parent = nullptr);

private:
    void addLauncherSection(QVBoxLayout *layout);
    void addGameSection(QVBoxLayout *layout);
    void addAppearanceSection(QVBoxLayout *layout);
    void addMaintenanceSection(QVBoxLayout *layout);

    static void addSection(QVBoxLayout *layout, const QString &title);
    /// A row whose control stands at its right end.
    static void addRow(QVBoxLayout *layout, SettingRow *row, QWidget *control);
    /// A row with a check box that writes to \a key; one that is \a planned is shown and does nothing yet.
    QCheckBox *addToggle(QVBoxLayout *layout, const QString &label, const QString &description, const char *key,
                         bool fallback, bool planned);
    void addAutostart(QVBoxLayout *layout);
    void addInstallFolder(QVBoxLayout *layout);

    void setStartWithWindows(bool checked);
    void browseInstallPath();
    void resetSettings();
    void openLogs();
    void refreshInstallLocation();

    ConfigManager *config_;
    GameManager *game_;
    QLineEdit *installPathEdit_ = nullptr;
    QLabel *spaceLabel_ = nullptr;
    QLineEdit *launchArgsEdit_ = nullptr;
    ChannelSelector *channelSelector_ = nullptr;
    QCheckBox *autostartBox_ = nullptr; ///< null where the system keeps no programs that start with it
};

} // namespace velmo
