#include "ResolvedRange.h"

#include <QDateTime>

namespace Kiv::Cli
{

namespace
{

qint64 resolved(const TimeBound& bound, qint64 firstRecordMs, qint64 lastRecordMs)
{
    if (!bound.isSymbolic)
        return bound.value;
    if (bound.value == kNow)
        return QDateTime::currentMSecsSinceEpoch();
    return bound.value == kFirstRecord ? firstRecordMs : lastRecordMs;
}

} // namespace

std::optional<qint64> resolveTime(const Series& series, const TimeBound& time)
{
    if (!time.isSymbolic || time.value == kNow)
        return resolved(time, 0, 0);
    Interpolate::DataRecord record;
    const bool exists = time.value == kFirstRecord ? series.first(record) : series.last(record);
    return exists ? std::optional(record.timestamp) : std::nullopt;
}

std::optional<ResolvedRange> resolveRange(const Series& series, const TimeRange& range)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    if (!series.first(first) || !series.last(last))
        return std::nullopt;
    return ResolvedRange{resolved(range.from, first.timestamp, last.timestamp),
                         resolved(range.to, first.timestamp, last.timestamp), first.timestamp,
                         last.timestamp};
}

} // namespace Kiv::Cli
