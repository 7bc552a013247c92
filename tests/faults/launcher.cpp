// One run of the launcher's engine without a window, as the program wires it, with a player who presses its button:
//
//   velmo-fault-launcher FOLDER install|repair TRIES PATIENCE
//
// FOLDER is where the game is to be; TRIES is how often the player begins again after an error, PATIENCE how many
// milliseconds without any progress they take before they cancel, and begin again as well. The last line on the
// standard output says how it ended: "installed", "failed: MESSAGE", "unchecked: MESSAGE" or "left"; a line "leaked:
// HANDLE" before it stands for each handle that is open at the end and was not at the beginning. The folders of the
// user come from the environment, the profile from "game.json" beside this program.

#include "core/ConfigManager.h"
#include "core/Logging.h"
#include "core/Paths.h"
#include "game/GameManager.h"
#include "net/AccountManager.h"
#include "net/ApiClient.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QSslSocket>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace velmo::faults {

namespace {

constexpr int lookMs = 100;

class Player : public QObject {
    Q_OBJECT

public:
    struct Wish {
        QString folder;
        bool repair = false;
        int tries = 1;
        int patienceMs = 0;
    };

    explicit Player(const Wish &wish)
        : wish_(wish)
    {
        config_->load();
        config_->setValue(u"game.installPath"_s, wish_.folder);
        game_ = std::make_unique<GameManager>(config_.get(), api_.get(), network_.get());
        listen();
    }
    /// As the program's own stop sequence does.
    ~Player() override
    {
        game_->disconnect(this);
        api_->cancelAll();
        game_.reset();
        account_.reset();
        api_.reset();
        network_.reset();
        config_->save();
    }
    Q_DISABLE_COPY_MOVE(Player)

    void start()
    {
        account_->start();
        game_->start();
        look_.start(lookMs);
    }
    QString ending() const { return ending_; }

private:
    void listen();
    void onStatus(ServiceStatus status, const QString &detail);
    void proceed();
    void tryAgain(const QString &otherwise);
    void looseNoTime();
    void end(const QString &ending)
    {
        ending_ = ending;
        QCoreApplication::quit();
    }

    Wish wish_;
    std::unique_ptr<ConfigManager> config_ = std::make_unique<ConfigManager>();
    std::unique_ptr<QNetworkAccessManager> network_ = std::make_unique<QNetworkAccessManager>();
    std::unique_ptr<ApiClient> api_ = std::make_unique<ApiClient>();
    std::unique_ptr<AccountManager> account_ = std::make_unique<AccountManager>(api_.get());
    std::unique_ptr<GameManager> game_;
    QTimer look_;
    int msWithoutProgress_ = 0;
    int presses_ = 0;
    bool checked_ = false;
    QString ending_ = u"left"_s;
};

void Player::listen()
{
    GameManager *const game = game_.get();
    connect(game, &GameManager::serviceStatusChanged, this, &Player::onStatus);
    // What to do next is decided when the engine has come to rest.
    connect(game, &GameManager::serviceStatusChanged, this, &Player::proceed, Qt::QueuedConnection);
    connect(game, &GameManager::stateChanged, this, &Player::proceed, Qt::QueuedConnection);
    connect(game, &GameManager::verificationFinished, this, &Player::proceed, Qt::QueuedConnection);
    connect(
        game, &GameManager::errorOccurred, this, [this](const QString &message) { tryAgain(u"failed: "_s + message); },
        Qt::QueuedConnection);

    const auto note = [this] { msWithoutProgress_ = 0; };
    connect(game, &GameManager::stateChanged, this, note);
    connect(game, &GameManager::verificationProgressChanged, this, note);
    connect(game, &GameManager::downloadProgressChanged, this,
            [this, last = qint64(-1)](const DownloadProgress &progress) mutable {
                if (progress.bytesReceived != last) {
                    last = progress.bytesReceived;
                    msWithoutProgress_ = 0;
                }
            });
    connect(&look_, &QTimer::timeout, this, &Player::looseNoTime);
}

void Player::onStatus(ServiceStatus status, const QString &detail)
{
    checked_ = status == ServiceStatus::Online;
    if (status == ServiceStatus::Offline || status == ServiceStatus::Degraded) {
        end(u"unchecked: "_s + detail);
    }
}

void Player::proceed()
{
    const GameState state = game_->state();
    const bool rests =
        state == GameState::NotInstalled || state == GameState::UpdateAvailable || state == GameState::Installed;
    if (!checked_ || !rests) {
        return;
    }
    if (wish_.repair) {
        wish_.repair = false;
        game_->verifyFiles();
    } else if (state == GameState::Installed) {
        end(u"installed"_s);
    } else if (++presses_ > 2 * wish_.tries) {
        end(u"left"_s); // the offer comes again and again, as when the record cannot be written
    } else {
        game_->primaryAction();
    }
}

void Player::tryAgain(const QString &otherwise)
{
    if (--wish_.tries <= 0) {
        end(otherwise);
    } else if (game_->state() == GameState::Error) {
        checked_ = false;
        game_->primaryAction();
    }
}

void Player::looseNoTime()
{
    msWithoutProgress_ += lookMs;
    if (msWithoutProgress_ <= wish_.patienceMs) {
        return;
    }
    msWithoutProgress_ = 0;
    if (--wish_.tries <= 0 || !game_->canCancel()) {
        end(u"left"_s);
    } else {
        game_->cancelOperation();
    }
}

QStringList openHandles()
{
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList names = descriptors.entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot);
    QStringList handles;
    for (const QString &name : names) {
        const QString target = QFile::symLinkTarget(descriptors.filePath(name));
        if (!target.contains("/proc/"_L1)) { // the one that this very look opens
            handles.append(name + u" -> "_s + target);
        }
    }
    return handles;
}

/// Opens what Qt opens once for a program and never closes.
void warmUp()
{
    QSslSocket::supportsSsl();
    const QNetworkAccessManager network;
}

} // namespace

} // namespace velmo::faults

int main(int argc, char **argv)
{
    using namespace velmo;
    const QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"VelmoLauncher"_s);
    QCoreApplication::setApplicationVersion(u"0.1.0"_s);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5) {
        return 1;
    }
    test::trustTestAuthority();
    faults::warmUp();
    const QStringList before = faults::openHandles();
    ensureDirectory(dataDirectory());
    initLogging();
    QString ending;
    {
        faults::Player player(
            {arguments.at(1), arguments.at(2) == "repair"_L1, arguments.at(3).toInt(), arguments.at(4).toInt()});
        player.start();
        QCoreApplication::exec();
        ending = player.ending();
    }
    shutdownLogging();
    const QStringList after = faults::openHandles();
    for (const QString &handle : after) {
        if (!before.contains(handle)) {
            std::printf("leaked: %s\n", qUtf8Printable(handle));
        }
    }
    std::printf("%s\n", qUtf8Printable(ending.replace(u'\n', u' ')));
    return 0;
}

#include "launcher.moc"
