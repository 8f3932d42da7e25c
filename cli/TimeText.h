#pragma once

// Owns the text forms of timestamps and intervals. Everything is UTC and independent of host zone and locale.

#include <QString>

#include <array>
#include <optional>
#include <string_view>

namespace Kiv::Cli
{

// Ends of the years that a series can hold.
inline constexpr qint64 kFirstTimestampMs = -62'167'219'200'000; // 0000-01-01T00:00:00.000Z
inline constexpr qint64 kLastTimestampMs = 253'402'300'799'999;  // 9999-12-31T23:59:59.999Z

/// \return false outside the years 0 to 9999
bool isStorableTimestamp(qint64 timestampMs);

/// ISO 8601: a date, or date and time separated by "T" or a blank, seconds and fraction optional, with "Z",
/// "+hh:mm" or no zone, which means UTC. Digits below milliseconds are cut off.
/// \return milliseconds since the epoch
std::optional<qint64> parseIsoTime(std::string_view text);

/// Decimal digits with an optional sign, saturating at 64 bits.
std::optional<qint64> parseMilliseconds(std::string_view text);

/// Seconds with an optional fraction, saturating at 64 bits. Digits below milliseconds are cut off.
/// \return milliseconds since the epoch
std::optional<qint64> parseSeconds(std::string_view text);

/// Any of ISO 8601, "@seconds" and milliseconds.
std::optional<qint64> parseTime(std::string_view text);

/// "2024-05-17T13:45:12.000Z"; years beyond 0 to 9999 are written with a sign.
QString formatTime(qint64 timestampMs);

/// Writes timestamps as formatTime does, fast where many of one day come one after the other.
class TimeWriter
{
public:
    static constexpr std::size_t kMaxLength = 32;

    /// \param to  has room for kMaxLength bytes
    /// \return the end of the text
    char* write(qint64 timestampMs, char* to);

private:
    static constexpr std::size_t kDateLength = 11;

    qint64 m_dayStartMs = 0;
    std::array<char, kDateLength + 1> m_date{"1970-01-01T"}; ///< of that day
};

/// One end of a time range as the store takes it: a timestamp, or -1 now, -2 first record, -3 last record.
struct TimeBound {
    qint64 value = 0;
    bool isSymbolic = false;

    bool operator==(const TimeBound&) const = default;
};

inline constexpr qint64 kNow = -1;
inline constexpr qint64 kFirstRecord = -2;
inline constexpr qint64 kLastRecord = -3;

/// Whether the store would take a timestamp for one of the three symbols.
bool looksSymbolic(qint64 timestampMs);

/// The nearest timestamps before and after that the store takes as they are.
inline constexpr qint64 kBeforeSymbols = kLastRecord - 1;
inline constexpr qint64 kAfterSymbols = kNow + 1;

/// The time that a user gives for an option: what parseTime takes, or "first", "last", "now".
/// \throws CommandError that names the option
TimeBound parseTimeBound(const QString& option, const QString& text);

/// Both ends inclusive.
struct TimeRange {
    TimeBound from;
    TimeBound to;

    bool operator==(const TimeRange&) const = default;
};

/// The interval that a user gives: "90", "90s", "15m", "1h", "1d", "1w", or "day" to "year".
/// \return seconds, or the store's code of a calendar interval
/// \throws CommandError that names the option
qint64 parseInterval(const QString& option, const QString& text);

/// The shortest text that parseInterval reads back: "90s", "1h", "day"; "raw" for 0.
QString intervalText(qint64 interval);

} // namespace Kiv::Cli
