#include "IntervalText.h"

#include "Errors.h"
#include "TimeText.h"

#include <QStringList>

#include <array>
#include <charconv>

namespace Kiv::Cli
{

namespace
{

// The store's codes of calendar intervals count down from -1 in this order.
const QStringList kCalendarWords = {QStringLiteral("day"),      QStringLiteral("week"),
                                    QStringLiteral("month"),    QStringLiteral("quarter"),
                                    QStringLiteral("halfyear"), QStringLiteral("year")};

struct IntervalUnit {
    const char* name;
    qint64 seconds;
};

// From short to long.
constexpr std::array<IntervalUnit, 6> kIntervalUnits = {
    {{"", 1}, {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86'400}, {"w", 604'800}}};

} // namespace

QStringList usualIntervals()
{
    return QStringList{QStringLiteral("1m"), QStringLiteral("15m"), QStringLiteral("1h"),
                       QStringLiteral("1d")} +
           kCalendarWords;
}

qint64 parseInterval(const QString& option, const QString& text)
{
    const qsizetype calendarIndex = kCalendarWords.indexOf(text.toLower());
    if (calendarIndex >= 0)
        return -1 - calendarIndex;

    const QByteArray bytes = text.toUtf8();
    const char* const end = bytes.constData() + bytes.size();
    qint64 count = 0;
    const auto [stop, error] = std::from_chars(bytes.constData(), end, count);
    const QByteArray unit(stop, end - stop);
    constexpr qint64 kMaxSeconds = (kLastTimestampMs - kFirstTimestampMs) / 1000;
    for (const IntervalUnit& known : kIntervalUnits) {
        qint64 seconds = 0;
        if (error == std::errc() && unit == known.name && count > 0 &&
            !qMulOverflow(count, known.seconds, &seconds) && seconds <= kMaxSeconds)
            return seconds;
    }
    throw CommandError(ExitCode::Usage,
                       QStringLiteral("%1: %2 is no interval; write seconds, a number with s, m, h, d or w "
                                      "(90s, 15m, 1h, 1d, 1w), or one of %3")
                           .arg(option, quoted(text), kCalendarWords.join(QStringLiteral(", "))));
}

QString intervalText(qint64 interval)
{
    if (interval == 0)
        return QStringLiteral("raw");
    const bool isCalendarCode = interval < 0 && interval >= -kCalendarWords.size();
    if (isCalendarCode)
        return kCalendarWords[-1 - interval];
    const IntervalUnit* best = kIntervalUnits.data();
    for (const IntervalUnit& unit : kIntervalUnits) {
        if (interval % unit.seconds == 0)
            best = &unit;
    }
    return QString::number(interval / best->seconds) + QLatin1String(best->name);
}

} // namespace Kiv::Cli
