// The launcher's own start-up with a stop watch: the first painted frame, the processor time at rest, and the time of a
// whole paint.

#include "FirstFrame.h"
#include "Rest.h"

#include "core/Application.h"
#include "shell/MainWindow.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cstdio>
#include <string_view>
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

#ifdef Q_OS_UNIX
/// What the launcher takes of the machine while nobody uses it: with its window seen, or hidden as in the tray.
void measureRest(int seconds, bool hidden)
{
    if (hidden) {
        constexpr int seenMs = 500; // once everything in it moves that will
        QTimer::singleShot(seenMs, mainWindow(), &QWidget::hide);
    }
    velmo::bench::watchRest(seconds);
}
#endif

/// Times \a work, done again and again, in milliseconds.
template<typename Work>
void measure(const char *name, int rounds, Work work)
{
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        work();
        times.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    std::printf("%s: median %.2f ms, worst %.2f ms of %d\n", name, times.at(times.size() / 2), times.back(), rounds);
    std::fflush(stdout);
}

/// Paints the whole window into an image, and on its way to the screen each time that it has grown by a pixel.
void measurePaint(int rounds)
{
    constexpr int settleMs = 500;
    QTimer::singleShot(settleMs, [rounds] {
        velmo::MainWindow *window = mainWindow();
        window->resize(1400, 850);
        QImage image(window->size(), QImage::Format_ARGB32_Premultiplied);
        window->render(&image); // lays out also the pages that are hidden, which nothing does for a player
        measure("paint 1400x850", rounds, [window, &image] { window->render(&image); });
        measure("paint at a new size", rounds, [window] {
            window->resize(window->width() + 1, window->height());
            window->repaint();
        });
        QCoreApplication::quit();
    });
}

/// Runs the launcher as its own main function does, inside an application of type \a App.
template<typename App>
int run(int argc, char **argv)
{
    App application(argc, argv);
    const QString mode = App::arguments().value(1);
    const int number = App::arguments().value(2).toInt();
    application.start();
    if (mode == "paint"_L1) {
        measurePaint(number);
    }
#ifdef Q_OS_UNIX
    if (mode == "rest"_L1 || mode == "tray"_L1) {
        measureRest(number, mode == "tray"_L1);
    }
#endif
    return App::exec();
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    const bool startup = argc > 1 && std::string_view(argv[1]) == "startup";
    return startup ? run<velmo::bench::FirstFrame<velmo::Application>>(argc, argv)
                   : run<velmo::Application>(argc, argv);
}
