// The launcher's own start-up with a stop watch: the first painted frame, the processor time at rest, and the time of a
// whole paint.

#include "FirstFrame.h"

#include "core/Application.h"
#include "shell/MainWindow.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPainter>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

velmo::MainWindow *mainWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (auto *found = qobject_cast<velmo::MainWindow *>(window)) {
            return found;
        }
    }
    return nullptr;
}

double processorMs()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

long wakeUps()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

/// Lets the start settle, then watches the process do nothing for \a seconds.
void watchRest(int seconds)
{
    constexpr int settleMs = 3000;
    QTimer::singleShot(settleMs, [seconds] {
        const double cpuBefore = processorMs();
        const long wakeUpsBefore = wakeUps();
        QTimer::singleShot(seconds * 1000, [=] {
            const double used = processorMs() - cpuBefore;
            std::printf("rest %d s: %.2f ms of processor time, %.4f %%, %ld wake-ups of the main thread\n", seconds,
                        used, used / (seconds * 10.0), wakeUps() - wakeUpsBefore);
            std::fflush(stdout);
            QCoreApplication::quit();
        });
    });
}

/// Paints the whole window again and again into an image.
void measurePaint(int rounds)
{
    constexpr int settleMs = 500;
    QTimer::singleShot(settleMs, [rounds] {
        velmo::MainWindow *window = mainWindow();
        window->resize(1400, 850);
        QImage image(window->size(), QImage::Format_ARGB32_Premultiplied);
        std::vector<double> times;
        for (int round = 0; round < rounds; ++round) {
            QElapsedTimer clock;
            clock.start();
            window->render(&image);
            times.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        }
        std::sort(times.begin(), times.end());
        std::printf("paint 1400x850: median %.2f ms, worst %.2f ms of %d\n", times.at(times.size() / 2), times.back(),
                    rounds);
        std::fflush(stdout);
        QCoreApplication::quit();
    });
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    velmo::Application application(argc, argv);
    const QStringList arguments = velmo::Application::arguments();
    const QString mode = arguments.value(1);
    const int number = arguments.value(2).toInt();
    velmo::bench::FirstFrame *firstFrame = nullptr;
    if (mode == "startup"_L1) {
        firstFrame = new velmo::bench::FirstFrame;
        firstFrame->setParent(&application);
    }
    application.start();
    if (mode == "rest"_L1) {
        watchRest(number);
    } else if (mode == "paint"_L1) {
        measurePaint(number);
    }
    return velmo::Application::exec();
}
