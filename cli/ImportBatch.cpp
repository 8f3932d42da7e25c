#include "ImportBatch.h"

#include "ValueText.h"

#include <algorithm>
#include <utility>

namespace Kiv::Cli
{

ImportBatch::ImportBatch(const SeriesType& type)
    : m_type(type), m_isInColumns(isInteger(type) || type.metaType == QMetaType::Double)
{
    m_columns.kind = isInteger(type) ? TSFileColumns::Kind::Integers : TSFileColumns::Kind::Doubles;
}

QString ImportBatch::readValue(QByteArrayView text)
{
    if (!m_isInColumns) {
        ParsedValue parsed = parseValue(m_type, text);
        m_value = std::move(parsed.value);
        return parsed.problem;
    }
    return m_columns.kind == TSFileColumns::Kind::Integers ? parseInteger(m_type, text, m_integer)
                                                           : parseDouble(text, m_double);
}

void ImportBatch::add(qint64 timestampMs)
{
    if (!m_isInColumns) {
        m_records.emplace_back(timestampMs, std::exchange(m_value, QVariant()));
        return;
    }
    m_columns.timestamps.push_back(timestampMs);
    if (m_columns.kind == TSFileColumns::Kind::Integers)
        m_columns.integers.push_back(m_integer);
    else
        m_columns.doubles.push_back(m_double);
}

std::size_t ImportBatch::size() const
{
    return m_isInColumns ? m_columns.size() : m_records.size();
}

qint64 ImportBatch::dropRepeated()
{
    std::stable_sort(m_records.begin(), m_records.end());
    const auto keptFromBack =
        std::unique(m_records.rbegin(), m_records.rend(),
                    [](const auto& left, const auto& right) { return left.timestamp == right.timestamp; });
    const auto droppedCount = static_cast<qint64>(std::distance(m_records.begin(), keptFromBack.base()));
    m_records.erase(m_records.begin(), keptFromBack.base());
    return droppedCount;
}

bool ImportBatch::write(TSFileStorage& storage, bool noteLate, bool keepOld,
                        TSFileStorage::WriteSummary& summary)
{
    if (!m_isInColumns) {
        // A float series is written in one go and not looked into beyond that: searches in it may go astray.
        const bool isSummed = noteLate || !isFloat(m_type);
        summary.newCount = static_cast<qint64>(m_records.size());
        return storage.writeDataRecords(std::exchange(m_records, {}), noteLate, keepOld,
                                        isSummed ? &summary : nullptr);
    }
    const bool isWritten = storage.writeDataColumns(m_columns, noteLate, keepOld, &summary);
    m_columns.clear();
    return isWritten;
}

} // namespace Kiv::Cli
