#pragma once

#include "support/TestEnvironment.h"

#include <QApplication>
#include <QColor>
#include <QImage>
#include <QList>
#include <QObject>

class QVariantAnimation;
class QWidget;

namespace velmo::test {

/// The device pixel ratio that CTest asked this run for; 1 when it asked for none.
double expectedRatio();

/// \a widget and its children as they paint themselves at this moment, at the widget's device pixel ratio, on
/// \a ground.
QImage snapshot(QWidget &widget, const QColor &ground = Qt::transparent);

/// An empty picture of the size and device pixel ratio of \a widget, on which a test draws what it expects.
QImage canvas(const QWidget &widget, const QColor &ground = Qt::transparent);

/// The colour, alpha included, of the device pixel that holds the logical \a point.
QColor colorAt(const QImage &image, QPointF point);

/// Whether no component, alpha included, of \a a and \a b is further apart than \a tolerance, of 255.
bool isNear(const QColor &a, const QColor &b, int tolerance = 2);

/// What \a widget sees when the pointer comes to its middle, and when it goes.
void enter(QWidget &widget);
void leave(QWidget &widget);

/// What holds every pixel near \a color, in device pixels; empty when there is none.
QRect extents(const QImage &image, const QColor &color, int tolerance = 2);

/// Where and how \a actual first leaves \a expected; empty when they are the same picture.
QString mismatch(const QImage &actual, const QImage &expected);

/// Makes \a animation deliver \a value and stand there: a picture of any moment, whatever the clock says.
void holdAt(QVariantAnimation *animation, double value);

/// The cache keys of the pixmaps that \a widget draws at this moment: the same ones again as long as it keeps them.
QList<qint64> drawnPixmaps(QWidget &widget);

/// What \a widget writes at this moment, clipped or not, one run after the other.
QString drawnText(QWidget &widget);

/// Shows \a widget and says what is wrong with it at rest, without the pointer: an animation that does not end, or a
/// paint event of it or of a child. Empty when nothing is.
QString problemAtRest(QWidget &widget);

/// Counts the paint events of one widget while it lives.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget *widget);

    int count() const { return count_; }
    void reset() { count_ = 0; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    int count_ = 0;
};

/// Counts the presses and releases that reach one widget, be it from its children, while it lives.
class MouseCounter : public QObject {
public:
    explicit MouseCounter(QWidget *widget);

    int presses() const { return presses_; }
    int releases() const { return releases_; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    int presses_ = 0;
    int releases_ = 0;
};

/// runTest() for painted things: broken device pixel ratios stay as they are.
template<typename Test>
int runPixelTest(int argc, char **argv)
{
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    return runTest<Test, QApplication>(argc, argv);
}

} // namespace velmo::test
