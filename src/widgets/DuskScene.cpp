#include "widgets/DuskScene.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRandomGenerator>

#include <algorithm>
#include <array>

namespace velmo {

namespace {

constexpr quint32 sceneSeed = 0x56454C4D;
constexpr double pixelsPerMote = 5200.0;

struct Ridge {
    double horizon;    ///< of the picture's height
    double treeHeight; ///< of the picture's height
    QColor color;
    int trees;
    double jitter; ///< of the distance between two trees
};

/// Far to near.
constexpr std::array<Ridge, 3> ridges = {{
    {0.60, 0.10, QColor(20, 34, 54), 46, 0.35},
    {0.70, 0.16, QColor(13, 24, 40), 34, 0.45},
    {0.82, 0.26, QColor(6, 13, 24), 24, 0.55},
}};

struct Tree {
    double x;
    double base;
    double height;
    double width;
    double lean;
};

/// The random numbers of one picture. The order in which they are drawn is part of the design: it fixes every tree.
class Dice {
public:
    double roll() { return random_.generateDouble(); }

private:
    QRandomGenerator random_{sceneSeed};
};

Tree growTree(Dice &dice, const Ridge &ridge, int index, QSizeF size)
{
    const double step = size.width() / ridge.trees;
    Tree tree{};
    tree.x = index * step + (dice.roll() - 0.5) * step * ridge.jitter;
    tree.height = size.height() * ridge.treeHeight * (dice.roll() * 0.56 + 0.72);
    tree.width = (dice.roll() * 0.22 + 0.48) * tree.height;
    tree.base = (dice.roll() - 0.5) * size.height() * 0.012 + size.height() * ridge.horizon + 2.0;
    tree.lean = (dice.roll() - 0.5) * tree.width * 0.12;
    return tree;
}

void paintTree(QPainter &painter, const Tree &tree)
{
    painter.drawRect(
        QRectF(tree.x - 0.04 * tree.width, tree.base - 0.12 * tree.height, 0.08 * tree.width, 0.12 * tree.height));
    constexpr int boughs = 4;
    for (int k = 0; k < boughs; ++k) {
        const double s = k * 0.25;
        const double foot = tree.base - (s * 0.68 + 0.06) * tree.height;
        const double apex = tree.base - (s * 0.6 + 0.4) * tree.height;
        const double centre = s * tree.lean + tree.x;
        const double half = (1.0 - s * 0.62) * tree.width * 0.5;
        QPainterPath bough(QPointF(centre - half, foot));
        bough.lineTo(centre, apex);
        bough.lineTo(centre + half, foot);
        bough.closeSubpath();
        painter.drawPath(bough);
    }
}

void paintSky(QPainter &painter, QSizeF size)
{
    const QRectF all(QPointF(0, 0), size);
    QLinearGradient sky(QPointF(0, 0), QPointF(0, size.height()));
    sky.setColorAt(0.0, QColor(12, 23, 42));
    sky.setColorAt(0.42, QColor(22, 40, 66));
    sky.setColorAt(0.62, QColor(14, 27, 47));
    sky.setColorAt(1.0, QColor(5, 11, 22));
    painter.fillRect(all, sky);
    QRadialGradient glow(QPointF(0.68 * size.width(), 0.52 * size.height()), 0.45 * size.width());
    glow.setColorAt(0.0, QColor(62, 51, 26, 90));
    glow.setColorAt(1.0, QColor(62, 51, 26, 0));
    painter.fillRect(all, glow);
}

void paintRidge(QPainter &painter, Dice &dice, const Ridge &ridge, QSizeF size)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(ridge.color);
    const double y = size.height() * ridge.horizon;
    painter.drawRect(QRectF(0, y - 1, size.width(), size.height() - y + 1));
    // The first tree stands left of the picture and the last right of it.
    for (int i = -1; i <= ridge.trees + 1; ++i) {
        paintTree(painter, growTree(dice, ridge, i, size));
    }
    const double rise = size.height() * ridge.treeHeight;
    const double fall = 0.04 * size.height();
    QLinearGradient mist(QPointF(0, y - rise), QPointF(0, y + fall));
    mist.setColorAt(0.0, QColor(23, 41, 66, 0));
    mist.setColorAt(1.0, QColor(23, 41, 66, 120));
    painter.fillRect(QRectF(0, y - rise, size.width(), rise + fall), mist);
}

void paintMotes(QPainter &painter, Dice &dice, QSizeF size)
{
    painter.setPen(Qt::NoPen);
    const int count = static_cast<int>(size.width() * size.height() / pixelsPerMote);
    for (int i = 0; i < count; ++i) {
        // One statement for each roll: the order within a call would be the compiler's.
        const double x = dice.roll() * size.width();
        const double y = dice.roll() * size.height();
        const double radius = dice.roll() * 1.1 + 0.4;
        const int alpha = 8 + static_cast<int>(dice.roll() * 26);
        painter.setBrush(QColor(220, 230, 244, alpha));
        painter.drawEllipse(QPointF(x, y), radius, radius);
    }
}

void paintVignette(QPainter &painter, QSizeF size)
{
    QRadialGradient vignette(QPointF(0.5 * size.width(), 0.45 * size.height()),
                             0.75 * std::max(size.width(), size.height()));
    vignette.setColorAt(0.55, QColor(0, 0, 0, 0));
    vignette.setColorAt(1.0, QColor(0, 0, 0, 130));
    painter.fillRect(QRectF(QPointF(0, 0), size), vignette);
}

} // namespace

void paintDuskScene(QPainter &painter, QSizeF size)
{
    Dice dice;
    paintSky(painter, size);
    for (const Ridge &ridge : ridges) {
        paintRidge(painter, dice, ridge, size);
    }
    paintMotes(painter, dice, size);
    paintVignette(painter, size);
}

} // namespace velmo
