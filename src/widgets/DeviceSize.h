#pragma once

#include <QSize>

#include <cmath>

namespace velmo {

/// The device pixels of \a logical pixels at \a ratio, each side rounded, halves away from zero.
inline QSize deviceSize(QSize logical, double ratio)
{
    return {static_cast<int>(std::round(logical.width() * ratio)),
            static_cast<int>(std::round(logical.height() * ratio))};
}

} // namespace velmo
