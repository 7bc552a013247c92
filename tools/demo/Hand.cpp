#include "Hand.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QStyleHints>
#include <QTimer>
#include <QWidget>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

namespace {

bool hand(const QStringList &arguments)
{
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    process.start(u"xdotool"_s, arguments);
    loop.exec();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QStringList pixels(QPointF point)
{
    const QPointF spot = point * qApp->devicePixelRatio();
    return {QString::number(qRound(spot.x())), QString::number(qRound(spot.y()))};
}

QStringList move(QPointF point)
{
    return QStringList{u"mousemove"_s} + pixels(point);
}

QStringList clickOnce()
{
    return {u"click"_s, u"1"_s};
}

/// What the window manager needs to take a press up before the pointer goes on.
QStringList pause()
{
    return {u"sleep"_s, u"0.15"_s};
}

} // namespace

bool handIsThere()
{
    return QGuiApplication::platformName() == "xcb"_L1 && !QStandardPaths::findExecutable(u"xdotool"_s).isEmpty();
}

bool bringForward(QWidget &window)
{
    constexpr int timesAsked = 100;
    constexpr int pauseMs = 100;
    for (int i = 0; i < timesAsked && !window.isActiveWindow(); ++i) {
        window.activateWindow();
        QEventLoop loop;
        QTimer::singleShot(pauseMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return window.isActiveWindow();
}

bool click(const QWidget &widget)
{
    if (!widget.isVisible() || !widget.isEnabled()) {
        return false;
    }
    // In the window's own measure: under some managers Qt takes a dialog without a frame to be at the screen's corner.
    const QWidget *window = widget.window();
    return hand(QStringList{u"mousemove"_s, u"--window"_s, QString::number(window->winId())} +
                pixels(widget.mapTo(window, widget.rect().center())) + clickOnce());
}

bool moveTo(QPoint point)
{
    return hand(move(point));
}

bool clickAt(QPoint point)
{
    return hand(move(point) + clickOnce());
}

bool rightClickAt(QPoint point)
{
    return hand(move(point) + QStringList{u"click"_s, u"3"_s});
}

bool doubleClickAt(QPoint point)
{
    return hand(move(point) + QStringList{u"click"_s, u"--repeat"_s, u"2"_s, u"--delay"_s, u"60"_s, u"1"_s});
}

bool drag(QPoint from, QPoint to)
{
    QStringList steps = move(from) + QStringList{u"mousedown"_s, u"1"_s} + pause();
    // No more than what makes a press a drag at first; a window manager measures the way from there.
    steps += move(from + QPoint(QGuiApplication::styleHints()->startDragDistance(), 0)) + pause();
    constexpr int stations = 4;
    for (int i = 1; i <= stations; ++i) {
        steps += move(QPointF(from) + QPointF(to - from) * i / stations) + pause();
    }
    return hand(steps + QStringList{u"mouseup"_s, u"1"_s});
}

bool strike(const QStringList &keys)
{
    return hand(QStringList{u"key"_s, u"--delay"_s, u"60"_s} + keys);
}

} // namespace velmo::demo
