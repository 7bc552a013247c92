#include "support/PixelProbe.h"

#include <QEnterEvent>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QVariantAnimation>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <list>

using namespace Qt::Literals::StringLiterals;

namespace velmo::test {

namespace {

/// Takes note of pixmaps and texts and of nothing else.
class DrawingNotes : public QPaintEngine {
public:
    DrawingNotes()
        : QPaintEngine(AllFeatures)
    {}

    bool begin(QPaintDevice * /*device*/) override { return true; }
    bool end() override { return true; }
    void updateState(const QPaintEngineState & /*state*/) override {}
    void drawPath(const QPainterPath & /*path*/) override {}
    using QPaintEngine::drawPolygon;
    void drawPolygon(const QPointF * /*points*/, int /*count*/, PolygonDrawMode /*mode*/) override {}
    void drawTextItem(const QPointF & /*point*/, const QTextItem &item) override { texts.append(item.text()); }
    void drawPixmap(const QRectF & /*target*/, const QPixmap &pixmap, const QRectF & /*source*/) override
    {
        keys.append(pixmap.cacheKey());
    }
    Type type() const override { return User; }

    QList<qint64> keys;
    QStringList texts;
};

/// As large as a widget, and nothing to be seen on it.
class NotesDevice : public QPaintDevice {
public:
    explicit NotesDevice(const QWidget &widget)
        : size_(widget.size())
    {}

    QPaintEngine *paintEngine() const override { return &notes_; }
    const DrawingNotes &notes() const { return notes_; }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
        case PdmWidth:
            return size_.width();
        case PdmHeight:
            return size_.height();
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return 96;
        }
    }

private:
    QSize size_;
    mutable DrawingNotes notes_;
};

} // namespace

double expectedRatio()
{
    bool given = false;
    const double factor = qEnvironmentVariable("QT_SCALE_FACTOR").toDouble(&given);
    return given ? factor : 1.0;
}

QImage snapshot(QWidget &widget, const QColor &ground)
{
    widget.ensurePolished();
    QImage image = canvas(widget, ground);
    if (!image.isNull()) {
        widget.render(&image, {}, {}, QWidget::DrawChildren);
    }
    return image;
}

QImage canvas(const QWidget &widget, const QColor &ground)
{
    const double ratio = widget.devicePixelRatio();
    const auto pixels = [ratio](int logical) { return static_cast<int>(std::ceil(logical * ratio)); };
    QImage image(pixels(widget.width()), pixels(widget.height()), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(ground);
    return image;
}

QColor colorAt(const QImage &image, QPointF point)
{
    const double ratio = image.devicePixelRatio();
    return image.pixelColor(static_cast<int>(std::floor(point.x() * ratio)),
                            static_cast<int>(std::floor(point.y() * ratio)));
}

bool isNear(const QColor &a, const QColor &b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance && std::abs(a.alpha() - b.alpha()) <= tolerance;
}

void enter(QWidget &widget)
{
    const QPointF middle = QRectF(widget.rect()).center();
    QEnterEvent event(middle, middle, middle);
    QCoreApplication::sendEvent(&widget, &event);
}

void leave(QWidget &widget)
{
    QEvent event(QEvent::Leave);
    QCoreApplication::sendEvent(&widget, &event);
}

QRect extents(const QImage &image, const QColor &color, int tolerance)
{
    QRect all;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isNear(image.pixelColor(x, y), color, tolerance)) {
                all |= QRect(x, y, 1, 1);
            }
        }
    }
    return all;
}

QString mismatch(const QImage &actual, const QImage &expected)
{
    if (actual.size() != expected.size()) {
        return u"%1 by %2 pixels instead of %3 by %4"_s.arg(actual.width())
            .arg(actual.height())
            .arg(expected.width())
            .arg(expected.height());
    }
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            if (actual.pixel(x, y) != expected.pixel(x, y)) {
                return u"at %1, %2: %3 instead of %4"_s.arg(x).arg(y).arg(
                    actual.pixelColor(x, y).name(QColor::HexArgb), expected.pixelColor(x, y).name(QColor::HexArgb));
            }
        }
    }
    return {};
}

void holdAt(QVariantAnimation *animation, double value)
{
    if (animation->state() == QAbstractAnimation::Running) {
        animation->pause();
    }
    // What does not change is not delivered, so it comes from somewhere else.
    for (const double delivered : {value + 1.0, value}) {
        animation->setStartValue(delivered);
        animation->setEndValue(delivered);
    }
}

QList<qint64> drawnPixmaps(QWidget &widget)
{
    NotesDevice device(widget);
    widget.render(&device, {}, {}, QWidget::DrawChildren);
    return device.notes().keys;
}

QString drawnText(QWidget &widget)
{
    NotesDevice device(widget);
    widget.render(&device, {}, {}, QWidget::DrawChildren);
    return device.notes().texts.join(u' ');
}

QString problemAtRest(QWidget &widget)
{
    widget.show();
    if (!QTest::qWaitForWindowExposed(&widget) || !QTest::qWaitForWindowActive(&widget)) {
        return u"it does not come to the screen"_s;
    }
    leave(widget); // wherever the pointer is
    const QList<QAbstractAnimation *> animations = widget.findChildren<QAbstractAnimation *>();
    const auto stands = [](const QAbstractAnimation *one) { return one->state() != QAbstractAnimation::Running; };
    if (!QTest::qWaitFor([&] { return std::all_of(animations.begin(), animations.end(), stands); }, qTryPatienceMs)) {
        return u"an animation does not end"_s;
    }
    QTest::qWait(50); // for what is asked for already
    std::list<PaintCounter> counters;
    counters.emplace_back(&widget);
    const QList<QWidget *> children = widget.findChildren<QWidget *>();
    for (QWidget *child : children) {
        counters.emplace_back(child);
    }
    QTest::qWait(300); // time is what this tests
    for (const PaintCounter &paints : counters) {
        if (paints.count() > 0) {
            return u"painted %1 times at rest"_s.arg(paints.count());
        }
    }
    return {};
}

PaintCounter::PaintCounter(QWidget *widget)
{
    widget->installEventFilter(this);
}

bool PaintCounter::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Paint) {
        ++count_;
    }
    return QObject::eventFilter(watched, event);
}

MouseCounter::MouseCounter(QWidget *widget)
{
    widget->installEventFilter(this);
}

bool MouseCounter::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        ++presses_;
    } else if (event->type() == QEvent::MouseButtonRelease) {
        ++releases_;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace velmo::test
