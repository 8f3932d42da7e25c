#include "SeriesSummary.h"

#include "Errors.h"

#include <cmath>

namespace Kiv::Cli
{

namespace
{

using Analytics::Value;

Value valueAt(const TSFileColumns& block, std::size_t index, bool isUnsigned)
{
    if (!block.isNull.empty() && block.isNull[index] != 0)
        return {};
    if (block.kind == TSFileColumns::Kind::Doubles)
        return Value::ofDouble(block.doubles[index]);
    return isUnsigned ? Value::ofUnsigned(static_cast<quint64>(block.integers[index]))
                      : Value::ofSigned(block.integers[index]);
}

} // namespace

void SeriesSummary::add(const TSFileColumns& block, bool isUnsigned)
{
    for (std::size_t i = 0; i < block.size(); ++i) {
        const qint64 timestampMs = block.timestamps[i];
        if (m_recordCount == 0)
            m_firstMs = timestampMs;
        m_lastMs = timestampMs;
        ++m_recordCount;
        m_intervals.add(timestampMs);
        const Value value = valueAt(block, i, isUnsigned);
        if (!value.isNull())
            addValue(timestampMs, value.toDouble(), value);
    }
}

void SeriesSummary::addValue(qint64 timestampMs, double number, const Value& value)
{
    // Numbers that differ may be one double, but never in the wrong order: most values need no exact comparison.
    const bool isFirst = m_statistics.count() == 0;
    if (isFirst || (number <= m_leastNumber && value < m_least.value)) {
        m_least = {value, timestampMs};
        m_leastNumber = number;
    }
    if (isFirst || (number >= m_greatestNumber && value > m_greatest.value)) {
        m_greatest = {value, timestampMs};
        m_greatestNumber = number;
    }
    m_statistics.add(number);
    if (m_percentiles == Percentiles::None)
        return;
    if (m_values.size() >= m_maxValueCount)
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral("--percentiles: the range holds more than %1 values, too many to order; "
                           "narrow it, or give --percentiles none")
                .arg(m_maxValueCount));
    m_values.push_back(number);
}

} // namespace Kiv::Cli
