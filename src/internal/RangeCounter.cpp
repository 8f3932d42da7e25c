#include "internal/RangeCounter.h"

#include "TSFileStorage.h"

#include "internal/BlockScan.h"
#include "internal/LogTexts.h"
#include "internal/ShapeDispatch.h"
#include "internal/SwapFiles.h"
#include "internal/TreeCursor.h"

namespace Kiv::Internal
{

RangeCounter::RangeCounter(const TSFileStorage& stored, qint64 startMs, qint64 endMs, bool endIsLast)
    : m_stored(stored), m_startMs(startMs), m_endMs(endMs), m_endIsLast(endIsLast)
{
}

qint64 RangeCounter::count()
{
    TreeCursor cursor(m_stored.m_dir);
    FilePlace place = cursor.locate(m_startMs);
    if (!place.found)
        place = cursor.next(place);
    for (; place.found; place = cursor.next(place)) {
        const qint64 baseMs = baseTimeMs(place);
        if (m_endIsLast && baseMs >= m_startMs) {
            m_count += recordCountOf(place);
            continue;
        }
        RecordFile file(place, m_stored.m_valueType);
        if (file.open(LogTexts::kOpenCount, baseMs) && !countFile(file))
            break;
    }
    return m_count;
}

/// Records of a whole file, without opening it.
qint64 RangeCounter::recordCountOf(const FilePlace& place) const
{
    const RecordShape shape(m_stored.m_valueType, place.depth);
    const qint64 sizeBytes =
        shape.isVariable() ? fileSizeBytes(currentRecordPath(place.path)) : place.sizeBytes;
    return sizeBytes / shape.recordSize();
}

/// \return false when the range ends in this file
bool RangeCounter::countFile(RecordFile& file)
{
    const std::optional<qint64> lastMs = lastTimestampMs(file);
    if (!lastMs) {
        logLine(LogTexts::kOpenCount, file.path());
        return true;
    }
    if (file.baseMs() >= m_startMs && *lastMs <= m_endMs) {
        m_count += file.recordCount();
        return true;
    }
    return countRecords(file);
}

/// Timestamp of the last whole record; the base time without one; nothing when it cannot be read.
std::optional<qint64> RangeCounter::lastTimestampMs(const RecordFile& file) const
{
    const RecordShape& shape = file.shape();
    const qint64 position = shape.isExact() ? (file.recordCount() - 1) * shape.recordSize()
                                            : file.sizeBytes() - shape.recordSize();
    char bytes[kMaxRecordBytes] = {};
    if (file.recordCount() < 1)
        return file.baseMs();
    if (readAt(file.handle(), bytes, shape.offsetWidth, position) < shape.offsetWidth)
        return {};
    return saturatingAdd(file.baseMs(), decodeOffset(bytes, shape.offsetWidth));
}

bool RangeCounter::countRecords(RecordFile& file)
{
    const RecordShape& shape = file.shape();
    qint64 position = file.baseMs() >= m_startMs ? 0 : file.searchFirst(m_startMs);
    // A search that could not read all it looked at may have gone astray.
    if (file.hasReadError())
        position = 0;
    // No sum below overflows: a base time lies in the years 0 to 9999.
    const qint64 baseMs = file.baseMs();
    const qint64 startMs = m_startMs;
    const qint64 endMs = m_endMs;
    qint64 count = 0;
    const ScanEnd end = visitShape(shape, [&](auto width, auto coding) {
        constexpr qint64 kStride = width() + valueBytesOfCoding(coding());
        const auto visit = [&](QByteArrayView records) {
            for (const char* bytes = records.begin(); bytes != records.end(); bytes += kStride) {
                const qint64 timestamp = baseMs + decodeOffsetOfWidth<width()>(bytes);
                if (timestamp > endMs)
                    return false;
                count += timestamp >= startMs ? 1 : 0;
            }
            return true;
        };
        return scanBlocks(file.handle(), position, file.sizeBytes(), kStride, visit);
    });
    m_count += count;
    if (end == ScanEnd::ReadFailed)
        logLine(LogTexts::kOpenCount, file.path());
    return end != ScanEnd::ByVisit;
}

} // namespace Kiv::Internal
