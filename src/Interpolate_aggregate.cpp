// The aggregate methods: all records of one interval reduced to one result, or two for MIN_MAX.

#include "Interpolate.h"

#include "internal/CivilTime.h"
#include "internal/MeanKernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace Kiv
{

using namespace Internal;

namespace
{

bool isSet(const Interpolate::DataRecord& extreme)
{
    return !extreme.value.isNull();
}

/// True when no value is NaN and equal ones are equal bit for bit: every way to order them then ends alike.
bool haveOneOrder(const std::vector<double>& values)
{
    constexpr auto kNegativeZero = std::bit_cast<quint64>(-0.0);
    bool isOrdinary = true;
    for (const double value : values)
        isOrdinary = isOrdinary && !std::isnan(value) && std::bit_cast<quint64>(value) != kNegativeZero;
    return isOrdinary;
}

double middleOf(double lower, double upper)
{
    return (lower + upper) * 0.5;
}

/// Median of a non-empty vector, which it reorders; NaN counts as greater than every number.
double medianOf(std::vector<double>& values)
{
    const bool isOdd = values.size() % 2 == 1;
    const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    if (haveOneOrder(values)) {
        std::nth_element(values.begin(), half, values.end());
        return isOdd ? *half : middleOf(*std::max_element(values.begin(), half), *half);
    }
    std::sort(values.begin(), values.end(),
              [](double a, double b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
    return isOdd ? *half : middleOf(*(half - 1), *half);
}

} // namespace

// --- Count and means ---------------------------------------------------------------------------------------

template <typename Kernel>
void Interpolate::handleMean(const DataRecord& record)
{
    if (record.timestamp >= intervalEnd) {
        if (aggCount >= 1 && Kernel::hasResult(aggSum))
            pushIntervalValue(intervalEnd, Kernel::result(aggSum, static_cast<double>(aggCount)), false);
        else if (fill)
            pushIntervalValue(intervalEnd, 0.0, fillNull);
        incIntervalNextTimestamp();
        aggCount = 0;
        aggSum = 0.0;
        fillEmptyIntervals(record.timestamp);
    }
    aggCount += 1;
    Kernel::add(aggSum, record.value.toDouble());
}

/// Passes the intervals that end before or at the timestamp and hold no record.
void Interpolate::fillEmptyIntervals(qint64 timestamp)
{
    while (timestamp >= intervalEnd) {
        if (!emitsEmptyInterval()) {
            skipToIntervalOf(timestamp);
            return;
        }
        pushIntervalValue(intervalEnd, 0.0, fillNull);
        incIntervalNextTimestamp();
    }
}

void Interpolate::handle_COUNT(DataRecord record, qint64)
{
    handleMean<CountKernel>(record);
}

void Interpolate::handle_MEAN_A(DataRecord record, qint64)
{
    handleMean<ArithmeticMeanKernel>(record);
}

void Interpolate::handle_MEAN_G(DataRecord record, qint64)
{
    handleMean<GeometricMeanKernel>(record);
}

void Interpolate::handle_MEAN_H(DataRecord record, qint64)
{
    handleMean<HarmonicMeanKernel>(record);
}

void Interpolate::handle_MEAN_S(DataRecord record, qint64)
{
    handleMean<QuadraticMeanKernel>(record);
}

// --- Extremes ----------------------------------------------------------------------------------------------

void Interpolate::handle_MIN(DataRecord record, qint64 recordTimestamp)
{
    handle_MINorMAX(std::move(record), recordTimestamp, true);
}

void Interpolate::handle_MAX(DataRecord record, qint64 recordTimestamp)
{
    handle_MINorMAX(std::move(record), recordTimestamp, false);
}

void Interpolate::handle_MINorMAX(DataRecord record, qint64 recordTimestamp, bool isMin)
{
    if (recordTimestamp >= intervalEnd) {
        pushExtreme(recordTimestamp);
        minRecord.value = QVariant();
    }
    const double value = record.value.toDouble();
    const double extreme = minRecord.value.toDouble();
    if (!isSet(minRecord) || (isMin ? value < extreme : value > extreme))
        minRecord = std::move(record);
}

/// Closes the interval of MIN or MAX and the empty ones up to the timestamp, which repeat its extreme.
void Interpolate::pushExtreme(qint64 timestamp)
{
    const bool hasExtreme = isSet(minRecord);
    const double extreme = minRecord.value.toDouble();
    if (hasExtreme)
        pushIntervalValue(align ? intervalEnd : minRecord.timestamp, extreme, false);
    incIntervalNextTimestamp();

    qint64 offsetMs = 0;
    while (timestamp >= intervalEnd) {
        offsetMs = saturatingAdd(offsetMs, saturatingSubtract(intervalEnd, intervalStart));
        const qint64 label = align ? intervalEnd : saturatingAdd(minRecord.timestamp, offsetMs);
        if (!hasExtreme || !emitsEmptyInterval()) {
            skipToIntervalOf(timestamp);
            return;
        }
        pushIntervalValue(label, extreme, fillNull);
        incIntervalNextTimestamp();
    }
}

void Interpolate::handle_MIN_MAX(DataRecord record, qint64 recordTimestamp)
{
    if (recordTimestamp >= intervalEnd) {
        if (isSet(minRecord))
            pushMinMax();
        incIntervalNextTimestamp();
        while (recordTimestamp >= intervalEnd) {
            if (!emitsEmptyInterval()) {
                skipToIntervalOf(recordTimestamp);
                break;
            }
            pushIntervalValue(intervalEnd, 0.0, fillNull);
            pushIntervalValue(saturatingAdd(intervalEnd, 1), 0.0, fillNull);
            incIntervalNextTimestamp();
        }
        minRecord.value = QVariant();
        maxRecord.value = QVariant();
    }
    const double value = record.value.toDouble();
    if (!isSet(minRecord) || value < minRecord.value.toDouble())
        minRecord = record;
    if (!isSet(maxRecord) || value > maxRecord.value.toDouble())
        maxRecord = std::move(record);
}

void Interpolate::pushMinMax()
{
    std::vector<DataRecord> extremes = {minRecord, maxRecord};
    // The two results never share a timestamp.
    if (maxRecord.timestamp == minRecord.timestamp)
        extremes[1].timestamp = saturatingAdd(extremes[1].timestamp, 1);
    if (!align)
        std::sort(extremes.begin(), extremes.end());
    if (average) {
        const double middle = (extremes[0].value.toDouble() + extremes[1].value.toDouble()) * 0.5;
        extremes = {DataRecord(extremes[1].timestamp, QVariant(middle))};
    }
    qint64 boundary = intervalEnd;
    for (const DataRecord& extreme : extremes) {
        pushIntervalValue(align ? boundary : extreme.timestamp, extreme.value.toDouble(), false);
        boundary = saturatingAdd(boundary, 1);
    }
}

// --- Sum ---------------------------------------------------------------------------------------------------

void Interpolate::handle_SUM(DataRecord record, qint64)
{
    if (linear)
        handleSumLinear(record);
    else
        handleSumPlain(record);
}

void Interpolate::handleSumPlain(const DataRecord& record)
{
    const bool atBoundary = align || prevRecord.timestamp == 0;
    while (record.timestamp >= intervalEnd) {
        prevInInterval = prevRecord.timestamp >= intervalStart;
        // Kept: before the first record, without alignment, intervals from before the epoch are not null.
        const bool isFillNull = fillNull && !(!align && atBoundary && intervalStart < 1);
        // Kept: without alignment repeated fills all carry the timestamp of the previous record.
        const qint64 label = atBoundary ? intervalEnd : prevRecord.timestamp;
        if (!prevInInterval && (isFillNull == fillNull ? !emitsEmptyInterval() : !fill)) {
            skipToIntervalOf(record.timestamp);
            break;
        }
        pushIntervalValue(label, aggSum, !prevInInterval && isFillNull);
        if (prevInInterval || !fillNull)
            aggSum = 0.0;
        incIntervalNextTimestamp();
    }
    aggSum += record.value.toDouble();
    rememberPrevious(record);
}

/// Splits the sum across interval boundaries in proportion to time.
void Interpolate::handleSumLinear(const DataRecord& record)
{
    aggSum += record.value.toDouble();
    while (record.timestamp >= intervalEnd) {
        const auto sumAt = [&](qint64 timestamp) {
            return linearInterpolate(prevRecord.timestamp, sumAtPrevRecord, timestamp, record.timestamp,
                                     aggSum);
        };
        lastLinearValue = sumAt(intervalEnd);
        prevInInterval = prevRecord.timestamp >= intervalStart;
        if (!prevInInterval && !emitsEmptyInterval()) {
            skipToIntervalOf(record.timestamp);
            lastLinearValue = sumAt(intervalStart);
            break;
        }
        pushIntervalValue(intervalEnd, lastLinearValue, !prevInInterval && fillNull);
        if (prevInInterval || !fillNull)
            aggSum -= lastLinearValue;
        incIntervalNextTimestamp();
    }
    sumAtPrevRecord = aggSum;
    rememberPrevious(record);
}

// --- Median and mode ---------------------------------------------------------------------------------------

void Interpolate::handle_MEDIAN(DataRecord record, qint64 recordTimestamp)
{
    if (recordTimestamp >= intervalEnd && !medianValues.empty()) {
        pushIntervalValue(intervalEnd, medianOf(medianValues), false);
        incIntervalNextTimestamp();
        medianValues.clear();
    }
    fillEmptyIntervals(recordTimestamp);
    medianValues.push_back(record.value.toDouble());
    if (medianValues.size() > kMaxValuesPerInterval) {
        medianValues.clear();
        throw std::out_of_range("Limit reached for median");
    }
}

void Interpolate::handle_MODE(DataRecord record, qint64 recordTimestamp)
{
    if (recordTimestamp >= intervalEnd && !modeCounts.empty()) {
        // Kept: the greatest value, not the most frequent one; the counts only decide between NaNs.
        const auto greatest = std::max_element(modeCounts.begin(), modeCounts.end());
        pushIntervalValue(intervalEnd, greatest->first, false);
        incIntervalNextTimestamp();
        modeCounts.clear();
    }
    fillEmptyIntervals(recordTimestamp);
    ++modeCounts[record.value.toDouble()];
    if (modeCounts.size() > kMaxValuesPerInterval) {
        modeCounts.clear();
        throw std::out_of_range("Limit reached for mode");
    }
}

} // namespace Kiv
