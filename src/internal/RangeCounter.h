#pragma once

// Owns the raw count of a range of one series: from file sizes where whole files lie in it, from the offsets
// of the records elsewhere. Never reads a value.

#include "internal/RecordFile.h"

#include <optional>

namespace Kiv
{
class TSFileStorage;
}

namespace Kiv::Internal
{

class RangeCounter
{
public:
    /// \param stored          the series whose records are counted
    /// \param startMs, endMs  narrowed to its records, both inclusive
    /// \param endIsLast       the range ends with the series' last record
    RangeCounter(const TSFileStorage& stored, qint64 startMs, qint64 endMs, bool endIsLast);

    qint64 count();

private:
    qint64 recordCountOf(const FilePlace& place) const;
    bool countFile(RecordFile& file);
    bool countRecords(RecordFile& file);
    std::optional<qint64> lastTimestampMs(const RecordFile& file) const;

    const TSFileStorage& m_stored;
    qint64 m_startMs;
    qint64 m_endMs;
    bool m_endIsLast;
    qint64 m_count = 0;
};

} // namespace Kiv::Internal
