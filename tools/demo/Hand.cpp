#include "Hand.h"

#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QWidget>

using namespace Qt::Literals::StringLiterals;

namespace velmo::demo {

bool handIsThere()
{
    return QGuiApplication::platformName() == "xcb"_L1 && !QStandardPaths::findExecutable(u"xdotool"_s).isEmpty();
}

bool click(const QWidget &widget)
{
    if (!widget.isVisible() || !widget.isEnabled()) {
        return false;
    }
    const QPointF spot = QPointF(widget.mapToGlobal(widget.rect().center())) * widget.devicePixelRatio();
    return QProcess::execute(u"xdotool"_s, {u"mousemove"_s, u"--sync"_s, QString::number(qRound(spot.x())),
                                            QString::number(qRound(spot.y())), u"click"_s, u"1"_s}) == 0;
}

} // namespace velmo::demo
