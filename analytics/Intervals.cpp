#include "analytics/Intervals.h"

#include <stdexcept>

namespace Kiv::Analytics
{

std::optional<Interval> IntervalList::next()
{
    return m_next < m_intervals.size() ? std::optional(m_intervals[m_next++]) : std::nullopt;
}

EngineIntervals::EngineIntervals(const Interpolate::InterpolateParam& param, qint64 start, qint64 end,
                                 qint64 firstRecordMs, qint64 lastRecordMs, LabelAt labelAt)
    : m_labelAt(labelAt)
{
    // A method whose range is exactly that of its intervals; without an interval every method is raw.
    Interpolate::InterpolateParam request = param;
    request.method = QStringLiteral("count");
    request.filterParams.clear();
    m_engine = std::make_unique<Interpolate>(
        std::move(request), std::vector<Interpolate::InterpolateParam>(), start, end, firstRecordMs,
        lastRecordMs, &m_unusedResults, QMetaType::Double, labelAt == LabelAt::Start, m_unusedLimit, false);
    qint64 readStartMs = 0;
    qint64 readEndMs = 0;
    m_hasMore = m_engine->getRange(readStartMs, readEndMs) && m_engine->method != Interpolate::RAW;
}

EngineIntervals::~EngineIntervals() = default;

std::optional<Interval> EngineIntervals::next()
{
    if (!m_hasMore || m_engine->intervalEnd > m_engine->rangeEnd)
        return std::nullopt;
    Interval interval{m_engine->intervalStart, m_engine->intervalEnd, m_engine->intervalEnd};
    if (m_labelAt == LabelAt::Start)
        m_engine->decTimestampByInterval(interval.labelMs);
    try {
        m_engine->incIntervalNextTimestamp();
    } catch (const std::out_of_range&) {
        m_hasMore = false;
    }
    return interval;
}

CalendarIntervals::CalendarIntervals(const QTimeZone& zone, Period period, qint64 fromMs, qint64 toMs,
                                     LabelAt labelAt)
    : m_calendar(zone), m_period(period), m_fromMs(fromMs), m_toMs(toMs), m_labelAt(labelAt)
{
    m_nextStartMs = m_calendar.startOf(period, fromMs);
}

std::optional<Interval> CalendarIntervals::next()
{
    if (m_fromMs > m_toMs || m_nextStartMs > m_toMs)
        return std::nullopt;
    const qint64 startMs = m_nextStartMs;
    m_nextStartMs = m_calendar.startOfNext(m_period, startMs);
    return Interval{startMs, m_nextStartMs, m_labelAt == LabelAt::Start ? startMs : m_nextStartMs};
}

} // namespace Kiv::Analytics
