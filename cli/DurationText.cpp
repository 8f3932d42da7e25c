#include "DurationText.h"

#include "Errors.h"
#include "IntervalText.h"
#include "TimeText.h"

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kMsPerSecond = 1000;

qint64 parseMillisecondCount(const QString& text)
{
    constexpr qsizetype kUnitLength = 2;
    bool isNumber = false;
    const qint64 count = text.chopped(kUnitLength).toLongLong(&isNumber);
    const bool isInRange = isNumber && count > 0 && count <= kLastTimestampMs - kFirstTimestampMs;
    return isInRange ? count : 0;
}

} // namespace

qint64 parseDuration(const QString& option, const QString& text)
{
    if (text.endsWith(QLatin1String("ms"))) {
        const qint64 durationMs = parseMillisecondCount(text);
        if (durationMs > 0)
            return durationMs;
    }
    qint64 seconds = 0;
    try {
        seconds = parseInterval(option, text);
    } catch (const CommandError&) {
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 is no length of time; write seconds, or a number with ms, s, m, "
                           "h, d or w (500ms, 90s, 15m, 1h, 1d, 1w)")
                .arg(option, quoted(text)));
    }
    if (seconds < 0)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 has no fixed length; write a number of days, for example 30d")
                .arg(option, quoted(text)));
    return seconds * kMsPerSecond;
}

QString durationText(qint64 durationMs)
{
    if (durationMs % kMsPerSecond != 0 || durationMs <= 0)
        return QString::number(durationMs) + QStringLiteral("ms");
    return intervalText(durationMs / kMsPerSecond);
}

} // namespace Kiv::Cli
