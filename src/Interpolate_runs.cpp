// Many samples at a time: what each method does with the samples of one interval, as a loop over columns. What
// happens at a boundary is said once, by the methods' own handlers, which see the first sample beyond it.

#include "Interpolate.h"

#include "internal/MeanKernels.h"

#include <algorithm>
#include <limits>

namespace Kiv
{

using namespace Internal;

namespace
{

/// Samples that are looked at together for an extreme; most stretches hold none.
constexpr std::size_t kStretch = 16;

/// The extreme of a stretch and of one known before, in lanes that the processor reduces side by side. NaN is no
/// extreme.
template <typename IsBeyond>
double extremeOfStretch(const double* values, double known, IsBeyond isBeyond)
{
    constexpr std::size_t kLanes = 4;
    double lanes[kLanes] = {known, known, known, known};
    for (std::size_t i = 0; i < kStretch; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            lanes[lane] = isBeyond(values[i + lane], lanes[lane]) ? values[i + lane] : lanes[lane];
    }
    for (std::size_t lane = 1; lane < kLanes; ++lane)
        lanes[0] = isBeyond(lanes[lane], lanes[0]) ? lanes[lane] : lanes[0];
    return lanes[0];
}

} // namespace

bool Interpolate::takesSamples() const
{
    return method != RAW && diffHandler == nullptr;
}

bool Interpolate::deliversRecords() const
{
    return method == RAW && filterParams.empty() && diffHandler == nullptr && !nextPass && !fastCountOnly;
}

bool Interpolate::handleNextSamples(const qint64* timestamps, const double* values, std::size_t count)
{
    using Limits = std::numeric_limits<qint64>;
    return handleNextSamples(timestamps, values, count, {Limits::min(), Limits::max()});
}

bool Interpolate::handleNextSamples(const qint64* timestamps, const double* values, std::size_t count,
                                    const TimestampBounds& bounds)
{
    std::size_t begin = 0;
    while (begin < count) {
        if (!isInsideInterval(timestamps[begin])) {
            if (!handleNextRawRecord(DataRecord(timestamps[begin], QVariant(values[begin]))))
                return false;
            ++begin;
            continue;
        }
        // In a linear read a sample before the range makes the next one only remembered.
        const qint64 leastBeforeNext = linear && !nextPass ? readStart : std::numeric_limits<qint64>::min();
        const bool areAllInside = bounds.greatestMs < intervalEnd && bounds.leastMs >= leastBeforeNext;
        std::size_t end = areAllInside ? count : begin + 1;
        while (end < count && timestamps[end] < intervalEnd && timestamps[end - 1] >= leastBeforeNext)
            ++end;
        if (!takeRun(timestamps + begin, values + begin, end - begin))
            return false;
        begin = end;
    }
    return true;
}

/// False for a sample that closes the interval, and for one that a linear read only remembers.
bool Interpolate::isInsideInterval(qint64 timestamp) const
{
    const bool isOnlyRemembered = linear && !nextPass && prevRecord.timestamp < readStart;
    return timestamp < intervalEnd && !isOnlyRemembered;
}

/// Takes samples that all lie before the end of the current interval. \return false when no more are wanted
bool Interpolate::takeRun(const qint64* timestamps, const double* values, std::size_t count)
{
    const bool isFull = medianValues.size() + count > kMaxValuesPerInterval;
    if (method == MEDIAN && !isFull) {
        medianValues.insert(medianValues.end(), values, values + count);
        return true;
    }
    if (method != MEDIAN && method != MODE) {
        addToAccumulators(timestamps, values, count);
        return true;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!handleNextRawRecord(DataRecord(timestamps[i], QVariant(values[i]))))
            return false;
    }
    return true;
}

void Interpolate::addToAccumulators(const qint64* timestamps, const double* values, std::size_t count)
{
    switch (method) {
    case COUNT:
        return addToMean<CountKernel>(values, count);
    case MEAN_A:
        return addToMean<ArithmeticMeanKernel>(values, count);
    case MEAN_G:
        return addToMean<GeometricMeanKernel>(values, count);
    case MEAN_H:
        return addToMean<HarmonicMeanKernel>(values, count);
    case MEAN_S:
        return addToMean<QuadraticMeanKernel>(values, count);
    case MIN:
        return updateExtreme<Extreme::Min>(minRecord, timestamps, values, count);
    case MAX:
        return updateExtreme<Extreme::Max>(minRecord, timestamps, values, count);
    case MIN_MAX:
        updateExtreme<Extreme::Min>(minRecord, timestamps, values, count);
        return updateExtreme<Extreme::Max>(maxRecord, timestamps, values, count);
    case SUM:
        for (std::size_t i = 0; i < count; ++i)
            aggSum += values[i];
        if (linear)
            sumAtPrevRecord = aggSum;
        break;
    default:
        break;
    }
    prevRecord = DataRecord(timestamps[count - 1], QVariant(values[count - 1]));
}

template <typename Kernel>
void Interpolate::addToMean(const double* values, std::size_t count)
{
    double sum = aggSum;
    for (std::size_t i = 0; i < count; ++i)
        Kernel::add(sum, values[i]);
    aggSum = sum;
    aggCount += static_cast<qint64>(count);
}

/// Of equal extremes the first one stays.
template <Interpolate::Extreme kind>
void Interpolate::updateExtreme(DataRecord& extremeRecord, const qint64* timestamps, const double* values,
                                std::size_t count)
{
    const bool isUnset = extremeRecord.value.isNull();
    double extreme = isUnset ? values[0] : extremeRecord.value.toDouble();
    std::size_t found = isUnset ? 0 : count;
    const auto isBeyond = [](double value, double known) {
        return kind == Extreme::Min ? value < known : value > known;
    };
    for (std::size_t begin = 0; begin < count; begin += kStretch) {
        const std::size_t end = std::min(begin + kStretch, count);
        if (end - begin == kStretch &&
            !isBeyond(extremeOfStretch(values + begin, extreme, isBeyond), extreme))
            continue;
        for (std::size_t i = begin; i < end; ++i) {
            if (isBeyond(values[i], extreme)) {
                extreme = values[i];
                found = i;
            }
        }
    }
    if (found < count)
        extremeRecord = DataRecord(timestamps[found], QVariant(extreme));
}

} // namespace Kiv
