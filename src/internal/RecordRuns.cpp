#include "internal/RecordRuns.h"

namespace Kiv::Internal
{

namespace
{

template <int width, bool within>
qsizetype leadingBytesOfWidth(QByteArrayView records, int strideBytes, qint64 baseMs, const TimeRange& range)
{
    // No sum overflows: a base time lies in the years 0 to 9999.
    qsizetype position = 0;
    for (; position < records.size(); position += strideBytes) {
        const qint64 timestamp = baseMs + decodeOffsetOfWidth<width>(records.data() + position);
        if ((timestamp >= range.fromMs && timestamp <= range.toMs) != within)
            break;
    }
    return position;
}

template <bool within>
qsizetype leadingBytes(QByteArrayView records, const RecordShape& shape, qint64 baseMs,
                       const TimeRange& range)
{
    switch (shape.offsetWidth) {
    case 5:
        return leadingBytesOfWidth<5, within>(records, shape.strideBytes(), baseMs, range);
    case 4:
        return leadingBytesOfWidth<4, within>(records, shape.strideBytes(), baseMs, range);
    case 3:
        return leadingBytesOfWidth<3, within>(records, shape.strideBytes(), baseMs, range);
    default:
        return leadingBytesOfWidth<2, within>(records, shape.strideBytes(), baseMs, range);
    }
}

} // namespace

qsizetype leadingBytesWithin(QByteArrayView records, const RecordShape& shape, qint64 baseMs,
                             const TimeRange& range)
{
    return leadingBytes<true>(records, shape, baseMs, range);
}

qsizetype leadingBytesOutside(QByteArrayView records, const RecordShape& shape, qint64 baseMs,
                              const TimeRange& range)
{
    return leadingBytes<false>(records, shape, baseMs, range);
}

} // namespace Kiv::Internal
