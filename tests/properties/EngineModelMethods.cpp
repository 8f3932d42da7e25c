// The model's methods and differences.

#include "EngineModel.h"

#include <algorithm>
#include <cmath>

namespace Kiv::Testing
{

namespace
{

constexpr size_t kMaxValueCount = 999'999;

double line(qint64 t1, double value1, qint64 t, qint64 t2, double value2)
{
    if (t1 == 0)
        return value2;
    const qint64 dt = t2 - t1;
    if (dt < 1)
        return value2;
    return ((value2 - value1) * static_cast<double>(t - t1)) / static_cast<double>(dt) + value1;
}

bool nanLast(double a, double b)
{
    if (std::isnan(a))
        return false;
    return std::isnan(b) || a < b;
}

} // namespace

void EngineModel::callHandler(const DataRecord& record)
{
    switch (method) {
    case Interpolate::PREV_NEXT:
    case Interpolate::PREV:
    case Interpolate::NEXT:
        return linear ? handleLinearPoint(record) : handlePoint(record);
    case Interpolate::MIN_MAX:
        return handleMinMax(record);
    case Interpolate::MIN:
    case Interpolate::MAX:
        return handleMinOrMax(record);
    case Interpolate::SUM:
        return linear ? handleLinearSum(record) : handleSum(record);
    case Interpolate::MEDIAN:
        return handleMedian(record);
    case Interpolate::MODE:
        return handleMode(record);
    case Interpolate::RAW:
        return handleRaw(record);
    default:
        return handleMean(record);
    }
}

void EngineModel::handleRaw(const DataRecord& record)
{
    if (record.timestamp < rangeStart || record.timestamp > rangeEnd)
        return;
    if (!filterParams.empty() && !filterMatch(record))
        return;
    if (fastCountOnly) {
        DataRecord& counter = output->at(0);
        counter.value = QVariant(counter.value.toLongLong() + 1);
        return;
    }
    if (nextPass)
        nextPass->handleNextRawRecord(record);
    else
        output->push_back(record);
    checkLimit();
}

void EngineModel::handlePoint(const DataRecord& record)
{
    qint64 offsetMs = 0;
    while (record.timestamp >= intervalEnd) {
        prevInInterval = prevRecord.timestamp >= intervalStart;
        if (prevInInterval || fill)
            pushPoint(record, offsetMs);
        nextInterval();
        offsetMs += intervalEnd - intervalStart;
    }
    prevRecord = record;
}

void EngineModel::pushPoint(const DataRecord& record, qint64 offsetMs)
{
    const bool isLabelledAtEnd = align || prevRecord.timestamp == 0;
    const qint64 timestamp = isLabelledAtEnd ? intervalEnd : prevRecord.timestamp + offsetMs;
    const bool isNull = !prevInInterval && fillNull;
    if (method == Interpolate::PREV_NEXT || method == Interpolate::PREV)
        push(timestamp, prevRecord.value.toDouble(), isNull);
    if (method == Interpolate::PREV)
        return;
    const qint64 nextTimestamp = method == Interpolate::NEXT ? timestamp : timestamp + 1;
    push(nextTimestamp, record.value.toDouble(), isNull || record.value.isNull());
}

void EngineModel::handleLinearPoint(const DataRecord& record)
{
    while (record.timestamp >= intervalEnd) {
        lastLinearValue = line(prevRecord.timestamp, prevRecord.value.toDouble(), intervalEnd,
                               record.timestamp, record.value.toDouble());
        prevInInterval = prevRecord.timestamp >= intervalStart;
        if (prevInInterval)
            push(intervalEnd, lastLinearValue, false);
        else if (fill)
            push(intervalEnd, lastLinearValue, fillNull);
        nextInterval();
    }
    prevRecord = record;
}

void EngineModel::pushEmpty()
{
    if (fill)
        push(intervalEnd, 0.0, fillNull);
}

void EngineModel::handleMean(const DataRecord& record)
{
    if (record.timestamp >= intervalEnd) {
        const bool cancelsOut = method == Interpolate::MEAN_H && aggSum == 0.0;
        if (aggCount >= 1 && !cancelsOut)
            push(intervalEnd, meanResult(), false);
        else
            pushEmpty();
        nextInterval();
        aggCount = 0;
        aggSum = 0.0;
        while (record.timestamp >= intervalEnd) {
            pushEmpty();
            nextInterval();
        }
    }
    ++aggCount;
    accumulate(record.value.toDouble());
}

void EngineModel::accumulate(double value)
{
    switch (method) {
    case Interpolate::MEAN_A:
        aggSum += value;
        break;
    case Interpolate::MEAN_G:
        if (value != 0.0)
            aggSum += std::log(value);
        break;
    case Interpolate::MEAN_H:
        if (value != 0.0)
            aggSum += 1.0 / value;
        break;
    case Interpolate::MEAN_S:
        aggSum += value * value;
        break;
    default:
        break;
    }
}

double EngineModel::meanResult() const
{
    const double count = static_cast<double>(aggCount);
    switch (method) {
    case Interpolate::MEAN_A:
        return aggSum / count;
    case Interpolate::MEAN_G:
        return std::exp(aggSum / count);
    case Interpolate::MEAN_H:
        return count / aggSum;
    case Interpolate::MEAN_S:
        return std::sqrt(aggSum / count);
    default:
        return count;
    }
}

void EngineModel::handleMinOrMax(const DataRecord& record)
{
    if (record.timestamp >= intervalEnd) {
        const bool isSet = !minRecord.value.isNull();
        if (isSet)
            push(align ? intervalEnd : minRecord.timestamp, minRecord.value.toDouble(), false);
        nextInterval();
        qint64 offsetMs = 0;
        while (record.timestamp >= intervalEnd) {
            if (fill && isSet) {
                offsetMs += intervalEnd - intervalStart;
                push(align ? intervalEnd : minRecord.timestamp + offsetMs, minRecord.value.toDouble(),
                     fillNull);
            }
            nextInterval();
        }
        minRecord.value = QVariant();
    }
    const double value = record.value.toDouble();
    const double extreme = minRecord.value.toDouble();
    const bool isBeyond = method == Interpolate::MIN ? value < extreme : value > extreme;
    if (minRecord.value.isNull() || isBeyond)
        minRecord = record;
}

void EngineModel::handleMinMax(const DataRecord& record)
{
    if (record.timestamp >= intervalEnd) {
        if (!minRecord.value.isNull())
            pushMinMax();
        nextInterval();
        while (record.timestamp >= intervalEnd) {
            if (fill) {
                push(intervalEnd, 0.0, fillNull);
                push(intervalEnd + 1, 0.0, fillNull);
            }
            nextInterval();
        }
        minRecord.value = QVariant();
        maxRecord.value = QVariant();
    }
    const double value = record.value.toDouble();
    if (minRecord.value.isNull() || value < minRecord.value.toDouble())
        minRecord = record;
    if (maxRecord.value.isNull() || value > maxRecord.value.toDouble())
        maxRecord = record;
}

void EngineModel::pushMinMax()
{
    struct Extreme {
        qint64 timestamp;
        double value;
    };
    std::vector<Extreme> list{{minRecord.timestamp, minRecord.value.toDouble()},
                              {maxRecord.timestamp, maxRecord.value.toDouble()}};
    if (list[0].timestamp == list[1].timestamp)
        ++list[1].timestamp;
    const bool isReversed = list[1].timestamp < list[0].timestamp ||
                            (list[1].timestamp == list[0].timestamp && list[1].value < list[0].value);
    if (!align && isReversed)
        std::swap(list[0], list[1]);
    if (average)
        list = {{list[1].timestamp, (list[0].value + list[1].value) * 0.5}};
    for (size_t i = 0; i < list.size(); ++i)
        push(align ? intervalEnd + static_cast<qint64>(i) : list[i].timestamp, list[i].value, false);
}

void EngineModel::handleSum(const DataRecord& record)
{
    while (record.timestamp >= intervalEnd) {
        prevInInterval = prevRecord.timestamp >= intervalStart;
        const bool hasPrevious = prevRecord.timestamp != 0;
        const qint64 timestamp = align || !hasPrevious ? intervalEnd : prevRecord.timestamp;
        if (prevInInterval) {
            push(timestamp, aggSum, false);
            aggSum = 0.0;
        } else if (fill) {
            const bool startsAtEpoch = !align && !hasPrevious && intervalStart < 1;
            push(timestamp, aggSum, startsAtEpoch ? false : fillNull);
            if (!fillNull)
                aggSum = 0.0;
        }
        nextInterval();
    }
    aggSum += record.value.toDouble();
    prevRecord = record;
}

void EngineModel::handleLinearSum(const DataRecord& record)
{
    aggSum += record.value.toDouble();
    while (record.timestamp >= intervalEnd) {
        lastLinearValue = line(prevRecord.timestamp, sumAtPrevRecord, intervalEnd, record.timestamp, aggSum);
        prevInInterval = prevRecord.timestamp >= intervalStart;
        if (prevInInterval) {
            push(intervalEnd, lastLinearValue, false);
            aggSum -= lastLinearValue;
        } else if (fill) {
            push(intervalEnd, lastLinearValue, fillNull);
            if (!fillNull)
                aggSum -= lastLinearValue;
        }
        nextInterval();
    }
    sumAtPrevRecord = aggSum;
    prevRecord = record;
}

void EngineModel::handleMedian(const DataRecord& record)
{
    while (record.timestamp >= intervalEnd) {
        if (medianValues.empty()) {
            pushEmpty();
        } else {
            std::stable_sort(medianValues.begin(), medianValues.end(), nanLast);
            const size_t half = medianValues.size() / 2;
            const bool isOdd = medianValues.size() % 2 == 1;
            const double median =
                isOdd ? medianValues[half] : (medianValues[half - 1] + medianValues[half]) * 0.5;
            push(intervalEnd, median, false);
        }
        nextInterval();
        medianValues.clear();
    }
    medianValues.push_back(record.value.toDouble());
    if (medianValues.size() > kMaxValueCount) {
        medianValues.clear();
        throw std::out_of_range("Limit reached for median");
    }
}

void EngineModel::handleMode(const DataRecord& record)
{
    if (record.timestamp >= intervalEnd) {
        if (!modeCounts.empty()) {
            push(intervalEnd, modeCounts.rbegin()->first, false);
            nextInterval();
            modeCounts.clear();
        }
        while (record.timestamp >= intervalEnd) {
            pushEmpty();
            nextInterval();
        }
    }
    ++modeCounts[record.value.toDouble()];
    if (modeCounts.size() > kMaxValueCount) {
        modeCounts.clear();
        throw std::out_of_range("Limit reached for mode");
    }
}

void EngineModel::callDifference(DataRecord& record)
{
    if (difference == Difference::None)
        return;
    while (history.size() > 9)
        history.erase(history.begin());
    if (difference == Difference::Plain)
        differPlain(record);
    else
        differCounter(record);
}

void EngineModel::differPlain(DataRecord& record)
{
    const QVariant reading = record.value;
    if (history.empty() || history.back().isNull())
        record.value = QVariant();
    else
        record.value = QVariant(reading.toDouble() - history.back().toDouble());
    history.push_back(reading);
}

void EngineModel::differCounter(DataRecord& record)
{
    const QVariant reading = record.value;
    const double current = reading.toDouble();
    record.value = QVariant();
    if (waitNonZero) {
        if (current != 0.0)
            waitNonZero = false;
        history.push_back(reading);
        return;
    }
    if (history.empty() || history.back().isNull()) {
        history.push_back(reading);
        return;
    }
    const double last = history.back().toDouble();
    const double d = current - last;
    if (d >= 0.0) {
        history.push_back(reading);
        record.value = QVariant(d);
        return;
    }
    if (isJitter(d) || isWrap(last, current))
        return;
    if (current == 0.0) {
        waitNonZero = true;
        history.push_back(reading);
    }
}

bool EngineModel::isJitter(double d) const
{
    const size_t n = history.size();
    if (n < 5)
        return false;
    double rise = 0.0;
    for (size_t i = n - 4; i < n; ++i)
        rise += history[i].toDouble() - history[i - 1].toDouble();
    return std::fabs(d) < rise / 5.0 * 0.001;
}

bool EngineModel::isWrap(double last, double current)
{
    const double limits[] = {1e6,
                             1e7,
                             1e8,
                             1e9,
                             2'147'483'647.0,
                             4'294'967'295.0,
                             9'223'372'036'854'775'808.0,
                             18'446'744'073'709'551'616.0};
    for (double wrapLimit : limits) {
        if (!(last < wrapLimit))
            continue;
        const double rest = wrapLimit - last;
        const double tolerance = wrapLimit * 0.002;
        if (!(rest < tolerance && current < tolerance))
            return false;
        history.push_back(QVariant(rest));
        return true;
    }
    return false;
}

} // namespace Kiv::Testing
