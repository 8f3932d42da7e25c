#include "internal/RecordRuns.h"

#include "internal/ShapeDispatch.h"

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
    return visitWidth(shape.offsetWidth, [&](auto width) {
        return leadingBytesOfWidth<width(), within>(records, shape.strideBytes(), baseMs, range);
    });
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
