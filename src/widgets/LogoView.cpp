#include "widgets/LogoView.h"

#include "core/Logging.h"
#include "theme/ResourcePath.h"
#include "widgets/Picture.h"

#include <QPainter>

namespace velmo {

LogoView::LogoView(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setProperty("captionPassthrough", true);
}

void LogoView::setLogo(const QString &path, int height)
{
    targetHeight = height < 2 ? 1 : height;
    load(path);
    scaled = {};
    if (source.isNull()) {
        setFixedSize(0, targetHeight);
    } else {
        fitToHeight();
    }
    updateGeometry();
    update();
}

QSize LogoView::sizeHint() const
{
    const int width = scaled.isNull() ? 0 : qRound(scaled.width() / scaled.devicePixelRatio());
    return {width, targetHeight};
}

void LogoView::paintEvent(QPaintEvent * /*event*/)
{
    if (scaled.isNull()) {
        return;
    }
    QPainter painter(this);
    painter.setOpacity(opacity);
    painter.drawPixmap(0, 0, scaled);
}

void LogoView::load(const QString &path)
{
    const QString resolved = path.startsWith(u':') ? path : theme::resolveResourcePath(path);
    source = loadPicture(resolved);
    if (resolved.isEmpty()) {
        qCWarning(lcUi) << "Logo not found:" << path;
    } else if (source.isNull()) {
        qCWarning(lcUi) << "Logo could not be decoded:" << resolved;
    }
}

/// Once for the present screen: a later change of its device pixel ratio draws at the one it was made for.
void LogoView::fitToHeight()
{
    const double ratio = devicePixelRatio();
    scaled = source.scaledToHeight(qRound(targetHeight * ratio), Qt::SmoothTransformation);
    setFixedSize(qRound(scaled.width() / ratio), targetHeight);
    scaled.setDevicePixelRatio(ratio);
}

} // namespace velmo
