#pragma once

// Owns what stands in a result for an interval without records.

#include "Interpolate.h"

#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

namespace Kiv::Cli
{

enum class FillChoice {
    Engine,   ///< as the method's own words say
    Previous, ///< the result before
    Linear,   ///< the value on the line between the results before and after
    Null,
    None, ///< no result
};

/// In the order of the enumeration.
const QStringList& fillWords();

/// \param word  of --fill
/// \throws CommandError (usage)
FillChoice parseFillChoice(const QString& word);

/// A number as the engine stores it in a series of a type: truncated towards zero, as near as the type can hold it.
QVariant engineValue(double value, QMetaType::Type type);

/// The value on the line between two records or results, of their type.
QVariant valueBetween(const Interpolate::DataRecord& before, const Interpolate::DataRecord& after,
                      qint64 timestampMs);

/// Whether the program fills by itself, and not the engine.
bool isFilledHere(FillChoice choice);

/// The method to ask the engine for, so that finishFill can do its part. A choice that needs to know where the
/// empty intervals lie labels all results with the ends of their intervals.
QString methodForFill(const Interpolate::InterpolateParam& param, FillChoice choice);

/// Replaces the nulls that a method of methodForFill marked empty intervals with. Those without a result to take
/// a value from stay null.
void finishFill(const Interpolate::InterpolateParam& param, FillChoice choice,
                std::vector<Interpolate::DataRecord>& results);

} // namespace Kiv::Cli
