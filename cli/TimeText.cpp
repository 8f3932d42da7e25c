#include "TimeText.h"

#include "Errors.h"
#include "Words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kMsPerDay = 86'400'000;

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

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Takes fields off the front of a text.
class FieldScanner
{
public:
    explicit FieldScanner(std::string_view text) : m_rest(text) {}

    bool atEnd() const { return m_rest.empty(); }

    bool accept(std::string_view anyOf)
    {
        if (m_rest.empty() || anyOf.find(m_rest.front()) == std::string_view::npos)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    bool number(std::size_t digitCount, int& value)
    {
        if (m_rest.size() < digitCount)
            return false;
        value = 0;
        for (std::size_t i = 0; i < digitCount; ++i) {
            if (!isDigit(m_rest[i]))
                return false;
            value = value * 10 + (m_rest[i] - '0');
        }
        m_rest.remove_prefix(digitCount);
        return true;
    }

    /// One or more digits as thousandths; further digits are passed over.
    bool fraction(int& thousandths)
    {
        thousandths = 0;
        std::size_t digitCount = 0;
        for (; digitCount < m_rest.size() && isDigit(m_rest[digitCount]); ++digitCount) {
            if (digitCount < 3)
                thousandths = thousandths * 10 + (m_rest[digitCount] - '0');
        }
        m_rest.remove_prefix(digitCount);
        for (std::size_t i = digitCount; i < 3; ++i)
            thousandths *= 10;
        return digitCount > 0;
    }

private:
    std::string_view m_rest;
};

bool scanDate(FieldScanner& scanner, qint64& dateMs)
{
    int year = 0;
    int month = 0;
    int day = 0;
    if (!scanner.number(4, year) || !scanner.accept("-") || !scanner.number(2, month) ||
        !scanner.accept("-") || !scanner.number(2, day))
        return false;
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok())
        return false;
    dateMs = std::chrono::sys_days(date).time_since_epoch().count() * kMsPerDay;
    return true;
}

bool scanTimeOfDay(FieldScanner& scanner, qint64& timeOfDayMs)
{
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    if (!scanner.number(2, hour) || !scanner.accept(":") || !scanner.number(2, minute))
        return false;
    if (scanner.accept(":")) {
        if (!scanner.number(2, second))
            return false;
        if (scanner.accept(".,") && !scanner.fraction(millisecond))
            return false;
    }
    if (hour > 23 || minute > 59 || second > 59)
        return false;
    timeOfDayMs = ((hour * 60LL + minute) * 60 + second) * 1000 + millisecond;
    return true;
}

bool scanZone(FieldScanner& scanner, qint64& eastMs)
{
    eastMs = 0;
    if (scanner.atEnd() || scanner.accept("Zz"))
        return true;
    const bool east = scanner.accept("+");
    int hours = 0;
    int minutes = 0;
    if ((!east && !scanner.accept("-")) || !scanner.number(2, hours))
        return false;
    const bool minutesFollow = scanner.accept(":") || !scanner.atEnd();
    if ((minutesFollow && !scanner.number(2, minutes)) || hours > 23 || minutes > 59)
        return false;
    eastMs = (east ? 1 : -1) * (hours * 60LL + minutes) * 60'000;
    return true;
}

/// Writes a number with leading zeros.
char* writeDigits(qint64 number, int digitCount, char* to)
{
    for (int i = digitCount - 1; i >= 0; --i) {
        to[i] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    return to + digitCount;
}

/// "13:45:12.000Z"
char* writeTimeOfDay(qint64 timeOfDayMs, char* to)
{
    to = writeDigits(timeOfDayMs / 3'600'000, 2, to);
    *to++ = ':';
    to = writeDigits(timeOfDayMs / 60'000 % 60, 2, to);
    *to++ = ':';
    to = writeDigits(timeOfDayMs / 1000 % 60, 2, to);
    *to++ = '.';
    to = writeDigits(timeOfDayMs % 1000, 3, to);
    *to++ = 'Z';
    return to;
}

QString timeForms()
{
    return QStringLiteral(
        "ISO 8601 such as 2024-05-17T13:45:12Z, @seconds, milliseconds, first, last or now");
}

} // namespace

bool isStorableTimestamp(qint64 timestampMs)
{
    return timestampMs >= kFirstTimestampMs && timestampMs <= kLastTimestampMs;
}

std::optional<qint64> parseIsoTime(std::string_view text)
{
    FieldScanner scanner(text);
    qint64 dateMs = 0;
    if (!scanDate(scanner, dateMs))
        return std::nullopt;
    if (scanner.atEnd())
        return dateMs;
    qint64 timeOfDayMs = 0;
    qint64 eastMs = 0;
    if (!scanner.accept("Tt ") || !scanTimeOfDay(scanner, timeOfDayMs) || !scanZone(scanner, eastMs) ||
        !scanner.atEnd())
        return std::nullopt;
    return dateMs + timeOfDayMs - eastMs;
}

std::optional<qint64> parseMilliseconds(std::string_view text)
{
    qint64 value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (stop != end || error == std::errc::invalid_argument)
        return std::nullopt;
    if (error == std::errc::result_out_of_range)
        return text.front() == '-' ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    return value;
}

std::optional<qint64> parseSeconds(std::string_view text)
{
    const std::size_t point = text.find_first_of(".,");
    const std::optional<qint64> seconds = parseMilliseconds(text.substr(0, point));
    int thousandths = 0;
    if (!seconds)
        return std::nullopt;
    if (point != std::string_view::npos) {
        FieldScanner scanner(text.substr(point + 1));
        if (!scanner.fraction(thousandths) || !scanner.atEnd())
            return std::nullopt;
    }
    if (text.front() == '-')
        thousandths = -thousandths;
    qint64 wholeMs = 0;
    if (qMulOverflow(*seconds, qint64(1000), &wholeMs))
        return *seconds < 0 ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    qint64 timestampMs = 0;
    return qAddOverflow(wholeMs, qint64(thousandths), &timestampMs) ? wholeMs : timestampMs;
}

std::optional<qint64> parseTime(std::string_view text)
{
    if (!text.empty() && text.front() == '@')
        return parseSeconds(text.substr(1));
    const std::optional<qint64> milliseconds = parseMilliseconds(text);
    return milliseconds ? milliseconds : parseIsoTime(text);
}

QString formatTime(qint64 timestampMs)
{
    const qint64 remainderMs = timestampMs % kMsPerDay;
    const qint64 dayNumber = timestampMs / kMsPerDay - (remainderMs < 0 ? 1 : 0);
    const qint64 timeOfDayMs = remainderMs + (remainderMs < 0 ? kMsPerDay : 0);
    constexpr qint64 kMaxDays = 10'000'000;
    if (dayNumber > kMaxDays || dayNumber < -kMaxDays)
        return QString::number(timestampMs);
    const std::chrono::year_month_day date{
        std::chrono::sys_days{std::chrono::days{static_cast<std::chrono::days::rep>(dayNumber)}}};
    const int year = static_cast<int>(date.year());
    const char* const form = year >= 0 && year <= 9999 ? "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ"
                                                       : "%+06d-%02u-%02uT%02d:%02d:%02d.%03dZ";
    return QString::asprintf(form, year, static_cast<unsigned>(date.month()),
                             static_cast<unsigned>(date.day()), static_cast<int>(timeOfDayMs / 3'600'000),
                             static_cast<int>(timeOfDayMs / 60'000 % 60),
                             static_cast<int>(timeOfDayMs / 1000 % 60), static_cast<int>(timeOfDayMs % 1000));
}

char* TimeWriter::write(qint64 timestampMs, char* to)
{
    const bool isSameDay = timestampMs >= m_dayStartMs && timestampMs < m_dayStartMs + kMsPerDay;
    if (!isSameDay) {
        const QByteArray text = formatTime(timestampMs).toLatin1();
        if (!isStorableTimestamp(timestampMs))
            return std::copy(text.begin(), text.end(), to);
        std::copy_n(text.begin(), kDateLength, m_date.begin());
        const qint64 sinceDayStartMs = timestampMs % kMsPerDay;
        m_dayStartMs = timestampMs - sinceDayStartMs - (sinceDayStartMs < 0 ? kMsPerDay : 0);
    }
    to = std::copy_n(m_date.begin(), kDateLength, to);
    return writeTimeOfDay(timestampMs - m_dayStartMs, to);
}

bool looksSymbolic(qint64 timestampMs)
{
    return timestampMs > kBeforeSymbols && timestampMs < kAfterSymbols;
}

TimeBound parseTimeBound(const QString& option, const QString& text)
{
    if (text == QLatin1String("first"))
        return {kFirstRecord, true};
    if (text == QLatin1String("last"))
        return {kLastRecord, true};
    if (text == QLatin1String("now"))
        return {kNow, true};
    const QByteArray bytes = text.toUtf8();
    const std::optional<qint64> timestampMs = parseTime({bytes.constData(), std::size_t(bytes.size())});
    if (!timestampMs)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 is no time; write %3").arg(option, quoted(text), timeForms()));
    if (!isStorableTimestamp(*timestampMs))
        throw CommandError(ExitCode::BadData,
                           QStringLiteral("%1: %2 is outside the years 0 to 9999").arg(option, quoted(text)));
    return {*timestampMs, false};
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
