#pragma once

// Owns the lengths between the samples of a series: the least, the median, the most frequent ones.

#include <QtGlobal>

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Kiv::Cli
{

struct SamplingLength {
    qint64 durationMs = 0;
    qint64 count = 0;

    bool operator==(const SamplingLength&) const = default;
};

/// Takes timestamps in order. Counts every length by itself as long as there are at most `maxLengthCount` different
/// ones; beyond that it rounds them to 10 ms, 100 ms, ..., so that its memory is bounded. Least and greatest are exact.
class SamplingIntervals
{
public:
    static constexpr std::size_t kMaxLengthCount = 100'000;

    explicit SamplingIntervals(std::size_t maxLengthCount = kMaxLengthCount)
        : m_maxLengthCount(maxLengthCount)
    {
    }

    void add(qint64 timestampMs);

    /// How many lengths there are: one less than the timestamps.
    qint64 count() const { return m_count; }

    // Nothing without a length.
    std::optional<qint64> leastMs() const;
    std::optional<qint64> greatestMs() const;
    /// Of an even number of lengths the lower one of the two in the middle.
    std::optional<qint64> medianMs() const;

    /// The most frequent first, of equally frequent ones the shorter.
    std::vector<SamplingLength> mostFrequent(std::size_t maxCount) const;

private:
    std::vector<SamplingLength> lengths() const;
    qint64 rounded(qint64 durationMs) const;
    void roundAll();

    std::size_t m_maxLengthCount;
    qint64 m_resolutionMs = 1;
    std::unordered_map<qint64, qint64> m_counts; ///< by rounded length
    std::optional<qint64> m_previousMs;
    qint64 m_count = 0;
    qint64 m_leastMs = 0;
    qint64 m_greatestMs = 0;
};

} // namespace Kiv::Cli
