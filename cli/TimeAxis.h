#pragma once

// Owns the ticks of an axis of time, at round times of a zone's clocks and calendar.

#include "Zone.h"

#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct TimeTick {
    qint64 timestampMs = 0;
    QString label;
    QString context; ///< the day or the year of the label, where it is another than at the tick before
};

/// The most ticks that a width has room for, in order: down to milliseconds, up to thousands of years. Hours that a
/// change of clocks repeats are ticks twice.
/// \param fromMs, toMs     both inclusive
/// \param widthCharacters  of the axis
std::vector<TimeTick> timeTicks(qint64 fromMs, qint64 toMs, const Zone& zone, int widthCharacters);

} // namespace Kiv::Cli
