#include "SamplingIntervals.h"

#include <algorithm>
#include <utility>

namespace Kiv::Cli
{

void SamplingIntervals::add(qint64 timestampMs)
{
    const std::optional<qint64> previousMs = std::exchange(m_previousMs, timestampMs);
    qint64 durationMs = 0;
    if (!previousMs || qSubOverflow(timestampMs, *previousMs, &durationMs))
        return;
    m_leastMs = m_count == 0 ? durationMs : std::min(m_leastMs, durationMs);
    m_greatestMs = m_count == 0 ? durationMs : std::max(m_greatestMs, durationMs);
    ++m_count;
    ++m_counts[rounded(durationMs)];
    while (m_counts.size() > m_maxLengthCount)
        roundAll();
}

qint64 SamplingIntervals::rounded(qint64 durationMs) const
{
    return durationMs / m_resolutionMs * m_resolutionMs;
}

void SamplingIntervals::roundAll()
{
    m_resolutionMs *= 10;
    std::unordered_map<qint64, qint64> counts;
    for (const auto& [durationMs, count] : m_counts)
        counts[rounded(durationMs)] += count;
    m_counts = std::move(counts);
}

std::optional<qint64> SamplingIntervals::leastMs() const
{
    return m_count == 0 ? std::nullopt : std::optional(m_leastMs);
}

std::optional<qint64> SamplingIntervals::greatestMs() const
{
    return m_count == 0 ? std::nullopt : std::optional(m_greatestMs);
}

std::vector<SamplingLength> SamplingIntervals::lengths() const
{
    std::vector<SamplingLength> lengths;
    lengths.reserve(m_counts.size());
    for (const auto& [durationMs, count] : m_counts)
        lengths.push_back({durationMs, count});
    return lengths;
}

std::optional<qint64> SamplingIntervals::medianMs() const
{
    std::vector<SamplingLength> byLength = lengths();
    std::sort(byLength.begin(), byLength.end(),
              [](const SamplingLength& a, const SamplingLength& b) { return a.durationMs < b.durationMs; });
    qint64 countUpTo = 0;
    for (const SamplingLength& length : byLength) {
        countUpTo += length.count;
        if (countUpTo >= (m_count + 1) / 2)
            return length.durationMs;
    }
    return {};
}

std::vector<SamplingLength> SamplingIntervals::mostFrequent(std::size_t maxCount) const
{
    std::vector<SamplingLength> byCount = lengths();
    std::sort(byCount.begin(), byCount.end(), [](const SamplingLength& a, const SamplingLength& b) {
        return a.count != b.count ? a.count > b.count : a.durationMs < b.durationMs;
    });
    if (byCount.size() > maxCount)
        byCount.resize(maxCount);
    return byCount;
}

} // namespace Kiv::Cli
