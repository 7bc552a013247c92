#include "studio/ByteRange.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace velmo::studio {

namespace {

/// Numbers beyond 63 bits are taken as the largest: they lie behind the end of every file.
std::optional<qint64> position(const QByteArray &digits)
{
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    bool fits = false;
    const qint64 value = digits.toLongLong(&fits);
    return fits ? value : std::numeric_limits<qint64>::max();
}

ByteRange part(qint64 first, qint64 last, qint64 size)
{
    if (first >= size || last < first) {
        return {ByteRange::Unsatisfiable};
    }
    return {ByteRange::Part, first, std::min(last, size - 1)};
}

} // namespace

ByteRange ByteRange::parse(const QByteArray &header, qint64 size)
{
    constexpr QByteArrayView unit("bytes=");
    if (!header.toLower().startsWith(unit)) {
        return {};
    }
    const QByteArray range = header.mid(unit.size()).trimmed();
    const qsizetype dash = range.indexOf('-');
    if (dash < 0) {
        return {};
    }
    const std::optional<qint64> before = position(range.left(dash));
    const std::optional<qint64> after = position(range.mid(dash + 1));
    if (dash == 0 && after) {
        return part(size - std::min(*after, size), size - 1, size);
    }
    if (before && dash == range.size() - 1) {
        return part(*before, std::numeric_limits<qint64>::max(), size);
    }
    if (before && after && *before <= *after) {
        return part(*before, *after, size);
    }
    return {};
}

} // namespace velmo::studio
