#include "core/Format.h"

#include <QDate>
#include <QLocale>

#include <array>
#include <cmath>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace velmo {

namespace {

constexpr std::array<QStringView, 5> byteUnits = {u"B", u"KB", u"MB", u"GB", u"TB"};
constexpr double unitStep = 1000.0;
constexpr qint64 underAMinute = 45; // seconds from which one minute is claimed
constexpr qint64 minutesPerHour = 60;

} // namespace

QString formatBytes(qint64 bytes)
{
    if (bytes < 0) {
        return u"--"_s;
    }
    auto value = static_cast<double>(bytes);
    size_t unit = 0;
    while (value >= unitStep && unit + 1 < byteUnits.size()) {
        value /= unitStep;
        ++unit;
    }
    // The unit is chosen before rounding, on purpose: 999999 bytes read "1000 KB".
    const int decimals = unit > 0 && value < 100.0 ? 1 : 0;
    return u"%1 %2"_s.arg(QString::number(value, 'f', decimals), byteUnits[unit]);
}

QString formatRate(double bytesPerSecond)
{
    if (!(bytesPerSecond > 0.0)) {
        return u"--"_s;
    }
    constexpr auto largest = static_cast<double>(std::numeric_limits<qint64>::max());
    const qint64 bytes =
        bytesPerSecond < largest ? static_cast<qint64>(bytesPerSecond) : std::numeric_limits<qint64>::max();
    return formatBytes(bytes) + u"/s"_s;
}

QString formatEta(qint64 seconds)
{
    if (seconds < 0) {
        return u"Estimating time remaining"_s;
    }
    if (seconds < underAMinute) {
        return u"Less than a minute remaining"_s;
    }
    const auto minutes = static_cast<qint64>(std::llround(static_cast<double>(seconds) / 60.0));
    if (minutes < minutesPerHour) {
        return u"Approximately %1 minute%2 remaining"_s.arg(QString::number(minutes), plural(minutes));
    }
    const qint64 hours = minutes / minutesPerHour;
    const qint64 rest = minutes % minutesPerHour;
    if (rest == 0) {
        return u"Approximately %1 hour%2 remaining"_s.arg(QString::number(hours), plural(hours));
    }
    return u"Approximately %1h %2m remaining"_s.arg(QString::number(hours), QString::number(rest));
}

QString formatDate(const QDate &date)
{
    if (!date.isValid()) {
        return {};
    }
    return QLocale(QLocale::English).toString(date, u"MMMM d, yyyy"_s);
}

QString plural(qint64 count)
{
    return count == 1 ? QString() : u"s"_s;
}

} // namespace velmo
