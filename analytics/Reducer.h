#pragma once

// Owns the reduction of samples to one result per interval. Reads no series.

#include "analytics/Intervals.h"
#include "analytics/Method.h"
#include "analytics/Value.h"

#include "TSFileColumns.h"

#include <functional>
#include <memory>

namespace Kiv::Analytics
{

struct Result {
    Interval interval;
    Value value;            ///< null: nothing is known in this interval
    qint64 sampleCount = 0; ///< of the interval's samples that are no nulls
};

/// \return false when no further result is wanted
using ResultVisitor = std::function<bool(const Result& result)>;

/// How the integers of a block are meant; TSFileColumns keeps those of a quint64 series with the same 64 bits.
enum class Integers { Signed, Unsigned };

/// Takes samples in time order and hands out the result of every interval, also of those without samples, as soon as it
/// is complete.
///
/// The first sample should be the last one before the first interval when Method::usesNeighbours() says so. Samples
/// behind the last interval may be given; the first of them tells what holds up to the end.
/// Between two neighbouring samples the first one's value holds, or the line between them; a null (or NaN) ends a held
/// value and no line leads to it. Nothing is known before the first sample and behind the last one, nor in a hole: what
/// is unknown counts no time. Memory does not grow with the number of samples, except for percentile and
/// most-frequent, which keep the values of one interval.
class Reducer
{
public:
    /// \param intervals  must outlive this
    /// \param maxGapMs   two neighbouring samples that are farther apart have a hole between them; 0: there are no holes
    Reducer(const Method& method, Intervals& intervals, qint64 maxGapMs, ResultVisitor visit);
    ~Reducer();

    Reducer(const Reducer&) = delete;
    Reducer& operator=(const Reducer&) = delete;

    /// Timestamps must not descend, neither here nor from call to call.
    /// \return false when no further sample is wanted
    bool take(const TSFileColumns& block, Integers integers = Integers::Signed);
    bool take(qint64 timestampMs, const Value& value);

    /// Hands out the results of the intervals that are still open or to come. Once, behind the last sample.
    void finish();

    class Loop;

private:
    std::unique_ptr<Loop> m_loop;
};

} // namespace Kiv::Analytics
