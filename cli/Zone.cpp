#include "Zone.h"

#include "Words.h"

#include <QDateTime>

#include <cstdlib>
#include <ctime>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kMsPerDay = 86'400'000;

Zone& storedZone()
{
    static Zone zone;
    return zone;
}

/// Before the program sets its own.
const QByteArray& hostZoneName()
{
    static const QByteArray name = QTimeZone::systemTimeZoneId();
    return name;
}

QDateTime utcTime(qint64 timestampMs)
{
    return QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC);
}

char* writeTwoDigits(qint64 number, char* to)
{
    *to++ = static_cast<char>('0' + number / 10);
    *to++ = static_cast<char>('0' + number % 10);
    return to;
}

} // namespace

Zone Zone::named(const QString& option, const QString& name)
{
    Zone zone;
    const QByteArray id = name == QLatin1String("local") ? hostZoneName() : name.toUtf8();
    if (id.toUpper() == "UTC" || id == "Z")
        return zone;
    zone.m_zone = QTimeZone(id);
    if (zone.m_zone.isValid())
        return zone;
    QStringList known;
    for (const QByteArray& knownId : QTimeZone::availableTimeZoneIds())
        known += QString::fromUtf8(knownId);
    if (known.isEmpty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: this machine knows no zones; install its zone data (tzdata)").arg(option));
    throw CommandError(ExitCode::Usage,
                       QStringLiteral("%1: unknown zone %2; did you mean '%3'? Zones are "
                                      "named as Europe/Berlin or UTC; local is that of the host")
                           .arg(option, quoted(name), nearestWord(name, known)));
}

QString Zone::name() const
{
    return isUtc() ? QStringLiteral("UTC") : QString::fromUtf8(m_zone.id());
}

OffsetSpan Zone::offsetAt(qint64 timestampMs) const
{
    OffsetSpan span;
    if (isUtc())
        return span;
    span.eastMs = m_zone.offsetFromUtc(utcTime(timestampMs)) * 1000LL;
    const QTimeZone::OffsetData before = m_zone.previousTransition(utcTime(timestampMs + 1));
    QTimeZone::OffsetData after = m_zone.nextTransition(utcTime(timestampMs));
    // At the last transition of its table Qt forgets that the zone's rule goes on.
    if (!after.atUtc.isValid())
        after = m_zone.nextTransition(utcTime(timestampMs + 1));
    if (before.atUtc.isValid())
        span.startMs = before.atUtc.toMSecsSinceEpoch();
    if (after.atUtc.isValid())
        span.endMs = after.atUtc.toMSecsSinceEpoch();
    return span;
}

qint64 Zone::fromLocal(qint64 localMs) const
{
    if (isUtc())
        return localMs;
    const qint64 eastBeforeMs = offsetAt(localMs - kMsPerDay).eastMs;
    const qint64 eastAfterMs = offsetAt(localMs + kMsPerDay).eastMs;
    if (offsetAt(localMs - eastBeforeMs).eastMs == eastBeforeMs)
        return localMs - eastBeforeMs;
    if (offsetAt(localMs - eastAfterMs).eastMs == eastAfterMs)
        return localMs - eastAfterMs;
    return localMs - eastBeforeMs;
}

qint64 Zone::startOfDay(qint64 localMidnightMs) const
{
    const qint64 timestampMs = fromLocal(localMidnightMs);
    const OffsetSpan span = offsetAt(timestampMs);
    const bool isSkipped = span.eastMs != localMidnightMs - timestampMs;
    return isSkipped ? span.startMs : timestampMs;
}

const Zone& programZone()
{
    return storedZone();
}

void setProgramZone(const Zone& zone)
{
    static_cast<void>(hostZoneName());
    storedZone() = zone;
    qputenv("TZ", zone.name().toUtf8());
    ::tzset();
}

char* writeOffset(const Zone& zone, qint64 eastMs, char* to)
{
    if (zone.isUtc()) {
        *to++ = 'Z';
        return to;
    }
    *to++ = eastMs < 0 ? '-' : '+';
    const qint64 seconds = std::abs(eastMs) / 1000;
    to = writeTwoDigits(seconds / 3600, to);
    *to++ = ':';
    to = writeTwoDigits(seconds / 60 % 60, to);
    if (seconds % 60 == 0)
        return to;
    *to++ = ':';
    return writeTwoDigits(seconds % 60, to);
}

} // namespace Kiv::Cli
