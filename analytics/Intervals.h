#pragma once

// Owns the intervals that samples are reduced in. Knows no samples.

#include "analytics/LocalCalendar.h"

#include "Interpolate.h"

#include <QtGlobal>

#include <memory>
#include <optional>
#include <vector>

namespace Kiv::Analytics
{

/// Includes its start and excludes its end.
struct Interval {
    qint64 startMs = 0;
    qint64 endMs = 0;
    qint64 labelMs = 0; ///< the time of the result

    bool operator==(const Interval&) const = default;
};

/// Hands out intervals one by one, so that their number costs no memory.
class Intervals
{
public:
    Intervals() = default;
    virtual ~Intervals() = default;
    Intervals(const Intervals&) = delete;
    Intervals& operator=(const Intervals&) = delete;

    /// \return the next one, not before the end of the one before; nothing behind the last one
    virtual std::optional<Interval> next() = 0;
};

/// Which end of an interval labels its result.
enum class LabelAt { End, Start };

/// Intervals that someone else chose, for example one from the first to the last sample.
class IntervalList : public Intervals
{
public:
    /// \param intervals  in time order, none overlapping another
    explicit IntervalList(std::vector<Interval> intervals) : m_intervals(std::move(intervals)) {}

    std::optional<Interval> next() override;

private:
    std::vector<Interval> m_intervals;
    std::size_t m_next = 0;
};

/// The intervals, with their labels, in which the library's own engine would answer a request.
class EngineIntervals : public Intervals
{
public:
    /// \param param       its interval (none when it is 0), alignment and offset; its method does not matter
    /// \param start, end  the requested range, both inclusive; -1 now, -2 first record, -3 last record
    /// \param firstRecordMs, lastRecordMs  the series' first and last sample
    EngineIntervals(const Interpolate::InterpolateParam& param, qint64 start, qint64 end,
                    qint64 firstRecordMs, qint64 lastRecordMs, LabelAt labelAt);
    ~EngineIntervals() override;

    std::optional<Interval> next() override;

private:
    std::vector<Interpolate::DataRecord> m_unusedResults;
    int m_unusedLimit = 0;
    std::unique_ptr<Interpolate> m_engine;
    LabelAt m_labelAt;
    bool m_hasMore = false;
};

/// Every period of a local calendar that a range touches, each complete.
class CalendarIntervals : public Intervals
{
public:
    /// \param fromMs, toMs  both inclusive, in the years 0 to 9999
    CalendarIntervals(const QTimeZone& zone, Period period, qint64 fromMs, qint64 toMs, LabelAt labelAt);

    std::optional<Interval> next() override;

private:
    LocalCalendar m_calendar;
    Period m_period;
    qint64 m_fromMs;
    qint64 m_nextStartMs;
    qint64 m_toMs;
    LabelAt m_labelAt;
};

} // namespace Kiv::Analytics
