#include "core/Application.h"

#include <QGuiApplication>

int main(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    velmo::Application application(argc, argv);
    return application.start() ? velmo::Application::exec() : 1;
}
