#pragma once

#include "game/GameManager.h"

#include <QObject>

#include <functional>
#include <memory>

class QNetworkAccessManager;

namespace velmo {
class ApiClient;
class ConfigManager;
class MainWindow;
} // namespace velmo

namespace velmo::demo {

/// One run of the launcher, from start to close, with its window: prints each state and the progress as they come, and
/// remembers the states that it passed.
class LauncherSession : public QObject {
    Q_OBJECT

public:
    struct Step {
        GameState state;
        QString detail;
    };

    /// Builds the launcher with \a installFolder as the chosen one, or none where it is empty, and shows its window.
    explicit LauncherSession(const QString &installFolder);
    /// Closes it, as the program's own stop sequence does.
    ~LauncherSession() override;

    GameManager &game() { return *game_; }
    ConfigManager &config() { return *config_; }
    MainWindow &window() { return *window_; }
    /// The window once more at its smallest, following the same engine and never on the screen: for pictures.
    MainWindow &smallestWindow() { return *smallestWindow_; }

    /// Runs \a action from the event loop, then the loop until \a done holds or \a timeoutMs are over; the states of
    /// that time are in passed().
    bool run(const std::function<void()> &action, const std::function<bool()> &done, int timeoutMs);
    const QList<Step> &passed() const { return passed_; }
    /// The last message that raised a dialog since the last run; empty when none. The dialog is closed again.
    QString lastError() const { return lastError_; }
    ServiceStatus serviceStatus() const { return serviceStatus_; }
    /// What the last pass found.
    const VerificationResult &verification() const { return verification_; }

signals:
    /// The window shows the state now.
    void stateShown(velmo::GameState state, const QString &detail);

private:
    void makeSmallestWindow();
    void listen();
    void showState(GameState state, const QString &detail);
    void showError(const QString &message, const QString &detail);
    void showDownload(const DownloadProgress &progress);
    void showVerification(double fraction, const QString &file);
    void showProgress(const QString &text);
    void endProgress();

    std::unique_ptr<ConfigManager> config_;
    std::unique_ptr<QNetworkAccessManager> network_;
    std::unique_ptr<ApiClient> api_;
    std::unique_ptr<GameManager> game_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<MainWindow> smallestWindow_;
    QList<Step> passed_;
    QString lastError_;
    ServiceStatus serviceStatus_ = ServiceStatus::Connecting;
    VerificationResult verification_;
    bool onTerminal_;
    bool progressOpen_ = false; ///< the terminal's last line is a progress line
};

} // namespace velmo::demo
