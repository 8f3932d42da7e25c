// The point methods: the value before, after, or on the line between the records beside each boundary, and
// the raw records themselves.

#include "Interpolate.h"

#include "internal/CivilTime.h"

#include <utility>

namespace Kiv
{

using namespace Internal;

double Interpolate::linearInterpolate(qint64 t1, double value1, qint64 t, qint64 t2, double value2)
{
    if (t1 == 0)
        return value2;
    const qint64 dt = saturatingSubtract(t2, t1);
    if (dt < 1)
        return value2;
    const double elapsed = static_cast<double>(saturatingSubtract(t, t1));
    return ((value2 - value1) * elapsed) / static_cast<double>(dt) + value1;
}

void Interpolate::handle_raw(DataRecord record, qint64 recordTimestamp)
{
    if (recordTimestamp < rangeStart || recordTimestamp > rangeEnd)
        return;
    if (!filterParams.empty() && !filterMatch(record))
        return;
    if (fastCountOnly) {
        QVariant& counter = output->at(0).value;
        counter = QVariant(counter.toLongLong() + 1);
        return;
    }
    if (nextPass)
        nextPass->handleNextRawRecord(std::move(record));
    else
        output->push_back(std::move(record));
    checkLimit();
}

void Interpolate::handle_PREV(DataRecord record, qint64)
{
    handlePoint(record, PointSource::Previous);
}

void Interpolate::handle_NEXT(DataRecord record, qint64)
{
    handlePoint(record, PointSource::Next);
}

void Interpolate::handle_PREV_NEXT(DataRecord record, qint64)
{
    handlePoint(record, PointSource::PreviousThenNext);
}

void Interpolate::rememberPrevious(const DataRecord& record)
{
    prevRecord = record;
}

/// True when an interval without records may emit something. A next pass takes no nulls, and what is labelled
/// beyond the last result is dropped whether or not it passes a filter.
bool Interpolate::emitsEmptyInterval() const
{
    if (!fill)
        return false;
    if (nextPass)
        return !fillNull && nextPass->canStillEmit();
    return filterParams.empty() || canStillEmit();
}

/// False when every result from now on would be labelled beyond the last result timestamp.
bool Interpolate::canStillEmit() const
{
    // Otherwise a result may carry the time of a record from before.
    const bool labelsIntervalEnd = align || linear;
    return nextPass || fastCountOnly || method == RAW || !labelsIntervalEnd || intervalEnd <= lastResultTs;
}

void Interpolate::handlePoint(const DataRecord& record, PointSource source)
{
    if (linear) {
        handleLinearPoint(record);
        return;
    }
    qint64 offsetMs = 0;
    while (record.timestamp >= intervalEnd) {
        prevInInterval = prevRecord.timestamp >= intervalStart;
        const bool atBoundary = align || prevRecord.timestamp == 0;
        const qint64 label = atBoundary ? intervalEnd : saturatingAdd(prevRecord.timestamp, offsetMs);
        if (!prevInInterval && !emitsEmptyInterval()) {
            skipToIntervalOf(record.timestamp);
            break;
        }
        pushPoint(record, source, label);
        incIntervalNextTimestamp();
        offsetMs = saturatingAdd(offsetMs, saturatingSubtract(intervalEnd, intervalStart));
    }
    rememberPrevious(record);
}

void Interpolate::pushPoint(const DataRecord& record, PointSource source, qint64 timestamp)
{
    const bool isFillNull = !prevInInterval && fillNull;
    if (source != PointSource::Next)
        pushIntervalValue(timestamp, prevRecord.value.toDouble(), isFillNull);
    if (source == PointSource::Previous)
        return;
    const qint64 nextTimestamp = source == PointSource::Next ? timestamp : saturatingAdd(timestamp, 1);
    pushIntervalValue(nextTimestamp, record.value.toDouble(), record.value.isNull() || isFillNull);
}

void Interpolate::handleLinearPoint(const DataRecord& record)
{
    const double previous = prevRecord.value.toDouble();
    const double current = record.value.toDouble();
    const auto valueAt = [&](qint64 timestamp) {
        return linearInterpolate(prevRecord.timestamp, previous, timestamp, record.timestamp, current);
    };
    while (record.timestamp >= intervalEnd) {
        lastLinearValue = valueAt(intervalEnd);
        prevInInterval = prevRecord.timestamp >= intervalStart;
        if (!prevInInterval && !emitsEmptyInterval()) {
            skipToIntervalOf(record.timestamp);
            lastLinearValue = valueAt(intervalStart);
            break;
        }
        pushIntervalValue(intervalEnd, lastLinearValue, !prevInInterval && fillNull);
        incIntervalNextTimestamp();
    }
    rememberPrevious(record);
}

} // namespace Kiv
