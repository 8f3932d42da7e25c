#include "internal/CivilTime.h"

#include <algorithm>
#include <limits>

namespace Kiv::Internal
{

namespace
{

constexpr qint64 kMin = std::numeric_limits<qint64>::min();
constexpr qint64 kMax = std::numeric_limits<qint64>::max();

qint64 floorDivide(qint64 a, qint64 b)
{
    return a / b - (a % b < 0 ? 1 : 0);
}

/// Milliseconds since the last multiple of a length at or before the timestamp.
qint64 msIntoPeriod(qint64 timestampMs, qint64 lengthMs)
{
    return (timestampMs % lengthMs + lengthMs) % lengthMs;
}

bool isLeapYear(qint64 year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Months per step of a calendar code, 0 for every other interval.
qint64 monthsPerStep(qint64 intervalMs)
{
    switch (intervalMs) {
    case kIntervalYear:
        return 12;
    case kIntervalHalfYear:
        return 6;
    case kIntervalQuarter:
        return 3;
    case kIntervalMonth:
        return 1;
    default:
        return 0;
    }
}

/// Length in milliseconds of an interval whose steps are all equally long.
qint64 fixedStepMs(qint64 intervalMs)
{
    if (intervalMs > 0)
        return intervalMs;
    return intervalMs == kIntervalWeek ? 7 * kMsPerDay : kMsPerDay;
}

qint64 monthIndex(const CivilDate& date)
{
    return date.year * 12 + (date.month - 1);
}

/// True when stepping by `months` for ever from this date never meets a month that lacks its day.
bool neverClamps(const CivilDate& date, qint64 months)
{
    if (date.day <= 28)
        return true;
    // 2001 is no leap year: a day that fits its months fits those of every year.
    constexpr qint64 kCommonYear = 2001;
    for (qint64 month = date.month - 1, i = 0; i < 12; ++i, month = (month + months) % 12) {
        if (daysInMonth(kCommonYear, static_cast<int>(month) + 1) < date.day)
            return false;
    }
    return true;
}

IntervalStep stepPastFixed(qint64 boundaryMs, qint64 stepMs, qint64 limitMs)
{
    const quint64 distance = static_cast<quint64>(limitMs) - static_cast<quint64>(boundaryMs);
    const quint64 whole = distance - distance % static_cast<quint64>(stepMs);
    const qint64 last = static_cast<qint64>(static_cast<quint64>(boundaryMs) + whole);
    return {last, saturatingAdd(last, stepMs)};
}

IntervalStep stepPastMonths(qint64 boundaryMs, qint64 months, qint64 limitMs)
{
    IntervalStep step{boundaryMs, addMonths(boundaryMs, months)};
    while (step.nextMs <= limitMs && step.nextMs > step.lastMs) {
        ++steppedIntervalCount();
        const CivilDate date = civilFromDays(daysFromMs(step.nextMs));
        step.lastMs = step.nextMs;
        if (neverClamps(date, months)) {
            // One step short of the limit's month, so that the jump itself never passes the limit.
            const qint64 distance = monthIndex(civilFromDays(daysFromMs(limitMs))) - monthIndex(date);
            const qint64 jump = std::max<qint64>(distance / months - 1, 0) * months;
            step.lastMs = addMonths(step.lastMs, jump);
        }
        step.nextMs = addMonths(step.lastMs, months);
    }
    return step;
}

} // namespace

qint64& steppedIntervalCount()
{
    thread_local qint64 count = 0;
    return count;
}

qint64 saturatingAdd(qint64 a, qint64 b)
{
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return b < 0 ? kMin : kMax;
    return sum;
}

qint64 saturatingSubtract(qint64 a, qint64 b)
{
    qint64 difference = 0;
    if (__builtin_sub_overflow(a, b, &difference))
        return b < 0 ? kMax : kMin;
    return difference;
}

qint64 saturatingMultiply(qint64 a, qint64 b)
{
    qint64 product = 0;
    if (__builtin_mul_overflow(a, b, &product))
        return (a < 0) == (b < 0) ? kMax : kMin;
    return product;
}

qint64 daysFromMs(qint64 timestampMs)
{
    return floorDivide(timestampMs, kMsPerDay);
}

CivilDate civilFromDays(qint64 days)
{
    const qint64 shifted = days + 719'468; // days since 0000-03-01
    const qint64 era = floorDivide(shifted, 146'097);
    const qint64 dayOfEra = shifted - era * 146'097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    const int month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

qint64 daysFromCivil(const CivilDate& date)
{
    const qint64 year = date.year - (date.month <= 2 ? 1 : 0);
    const qint64 era = floorDivide(year, 400);
    const qint64 yearOfEra = year - era * 400;
    const qint64 dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
    const qint64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146'097 + dayOfEra - 719'468;
}

int daysInMonth(qint64 year, int month)
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

CivilFields civilFromMs(qint64 timestampMs)
{
    const qint64 days = daysFromMs(timestampMs);
    const qint64 msOfDay = msIntoPeriod(timestampMs, kMsPerDay);
    return {civilFromDays(days), static_cast<int>(msOfDay / kMsPerHour),
            static_cast<int>(msOfDay % kMsPerHour / kMsPerMinute)};
}

qint64 msFromCivil(const CivilFields& fields)
{
    const qint64 msOfDay = fields.hour * kMsPerHour + fields.minute * kMsPerMinute;
    const qint64 days = daysFromCivil(fields.date);
    // A negative day is approached from its end: its first milliseconds may lie below the 64-bit limit
    // although the minute itself does not.
    if (days < 0)
        return saturatingAdd(saturatingMultiply(days + 1, kMsPerDay), msOfDay - kMsPerDay);
    return saturatingAdd(saturatingMultiply(days, kMsPerDay), msOfDay);
}

int dayOfWeek(qint64 days)
{
    const qint64 sinceMonday = days + 3; // 1970-01-01 was a Thursday
    return static_cast<int>(sinceMonday - floorDivide(sinceMonday, 7) * 7) + 1;
}

qint64 periodStartMs(qint64 timestampMs, int depth)
{
    CivilFields fields = civilFromMs(timestampMs);
    if (depth == 0)
        fields.date.month = 1;
    if (depth == 0 || depth == 1)
        fields.date.day = 1;
    if (depth >= 0 && depth <= 2)
        fields.hour = 0;
    if (depth >= 0 && depth <= 3)
        fields.minute = 0;
    return msFromCivil(fields);
}

qint64 periodLastMs(qint64 timestampMs, int depth)
{
    const CivilFields fields = civilFromMs(timestampMs);
    const bool isYear = depth == 0;
    if (isYear || depth == 1) {
        const bool endsYear = isYear || fields.date.month == 12;
        const CivilDate next{fields.date.year + (endsYear ? 1 : 0), endsYear ? 1 : fields.date.month + 1, 1};
        const qint64 nextStartMs = msFromCivil({next, 0, 0});
        return nextStartMs == kMax ? kMax : nextStartMs - 1;
    }
    const qint64 length = depth == 2 ? kMsPerDay : depth == 3 ? kMsPerHour : kMsPerMinute;
    return saturatingAdd(timestampMs, length - 1 - msIntoPeriod(timestampMs, length));
}

qint64 addMonths(qint64 timestampMs, qint64 months)
{
    const qint64 days = daysFromMs(timestampMs);
    const qint64 msOfDay = msIntoPeriod(timestampMs, kMsPerDay);
    CivilDate date = civilFromDays(days);
    const qint64 index = monthIndex(date) + months;
    date.year = floorDivide(index, 12);
    date.month = static_cast<int>(index - date.year * 12) + 1;
    date.day = std::min(date.day, daysInMonth(date.year, date.month));
    const qint64 dayStartMs = msFromCivil({date, 0, 0});
    return dayStartMs == kMin ? kMin : saturatingAdd(dayStartMs, msOfDay);
}

qint64 addInterval(qint64 timestampMs, qint64 intervalMs)
{
    if (const qint64 months = monthsPerStep(intervalMs))
        return addMonths(timestampMs, months);
    return saturatingAdd(timestampMs, fixedStepMs(intervalMs));
}

qint64 subtractInterval(qint64 timestampMs, qint64 intervalMs)
{
    if (const qint64 months = monthsPerStep(intervalMs))
        return addMonths(timestampMs, -months);
    // Kept: an unknown code steps forward by a day but never back.
    if (intervalMs <= 0 && intervalMs != kIntervalDay && intervalMs != kIntervalWeek)
        return timestampMs;
    return saturatingSubtract(timestampMs, fixedStepMs(intervalMs));
}

qint64 alignToInterval(qint64 timestampMs, qint64 intervalMs, qint64 offsetMinutes)
{
    if (intervalMs > 0)
        return timestampMs / intervalMs * intervalMs;
    const qint64 days = daysFromMs(timestampMs);
    CivilDate date = civilFromDays(days);
    switch (intervalMs) {
    case kIntervalYear:
        date.month = 1;
        date.day = 1;
        break;
    // Kept: quarters and half-years begin at the month of the timestamp.
    case kIntervalHalfYear:
    case kIntervalQuarter:
    case kIntervalMonth:
        date.day = 1;
        break;
    case kIntervalWeek:
        date = civilFromDays(days - (dayOfWeek(days) - 1));
        break;
    case kIntervalDay:
        break;
    default:
        return timestampMs;
    }
    return saturatingSubtract(msFromCivil({date, 0, 0}), kMsPerMinute * offsetMinutes);
}

IntervalStep stepPast(qint64 boundaryMs, qint64 intervalMs, qint64 limitMs)
{
    if (const qint64 months = monthsPerStep(intervalMs))
        return stepPastMonths(boundaryMs, months, limitMs);
    return stepPastFixed(boundaryMs, fixedStepMs(intervalMs), limitMs);
}

} // namespace Kiv::Internal
