#include "widgets/HeroBanner.h"

#include "core/Logging.h"
#include "theme/Palette.h"
#include "widgets/DeviceSize.h"
#include "widgets/DuskScene.h"
#include "widgets/Picture.h"

#include <QFile>
#include <QLinearGradient>
#include <QPainter>
#include <QResizeEvent>

namespace velmo {

namespace color = theme::color;

namespace {

constexpr int lowest = 320;

QColor shade(double alpha)
{
    QColor result = color::ink;
    result.setAlpha(static_cast<int>(alpha));
    return result;
}

} // namespace

HeroBanner::HeroBanner(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setMinimumHeight(lowest);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void HeroBanner::setArtworkPath(const QString &path)
{
    if (path == artworkPath_) {
        return;
    }
    artworkPath_ = path;
    artwork_ = loadPicture(path);
    if (path.isEmpty()) {
        // Nothing to look for, nothing to tell.
    } else if (!QFile::exists(path)) {
        qCInfo(lcUi) << "No hero artwork at" << path << "- using the generated placeholder scene";
    } else if (!artwork_.isNull()) {
        qCInfo(lcUi) << "Loaded hero artwork from" << path;
    } else {
        qCWarning(lcUi) << "Hero artwork exists but could not be decoded:" << path;
    }
    cached_ = QPixmap();
    update();
}

void HeroBanner::paintEvent(QPaintEvent * /*event*/)
{
    if (size().isEmpty()) {
        return;
    }
    if (cached_.isNull()) {
        cached_ = artwork_.isNull() ? generatedScene(size()) : coveringArtwork();
    }
    QPainter painter(this);
    painter.drawPixmap(rect(), cached_);
    paintOverlay(painter);
}

void HeroBanner::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (event->size() != event->oldSize()) {
        cached_ = QPixmap();
    }
}

/// The offsets are device pixels handed to a painter in logical ones, on purpose: the art was composed for that.
QPixmap HeroBanner::coveringArtwork() const
{
    const double ratio = devicePixelRatioF();
    const QSize target = deviceSize(size(), ratio);
    const QPixmap scaled = artwork_.scaled(target, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QPixmap result(target);
    result.setDevicePixelRatio(ratio);
    result.fill(color::ink);
    QPainter painter(&result);
    painter.drawPixmap((target.width() - scaled.width()) / 2, (target.height() - scaled.height()) / 2, scaled);
    return result;
}

QPixmap HeroBanner::generatedScene(QSize size) const
{
    const double ratio = devicePixelRatioF();
    QPixmap result(deviceSize(size, ratio));
    result.setDevicePixelRatio(ratio);
    result.fill(color::ink);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    paintDuskScene(painter, QSizeF(size));
    return result;
}

void HeroBanner::paintOverlay(QPainter &painter) const
{
    const double w = width();
    const double h = height();
    const int strength = static_cast<int>(overlayStrength_ * 255.0);

    QLinearGradient bottom(QPointF(0, 0.35 * h), QPointF(0, h));
    bottom.setColorAt(0.0, shade(0));
    bottom.setColorAt(0.55, shade(strength * 0.62));
    bottom.setColorAt(1.0, shade(strength * 0.97));
    painter.fillRect(QRectF(0, 0.35 * h, w, 0.65 * h), bottom);

    QLinearGradient left(QPointF(0, 0), QPointF(0.55 * w, 0));
    left.setColorAt(0.0, shade(strength * 0.55));
    left.setColorAt(1.0, shade(0));
    painter.fillRect(QRectF(0, 0, 0.55 * w, h), left);

    QLinearGradient top(QPointF(0, 0), QPointF(0, 0.18 * h));
    top.setColorAt(0.0, shade(150));
    top.setColorAt(1.0, shade(0));
    painter.fillRect(QRectF(0, 0, w, 0.18 * h), top);
}

} // namespace velmo
