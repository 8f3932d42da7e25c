#pragma once

// Owns what the samples of a series say together: counts, ends, extremes, mean, percentiles, sampling intervals.

#include "SamplingIntervals.h"

#include "analytics/Statistics.h"
#include "analytics/Value.h"

#include "TSFileColumns.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// A value and where it is; of several equal ones the first.
struct Extreme {
    Analytics::Value value;
    qint64 timestampMs = 0;
};

/// Takes samples in the order of time. Keeps a copy of the values only when percentiles are wanted.
class SeriesSummary
{
public:
    static constexpr std::size_t kMaxValueCount = 200'000'000;

    enum class Percentiles { None, Wanted };

    explicit SeriesSummary(Percentiles percentiles, std::size_t maxValueCount = kMaxValueCount)
        : m_percentiles(percentiles), m_maxValueCount(maxValueCount)
    {
    }

    /// \param isUnsigned  whether the series' integers are
    /// \throws CommandError (refused) when the values are too many to be kept
    void add(const TSFileColumns& block, bool isUnsigned);

    qint64 recordCount() const { return m_recordCount; }
    qint64 nullCount() const { return m_recordCount - m_statistics.count(); } ///< NaN included
    qint64 firstMs() const { return m_firstMs; }
    qint64 lastMs() const { return m_lastMs; }
    const Extreme& least() const { return m_least; }
    const Extreme& greatest() const { return m_greatest; }
    const Analytics::Statistics& statistics() const { return m_statistics; }
    const SamplingIntervals& intervals() const { return m_intervals; }

    /// Linear between the closest ranks; nothing without values.
    /// \param percent  0 to 100
    std::optional<double> percentile(double percent) { return Analytics::percentile(m_values, percent); }

private:
    void addValue(qint64 timestampMs, double number, const Analytics::Value& value);

    Percentiles m_percentiles;
    std::size_t m_maxValueCount;
    qint64 m_recordCount = 0;
    qint64 m_firstMs = 0;
    qint64 m_lastMs = 0;
    double m_leastNumber = 0.0;
    double m_greatestNumber = 0.0;
    Extreme m_least;
    Extreme m_greatest;
    Analytics::Statistics m_statistics;
    SamplingIntervals m_intervals;
    std::vector<double> m_values;
};

} // namespace Kiv::Cli
