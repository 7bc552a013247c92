#pragma once

#include "core/ConfigManager.h"
#include "game/GameManager.h"
#include "net/ApiClient.h"

#include <QNetworkAccessManager>
#include <QObject>

#include <functional>

namespace velmo::demo {

/// One run of the launcher's engine, from start to close, that prints each state and the progress as they come and
/// remembers the states that it passed.
class LauncherSession : public QObject {
    Q_OBJECT

public:
    struct Step {
        GameState state;
        QString detail;
    };

    LauncherSession();
    ~LauncherSession() override;

    GameManager &game() { return game_; }
    ConfigManager &config() { return config_; }

    /// Runs \a action, then the event loop until \a done holds or \a timeoutMs are over; the states of that time are
    /// in passed().
    bool run(const std::function<void()> &action, const std::function<bool()> &done, int timeoutMs);
    const QList<Step> &passed() const { return passed_; }
    /// The last message that would have raised a dialog since the last run; empty when none.
    QString lastError() const { return lastError_; }
    ServiceStatus serviceStatus() const { return serviceStatus_; }
    /// Whether a pass has ended since the last run, and with what.
    bool verificationEnded() const { return verificationEnded_; }
    const VerificationResult &verification() const { return verification_; }

private:
    void showState(GameState state, const QString &detail);
    void showDownload(const DownloadProgress &progress);
    void showVerification(double fraction, const QString &file);
    void showProgress(const QString &text);
    void endProgress();

    ConfigManager config_;
    QNetworkAccessManager network_;
    ApiClient api_;
    GameManager game_;
    QList<Step> passed_;
    QString lastError_;
    ServiceStatus serviceStatus_ = ServiceStatus::Connecting;
    VerificationResult verification_;
    bool verificationEnded_ = false;
    bool onTerminal_;
    bool progressOpen_ = false; ///< the terminal's last line is a progress line
};

} // namespace velmo::demo
