#include "internal/SampleBatch.h"

#include "internal/CivilTime.h"
#include "internal/ShapeDispatch.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Kiv::Internal
{

namespace
{

/// Encodes samples whose value at an index `encodeValueAt` puts into bytes.
template <int width, ValueCoding coding, typename TimestampAt, typename EncodeValueAt>
void encodeSamples(qint64 baseMs, std::size_t begin, std::size_t end, char* bytes, TimestampAt timestampAt,
                   EncodeValueAt encodeValueAt)
{
    constexpr qint64 kStride = width + valueBytesOfCoding(coding);
    for (std::size_t i = begin; i < end; ++i, bytes += kStride) {
        encodeOffsetOfWidth<width>(bytes, saturatingSubtract(timestampAt(i), baseMs));
        encodeValueAt(i, bytes + width);
    }
}

/// A column with its entries in another order.
template <typename Entry>
std::vector<Entry> reordered(const std::vector<Entry>& column, const std::vector<std::size_t>& order)
{
    std::vector<Entry> result;
    result.reserve(order.size());
    for (const std::size_t index : order)
        result.push_back(column[index]);
    return result;
}

} // namespace

RecordBatch::RecordBatch(std::vector<Interpolate::DataRecord> records) : m_records(std::move(records))
{
    if (!std::is_sorted(m_records.begin(), m_records.end()))
        std::stable_sort(m_records.begin(), m_records.end());
}

void RecordBatch::encode(const RecordShape& shape, qint64 baseMs, std::size_t begin, std::size_t end,
                         char* bytes) const
{
    visitShape(shape, [&](auto width, auto coding) {
        encodeSamples<width(), coding()>(
            baseMs, begin, end, bytes, [&](std::size_t i) { return m_records[i].timestamp; },
            [&](std::size_t i, char* value) { encodeValueOfCoding<coding()>(value, m_records[i].value); });
    });
}

ColumnBatch::ColumnBatch(const TSFileColumns& columns, QMetaType::Type type)
    : m_columns(columns),
      m_type(type),
      m_hasNulls(
          std::any_of(columns.isNull.begin(), columns.isNull.end(), [](quint8 flag) { return flag != 0; }))
{
    sort();
}

/// As records are ordered: by timestamp, then by value.
bool ColumnBatch::isBefore(std::size_t left, std::size_t right) const
{
    const std::vector<qint64>& timestamps = m_columns.timestamps;
    if (timestamps[left] != timestamps[right])
        return timestamps[left] < timestamps[right];
    return record(left) < record(right);
}

void ColumnBatch::sort()
{
    const std::size_t count = m_columns.timestamps.size();
    std::size_t sortedCount = 1;
    while (sortedCount < count && !isBefore(sortedCount, sortedCount - 1))
        ++sortedCount;
    if (sortedCount >= count)
        return;
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [this](std::size_t left, std::size_t right) { return isBefore(left, right); });
    TSFileColumns sorted;
    sorted.kind = m_columns.kind;
    sorted.timestamps = reordered(m_columns.timestamps, order);
    // What the kind does not use may be of any length.
    if (sorted.kind == TSFileColumns::Kind::Doubles)
        sorted.doubles = reordered(m_columns.doubles, order);
    else
        sorted.integers = reordered(m_columns.integers, order);
    if (!m_columns.isNull.empty())
        sorted.isNull = reordered(m_columns.isNull, order);
    m_sorted = std::move(sorted);
}

Interpolate::DataRecord ColumnBatch::record(std::size_t index) const
{
    const TSFileColumns& from = columns();
    const qint64 timestamp = from.timestamps[index];
    if (m_hasNulls && from.isNull[index] != 0)
        return {timestamp, QVariant()};
    if (from.kind == TSFileColumns::Kind::Doubles)
        return {timestamp, QVariant(from.doubles[index])};
    const qint64 integer = from.integers[index];
    if (m_type == QMetaType::ULongLong)
        return {timestamp, QVariant(static_cast<qulonglong>(integer))};
    return {timestamp, QVariant(qlonglong{integer})};
}

void ColumnBatch::encode(const RecordShape& shape, qint64 baseMs, std::size_t begin, std::size_t end,
                         char* bytes) const
{
    const TSFileColumns& from = columns();
    const auto timestampAt = [&](std::size_t i) { return from.timestamps[i]; };
    visitShape(shape, [&](auto width, auto coding) {
        using Kind = TSFileColumns::Kind;
        constexpr bool kIsDouble = coding() == ValueCoding::Double;
        constexpr bool kIsInteger =
            !kIsDouble && coding() != ValueCoding::FloatAsDouble && coding() != ValueCoding::VarPosition;
        const bool fits = !m_hasNulls && ((kIsDouble && from.kind == Kind::Doubles) ||
                                          (kIsInteger && from.kind == Kind::Integers));
        const auto encodeFitting = [&](std::size_t i, char* value) {
            if constexpr (kIsDouble)
                encodeDouble(value, from.doubles[i]);
            else if constexpr (kIsInteger)
                encodeIntegerOfCoding<coding()>(value, from.integers[i]);
        };
        const auto encodeAny = [&](std::size_t i, char* value) {
            encodeValueOfCoding<coding()>(value, record(i).value);
        };
        if (fits)
            encodeSamples<width(), coding()>(baseMs, begin, end, bytes, timestampAt, encodeFitting);
        else
            encodeSamples<width(), coding()>(baseMs, begin, end, bytes, timestampAt, encodeAny);
    });
}

} // namespace Kiv::Internal
