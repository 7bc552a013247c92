// The baseline of the figures of start-up, memory and rest: an empty window of the same Qt.

#include "FirstFrame.h"
#include "Rest.h"

#include <QApplication>
#include <QWidget>

#include <string_view>

namespace {

template<typename App>
int run(int argc, char **argv)
{
    const App app(argc, argv);
    QWidget window;
    window.resize(1400, 850);
    window.show();
#ifdef Q_OS_UNIX
    if (App::arguments().value(1) == QStringLiteral("tray")) {
        window.hide();
        velmo::bench::watchRest(App::arguments().value(2).toInt());
    }
#endif
    return App::exec();
}

} // namespace

int main(int argc, char **argv)
{
    const bool tray = argc > 1 && std::string_view(argv[1]) == "tray";
    return tray ? run<QApplication>(argc, argv) : run<velmo::bench::FirstFrame<QApplication>>(argc, argv);
}
