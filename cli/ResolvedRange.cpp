#include "ResolvedRange.h"

#include <QDateTime>

namespace Kiv::Cli
{

qint64 resolveTime(const TimeBound& time, qint64 firstRecordMs, qint64 lastRecordMs)
{
    if (time.isRecord())
        return time.value == kFirstRecord ? firstRecordMs : lastRecordMs;
    return time.isSymbolic ? QDateTime::currentMSecsSinceEpoch() : time.value;
}

std::optional<qint64> resolveTime(const Series& series, const TimeBound& time)
{
    if (!time.isRecord())
        return resolveTime(time, 0, 0);
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
    return ResolvedRange{resolveTime(range.from, first.timestamp, last.timestamp),
                         resolveTime(range.to, first.timestamp, last.timestamp), first.timestamp,
                         last.timestamp};
}

} // namespace Kiv::Cli
