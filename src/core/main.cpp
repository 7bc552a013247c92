#include "core/Application.h"
#include "core/LibrarySearch.h"

#include <QGuiApplication>

namespace {

int run(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    velmo::Application application(argc, argv);
    return application.start() ? velmo::Application::exec() : 1;
}

} // namespace

int main(int argc, char **argv)
{
    velmo::restrictLibrarySearch();
    try {
        return run(argc, argv);
    } catch (...) {
        throw; // caught, so that the way out saves the settings; uncaught, the program would end where it was thrown
    }
}
