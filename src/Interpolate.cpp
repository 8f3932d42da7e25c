// The interval engine's frame: construction, range set-up, stepping, and the way results take. What happens
// to the records of an interval stands in the files of the methods. Never reads a file.

#include "Interpolate.h"

#include "internal/CivilTime.h"
#include "internal/LogTexts.h"
#include "internal/Seams.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace Kiv
{

using namespace Internal;

namespace
{

constexpr char kEndReached[] = "End reached";
constexpr char kLimitReached[] = "Limit reached";

/// Range values that stand for a time to be looked up.
constexpr qint64 kNow = -1;
constexpr qint64 kFirstRecord = -2;
constexpr qint64 kLastRecord = -3;

qint64 nowMs()
{
    return seams().nowMicroseconds() / 1000;
}

bool isEndReached(const std::exception& exception)
{
    return std::strcmp(exception.what(), kEndReached) == 0;
}

bool isLimitReached(const std::exception& exception)
{
    return std::strncmp(exception.what(), kLimitReached, sizeof kLimitReached - 1) == 0;
}

/// Truncates towards zero and saturates; NaN gives 0. `Integer` may be wider than a double is exact.
template <typename Integer>
Integer saturatingCast(double value)
{
    // 2^bits is exact as a double, the greatest integer itself may not be.
    const double upper = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
    if (std::isnan(value))
        return 0;
    if (value >= upper)
        return std::numeric_limits<Integer>::max();
    if (value <= static_cast<double>(std::numeric_limits<Integer>::min()))
        return std::numeric_limits<Integer>::min();
    return static_cast<Integer>(value);
}

/// Less-than that puts NaN after every number.
bool numberIsBefore(double a, double b)
{
    return std::isnan(b) ? !std::isnan(a) : a < b;
}

} // namespace

bool Interpolate::DataRecord::operator<(const DataRecord& other) const
{
    if (timestamp != other.timestamp)
        return timestamp < other.timestamp;
    return numberIsBefore(value.toDouble(), other.value.toDouble());
}

Interpolate::Interpolate(InterpolateParam param, std::vector<InterpolateParam> passes, qint64 start,
                         qint64 end, qint64 firstTs, qint64 lastTs, std::vector<DataRecord>* results,
                         QMetaType::Type type, bool shiftForward, int& limitVariable, bool countOnly)
    : output(results),
      targetType(type),
      shiftIntervalForward(shiftForward),
      limitRef(&limitVariable),
      limit(limitVariable),
      fastCountOnly(countOnly),
      requestedStart(start),
      requestedEnd(end),
      rangeStart(start),
      rangeEnd(end),
      firstRecordTs(firstTs),
      lastRecordTs(lastTs),
      counterWrapLimits{1e6, 1e7, 1e8, 1e9, 2147483647.0, 4294967295.0, 0x1p63, 0x1p64}
{
    // Kept: the passes behind this one read the variable after this and so have no limit.
    limitVariable = 0;
    if (!passes.empty()) {
        passes.push_back(std::move(param));
        param = std::move(passes.front());
        Interpolate* previousPass = this;
        for (std::size_t i = 1; i < passes.size(); ++i) {
            const bool isLast = i + 1 == passes.size();
            previousPass->nextPass = std::make_unique<Interpolate>(
                std::move(passes[i]), std::vector<InterpolateParam>(), start, end, firstTs, lastTs, results,
                type, isLast && shiftForward, limitVariable, countOnly);
            previousPass = previousPass->nextPass.get();
        }
        shiftIntervalForward = false;
    }
    intervalMs = param.interval >= 1 ? saturatingMultiply(param.interval, 1000) : param.interval;
    filterParams = std::move(param.filterParams);
    alignStartEndTimestamp = param.alignStartEndTimestamp;
    offsetMinFromUTC = param.offsetMinFromUTC;
    interpolateParamsFromArgs(std::move(param.method), intervalMs);
    initHandlers();
    createdAt = QDateTime::fromMSecsSinceEpoch(nowMs());
}

Interpolate::~Interpolate()
{
    // One pass after the other, so that a long chain needs no deep stack.
    while (nextPass)
        nextPass = std::move(nextPass->nextPass);
}

// --- Interval arithmetic -----------------------------------------------------------------------------------

void Interpolate::incTimestampByInterval(qint64& timestamp)
{
    if (method != RAW)
        timestamp = addInterval(timestamp, intervalMs);
}

void Interpolate::decTimestampByInterval(qint64& timestamp)
{
    if (method != RAW)
        timestamp = subtractInterval(timestamp, intervalMs);
}

qint64 Interpolate::alignSpecialStartTimestamp(qint64 timestamp)
{
    return method == RAW ? timestamp : alignToInterval(timestamp, intervalMs, offsetMinFromUTC);
}

void Interpolate::incIntervalNextTimestamp()
{
    qint64 next = intervalEnd;
    incTimestampByInterval(next);
    if (method != RAW && next <= intervalEnd)
        throw std::out_of_range(kEndReached);
    intervalStart = intervalEnd;
    intervalEnd = next;
}

/// The same as stepping to the next interval until the timestamp lies before its end, for stretches where
/// no interval on the way emits or changes anything.
void Interpolate::skipToIntervalOf(qint64 timestamp)
{
    const IntervalStep step = stepPast(intervalEnd, intervalMs, timestamp);
    intervalStart = step.lastMs;
    intervalEnd = step.nextMs;
    if (intervalEnd <= timestamp)
        throw std::out_of_range(kEndReached);
}

// --- Range -------------------------------------------------------------------------------------------------

bool Interpolate::getRange(qint64& start, qint64& end)
{
    // The last pass settles its range first; each earlier pass assigns the shared variables anew.
    std::vector<Interpolate*> chain;
    for (Interpolate* pass = this; pass != nullptr; pass = pass->nextPass.get())
        chain.push_back(pass);
    return std::all_of(chain.rbegin(), chain.rend(),
                       [&](Interpolate* pass) { return pass->settleRange(start, end); });
}

bool Interpolate::settleRange(qint64& start, qint64& end)
{
    medianValues.clear();
    modeCounts.clear();
    resolveRequestedRange();
    if (alignStartEndTimestamp && method != RAW) {
        rangeStart = alignSpecialStartTimestamp(rangeStart);
        incTimestampByInterval(rangeStart);
        rangeEnd = alignSpecialStartTimestamp(rangeEnd);
        incTimestampByInterval(rangeEnd);
    }
    raiseRangeToFirstRecord();
    settleReadRange(start, end);
    if (rangeEnd < rangeStart)
        return false;

    intervalEnd = rangeStart;
    intervalStart = rangeStart;
    decTimestampByInterval(intervalStart);
    readStart = start;
    readEnd = end;
    if (fastCountOnly) {
        const qint64 count = getFastCount();
        if (count >= 0 && !output->empty())
            output->front() = DataRecord(0, QVariant(qlonglong{count}));
    }
    return true;
}

void Interpolate::resolveRequestedRange()
{
    if (requestedStart == kNow)
        rangeStart = alignSpecialStartTimestamp(nowMs());
    else if (requestedStart == kFirstRecord)
        rangeStart = alignSpecialStartTimestamp(firstRecordTs);
    else if (requestedStart == kLastRecord)
        rangeStart = alignSpecialStartTimestamp(lastRecordTs);
    else
        rangeStart = requestedStart;

    if (requestedEnd == kNow)
        rangeEnd = nowMs();
    else if (requestedEnd == kFirstRecord)
        rangeEnd = firstRecordTs;
    else if (requestedEnd == kLastRecord)
        rangeEnd = lastRecordTs;
    else
        rangeEnd = requestedEnd;
}

void Interpolate::raiseRangeToFirstRecord()
{
    if (rangeStart >= firstRecordTs)
        return;
    rangeStart = method == RAW ? firstRecordTs : stepPast(rangeStart, intervalMs, firstRecordTs - 1).nextMs;
}

void Interpolate::settleReadRange(qint64& start, qint64& end)
{
    start = rangeStart;
    end = rangeEnd;
    if (method != RAW) {
        if (shiftIntervalForward) {
            incTimestampByInterval(end);
            incTimestampByInterval(rangeStart);
            incTimestampByInterval(rangeEnd);
        } else {
            decTimestampByInterval(start);
        }
    }
    lastResultTs = isTwoResultMethod() ? saturatingAdd(rangeEnd, 1) : rangeEnd;
    if (start < firstRecordTs) {
        start = firstRecordTs;
        startClipped = true;
    }
    if (lastRecordTs < end) {
        end = lastRecordTs;
        endClipped = true;
    }
}

bool Interpolate::isTwoResultMethod() const
{
    return (method == PREV_NEXT && !linear) || (method == MIN_MAX && !average);
}

qint32 Interpolate::ownPreviousDataRecords() const
{
    const qint32 forDifference = diffHandler != nullptr ? 1 : 0;
    switch (method) {
    case PREV_NEXT:
    case PREV:
        return forDifference + 1;
    case NEXT:
    case SUM:
        return forDifference + (linear ? 1 : 0);
    default:
        return forDifference;
    }
}

qint32 Interpolate::needsPreviousDataRecords()
{
    qint32 count = 0;
    for (const Interpolate* pass = this; pass != nullptr && !pass->startClipped; pass = pass->nextPass.get())
        count += pass->ownPreviousDataRecords();
    return count;
}

bool Interpolate::needsDataRecordAfterRangeEnd()
{
    for (const Interpolate* pass = this; pass != nullptr && !pass->endClipped; pass = pass->nextPass.get()) {
        const bool always = pass->method == PREV_NEXT || pass->method == NEXT;
        if (always || (pass->method != RAW && pass->linear))
            return true;
    }
    return false;
}

qint64 Interpolate::getFastCount()
{
    if (!filterParams.empty() || method == RAW || !fill)
        return -1;
    const qint64 resultsPerInterval = isTwoResultMethod() ? 2 : 1;
    const qint64 firstDay = daysFromMs(rangeStart);
    const qint64 lastDay = daysFromMs(rangeEnd);
    const CivilDate first = civilFromDays(firstDay);
    const CivilDate last = civilFromDays(lastDay);
    const qint64 years = last.year - first.year;
    const qint64 months = years * 12 + (last.month - first.month);

    qint64 intervals = 0;
    if (intervalMs > 0)
        intervals = saturatingAdd(saturatingSubtract(rangeEnd, rangeStart) / intervalMs, 1);
    else if (intervalMs == kIntervalYear)
        intervals = years + 1;
    else if (intervalMs == kIntervalHalfYear)
        intervals = months / 6 + 1;
    else if (intervalMs == kIntervalQuarter)
        intervals = months / 3 + 1;
    else if (intervalMs == kIntervalMonth)
        intervals = months + 1;
    else if (intervalMs == kIntervalWeek)
        intervals = (lastDay - firstDay) / 7 + 1;
    else if (intervalMs == kIntervalDay)
        intervals = lastDay - firstDay + 1;
    return saturatingMultiply(intervals, resultsPerInterval);
}

// --- Records in --------------------------------------------------------------------------------------------

bool Interpolate::handleNextRawRecord(DataRecord record)
{
    try {
        if (diffHandler != nullptr) {
            (this->*diffHandler)(record, record.timestamp);
            if (record.value.isNull())
                return true;
        }
        // Kept: the test looks at the record remembered before, so the method first sees the record after
        // the first one at or after the read start.
        if (method != RAW && linear && !nextPass && prevRecord.timestamp < readStart) {
            prevRecord = std::move(record);
            return true;
        }
        const qint64 timestamp = record.timestamp;
        (this->*handler)(std::move(record), timestamp);
        return true;
    } catch (const std::exception& exception) {
        if (isEndReached(exception))
            return true;
        if (!isLimitReached(exception))
            logLine(LogTexts::kEngineException, QString::fromUtf8(exception.what()));
        return false;
    }
}

void Interpolate::finalize()
{
    for (Interpolate* pass = this; pass != nullptr; pass = pass->nextPass.get()) {
        try {
            const Handler closeIntervals = pass->handler;
            if (pass->method != RAW && !pass->linear)
                (pass->*closeIntervals)(DataRecord(pass->rangeEnd, QVariant()), pass->rangeEnd);
        } catch (const std::exception& exception) {
            if (!isEndReached(exception) && !isLimitReached(exception))
                logLine(LogTexts::kFinalizeException, QString::fromUtf8(exception.what()));
            return;
        }
    }
}

bool Interpolate::filterMatch(DataRecord record)
{
    if (filterParams.empty())
        return false;
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(record.timestamp);
    const auto allows = [](const std::vector<qint32>& allowed, int number) {
        return allowed.empty() || std::find(allowed.begin(), allowed.end(), number) != allowed.end();
    };
    const auto inWindow = [&local](FilterParam& filter) {
        if (!filter.timeStart.isValid())
            return true;
        if (!filter.timeEnd.isValid())
            filter.timeEnd = filter.timeStart.addSecs(static_cast<int>(filter.duration % 86'400));
        const QTime time = local.time();
        if (filter.timeEnd < filter.timeStart)
            return time >= filter.timeStart || time <= filter.timeEnd;
        return filter.timeStart <= time && time <= filter.timeEnd;
    };
    const auto valueMatches = [&record](const FilterParam& filter) {
        constexpr double kTolerance = 1e-15;
        if (filter.valueCompare.isEmpty())
            return true;
        const QString comparison = filter.valueCompare.toLower();
        const double value = record.value.toDouble();
        if (comparison == u"neq")
            return std::fabs(value - filter.value) > kTolerance;
        if (comparison == u"lt")
            return value < filter.value;
        if (comparison == u"lte")
            return value <= filter.value;
        if (comparison == u"gt")
            return value > filter.value;
        if (comparison == u"gte")
            return value >= filter.value;
        return std::fabs(value - filter.value) <= kTolerance;
    };
    return std::any_of(filterParams.begin(), filterParams.end(), [&](FilterParam& filter) {
        return allows(filter.months, local.date().month()) &&
               allows(filter.weekDays, local.date().dayOfWeek()) && valueMatches(filter) && inWindow(filter);
    });
}

// --- Results out -------------------------------------------------------------------------------------------

void Interpolate::pushIntervalValue(qint64 timestamp, double value, bool isNull)
{
    if (!filterParams.empty() && !filterMatch(DataRecord(timestamp, QVariant(value))))
        return;
    if (diffHandler == &Interpolate::handle_DIFF_CTRUPCLEANED && value < 0.0)
        value = 0.0;
    if (nextPass) {
        if (!isNull)
            nextPass->handleNextRawRecord(DataRecord(timestamp, QVariant(value)));
        return;
    }
    if (fastCountOnly) {
        QVariant& counter = output->at(0).value;
        counter = QVariant(counter.toLongLong() + 1);
        return;
    }
    if (lastResultTs < timestamp)
        throw std::out_of_range(kEndReached);
    storeResult(timestamp, value, isNull);
}

void Interpolate::storeResult(qint64 timestamp, double value, bool isNull)
{
    if (shiftIntervalForward)
        decTimestampByInterval(timestamp);
    // Kept: null results do not count against the limit by themselves.
    if (isNull) {
        output->emplace_back(timestamp, QVariant());
        return;
    }
    if (!std::isfinite(value)) {
        logLine(std::isnan(value) ? LogTexts::kResultIsNaN : LogTexts::kResultIsInf, qlonglong{timestamp});
        value = 0.0;
    }
    output->emplace_back(timestamp, toTargetType(value));
    checkLimit();
}

QVariant Interpolate::toTargetType(double value) const
{
    switch (targetType) {
    case QMetaType::Bool:
        return QVariant(value > 0.5);
    case QMetaType::Int:
        return QVariant(int{saturatingCast<qint32>(value)});
    case QMetaType::UInt:
        return QVariant(uint{saturatingCast<quint32>(value)});
    case QMetaType::LongLong:
        return QVariant(qlonglong{saturatingCast<qint64>(value)});
    case QMetaType::ULongLong:
        return QVariant(qulonglong{saturatingCast<quint64>(value)});
    case QMetaType::Double:
        return QVariant(value);
    case QMetaType::Short:
        return QVariant(int{static_cast<qint16>(saturatingCast<qint32>(value))});
    case QMetaType::Char:
        return QVariant(int{static_cast<qint8>(saturatingCast<qint32>(value))});
    case QMetaType::UShort:
        return QVariant(int{static_cast<quint16>(saturatingCast<quint32>(value))});
    case QMetaType::UChar:
        return QVariant(int{static_cast<quint8>(saturatingCast<quint32>(value))});
    case QMetaType::Float:
        return QVariant(static_cast<float>(value));
    default:
        logLine(LogTexts::kInvalidTargetType, QString::fromLatin1(QMetaType(targetType).name()));
        return QVariant();
    }
}

void Interpolate::checkLimit()
{
    if (limit < 1 || output->size() < static_cast<std::size_t>(limit))
        return;
    *limitRef = static_cast<qint32>(output->size());
    throw std::out_of_range(kLimitReached);
}

} // namespace Kiv
