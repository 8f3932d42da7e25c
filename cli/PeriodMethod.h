#pragma once

// Owns what the program itself makes of the records of a period where the engine, asked for one period alone, knows too
// little: lines across boundaries, periods without records, sums that are split.

#include "MethodText.h"
#include "Request.h"

#include "analytics/Intervals.h"

#include <functional>
#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// The records around a time.
struct RecordLookUp {
    std::function<std::optional<Interpolate::DataRecord>(qint64 timestampMs)>
        before; ///< the last one before it
    std::function<std::optional<Interpolate::DataRecord>(qint64 timestampMs)>
        from; ///< the first one not before it
};

class PeriodMethod
{
public:
    /// \param param  with the method as the user means it
    /// \param type   of the results
    PeriodMethod(const Interpolate::InterpolateParam& param, QMetaType::Type type);

    /// What the engine is to do with the records of one period, without any filling.
    QString engineText() const;

    /// Whether the engine has nothing to do: the result is the value on the line at the end of the period.
    bool isLine() const { return m_isPoint && m_method.linear; }

    /// Whether values are split at the boundaries in proportion to time.
    bool isSplitSum() const { return m_method.methodWord == QLatin1String("sum") && m_method.linear; }

    bool fills() const { return m_method.fill; }

    /// The results of one period, labelled with its end.
    std::vector<Interpolate::DataRecord> lineResult(const Analytics::Interval& period,
                                                    const RecordLookUp& records) const;

    /// What stands for a period without records.
    /// \param latest  the last result of an earlier period, null without one
    std::vector<Interpolate::DataRecord> filling(const Analytics::Interval& period,
                                                 const RecordLookUp& records, const QVariant& latest) const;

    /// Every value counts for the time since the record before it. What a period without records does not give comes
    /// with the next result.
    /// \param records  in order, from the one before the first period on as far as there is one
    std::vector<Interpolate::DataRecord> splitSums(const std::vector<Analytics::Interval>& periods,
                                                   const std::vector<Interpolate::DataRecord>& records) const;

private:
    EngineMethod m_method;
    QMetaType::Type m_type;
    bool m_isPoint;
    bool m_givesTwo; ///< results for a period, the second one a millisecond behind the first
};

} // namespace Kiv::Cli
