#pragma once

#include <QApplication>

#include <memory>

class QNetworkAccessManager;

namespace velmo {

class AccountManager;
class ApiClient;
class ConfigManager;
class GameManager;
class MainWindow;

/// The process: owns every long-lived object, builds them in order and takes them down in order. Main thread only.
class Application : public QApplication {
    Q_OBJECT

public:
    /// Sets the program's names and version; touches no file and writes no log line.
    Application(int &argc, char **argv);
    ~Application() override;

    /// Brings the launcher up. Every failure on the way is dealt with where it occurs; the result is true.
    bool start();

private:
    void holdRequestsUntilPainted();

    // No QObject parents between them: the order of the stop sequence is the only order.
    std::unique_ptr<ConfigManager> config;
    std::unique_ptr<QNetworkAccessManager> network; ///< for file downloads; ApiClient has its own
    std::unique_ptr<ApiClient> api;
    std::unique_ptr<AccountManager> account;
    std::unique_ptr<GameManager> game;
    std::unique_ptr<MainWindow> window;
};

} // namespace velmo
