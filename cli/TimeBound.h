#pragma once

// Owns the ends of ranges as users give them.

#include <QString>
#include <QStringList>

namespace Kiv::Cli
{

/// The words that stand for a time: "first", "today" and the like.
QStringList timeWords();

inline constexpr qint64 kNow = -1;
inline constexpr qint64 kFirstRecord = -2;
inline constexpr qint64 kLastRecord = -3;

/// One end of a time range as the store takes it: a timestamp, or one of the symbols above.
struct TimeBound {
    qint64 value = 0;
    bool isSymbolic = false;

    /// Whether it stands for the first or the last record.
    bool isRecord() const { return isSymbolic && value != kNow; }

    bool operator==(const TimeBound&) const = default;
};

/// Whether the store would take a timestamp for one of the three symbols.
bool looksSymbolic(qint64 timestampMs);

/// The nearest timestamps before and after that the store takes as they are.
inline constexpr qint64 kBeforeSymbols = kLastRecord - 1;
inline constexpr qint64 kAfterSymbols = kNow + 1;

/// What a period such as a day stands for as an end of a range.
enum class RangeEnd {
    From, ///< its first millisecond
    To,   ///< its last millisecond
};

/// The time that a user gives for an option: what parseTime takes, "first", "last", "now", "now-7d", or a period: "2024",
/// "2024-05", "2024-05-17", "today", "yesterday", "thismonth" and the like.
/// \throws CommandError that names the option
TimeBound parseTimeBound(const QString& option, const QString& text, RangeEnd end);

/// Both ends inclusive.
struct TimeRange {
    TimeBound from;
    TimeBound to;

    bool operator==(const TimeRange&) const = default;
};

} // namespace Kiv::Cli
