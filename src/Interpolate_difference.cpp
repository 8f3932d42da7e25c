// The differences: readings turned into increments before a method sees them.

#include "Interpolate.h"

#include <algorithm>
#include <cmath>

namespace Kiv
{

namespace
{

constexpr std::size_t kHistoryKept = 9;
constexpr std::size_t kJitterReadings = 5;

void trim(std::deque<QVariant>& history)
{
    while (history.size() > kHistoryKept)
        history.pop_front();
}

bool hasNoReading(const std::deque<QVariant>& history)
{
    return history.empty() || history.back().isNull();
}

/// Remembers the reading; the record itself goes no further.
void keepAndDrop(std::deque<QVariant>& history, Interpolate::DataRecord& record)
{
    history.push_back(record.value);
    record.value = QVariant();
}

/// True when a step down is within a thousandth of the mean recent rise.
bool isJitter(const std::deque<QVariant>& history, double stepDown)
{
    if (history.size() < kJitterReadings)
        return false;
    double sum = 0.0;
    for (std::size_t i = history.size() - kJitterReadings + 1; i < history.size(); ++i)
        sum += history[i].toDouble() - history[i - 1].toDouble();
    // Kept: four differences, divided by five.
    return std::fabs(stepDown) < sum / 5.0 * 0.001;
}

} // namespace

void Interpolate::handle_DIFF(DataRecord& record, qint64)
{
    trim(diffHistory);
    if (hasNoReading(diffHistory)) {
        keepAndDrop(diffHistory, record);
        return;
    }
    const double difference = record.value.toDouble() - diffHistory.back().toDouble();
    diffHistory.push_back(record.value);
    record.value = QVariant(difference);
}

void Interpolate::handle_DIFF_CTRUPCLEANED(DataRecord& record, qint64)
{
    const double current = record.value.toDouble();
    trim(diffHistory);
    if (ctrSkipNext) {
        ctrSkipNext = false;
        keepAndDrop(diffHistory, record);
        return;
    }
    if (ctrWaitNonZero) {
        ctrWaitNonZero = current == 0.0;
        keepAndDrop(diffHistory, record);
        return;
    }
    if (hasNoReading(diffHistory)) {
        keepAndDrop(diffHistory, record);
        return;
    }
    const double last = diffHistory.back().toDouble();
    const double difference = current - last;
    if (difference >= 0.0) {
        diffHistory.push_back(record.value);
        record.value = QVariant(difference);
        return;
    }
    handleCounterDrop(record, last, current);
}

/// The counter went down (or is no number): jitter, a wrap-around, or a reset. The record is dropped.
void Interpolate::handleCounterDrop(DataRecord& record, double last, double current)
{
    if (isJitter(diffHistory, current - last)) {
        record.value = QVariant();
        return;
    }
    // Only the first limit above the last reading is tried.
    const auto wrapLimit = std::find_if(counterWrapLimits.begin(), counterWrapLimits.end(),
                                        [last](double candidate) { return last < candidate; });
    if (wrapLimit != counterWrapLimits.end()) {
        const double rest = *wrapLimit - last;
        const double tolerance = *wrapLimit * 0.002;
        if (rest < tolerance && current < tolerance) {
            diffHistory.push_back(QVariant(rest));
            record.value = QVariant();
            return;
        }
    }
    if (current == 0.0) {
        ctrWaitNonZero = true;
        diffHistory.push_back(record.value);
    }
    record.value = QVariant();
}

} // namespace Kiv
