#pragma once

#include <QtGlobal>

#include <limits>

namespace velmo {

/// \a number without its fraction. What no 64-bit integer can hold, infinities included, gives the lowest one, so that
/// a check for negative numbers catches it.
inline qint64 truncatedToInt64(double number)
{
    constexpr double bound = 9223372036854775808.0; // 2^63
    return number > -bound && number < bound ? static_cast<qint64>(number) : std::numeric_limits<qint64>::min();
}

} // namespace velmo
