#pragma once

// Owns the calendar: milliseconds since the epoch (UTC) <-> fields of the proleptic Gregorian calendar,
// exact for every 64-bit timestamp, and the stepping of fixed and calendar intervals. Never does I/O,
// never logs. All arithmetic saturates at the 64-bit limits.

#include <QtGlobal>

namespace Kiv::Internal
{

inline constexpr qint64 kMsPerMinute = 60'000;
inline constexpr qint64 kMsPerHour = 3'600'000;
inline constexpr qint64 kMsPerDay = 86'400'000;

qint64 saturatingAdd(qint64 a, qint64 b);
qint64 saturatingSubtract(qint64 a, qint64 b);
qint64 saturatingMultiply(qint64 a, qint64 b);

struct CivilDate {
    qint64 year = 1970; ///< astronomical numbering: year 0 exists
    int month = 1;      ///< 1 to 12
    int day = 1;        ///< 1 to 31
};

struct CivilFields {
    CivilDate date;
    int hour = 0;
    int minute = 0;
};

/// Days since 1970-01-01 that have begun at `timestampMs` (rounded towards the past).
qint64 daysFromMs(qint64 timestampMs);

/// Conversions of days since 1970-01-01, after Howard Hinnant, "chrono-Compatible Low-Level Date
/// Algorithms" (days_from_civil, civil_from_days), on 64 bits.
CivilDate civilFromDays(qint64 days);
qint64 daysFromCivil(const CivilDate& date);

int daysInMonth(qint64 year, int month);

CivilFields civilFromMs(qint64 timestampMs);

/// \return the milliseconds of the start of that minute, saturated
qint64 msFromCivil(const CivilFields& fields);

/// 1 = Monday to 7 = Sunday.
int dayOfWeek(qint64 days);

/// First and last millisecond of the year (depth 0), month, day, hour or minute (depth 4) that holds
/// `timestampMs`, saturated at the 64-bit limits. Any other depth counts as 4.
qint64 periodStartMs(qint64 timestampMs, int depth);
qint64 periodLastMs(qint64 timestampMs, int depth);

/// Adds calendar months (negative: subtracts), keeping the time of day; a day that the target month
/// does not have becomes its last day.
qint64 addMonths(qint64 timestampMs, qint64 months);

/// Codes of calendar intervals, as they stand in an interval of interpolation parameters.
enum IntervalCode : qint64 {
    kIntervalDay = -1,
    kIntervalWeek = -2,
    kIntervalMonth = -3,
    kIntervalQuarter = -4,
    kIntervalHalfYear = -5,
    kIntervalYear = -6,
};

/// Steps by one interval: milliseconds when positive, else a calendar code. An unknown code steps
/// forward by one day; backward it leaves the timestamp where it is.
qint64 addInterval(qint64 timestampMs, qint64 intervalMs);
qint64 subtractInterval(qint64 timestampMs, qint64 intervalMs);

/// Start of the interval that holds `timestampMs`. Fixed intervals are counted from the epoch, rounding
/// towards it; quarters and half-years begin at the start of the timestamp's month; calendar boundaries
/// move earlier by `offsetMinutes`. An unknown code leaves the timestamp as it is.
qint64 alignToInterval(qint64 timestampMs, qint64 intervalMs, qint64 offsetMinutes);

struct IntervalStep {
    qint64 lastMs; ///< the last boundary that is not beyond the limit
    qint64 nextMs; ///< the boundary after it; not beyond the limit only where 64 bits end
};

/// The same boundaries as stepping from `boundaryMs` by `addInterval` until a boundary lies beyond
/// `limitMs`, in closed form: at most a few dozen steps however far the limit is.
/// `boundaryMs` must not lie beyond `limitMs`.
IntervalStep stepPast(qint64 boundaryMs, qint64 intervalMs, qint64 limitMs);

/// How many boundaries a stepping call visited one by one, over all calls of the thread; lets tests
/// show that empty years cost no time.
qint64& steppedIntervalCount();

} // namespace Kiv::Internal
