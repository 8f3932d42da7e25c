#include "analytics/LocalCalendar.h"

#include <QDateTime>

#include <algorithm>
#include <limits>

namespace Kiv::Analytics
{

namespace
{

constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kMsPerDay = 86'400'000;
constexpr qint64 kJulianDayOfEpoch = 2'440'588;

/// \return the day that clocks show whose midnight of 1970-01-01 was at 0
QDate dayOf(qint64 clockMs)
{
    const qint64 days = clockMs / kMsPerDay - (clockMs % kMsPerDay < 0 ? 1 : 0);
    return QDate::fromJulianDay(kJulianDayOfEpoch + days);
}

qint64 midnightOf(const QDate& day)
{
    return (day.toJulianDay() - kJulianDayOfEpoch) * kMsPerDay;
}

QDate firstOfMonths(const QDate& day, int months)
{
    return {day.year(), (day.month() - 1) / months * months + 1, 1};
}

/// First day of the period that holds a day.
QDate firstDayOf(Period period, const QDate& day)
{
    switch (period) {
    case Period::Day:
        return day;
    case Period::Week:
        return day.addDays(1 - day.dayOfWeek());
    case Period::Month:
        return firstOfMonths(day, 1);
    case Period::Quarter:
        return firstOfMonths(day, 3);
    case Period::HalfYear:
        return firstOfMonths(day, 6);
    case Period::Year:
        return firstOfMonths(day, 12);
    }
    return day;
}

/// First day of the period after the one that begins with a day.
QDate firstDayAfter(Period period, const QDate& firstDay)
{
    switch (period) {
    case Period::Day:
        return firstDay.addDays(1);
    case Period::Week:
        return firstDay.addDays(7);
    case Period::Month:
        return firstDay.addMonths(1);
    case Period::Quarter:
        return firstDay.addMonths(3);
    case Period::HalfYear:
        return firstDay.addMonths(6);
    case Period::Year:
        return firstDay.addMonths(12);
    }
    return firstDay.addDays(1);
}

} // namespace

std::optional<Period> periodOfInterval(qint64 interval)
{
    switch (interval) {
    case -1:
        return Period::Day;
    case -2:
        return Period::Week;
    case -3:
        return Period::Month;
    case -4:
        return Period::Quarter;
    case -5:
        return Period::HalfYear;
    case -6:
        return Period::Year;
    default:
        return std::nullopt;
    }
}

LocalCalendar::LocalCalendar(const QTimeZone& zone) : m_zone(zone) {}

qint64 LocalCalendar::startOf(Period period, qint64 timestampMs)
{
    return boundsOf(period, timestampMs).startMs;
}

qint64 LocalCalendar::startOfNext(Period period, qint64 timestampMs)
{
    return boundsOf(period, timestampMs).nextMs;
}

LocalCalendar::Bounds LocalCalendar::boundsOf(Period period, qint64 timestampMs)
{
    QDate firstDay = firstDayOf(period, dayOf(timestampMs + stretchAt(timestampMs).offsetMs));
    qint64 startMs = startOfDay(firstDay);
    // Clocks that go back over midnight show the end of a day again after the next one has begun.
    while (startMs > timestampMs) {
        firstDay = firstDayOf(period, firstDay.addDays(-1));
        startMs = startOfDay(firstDay);
    }
    qint64 nextMs = 0;
    while (true) {
        firstDay = firstDayAfter(period, firstDay);
        nextMs = startOfDay(firstDay);
        if (nextMs > timestampMs)
            return {startMs, nextMs};
        startMs = nextMs;
    }
}

qint64 LocalCalendar::startOfDay(const QDate& day)
{
    const qint64 midnightMs = midnightOf(day);
    // No zone is a day off, so the day has not begun there.
    Stretch stretch = stretchAt(midnightMs - kMsPerDay);
    while (true) {
        const qint64 shownMs = std::max(stretch.fromMs, midnightMs - stretch.offsetMs);
        if (shownMs < stretch.toMs)
            return shownMs;
        stretch = stretchAt(stretch.toMs);
    }
}

const LocalCalendar::Stretch& LocalCalendar::stretchAt(qint64 timestampMs)
{
    if (m_stretch.fromMs <= timestampMs && timestampMs < m_stretch.toMs)
        return m_stretch;
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC);
    m_stretch = {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max(),
                 m_zone.offsetFromUtc(time) * kMsPerSecond};
    if (!m_zone.hasTransitions())
        return m_stretch;
    const QTimeZone::OffsetData previous = m_zone.previousTransition(time.addMSecs(1));
    QTimeZone::OffsetData next = m_zone.nextTransition(time);
    // Qt knows none behind the very instant of the last one that is tabled, while rules go on.
    if (!next.atUtc.isValid())
        next = m_zone.nextTransition(time.addMSecs(1));
    if (previous.atUtc.isValid())
        m_stretch.fromMs = previous.atUtc.toMSecsSinceEpoch();
    if (next.atUtc.isValid())
        m_stretch.toMs = next.atUtc.toMSecsSinceEpoch();
    return m_stretch;
}

} // namespace Kiv::Analytics
