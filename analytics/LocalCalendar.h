#pragma once

// Owns the periods of a time zone's own calendar, daylight saving time included.

#include <QDate>
#include <QTimeZone>
#include <QtGlobal>

#include <optional>

namespace Kiv::Analytics
{

/// Weeks begin on Monday; quarters in January, April, July and October; half-years in January and July.
enum class Period { Day, Week, Month, Quarter, HalfYear, Year };

/// The period of an interval code of the engine: -1 day to -6 year.
std::optional<Period> periodOfInterval(qint64 interval);

/// Where the periods of one zone begin, for timestamps of the years 0 to 9999.
///
/// A period begins with the first instant at which the zone's clocks show its first day's midnight or a later time. So
/// a day may have 23 or 25 hours, it begins at 01:00 where the clocks skip midnight, and one that the zone skips as a
/// whole does not exist. The periods follow each other without hole or overlap.
/// Remembers the zone's last stretch without a change of clocks; not thread safe.
class LocalCalendar
{
public:
    /// \param zone  a valid one
    explicit LocalCalendar(const QTimeZone& zone);

    /// First millisecond of the period that holds a timestamp.
    qint64 startOf(Period period, qint64 timestampMs);
    /// First millisecond of the period after it.
    qint64 startOfNext(Period period, qint64 timestampMs);

    const QTimeZone& zone() const { return m_zone; }

private:
    /// A stretch of time with one offset.
    struct Stretch {
        qint64 fromMs = 0;
        qint64 toMs = 0; ///< exclusive
        qint64 offsetMs = 0;
    };

    /// The period that holds a timestamp, by the first days of it and of the next one.
    struct Bounds {
        qint64 startMs;
        qint64 nextMs;
    };

    Bounds boundsOf(Period period, qint64 timestampMs);
    qint64 startOfDay(const QDate& day);
    const Stretch& stretchAt(qint64 timestampMs);

    QTimeZone m_zone;
    Stretch m_stretch;
};

} // namespace Kiv::Analytics
