#include "theme/Palette.h"

#include <algorithm>

namespace velmo::theme {

QString colorName(const QColor &color)
{
    return color.name(QColor::HexRgb);
}

QColor withAlpha(QColor base, double alpha)
{
    base.setAlphaF(static_cast<float>(alpha));
    return base;
}

QColor mix(const QColor &from, const QColor &to, double t)
{
    const auto blend = static_cast<float>(std::clamp(t, 0.0, 1.0));
    const auto between = [blend](float a, float b) { return a + (b - a) * blend; };
    return QColor::fromRgbF(between(from.redF(), to.redF()), between(from.greenF(), to.greenF()),
                            between(from.blueF(), to.blueF()), 1.0F);
}

} // namespace velmo::theme
