#pragma once

#include <QString>

class QDate;

namespace velmo {

// How the interface prints counts, sizes, speeds, remaining time and dates. The texts are English whatever the system
// locale.

/// Decimal units, "1.5 GB"; "--" for a negative size.
QString formatBytes(qint64 bytes);
/// "1.5 MB/s"; "--" when the rate is not above zero.
QString formatRate(double bytesPerSecond);
/// A sentence for the time left; a negative number means that no estimate exists yet.
QString formatEta(qint64 seconds);
/// "August 31, 2026"; empty for an invalid date.
QString formatDate(const QDate &date);
/// The ending of a noun after \a count: empty after 1, else "s".
QString plural(qint64 count);

} // namespace velmo
