#pragma once

// Owns the zone in which the program reads and writes times: UTC unless --tz names another.

#include <QString>
#include <QTimeZone>

#include <limits>

namespace Kiv::Cli
{

/// A stretch of time with one offset from UTC; its end is excluded.
struct OffsetSpan {
    qint64 startMs = std::numeric_limits<qint64>::min();
    qint64 endMs = std::numeric_limits<qint64>::max();
    qint64 eastMs = 0; ///< local time is UTC plus this

    bool contains(qint64 timestampMs) const { return timestampMs >= startMs && timestampMs < endMs; }
};

/// Local times are given as milliseconds since 1970-01-01T00:00 on the clock of the zone.
class Zone
{
public:
    /// UTC
    Zone() = default;

    /// \param name  an IANA name such as Europe/Berlin, UTC, or local for the zone of the host
    /// \throws CommandError (usage) that suggests the nearest name
    static Zone named(const QString& option, const QString& name);

    bool isUtc() const { return !m_zone.isValid(); }

    /// The name of a zone other than UTC, "UTC" otherwise.
    QString name() const;

    OffsetSpan offsetAt(qint64 timestampMs) const;

    /// Of a time that the clock shows twice the first one; of one that it skips, the one as long after the
    /// change as the time lies behind it on the clock.
    qint64 fromLocal(qint64 localMs) const;

    /// The first instant of a local day, whose midnight the clock may skip.
    /// \param localMidnightMs  the start of the day on the clock
    qint64 startOfDay(qint64 localMidnightMs) const;

    qint64 toLocal(qint64 timestampMs) const { return timestampMs + offsetAt(timestampMs).eastMs; }

    /// The same zone for calendars; UTC is a zone here, too.
    QTimeZone timeZone() const { return isUtc() ? QTimeZone::utc() : m_zone; }

private:
    QTimeZone m_zone; ///< invalid for UTC
};

/// The zone of all times without one, on input and output.
const Zone& programZone();

/// Also makes it the zone that the store's filters see.
void setProgramZone(const Zone& zone);

/// What stands behind a time: "Z", or the offset as "+02:00", with seconds where history had them.
/// \return the end of the text, at most 9 bytes behind `to`
char* writeOffset(const Zone& zone, qint64 eastMs, char* to);

} // namespace Kiv::Cli
