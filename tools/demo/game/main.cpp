// The game of the demo: looks for its world beside itself, lets a lantern cross the fen for two seconds, and ends.

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QPolygonF>
#include <QRadialGradient>
#include <QRasterWindow>
#include <QTimerEvent>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int playMs = 2000;
constexpr int frameMs = 16;

class Fen : public QRasterWindow {
public:
    Fen()
    {
        setTitle(u"Harrowfen, the demo's game"_s);
        resize(640, 360);
        clock_.start();
        frames_.start(frameMs, this);
    }

protected:
    void timerEvent(QTimerEvent * /*event*/) override
    {
        if (clock_.elapsed() < playMs) {
            update();
        } else {
            close();
        }
    }

    void paintEvent(QPaintEvent * /*event*/) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        paintDusk(painter);
        paintTrees(painter);
        paintLantern(painter, static_cast<double>(clock_.elapsed()) / playMs);
    }

private:
    void paintDusk(QPainter &painter) const
    {
        QLinearGradient dusk(0, 0, 0, height());
        dusk.setColorAt(0.0, QColor(0x0b, 0x12, 0x20));
        dusk.setColorAt(0.7, QColor(0x2a, 0x3a, 0x52));
        dusk.setColorAt(1.0, QColor(0x0a, 0x0d, 0x14));
        painter.fillRect(QRect(QPoint(), size()), dusk);
    }

    void paintTrees(QPainter &painter) const
    {
        constexpr int trees = 17;
        const double ground = height() * 0.78;
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0x07, 0x0a, 0x11));
        painter.drawRect(QRectF(0, ground, width(), height() - ground));
        for (int i = 0; i < trees; ++i) {
            const double x = width() * (i + 0.5) / trees;
            const double tall = height() * (0.18 + 0.13 * ((i * 7) % 5) / 4.0);
            painter.drawPolygon(QPolygonF({{x - tall * 0.24, ground}, {x, ground - tall}, {x + tall * 0.24, ground}}));
        }
    }

    void paintLantern(QPainter &painter, double way) const
    {
        const QPointF place(width() * (0.1 + 0.8 * way), height() * 0.86);
        QRadialGradient glow(place, height() * 0.3);
        glow.setColorAt(0.0, QColor(0xff, 0xc0, 0x6a, 210));
        glow.setColorAt(1.0, QColor(0xff, 0xc0, 0x6a, 0));
        painter.setBrush(glow);
        painter.drawRect(QRect(QPoint(), size()));
        painter.setBrush(QColor(0xff, 0xe2, 0xb0));
        painter.drawEllipse(place, 4.0, 4.0);
    }

    QElapsedTimer clock_;
    QBasicTimer frames_;
};

bool worldIsThere()
{
    QFile world(QCoreApplication::applicationDirPath() + u"/Content/world-000.pak"_s);
    return world.open(QIODevice::ReadOnly) && !world.read(1).isEmpty();
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication game(argc, argv);
    Fen fen;
    fen.show();
    QGuiApplication::exec();
    return worldIsThere() ? 0 : 3;
}
