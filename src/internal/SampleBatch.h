#pragma once

// Owns the samples of one write, in ascending order, and hides from the writers whether the caller holds them in
// records or in columns. Both kinds of batch have the same operations.

#include "Interpolate.h"
#include "TSFileColumns.h"

#include "internal/RecordLayout.h"

#include <QMetaType>

#include <optional>
#include <vector>

namespace Kiv::Internal
{

/// Samples in records.
class RecordBatch
{
public:
    explicit RecordBatch(std::vector<Interpolate::DataRecord> records);

    std::size_t size() const { return m_records.size(); }
    qint64 timestampMs(std::size_t index) const { return m_records[index].timestamp; }
    const Interpolate::DataRecord& record(std::size_t index) const { return m_records[index]; }

    /// Encodes samples with fixed-size values one behind the other.
    /// \param bytes  room for `strideBytes()` bytes of each
    void encode(const RecordShape& shape, qint64 baseMs, std::size_t begin, std::size_t end,
                char* bytes) const;

private:
    std::vector<Interpolate::DataRecord> m_records;
};

/// Samples in columns, which are copied only when they are out of order. A value is built only of a sample that is
/// asked for alone.
class ColumnBatch
{
public:
    /// \param columns  of equal lengths; must outlive the batch
    /// \param type     of the series
    ColumnBatch(const TSFileColumns& columns, QMetaType::Type type);

    std::size_t size() const { return columns().timestamps.size(); }
    qint64 timestampMs(std::size_t index) const { return columns().timestamps[index]; }
    Interpolate::DataRecord record(std::size_t index) const;

    void encode(const RecordShape& shape, qint64 baseMs, std::size_t begin, std::size_t end,
                char* bytes) const;

private:
    const TSFileColumns& columns() const { return m_sorted ? *m_sorted : m_columns; }
    bool isBefore(std::size_t left, std::size_t right) const;
    void sort();

    const TSFileColumns& m_columns;
    QMetaType::Type m_type;
    bool m_hasNulls;
    std::optional<TSFileColumns> m_sorted;
};

} // namespace Kiv::Internal
