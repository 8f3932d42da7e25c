#include "analytics/SeriesReduction.h"

#include <QDataStream>
#include <QFile>

#include <limits>
#include <utility>

namespace Kiv::Analytics
{

namespace
{

using DataRecord = Interpolate::DataRecord;

/// The last record before a time in one file.
std::optional<DataRecord> lastRecordBefore(TSFileStorage& storage, const TSFileInfo& info, qint64 timestampMs)
{
    QFile file(info.filePath());
    if (!storage.openFile(file, QIODevice::ReadOnly))
        return std::nullopt;
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    const TSFileInfo::DirDepth depth = info.getDirDepth();
    const qint64 baseMs = info.getBaseTsMs();
    const int offsetSizeBytes = storage.getDataLengthForTimestampOffset(depth);
    const qint64 recordSizeBytes = storage.m_dataLength + offsetSizeBytes;
    if (file.size() < recordSizeBytes)
        return std::nullopt;
    const qint64 foundBytes =
        storage.seekToTsOffsetPos(stream, file.size(), timestampMs - baseMs, offsetSizeBytes, depth);
    // The search ends beside the time, on either side.
    for (qint64 positionBytes = foundBytes; positionBytes >= 0; positionBytes -= recordSizeBytes) {
        file.seek(positionBytes);
        DataRecord record = storage.readCurrDataRecord(stream, baseMs, depth);
        if (record.timestamp < timestampMs)
            return record;
    }
    return std::nullopt;
}

/// The store takes -1 to -3 for other times, so a range begins before or ends behind them.
qint64 storeFrom(qint64 fromMs)
{
    constexpr qint64 kBeforeSymbols = -4;
    return fromMs < 0 && fromMs > kBeforeSymbols ? kBeforeSymbols : fromMs;
}

/// Remembers the start of the first interval, from which on the series is read.
class IntervalsBehindFirst : public Intervals
{
public:
    explicit IntervalsBehindFirst(Intervals& intervals) : m_intervals(intervals), m_first(intervals.next()) {}

    const std::optional<Interval>& first() const { return m_first; }

    std::optional<Interval> next() override
    {
        if (!std::exchange(m_isFirstGiven, true))
            return m_first;
        return m_intervals.next();
    }

private:
    Intervals& m_intervals;
    std::optional<Interval> m_first;
    bool m_isFirstGiven = false;
};

bool isReducible(const TSFileStorage& storage)
{
    switch (storage.m_valueType) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<DataRecord> lastSampleBefore(TSFileStorage& storage, qint64 timestampMs)
{
    TSFileInfo file = storage.findFile(timestampMs);
    if (!file.found())
        file = storage.findPrevFile(file);
    for (; file.found(); file = storage.findPrevFile(file)) {
        if (std::optional<DataRecord> record = lastRecordBefore(storage, file, timestampMs))
            return record;
    }
    return std::nullopt;
}

bool reduceSeries(TSFileStorage& storage, const Method& method, Intervals& intervals, qint64 maxGapMs,
                  const ResultVisitor& visit)
{
    if (!isReducible(storage))
        return false;
    IntervalsBehindFirst behindFirst(intervals);
    Reducer reducer(method, behindFirst, maxGapMs, visit);
    if (!behindFirst.first())
        return true;
    const qint64 fromMs = behindFirst.first()->startMs;
    const Integers integers =
        storage.m_valueType == QMetaType::ULongLong ? Integers::Unsigned : Integers::Signed;
    if (method.usesNeighbours()) {
        if (const std::optional<DataRecord> before = lastSampleBefore(storage, fromMs))
            reducer.take(before->timestamp, Value::fromVariant(before->value));
    }
    TSFileColumnReader reader(storage, {}, {}, storeFrom(fromMs), std::numeric_limits<qint64>::max(), false,
                              0);
    TSFileColumns block;
    bool isWanted = true;
    while (isWanted && reader.next(block))
        isWanted = reducer.take(block, integers);
    reducer.finish();
    return true;
}

} // namespace Kiv::Analytics
