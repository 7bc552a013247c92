// One run of the launcher's engine without a window: brings the folder of the first argument to the release branch's
// build, or repairs it when the second argument is "repair", and ends with code 0 when the game can be played.
// The folders of the user come from the environment, the profile from "game.json" beside this program.

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

/// Presses the button, or asks for the check of the files, when it is time to, and ends the program.
class Installer : public QObject {
    Q_OBJECT

public:
    explicit Installer(bool repair)
        : repairPending_(repair)
        , game_(&config_, &api_, &network_)
    {
        connect(&game_, &GameManager::serviceStatusChanged, this,
                [this](ServiceStatus status) { checked_ = status == ServiceStatus::Online; });
        // What to do next is decided when the engine has come to rest.
        connect(&game_, &GameManager::serviceStatusChanged, this, &Installer::proceed, Qt::QueuedConnection);
        connect(&game_, &GameManager::stateChanged, this, &Installer::proceed, Qt::QueuedConnection);
        connect(&game_, &GameManager::verificationFinished, this, &Installer::proceed, Qt::QueuedConnection);
        connect(&game_, &GameManager::errorOccurred, this, [](const QString &message, const QString &detail) {
            std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(message), qUtf8Printable(detail));
            QCoreApplication::exit(2);
        });
    }

    void start(const QString &root)
    {
        config_.load();
        config_.setValue(u"game.installPath"_s, root);
        game_.start();
    }

private:
    void proceed()
    {
        if (!checked_) {
            return;
        }
        switch (game_.state()) {
        case GameState::NotInstalled:
        case GameState::UpdateAvailable:
            if (repairPending_) {
                repairPending_ = false;
                game_.verifyFiles();
            } else {
                game_.primaryAction();
            }
            return;
        case GameState::Installed:
            if (repairPending_) {
                repairPending_ = false;
                game_.verifyFiles();
            } else {
                QCoreApplication::exit(0);
            }
            return;
        default:
            return;
        }
    }

    bool checked_ = false;
    bool repairPending_;
    ConfigManager config_;
    QNetworkAccessManager network_;
    ApiClient api_;
    GameManager game_;
};

} // namespace

} // namespace velmo

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"VelmoLauncher"_s);
    QCoreApplication::setApplicationVersion(u"0.1.0"_s);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        return 1;
    }
    velmo::test::trustTestAuthority();
    velmo::Installer installer(arguments.value(2) == "repair"_L1);
    installer.start(arguments.at(1));
    return QCoreApplication::exec();
}

#include "installer.moc"
