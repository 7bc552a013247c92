#include "LauncherSession.h"

#include "core/ConfigManager.h"
#include "core/Format.h"
#include "net/ApiClient.h"
#include "shell/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QTimer>

#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

constexpr int pollMs = 20;

bool standardOutputIsTerminal()
{
#ifdef Q_OS_WIN
    return _isatty(_fileno(stdout)) != 0;
#else
    return isatty(STDOUT_FILENO) == 1;
#endif
}

void print(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

} // namespace

LauncherSession::LauncherSession(const QString &installFolder)
    : config_(std::make_unique<ConfigManager>())
    , network_(std::make_unique<QNetworkAccessManager>())
    , api_(std::make_unique<ApiClient>())
    , onTerminal_(standardOutputIsTerminal())
{
    config_->load();
    config_->setValue(u"game.installPath"_s, installFolder);
    game_ = std::make_unique<GameManager>(config_.get(), api_.get(), network_.get());
    window_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    makeSmallestWindow();
    listen();
    window_->show();
}

LauncherSession::~LauncherSession()
{
    game_->disconnect(this);
    api_->cancelAll();
    smallestWindow_.reset();
    window_.reset();
    game_.reset();
    api_.reset();
    network_.reset();
    config_->save();
}

bool LauncherSession::run(const std::function<void()> &action, const std::function<bool()> &done, int timeoutMs)
{
    passed_.clear();
    lastError_.clear();
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer poll;
    connect(&poll, &QTimer::timeout, &loop, [&] {
        if (QWidget *dialog = QApplication::activeModalWidget()) {
            dialog->close();
        }
        if (done() || clock.elapsed() > timeoutMs) {
            loop.quit();
        }
    });
    poll.start(pollMs);
    QTimer::singleShot(0, this, action);
    loop.exec();
    endProgress();
    return done();
}

void LauncherSession::makeSmallestWindow()
{
    smallestWindow_ = std::make_unique<MainWindow>(config_.get(), game_.get(), api_.get());
    // The real window tells of errors and has the icon in the tray.
    disconnect(game_.get(), &GameManager::errorOccurred, smallestWindow_.get(), nullptr);
    disconnect(config_.get(), nullptr, smallestWindow_.get(), nullptr);
    smallestWindow_->setAttribute(Qt::WA_DontShowOnScreen);
    smallestWindow_->resize(820, 520);
    smallestWindow_->show();
}

/// After the windows, so that it shows what is told when it is told.
void LauncherSession::listen()
{
    connect(game_.get(), &GameManager::stateChanged, this, &LauncherSession::showState);
    connect(game_.get(), &GameManager::downloadProgressChanged, this, &LauncherSession::showDownload);
    connect(game_.get(), &GameManager::verificationProgressChanged, this, &LauncherSession::showVerification);
    connect(game_.get(), &GameManager::serviceStatusChanged, this, [this](ServiceStatus status, const QString &detail) {
        serviceStatus_ = status;
        endProgress();
        print(u"      servers: %1\n"_s.arg(detail));
    });
    connect(game_.get(), &GameManager::errorOccurred, this, &LauncherSession::showError);
    connect(game_.get(), &GameManager::verificationFinished, this,
            [this](const VerificationResult &result) { verification_ = result; });
}

void LauncherSession::showState(GameState state, const QString &detail)
{
    passed_.append({state, detail});
    endProgress();
    print(u"      %1 - %2\n"_s.arg(GameManager::stateLabel(state), detail));
    emit stateShown(state, detail);
}

/// The window's dialog has been answered by the time this is told.
void LauncherSession::showError(const QString &message, const QString &detail)
{
    lastError_ = message;
    endProgress();
    print(u"      dialog: %1 [%2]\n"_s.arg(message, detail));
}

void LauncherSession::showDownload(const DownloadProgress &progress)
{
    showProgress(u"%1 of %2, %3, file %4 of %5, %6"_s.arg(
        formatBytes(progress.bytesReceived), formatBytes(progress.bytesTotal), formatRate(progress.bytesPerSecond),
        QString::number(progress.filesDone), QString::number(progress.filesTotal), formatEta(progress.etaSeconds)));
}

void LauncherSession::showVerification(double fraction, const QString &file)
{
    showProgress(u"%1 % checked, %2"_s.arg(QString::number(fraction * 100.0, 'f', 0), file));
}

void LauncherSession::showProgress(const QString &text)
{
    const QString pattern = onTerminal_ ? u"\r\x1b[K        %1"_s : u"        %1\n"_s;
    print(pattern.arg(text));
    progressOpen_ = onTerminal_;
}

void LauncherSession::endProgress()
{
    if (progressOpen_) {
        print(u"\n"_s);
        progressOpen_ = false;
    }
}

} // namespace velmo::demo
