#pragma once

#include "TestBuilds.h"

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"
#include "support/LogCapture.h"
#include "support/TestStudio.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace velmo::test {

/// How long to wait for what comes within a few seconds, or never.
constexpr int waitMs = 60000;

/// What a profile says so that the default folder is this process's alone: on Windows the games root is the account's,
/// which other programs share and which may hold a game.
QJsonObject ownInstallFolder();

/// A studio for a whole test program, and beside the program the game profile that leads there. Its branches are
/// "release" (the default one), "beta", "nowhere" (nothing listens there), "blank" (no address), "plain" (http)
/// and "locked" ("nowhere" with a password). One at a time.
class GameStudio {
public:
    /// The members of \a profile come on top of the profile.
    explicit GameStudio(const QJsonObject &profile = {});
    ~GameStudio();
    Q_DISABLE_COPY_MOVE(GameStudio)

    Studio &server() { return studio_.server(); }

    /// Writes the profile beside another program too; its folder is \a folder.
    void writeProfile(const QString &folder) const;

    /// Nothing offered, no faults, no limit, listening.
    void reset();
    /// Listens again after a stop.
    void restart() { studio_.restart(); }
    /// Puts a build's files and then its manifest on a branch.
    void publish(const Build &build, const QString &channel = QStringLiteral("release"));
    void publishManifest(const QByteArray &json, const QString &channel = QStringLiteral("release"));
    QString manifestAddress(const QString &channel) const;

    static QString manifestPath(const QString &channel = QStringLiteral("release"));
    static QString filePath(const QString &path, const QString &channel = QStringLiteral("release"));
    /// The files asked for since the last reset or clearRequests, in order and without the manifests.
    QStringList requestedFiles();
    qsizetype checkCount(const QString &channel = QStringLiteral("release"));

private:
    TestStudio studio_;
    QByteArray profile_;
};

/// One player: an install folder, settings of their own, and the launcher's engine when it is open. What the engine
/// logs and what it announces stand in one trace, in their order.
class GameFixture {
public:
    /// What stands when the launcher comes.
    struct Before {
        std::optional<Build> installed = std::nullopt;
        std::optional<Build> offered = std::nullopt; ///< on the branch "release"
        QList<std::pair<QString, QVariant>> settings = {};
    };

    /// Resets \a studio, then sees to what stands \a before. The settings name the folder root().
    explicit GameFixture(GameStudio &studio, const Before &before);
    explicit GameFixture(GameStudio &studio)
        : GameFixture(studio, Before())
    {}
    ~GameFixture();
    Q_DISABLE_COPY_MOVE(GameFixture)

    /// Makes the engine, as at the program's start, without starting it. Writes the settings first.
    void open();
    /// Takes it down as the program's end does. What it announces meanwhile is recorded.
    void close();
    /// open() where needed, then GameManager::start().
    void start();
    /// start(), then waits for the end of the check.
    bool startAndCheck();

    GameManager *operator->() { return engine_->game.get(); }
    GameManager &game() { return *engine_->game; }
    template<typename Worker>
    Worker *worker()
    {
        return engine_->game->findChild<Worker *>();
    }
    ConfigManager &settings() { return *engine_->config; }
    /// What open() sets before it makes the engine.
    void presetSetting(const QString &key, const QVariant &value) { preset_.append({key, value}); }

    QString root() const { return root_; }
    void setRoot(const QString &root);
    /// A folder for whatever a test needs outside the root.
    QString folder() const { return folder_.path(); }

    /// Brings \a build to the disk as if it had been installed.
    void install(const Build &build);
    void writeRecord(const QByteArray &json);
    QByteArray record() const { return readFile(QStringLiteral(".velmo/installed.json")); }
    void writeFile(const QString &path, const QByteArray &bytes);
    /// Null when there is none.
    QByteArray readFile(const QString &path) const;
    bool hasFile(const QString &path) const;
    void removeFile(const QString &path);
    /// All files below the root but the record, sorted.
    QStringList filesOnDisk() const;
    /// The files of \a build and nothing else lie in the root, with their bytes.
    bool holdsExactly(const Build &build) const;

    /// Runs \a action once, when \a state is entered next.
    void at(GameState state, std::function<void()> action);
    bool waitForState(GameState state);
    bool waitForStatus(ServiceStatus status);
    bool waitForError();
    /// Waits until the state \a state has been left again.
    bool waitUntilPast(GameState state);

    using Step = std::pair<GameState, QString>;
    QList<Step> steps() const { return steps_; }
    bool passed(GameState state) const;
    QList<std::pair<ServiceStatus, QString>> statuses() const { return statuses_; }
    QList<std::pair<QString, QString>> errors() const { return errors_; }
    QList<VerificationResult> passes() const { return passes_; }
    QList<DownloadProgress> progress() const { return progress_; }

    LogCapture &log() { return log_; }
    /// Forgets what was recorded so far.
    void clearTrace();
    /// The lines of the log in the category "velmo.game" and of \a categories, among them "emit ..." for each signal
    /// and "setting ..." for each written setting, in order.
    QStringList trace(const QStringList &categories = {}) const;

    /// The two lines of one change of state.
    static QStringList stateLines(const QString &label, const QString &detail);
    static QString statusLine(const QString &status, const QString &detail);
    static QString errorLine(const QString &message, const QString &detail);

private:
    struct Engine {
        std::unique_ptr<ConfigManager> config;
        std::unique_ptr<QNetworkAccessManager> network;
        std::unique_ptr<ApiClient> api;
        std::unique_ptr<GameManager> game;
    };

    void listen();
    void onStateChanged(GameState state, const QString &detail);

    GameStudio &studio_;
    LogCapture log_;
    QTemporaryDir folder_;
    QString root_;
    QList<std::pair<QString, QVariant>> preset_;
    QList<Step> steps_;
    QList<std::pair<ServiceStatus, QString>> statuses_;
    QList<std::pair<QString, QString>> errors_;
    QList<VerificationResult> passes_;
    QList<DownloadProgress> progress_;
    QList<std::pair<GameState, std::function<void()>>> actions_;
    std::unique_ptr<Engine> engine_;
};

} // namespace velmo::test
