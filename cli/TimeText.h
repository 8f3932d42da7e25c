#pragma once

// Owns the text forms of timestamps: in the program's zone, independent of the host's zone and locale.

#include "Zone.h"

#include <QString>

#include <array>
#include <chrono>
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
/// "+hh:mm" or no zone, which means the program's. Digits below milliseconds are cut off.
/// \return milliseconds since the epoch
std::optional<qint64> parseIsoTime(std::string_view text);

/// Decimal digits with an optional sign, saturating at 64 bits.
std::optional<qint64> parseMilliseconds(std::string_view text);

/// Seconds with an optional fraction, saturating at 64 bits. Digits below milliseconds are cut off.
/// \return milliseconds since the epoch
std::optional<qint64> parseSeconds(std::string_view text);

/// Any of ISO 8601, "@seconds" and milliseconds.
std::optional<qint64> parseTime(std::string_view text);

/// Both ends inclusive.
struct TimePeriod {
    qint64 startMs = 0;
    qint64 endMs = 0;
};

/// \param next  the day behind the last one
TimePeriod periodOfDays(std::chrono::sys_days first, std::chrono::sys_days next);

/// A year "2024", a month "2024-05" or a day "2024-05-17" of the program's zone.
std::optional<TimePeriod> parsePeriod(std::string_view text);

/// "2024-05-17T13:45:12.000Z", or "...+02:00" when the program's zone is not UTC; years beyond 0 to 9999 are written
/// with a sign.
QString formatTime(qint64 timestampMs);

/// Writes timestamps as formatTime does, fast where many of one day come one after the other.
class TimeWriter
{
public:
    static constexpr std::size_t kMaxLength = 40;

    /// \param to  has room for kMaxLength bytes
    /// \return the end of the text
    char* write(qint64 timestampMs, char* to);

private:
    static constexpr std::size_t kDateLength = 11;

    OffsetSpan m_span{0, 0, 0};
    qint64 m_dayStartMs = 0;                                 ///< local
    std::array<char, kDateLength + 1> m_date{"1970-01-01T"}; ///< of that day
};

} // namespace Kiv::Cli
