#pragma once

// Owns the cutting of record bytes into runs by their timestamps. Looks at every record, for records may lie in any
// order; reads no values.

#include "internal/RecordLayout.h"

#include <QByteArrayView>

namespace Kiv::Internal
{

/// A stretch of time, both ends inclusive.
struct TimeRange {
    qint64 fromMs;
    qint64 toMs;
};

/// Bytes of the records at the front whose timestamps all lie in the range.
/// \param records  whole records of one file
/// \param baseMs   base time of that file
qsizetype leadingBytesWithin(QByteArrayView records, const RecordShape& shape, qint64 baseMs,
                             const TimeRange& range);

/// The same for the records at the front whose timestamps all lie outside the range.
qsizetype leadingBytesOutside(QByteArrayView records, const RecordShape& shape, qint64 baseMs,
                              const TimeRange& range);

} // namespace Kiv::Internal
