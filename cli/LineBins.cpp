#include "LineBins.h"

#include "analytics/Holes.h"

#include <algorithm>
#include <cmath>

namespace Kiv::Cli
{

namespace
{

/// Exact and without overflow for timestamps in order.
double distance(qint64 fromMs, qint64 toMs)
{
    return static_cast<double>(static_cast<quint64>(toMs) - static_cast<quint64>(fromMs));
}

void addPoint(LinePiece& piece, const PlotPoint& point)
{
    if (piece.empty() || piece.back() != point)
        piece.push_back(point);
}

} // namespace

LineBins::LineBins(qint64 fromMs, qint64 toMs, int binCount, qint64 maxGapMs)
    : m_fromMs(fromMs),
      m_toMs(toMs),
      m_maxGapMs(maxGapMs),
      m_bins(static_cast<std::size_t>(std::max(1, binCount)))
{
}

std::size_t LineBins::binOf(qint64 timestampMs) const
{
    const double share = distance(m_fromMs, timestampMs) / (distance(m_fromMs, m_toMs) + 1.0);
    const auto index = static_cast<std::size_t>(share * static_cast<double>(m_bins.size()));
    return std::min(index, m_bins.size() - 1);
}

void LineBins::add(qint64 timestampMs, double value)
{
    if (timestampMs < m_fromMs || timestampMs > m_toMs)
        return;
    if (!std::isfinite(value)) {
        m_infiniteCount += std::isinf(value) ? 1 : 0;
        m_previousMs.reset();
        return;
    }
    const bool isConnected = m_previousMs && !Analytics::isHole(*m_previousMs, timestampMs, m_maxGapMs);
    m_previousMs = timestampMs;
    ++m_sampleCount;

    const PlotPoint point{timestampMs, value};
    LineBin& bin = m_bins[binOf(timestampMs)];
    if (bin.sampleCount == 0)
        bin = {0, !isConnected, point, point, point, point, value};
    bin.last = point;
    if (value < bin.least.value)
        bin.least = point;
    if (value > bin.greatest.value)
        bin.greatest = point;
    ++bin.sampleCount;
    // Not by the difference, which may be beyond the doubles.
    const auto count = static_cast<double>(bin.sampleCount);
    bin.mean = bin.mean * ((count - 1) / count) + value / count;
}

std::vector<LinePiece> LineBins::pieces() const
{
    std::vector<LinePiece> pieces;
    for (const LineBin& bin : m_bins) {
        if (bin.sampleCount == 0)
            continue;
        if (bin.startsPiece || pieces.empty())
            pieces.emplace_back();
        const bool isLeastFirst = bin.least.timestampMs < bin.greatest.timestampMs;
        addPoint(pieces.back(), bin.first);
        addPoint(pieces.back(), isLeastFirst ? bin.least : bin.greatest);
        addPoint(pieces.back(), isLeastFirst ? bin.greatest : bin.least);
        addPoint(pieces.back(), bin.last);
    }
    return pieces;
}

bool LineBins::isDense() const
{
    constexpr qint64 kPointsPerBin = 4;
    const auto usedCount =
        std::count_if(m_bins.begin(), m_bins.end(), [](const LineBin& bin) { return bin.sampleCount > 0; });
    return m_sampleCount > kPointsPerBin * usedCount;
}

std::optional<double> LineBins::least() const
{
    std::optional<double> least;
    for (const LineBin& bin : m_bins) {
        if (bin.sampleCount > 0)
            least = std::min(least.value_or(bin.least.value), bin.least.value);
    }
    return least;
}

std::optional<double> LineBins::greatest() const
{
    std::optional<double> greatest;
    for (const LineBin& bin : m_bins) {
        if (bin.sampleCount > 0)
            greatest = std::max(greatest.value_or(bin.greatest.value), bin.greatest.value);
    }
    return greatest;
}

} // namespace Kiv::Cli
