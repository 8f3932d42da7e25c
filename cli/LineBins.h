#pragma once

// Owns what a chart needs to know of any number of samples: a few points for each of its columns.

#include <QtGlobal>

#include <optional>
#include <vector>

namespace Kiv::Cli
{

struct PlotPoint {
    qint64 timestampMs = 0;
    double value = 0.0;

    bool operator==(const PlotPoint&) const = default;
};

/// A line without breaks.
using LinePiece = std::vector<PlotPoint>;

/// The samples of one column. The line through its four points covers the same dots as the one through all of them.
struct LineBin {
    qint64 sampleCount = 0;
    bool startsPiece = false; ///< no line leads to its first sample
    PlotPoint first;
    PlotPoint last;
    PlotPoint least;
    PlotPoint greatest;
    double mean = 0.0;
};

/// Takes samples in the order of time and keeps constant memory.
class LineBins
{
public:
    /// \param fromMs, toMs  range of the samples that will be kept, both inclusive
    /// \param maxGapMs      samples that are farther apart are not connected; 0 or less: all are
    LineBins(qint64 fromMs, qint64 toMs, int binCount, qint64 maxGapMs);

    /// \param value  what is no finite number breaks the line
    void add(qint64 timestampMs, double value);

    /// In order, those without samples included.
    const std::vector<LineBin>& bins() const { return m_bins; }

    /// The lines to draw, four points a bin at most.
    std::vector<LinePiece> pieces() const;

    qint64 sampleCount() const { return m_sampleCount; }
    qint64 infiniteCount() const { return m_infiniteCount; }

    /// Whether most bins hold more samples than a line can show.
    bool isDense() const;

    // Nothing without samples.
    std::optional<double> least() const;
    std::optional<double> greatest() const;

private:
    std::size_t binOf(qint64 timestampMs) const;

    qint64 m_fromMs;
    qint64 m_toMs;
    qint64 m_maxGapMs;
    std::vector<LineBin> m_bins;
    std::optional<qint64> m_previousMs; ///< of the last sample, unless the line broke behind it
    qint64 m_sampleCount = 0;
    qint64 m_infiniteCount = 0;
};

} // namespace Kiv::Cli
