#include "pages/SettingsPage.h"

#include "core/Autostart.h"
#include "core/ConfigManager.h"
#include "core/Format.h"
#include "core/Logging.h"
#include "core/Paths.h"
#include "data/GameProfile.h"
#include "game/GameManager.h"
#include "pages/PageParts.h"
#include "theme/Fonts.h"
#include "theme/Motion.h"
#include "theme/Palette.h"
#include "widgets/ChannelSelector.h"
#include "widgets/ModalDialog.h"
#include "widgets/RoleButton.h"
#include "widgets/SettingRow.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QStorageInfo>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int columnWidth = 760;
constexpr int pageMargin = 26;
constexpr int sectionGap = 28;

/// The folder itself, or the nearest one above it that exists; empty when there is none.
QString nearestExistingFolder(QString path)
{
    while (!QDir(path).exists()) {
        const QString parent = QFileInfo(path).path(); // QDir::cdUp would stay where the parent is missing too
        if (parent == path) {
            return {};
        }
        path = parent;
    }
    return path;
}

QString spaceText(const QStorageInfo &storage)
{
    QString text =
        u"%1 free on %2"_s.arg(formatBytes(storage.bytesAvailable()), QDir::toNativeSeparators(storage.rootPath()));
    const qint64 needed = gameProfile().estimatedInstallSize;
    if (needed > 0) {
        text += u"  ·  %1 needed for a full install"_s.arg(formatBytes(needed));
    }
    return text;
}

QCheckBox *makeCheckBox(bool checked, SettingRow *row)
{
    auto *box = new QCheckBox(row);
    box->setChecked(checked);
    box->setCursor(Qt::PointingHandCursor);
    // The room for a text, which it has not, goes to its left: the box itself ends where the other controls end.
    box->setLayoutDirection(Qt::RightToLeft);
    return box;
}

} // namespace

SettingsPage::SettingsPage(ConfigManager *config, GameManager *game, QWidget *parent)
    : Page(parent)
    , config_(config)
    , game_(game)
{
    auto *content = new QWidget;
    content->setMaximumWidth(columnWidth);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(makeScrollArea(content, this));
    auto *column = new QVBoxLayout(content);
    column->setContentsMargins(pageMargin, pageMargin, pageMargin, pageMargin);
    column->setSpacing(0);
    column->addWidget(makeLabel(u"Settings"_s, theme::titleFont(26), color::text, content));
    column->addSpacing(24);
    addLauncherSection(column);
    column->addSpacing(sectionGap);
    addGameSection(column);
    column->addSpacing(sectionGap);
    addAppearanceSection(column);
    column->addSpacing(sectionGap);
    addMaintenanceSection(column);
    column->addSpacing(24);
    QLabel *file = makeLabel(u"Configuration: %1"_s.arg(config_->filePath()), theme::bodyFont(11, QFont::Normal),
                             color::textDim, content);
    file->setWordWrap(true);
    file->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(file);
    column->addStretch(1);

    connect(game_, &GameManager::installPathChanged, this, &SettingsPage::refreshInstallLocation);
    refreshInstallLocation();
}

void SettingsPage::addLauncherSection(QVBoxLayout *layout)
{
    addSection(layout, u"Launcher"_s);
    addToggle(layout, u"Remember window size and position"_s, u"Reopens the launcher where you last left it."_s,
              "launcher.rememberWindowGeometry", true, false);
    addToggle(layout, u"Check for updates on startup"_s, u"Contacts the Velmo Games servers when the launcher opens."_s,
              "launcher.autoCheckUpdates", true, false);
    if (autostartSupported()) {
        addAutostart(layout);
    }
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        addToggle(layout, u"Minimise to the system tray"_s,
                  u"Minimising, and starting the game, hide the launcher to the tray instead of the taskbar. Closing "
                  "the window still quits."_s,
                  "launcher.minimizeToTray", false, false);
    }
}

void SettingsPage::addGameSection(QVBoxLayout *layout)
{
    QWidget *content = layout->parentWidget();
    addSection(layout, gameProfile().title);

    auto *branch = new SettingRow(u"Build branch"_s,
                                  u"Which stream of builds the launcher follows. Switching branch rechecks against "
                                  "that branch and downloads whatever differs."_s,
                                  content);
    channelSelector_ = new ChannelSelector(branch);
    channelSelector_->setChannelId(game_->currentChannelId());
    connect(channelSelector_, &ChannelSelector::channelSelected, game_, &GameManager::selectChannel);
    connect(game_, &GameManager::channelChanged, channelSelector_, &ChannelSelector::setChannelId);
    addRow(layout, branch, channelSelector_);

    addInstallFolder(layout);

    auto *arguments = new SettingRow(u"Launch arguments"_s,
                                     u"Passed to the game executable on start. Leave empty unless you have been asked "
                                     "to set something here."_s,
                                     content);
    launchArgsEdit_ = new QLineEdit(config_->stringValue(u"game.launchArguments"_s, {}), arguments);
    launchArgsEdit_->setMinimumWidth(320);
    launchArgsEdit_->setPlaceholderText(u"-windowed -log"_s);
    connect(launchArgsEdit_, &QLineEdit::textChanged, this,
            [this](const QString &text) { config_->setValue(u"game.launchArguments"_s, text); });
    addRow(layout, arguments, launchArgsEdit_);

    auto *verify = new SettingRow(u"Verify game files"_s,
                                  u"Checks every installed file against the release manifest and redownloads anything "
                                  "missing or damaged."_s,
                                  content);
    QPushButton *verifyButton = makeRoleButton(u"Verify files"_s, u"secondary"_s, verify);
    connect(verifyButton, &QPushButton::clicked, game_, &GameManager::verifyFiles);
    addRow(layout, verify, verifyButton);
}

void SettingsPage::addAppearanceSection(QVBoxLayout *layout)
{
    addSection(layout, u"Appearance"_s);
    const QCheckBox *animations = addToggle(
        layout, u"Interface animations"_s,
        u"Hover states, progress glides and status pulses. Turning this off does not change what the launcher "
        "can do, only how it moves."_s,
        "appearance.animations", true, false);
    connect(animations, &QCheckBox::toggled, this, [](bool checked) { theme::setAnimationsEnabled(checked); });

    auto *scale = new SettingRow(u"Interface scale"_s, u"The launcher follows your Windows display scaling."_s,
                                 layout->parentWidget());
    addRow(layout, scale,
           makeLabel(u"%1%"_s.arg(qRound(devicePixelRatioF() * 100.0)), theme::bodyFont(13, QFont::Normal),
                     color::textMuted, scale));
}

// NOLINTNEXTLINE(readability-make-member-function-const): it adds to the page, and its buttons change the settings
void SettingsPage::addMaintenanceSection(QVBoxLayout *layout)
{
    QWidget *content = layout->parentWidget();
    addSection(layout, u"Maintenance"_s);

    auto *logs = new SettingRow(u"Launcher logs"_s,
                                u"Useful when reporting a problem. Opens the folder containing the launcher log "
                                "files."_s,
                                content);
    QPushButton *openButton = makeRoleButton(u"Open logs"_s, u"secondary"_s, logs);
    connect(openButton, &QPushButton::clicked, this, &SettingsPage::openLogs);
    addRow(layout, logs, openButton);

    auto *reset = new SettingRow(u"Reset launcher settings"_s,
                                 u"Returns every launcher setting to its default. Installed game files are not "
                                 "touched."_s,
                                 content);
    QPushButton *resetButton = makeRoleButton(u"Reset"_s, u"danger"_s, reset);
    connect(resetButton, &QPushButton::clicked, this, &SettingsPage::resetSettings);
    addRow(layout, reset, resetButton);
}

void SettingsPage::addSection(QVBoxLayout *layout, const QString &title)
{
    QLabel *heading =
        makeLabel(title, theme::displayFont(12, QFont::DemiBold, 1.2), color::accent, layout->parentWidget());
    heading->setIndent(0); // or the padding would move the text out of the rows' line
    heading->setStyleSheet(u"color: %1; padding-bottom: 6px;"_s.arg(theme::colorName(color::accent)));
    layout->addWidget(heading);
}

void SettingsPage::addRow(QVBoxLayout *layout, SettingRow *row, QWidget *control)
{
    row->setControl(control);
    layout->addWidget(row);
}

QCheckBox *SettingsPage::addToggle(QVBoxLayout *layout, const QString &label, const QString &description,
                                   const char *key, bool fallback, bool planned)
{
    auto *row = new SettingRow(label, description, layout->parentWidget());
    const QString setting = QString::fromLatin1(key);
    QCheckBox *box = makeCheckBox(config_->boolValue(setting, fallback), row);
    if (!planned) {
        connect(box, &QCheckBox::toggled, this, [this, setting](bool checked) { config_->setValue(setting, checked); });
    }
    row->setControl(box);
    row->setPlanned(planned);
    layout->addWidget(row);
    return box;
}

void SettingsPage::addAutostart(QVBoxLayout *layout)
{
    auto *row = new SettingRow(u"Start with Windows"_s,
                               u"Launch automatically when you sign in, minimised to the system tray."_s,
                               layout->parentWidget());
    autostartBox_ = makeCheckBox(autostartEnabled(), row);
    connect(autostartBox_, &QCheckBox::toggled, this, &SettingsPage::setStartWithWindows);
    addRow(layout, row, autostartBox_);
}

void SettingsPage::addInstallFolder(QVBoxLayout *layout)
{
    QWidget *content = layout->parentWidget();
    auto *row =
        new SettingRow(u"Installation folder"_s,
                       u"Where the game files live. Changing this does not move an existing installation."_s, content);
    auto *control = new QWidget(row);
    auto *line = new QHBoxLayout(control);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(8);
    installPathEdit_ = new QLineEdit(control);
    installPathEdit_->setReadOnly(true);
    installPathEdit_->setMinimumWidth(260);
    line->addWidget(installPathEdit_);
    QPushButton *browse = makeRoleButton(u"Browse"_s, u"secondary"_s, control);
    connect(browse, &QPushButton::clicked, this, &SettingsPage::browseInstallPath);
    line->addWidget(browse);
    addRow(layout, row, control);

    spaceLabel_ = makeLabel({}, theme::bodyFont(11, QFont::Normal), color::textDim, content);
    spaceLabel_->setIndent(0);
    spaceLabel_->setStyleSheet(u"color: %1; padding: 8px 0;"_s.arg(theme::colorName(color::textDim)));
    layout->addWidget(spaceLabel_);
}

void SettingsPage::setStartWithWindows(bool checked)
{
    if (setAutostartEnabled(checked)) {
        config_->setValue(u"launcher.startWithWindows"_s, checked); // a mirror; the platform's entry is the truth
        return;
    }
    const QSignalBlocker blocker(autostartBox_);
    autostartBox_->setChecked(autostartEnabled());
    ModalDialog::showError(this, u"Could not change startup setting"_s,
                           u"Windows would not let the launcher update its startup entry."_s,
                           u"Registry: HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run\\VelmoLauncher"_s);
}

void SettingsPage::browseInstallPath()
{
    QString start = game_->installPath();
    if (start.isEmpty()) {
        start = defaultGamesRoot();
    }
    const QString chosen =
        QFileDialog::getExistingDirectory(this, u"Choose where to install %1"_s.arg(gameProfile().title), start,
                                          QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (!chosen.isEmpty()) {
        game_->setInstallPath(chosen);
        refreshInstallLocation();
    }
}

void SettingsPage::resetSettings()
{
    const bool agreed = ModalDialog::confirm(this, u"Reset launcher settings"_s,
                                             u"Every launcher setting will return to its default, including your "
                                             "chosen installation folder.\n\nInstalled game files are not affected."_s,
                                             u"Reset settings"_s);
    if (!agreed) {
        return;
    }
    // The check boxes keep what they show until the launcher next starts; only the folder and the arguments follow.
    config_->resetToDefaults();
    launchArgsEdit_->setText(QString());
    refreshInstallLocation();
    qCInfo(lcUi) << "Launcher settings reset from the settings page";
}

void SettingsPage::openLogs()
{
    const QString path = logsDirectory();
    ensureDirectory(path);
    qCInfo(lcUi) << "Opening log folder" << path;
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void SettingsPage::refreshInstallLocation()
{
    const QString path = game_->installPath();
    installPathEdit_->setText(path.isEmpty() ? u"Not chosen yet"_s : QDir::toNativeSeparators(path));
    const QString folder = path.isEmpty() ? QString() : nearestExistingFolder(path);
    if (folder.isEmpty()) {
        spaceLabel_->setText(u"Choose a folder to see how much space is available."_s);
        return;
    }
    const QStorageInfo storage{QDir(folder)};
    spaceLabel_->setText(storage.isValid() ? spaceText(storage) : QString());
}

} // namespace velmo
