#pragma once

// Owns what there is to draw, whatever it is drawn with.

#include "LineBins.h"
#include "ValueAxis.h"
#include "Zone.h"

#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct ChartLine {
    QString name; ///< for the legend
    LineBins bins;
};

/// There is at least one line with a sample.
struct Chart {
    QString title;
    QString note; ///< below the title
    qint64 fromMs = 0;
    qint64 toMs = 0; ///< behind fromMs
    double least = 0.0;
    double greatest = 0.0;
    TickNumbers tickNumbers = TickNumbers::Any;
    Zone zone;
    std::vector<ChartLine> lines;

    bool hasLegend() const { return lines.size() > 1; }

    /// 0 at the start of the axis of time, 1 at its end.
    double shareOf(qint64 timestampMs) const
    {
        const auto distance = [this](qint64 ms) {
            return static_cast<double>(static_cast<quint64>(ms) - static_cast<quint64>(fromMs));
        };
        return distance(timestampMs) / distance(toMs);
    }
};

struct ChartSize {
    int width = 0;
    int height = 0;
};

} // namespace Kiv::Cli
