#include "shell/TrayIcon.h"

#include "core/Logging.h"
#include "data/GameProfile.h"
#include "game/GameManager.h"

#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include <utility>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr int noticeMs = 4000;

/// \a text as a menu shows it whole; a single & would mark a letter for the keyboard and vanish.
QString menuText(QString text)
{
    return text.replace(u'&', u"&&"_s);
}

} // namespace

TrayIcon::TrayIcon(ConfigManager *config, GameManager *game, QObject *parent)
    : QObject(parent)
    , config(config)
    , game(game)
{
    connect(game, &GameManager::stateChanged, this, &TrayIcon::updateStatus);
}

TrayIcon::~TrayIcon()
{
    delete menu;
}

bool TrayIcon::isSupported()
{
    return QSystemTrayIcon::isSystemTrayAvailable();
}

bool TrayIcon::isVisible() const
{
    return icon && icon->isVisible();
}

void TrayIcon::setEnabled(bool enabled)
{
    if (enabled && !isSupported()) {
        qCWarning(lcUi) << "Tray requested but this desktop has no system tray";
        return;
    }
    if (!enabled) {
        removeIcon();
        QGuiApplication::setQuitOnLastWindowClosed(true);
        return;
    }
    if (icon) {
        return;
    }
    createIcon();
    QGuiApplication::setQuitOnLastWindowClosed(false); // or hiding the window would end the program
    qCInfo(lcUi) << "Tray icon active";
}

void TrayIcon::showHiddenNotice()
{
    if (!icon || noticeShown) {
        return;
    }
    noticeShown = true;
    icon->showMessage(gameProfile().title, u"Still running here. Click the icon to bring the launcher back."_s,
                      QSystemTrayIcon::Information, noticeMs);
}

void TrayIcon::createIcon()
{
    icon = new QSystemTrayIcon(QIcon(u":/icons/velmo-mark.png"_s), this);
    icon->setToolTip(gameProfile().title);
    menu = buildMenu();
    icon->setContextMenu(menu);
    connect(icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::DoubleClick || reason == QSystemTrayIcon::Trigger) {
            emit restoreRequested();
        }
    });
    icon->show();
    updateStatus(game->state(), game->detail());
}

void TrayIcon::removeIcon()
{
    if (!icon) {
        return;
    }
    icon->hide();
    std::exchange(icon, nullptr)->deleteLater();
    std::exchange(menu, nullptr)->deleteLater();
    statusAction = nullptr;
    openAction = nullptr;
    quitAction = nullptr;
}

QMenu *TrayIcon::buildMenu()
{
    auto *result = new QMenu;
    statusAction = result->addAction(menuText(gameProfile().title));
    statusAction->setEnabled(false);
    result->addSeparator();
    openAction = result->addAction(u"Open launcher"_s);
    connect(openAction, &QAction::triggered, this, &TrayIcon::restoreRequested);
    result->addSeparator();
    quitAction = result->addAction(u"Quit"_s);
    connect(quitAction, &QAction::triggered, this, &TrayIcon::quitRequested);
    return result;
}

void TrayIcon::updateStatus(GameState state, const QString &detail)
{
    if (!icon) {
        return;
    }
    const QString status = detail.isEmpty() ? GameManager::stateLabel(state) : detail;
    icon->setToolTip(u"%1\n%2"_s.arg(gameProfile().title, status));
    statusAction->setText(menuText(status));
}

} // namespace velmo
