#include "core/Application.h"

#include "core/Autostart.h"
#include "core/ConfigManager.h"
#include "core/Logging.h"
#include "core/Paths.h"
#include "data/GameProfile.h"
#include "game/GameManager.h"
#include "net/AccountManager.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"
#include "shell/TrayIcon.h"
#include "theme/Motion.h"
#include "theme/Theme.h"
#include "widgets/Accessible.h"

#include <QIcon>
#include <QNetworkAccessManager>
#include <QSslSocket>
#include <QSysInfo>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr int longestHoldMs = 5000;

/// Lets the requests go once the window that it watches has its first picture.
class FirstPaint : public QObject {
public:
    explicit FirstPaint(ApiClient *api)
        : QObject(api)
        , api_(api)
    {}

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            QTimer::singleShot(0, api_, &ApiClient::release); // the picture reaches the screen when this event is over
            deleteLater();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    ApiClient *api_;
};

void logBanner()
{
    qCInfo(lcApp) << "Velmo Games Launcher" << QCoreApplication::applicationVersion() << "starting";
    qCInfo(lcApp) << "Host:" << QSysInfo::prettyProductName() << QSysInfo::currentCpuArchitecture();
    qCInfo(lcApp) << "Qt:" << qVersion() << "TLS:" << (QSslSocket::supportsSsl() ? "available" : "unavailable");
    qCInfo(lcApp) << "Data directory:" << dataDirectory();
}

} // namespace

Application::Application(int &argc, char **argv)
    : QApplication(argc, argv)
{
    setApplicationName(u"VelmoLauncher"_s);
    setOrganizationName(u"Velmo Games"_s);
    setOrganizationDomain(u"velmogames.example"_s);
    setApplicationVersion(QStringLiteral(VELMO_VERSION));
    setDesktopFileName(u"velmo-launcher"_s); // by which Wayland finds the window's icon and name
    setWindowIcon(QIcon(u":/icons/velmo-mark.png"_s));
    setQuitOnLastWindowClosed(true);
}

Application::~Application()
{
    if (api) {
        api->cancelAll();
    }
    window.reset();
    game.reset();
    account.reset();
    api.reset();
    network.reset();
    if (config) {
        config->save();
        config.reset();
    }
    qCInfo(lcApp) << "Launcher stopped";
    shutdownLogging();
}

bool Application::start()
{
    ensureDirectory(dataDirectory());
    initLogging();
    logBanner();
    config = std::make_unique<ConfigManager>();
    config->load();
    theme::Theme::apply();
    theme::setAnimationsEnabled(config->boolValue(u"appearance.animations"_s, true));
    installAccessibility();
    network = std::make_unique<QNetworkAccessManager>();
    api = std::make_unique<ApiClient>();
    account = std::make_unique<AccountManager>(api.get());
    game = std::make_unique<GameManager>(config.get(), api.get(), network.get());
    refreshAutostartPath();
    window = std::make_unique<MainWindow>(config.get(), game.get(), api.get());
    const bool openToTray = arguments().contains("--autostart"_L1) &&
                            config->boolValue(u"launcher.minimizeToTray"_s, false) && TrayIcon::isSupported();
    if (openToTray) {
        qCInfo(lcApp) << "Autostart: opening to the tray";
        window->winId(); // without a native window, a setup program has nothing that it could ask to close
    } else {
        holdRequestsUntilPainted();
        window->show();
    }
    account->start();
    game->start();
    qCInfo(lcApp) << "Launcher ready. Game profile:" << gameProfile().title;
    return true;
}

/// The player sees the window before the first request leaves: to read the system's authorities for it can take long.
void Application::holdRequestsUntilPainted()
{
    api->hold();
    window->installEventFilter(new FirstPaint(api.get()));
    // A window that opens minimised, or where nobody looks, is not painted; the check for updates goes on without it.
    QTimer::singleShot(longestHoldMs, api.get(), &ApiClient::release);
}

} // namespace velmo
