#pragma once

// Owns the random samples that series are filled with: timestamps in clusters around a few anchors, on the
// boundaries of calendar periods and on each other, and values of every kind, fitting the series or not.

#include "properties/EngineCases.h"
#include "properties/PlainStorage.h"

namespace Kiv::Testing
{

/// The value types that the properties are checked for, and their names.
struct ValueType {
    QMetaType::Type type;
    const char* name;
};
const std::vector<ValueType>& valueTypes();

/// The samples of one series: later batches meet the timestamps of earlier ones.
class RandomBatch
{
public:
    RandomBatch(Dice& dice, QMetaType::Type valueType);

    /// In random order: as drawn, ascending, descending, or with repeated timestamps.
    Records next();

    /// A time near or on the samples drawn so far.
    qint64 timestampMs();
    /// An end of a range; also now, first and last record, and times far outside.
    qint64 rangeEndMs();
    QVariant value();

private:
    qint64 clusterMs();
    qint64 boundaryMs();
    QVariant numericValue();
    QVariant extremeValue();
    QVariant variableValue(int levels);

    Dice& m_dice;
    const bool m_variable;
    qint64 m_anchorMs;
    qint64 m_spanMs;
    qint64 m_stepMs;
    std::vector<qint64> m_drawnMs;
};

} // namespace Kiv::Testing
