#include "TimeText.h"

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

/// \return the start of a date on the clock
qint64 localMidnight(std::chrono::sys_days date)
{
    return date.time_since_epoch().count() * kMsPerDay;
}

bool scanDate(FieldScanner& scanner, std::chrono::year_month_day& date)
{
    int year = 0;
    int month = 0;
    int day = 0;
    if (!scanner.number(4, year) || !scanner.accept("-") || !scanner.number(2, month) ||
        !scanner.accept("-") || !scanner.number(2, day))
        return false;
    date = {std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
            std::chrono::day(static_cast<unsigned>(day))};
    return date.ok();
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

/// \param eastMs  nothing when no zone is given
bool scanZone(FieldScanner& scanner, std::optional<qint64>& eastMs)
{
    eastMs.reset();
    if (scanner.atEnd())
        return true;
    eastMs = 0;
    if (scanner.accept("Zz"))
        return true;
    const bool east = scanner.accept("+");
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    if ((!east && !scanner.accept("-")) || !scanner.number(2, hours))
        return false;
    const bool minutesFollow = scanner.accept(":") || !scanner.atEnd();
    if ((minutesFollow && !scanner.number(2, minutes)) || hours > 23 || minutes > 59)
        return false;
    // Offsets of local mean time, which a zone had before it had rules.
    if (scanner.accept(":") && (!scanner.number(2, seconds) || seconds > 59))
        return false;
    eastMs = (east ? 1 : -1) * ((hours * 60LL + minutes) * 60 + seconds) * 1000;
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

/// "13:45:12.000"
char* writeTimeOfDay(qint64 timeOfDayMs, char* to)
{
    to = writeDigits(timeOfDayMs / 3'600'000, 2, to);
    *to++ = ':';
    to = writeDigits(timeOfDayMs / 60'000 % 60, 2, to);
    *to++ = ':';
    to = writeDigits(timeOfDayMs / 1000 % 60, 2, to);
    *to++ = '.';
    return writeDigits(timeOfDayMs % 1000, 3, to);
}

} // namespace

bool isStorableTimestamp(qint64 timestampMs)
{
    return timestampMs >= kFirstTimestampMs && timestampMs <= kLastTimestampMs;
}

std::optional<qint64> parseIsoTime(std::string_view text)
{
    FieldScanner scanner(text);
    std::chrono::year_month_day date;
    if (!scanDate(scanner, date))
        return std::nullopt;
    const qint64 midnightMs = localMidnight(date);
    if (scanner.atEnd())
        return programZone().startOfDay(midnightMs);
    qint64 timeOfDayMs = 0;
    std::optional<qint64> eastMs;
    if (!scanner.accept("Tt ") || !scanTimeOfDay(scanner, timeOfDayMs) || !scanZone(scanner, eastMs) ||
        !scanner.atEnd())
        return std::nullopt;
    const qint64 localMs = midnightMs + timeOfDayMs;
    return eastMs ? localMs - *eastMs : programZone().fromLocal(localMs);
}

TimePeriod periodOfDays(std::chrono::sys_days first, std::chrono::sys_days next)
{
    return {programZone().startOfDay(localMidnight(first)),
            programZone().startOfDay(localMidnight(next)) - 1};
}

std::optional<TimePeriod> parsePeriod(std::string_view text)
{
    using namespace std::chrono;
    FieldScanner scanner(text);
    int number = 0;
    if (!scanner.number(4, number))
        return std::nullopt;
    const year periodYear(number);
    if (scanner.atEnd())
        return periodOfDays(periodYear / January / 1, (periodYear + years(1)) / January / 1);
    if (!scanner.accept("-") || !scanner.number(2, number) || number < 1 || number > 12)
        return std::nullopt;
    const year_month periodMonth = periodYear / month(static_cast<unsigned>(number));
    if (scanner.atEnd())
        return periodOfDays(periodMonth / 1, (periodMonth + months(1)) / 1);
    if (!scanner.accept("-") || !scanner.number(2, number) || !scanner.atEnd())
        return std::nullopt;
    const year_month_day date = periodMonth / number;
    if (!date.ok())
        return std::nullopt;
    return periodOfDays(date, sys_days(date) + days(1));
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
    const qint64 eastMs = programZone().offsetAt(timestampMs).eastMs;
    const qint64 localMs = timestampMs + eastMs;
    const qint64 remainderMs = localMs % kMsPerDay;
    const qint64 dayNumber = localMs / kMsPerDay - (remainderMs < 0 ? 1 : 0);
    const qint64 timeOfDayMs = remainderMs + (remainderMs < 0 ? kMsPerDay : 0);
    constexpr qint64 kMaxDays = 10'000'000;
    if (dayNumber > kMaxDays || dayNumber < -kMaxDays)
        return QString::number(timestampMs);
    const std::chrono::year_month_day date{
        std::chrono::sys_days{std::chrono::days{static_cast<std::chrono::days::rep>(dayNumber)}}};
    const int year = static_cast<int>(date.year());
    std::array<char, TimeWriter::kMaxLength> timeAndZone;
    const char* const end =
        writeOffset(programZone(), eastMs, writeTimeOfDay(timeOfDayMs, timeAndZone.data()));
    return QString::asprintf(year >= 0 && year <= 9999 ? "%04d-%02u-%02uT" : "%+06d-%02u-%02uT", year,
                             static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day())) +
           QString::fromLatin1(timeAndZone.data(), end - timeAndZone.data());
}

char* TimeWriter::write(qint64 timestampMs, char* to)
{
    if (!m_span.contains(timestampMs))
        m_span = programZone().offsetAt(timestampMs);
    const qint64 localMs = timestampMs + m_span.eastMs;
    const bool isSameDay = localMs >= m_dayStartMs && localMs < m_dayStartMs + kMsPerDay;
    if (!isSameDay) {
        const QByteArray text = formatTime(timestampMs).toLatin1();
        if (!isStorableTimestamp(localMs))
            return std::copy(text.begin(), text.end(), to);
        std::copy_n(text.begin(), kDateLength, m_date.begin());
        const qint64 sinceDayStartMs = localMs % kMsPerDay;
        m_dayStartMs = localMs - sinceDayStartMs - (sinceDayStartMs < 0 ? kMsPerDay : 0);
    }
    to = std::copy_n(m_date.begin(), kDateLength, to);
    return writeOffset(programZone(), m_span.eastMs, writeTimeOfDay(localMs - m_dayStartMs, to));
}

} // namespace Kiv::Cli
