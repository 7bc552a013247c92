#include "theme/Icons.h"

#include "core/Logging.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>

using namespace Qt::Literals::StringLiterals;

namespace velmo::theme {

namespace {

QString cacheKey(const QString &name, int size, const QColor &color, double devicePixelRatio, double strokeWidth)
{
    return u"%1|%2|%3|%4|%5"_s.arg(name, QString::number(size), color.name(QColor::HexArgb),
                                   QString::number(devicePixelRatio, 'f', 2), QString::number(strokeWidth, 'f', 2));
}

QByteArray tintedSvg(const QString &name, const QColor &color, double strokeWidth)
{
    QFile file(u":/icons/tabler/%1.svg"_s.arg(name));
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcUi) << "Icon not in resources:" << name;
        return {};
    }
    QString svg = QString::fromUtf8(file.readAll());
    svg.replace("currentColor"_L1, color.name());
    if (strokeWidth > 0.0) {
        svg.replace(uR"(stroke-width="2")"_s, uR"(stroke-width="%1")"_s.arg(strokeWidth));
    }
    return svg.toUtf8();
}

QPixmap render(const QString &name, int size, const QColor &color, double devicePixelRatio, double strokeWidth)
{
    const QByteArray svg = tintedSvg(name, color, strokeWidth);
    if (svg.isEmpty()) {
        return {};
    }
    QSvgRenderer renderer(svg);
    if (!renderer.isValid()) {
        qCWarning(lcUi) << "Icon failed to parse:" << name;
        return {};
    }
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap pixmap(pixels, pixels);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0.0, 0.0, size, size));
    return pixmap;
}

} // namespace

QPixmap iconPixmap(const QString &name, int size, const QColor &color, double devicePixelRatio, double strokeWidth)
{
    if (name.isEmpty() || size < 1) {
        return {};
    }
    // Failures are kept too, so that a missing icon is told once and not at every paint.
    static QHash<QString, QPixmap> cache;
    const QString key = cacheKey(name, size, color, devicePixelRatio, strokeWidth);
    const auto known = cache.constFind(key);
    if (known != cache.constEnd()) {
        return known.value();
    }
    const QPixmap pixmap = render(name, size, color, devicePixelRatio, strokeWidth);
    cache.insert(key, pixmap);
    return pixmap;
}

} // namespace velmo::theme
