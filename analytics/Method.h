#pragma once

// Owns the names of the methods and their parameters. Computes nothing.

#include "analytics/Value.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace Kiv::Analytics
{

/// What reduces the samples of an interval to one value; docs/methods.md defines each.
struct Method {
    enum class Kind {
        TimeWeightedMean,            ///< twa
        TimeWeightedMeanLinear,      ///< twa-linear
        Integral,                    ///< integral: value times seconds
        IntegralLinear,              ///< integral-linear
        InState,                     ///< in-state:V: seconds
        First,                       ///< first
        Last,                        ///< last
        Delta,                       ///< delta
        Range,                       ///< range
        StandardDeviation,           ///< stddev
        StandardDeviationPopulation, ///< stddev-pop
        Variance,                    ///< var
        VariancePopulation,          ///< var-pop
        Percentile,                  ///< percentile:N
        Transitions,                 ///< transitions
        MostFrequent,                ///< most-frequent
        Mean,                        ///< mean
        Min,                         ///< min
        Max,                         ///< max
        Sum,                         ///< sum
        Count,                       ///< count
    };

    Kind kind = Kind::Mean;
    double percent = 0.0; ///< of Percentile, 0 to 100
    Value state;          ///< of InState

    /// Upper and lower case are the same.
    /// \return nothing for an unknown name, and for a parameter that is missing, superfluous or out of its range
    static std::optional<Method> parse(const QString& text);

    /// Every name, those with a parameter as "percentile:N" and "in-state:V".
    static QStringList names();

    /// The text that parse() reads as the same method.
    QString text() const;

    /// Whether the samples next to an interval take part in its result: what the last one before it leaves behind, and
    /// the way to the first one after it. These methods also know holes.
    bool usesNeighbours() const;
};

} // namespace Kiv::Analytics
