#pragma once

// Owns the drawing of charts as SVG.

#include "Chart.h"

#include <QByteArray>

namespace Kiv::Cli
{

inline constexpr ChartSize kLeastSvgSize{200, 120};

/// The chart as a file that needs no other. Where samples are denser than pixels, the line is their mean and a band
/// reaches from their least to their greatest value.
/// \param size  in pixels; at least kLeastSvgSize
QByteArray drawSvg(const Chart& chart, ChartSize size);

} // namespace Kiv::Cli
