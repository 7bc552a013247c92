#include "LauncherSession.h"

#include "core/Format.h"

#include <QElapsedTimer>
#include <QEventLoop>
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

LauncherSession::LauncherSession()
    : game_(&config_, &api_, &network_)
    , onTerminal_(standardOutputIsTerminal())
{
    connect(&game_, &GameManager::stateChanged, this, &LauncherSession::showState);
    connect(&game_, &GameManager::downloadProgressChanged, this, &LauncherSession::showDownload);
    connect(&game_, &GameManager::verificationProgressChanged, this, &LauncherSession::showVerification);
    connect(&game_, &GameManager::serviceStatusChanged, this, [this](ServiceStatus status, const QString &detail) {
        serviceStatus_ = status;
        endProgress();
        print(u"      servers: %1\n"_s.arg(detail));
    });
    connect(&game_, &GameManager::errorOccurred, this, [this](const QString &message, const QString &detail) {
        lastError_ = message;
        endProgress();
        print(u"      dialog: %1 [%2]\n"_s.arg(message, detail));
    });
    connect(&game_, &GameManager::verificationFinished, this, [this](const VerificationResult &result) {
        verification_ = result;
        verificationEnded_ = true;
    });
    config_.load();
}

LauncherSession::~LauncherSession()
{
    api_.cancelAll();
    game_.disconnect(this);
    config_.save();
}

bool LauncherSession::run(const std::function<void()> &action, const std::function<bool()> &done, int timeoutMs)
{
    passed_.clear();
    lastError_.clear();
    verificationEnded_ = false;
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer poll;
    connect(&poll, &QTimer::timeout, &loop, [&] {
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

void LauncherSession::showState(GameState state, const QString &detail)
{
    passed_.append({state, detail});
    endProgress();
    print(u"      %1 - %2\n"_s.arg(GameManager::stateLabel(state), detail));
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
