#pragma once

// Owns the drawing of charts with characters.

#include "Chart.h"

#include <QByteArray>

namespace Kiv::Cli
{

enum class LineMarks {
    Patterns, ///< lines differ by their dashes
    Colors,   ///< by colours, and by dashes when these are used up
};

inline constexpr ChartSize kLeastTextSize{30, 10};

/// The chart in lines of text.
/// \param size  in characters, everything included; at least kLeastTextSize
QByteArray drawText(const Chart& chart, ChartSize size, LineMarks marks);

} // namespace Kiv::Cli
