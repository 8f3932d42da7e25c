#pragma once

// Owns the reading of the overwrite history as single overwritten values.

#include "Series.h"
#include "TimeBound.h"

#include <functional>
#include <map>
#include <optional>

namespace Kiv::Cli
{

/// A value that a later one took the place of.
struct OldValue {
    qint64 timestampMs = 0;   ///< of the sample
    qint64 overwrittenMs = 0; ///< when
    QVariant value;
};

/// A stored history is a map from times as texts, which do not sort as numbers do.
/// \return the old values by the times of their overwriting
std::map<qint64, QVariant> oldValuesOf(const QVariant& history);

/// Hands the old values of the samples of a range to the visitor, by the time of the sample, then of the overwriting.
void visitOldValues(const Series& series, const TimeRange& range,
                    const std::function<void(const OldValue& old)>& visit);

/// \return the value of a sample that was overwritten last
std::optional<OldValue> newestOldValue(const Series& series, qint64 timestampMs);

} // namespace Kiv::Cli
