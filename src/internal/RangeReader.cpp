#include "internal/RangeReader.h"

#include "TSFileStorage.h"

#include "internal/BlockScan.h"
#include "internal/LogTexts.h"
#include "internal/TreeCursor.h"

#include <algorithm>
#include <utility>

namespace Kiv::Internal
{

RangeReader::RangeReader(TSFileStorage& series, TSFileStorage& stored, Source source, Records& result)
    : m_series(series), m_stored(stored), m_source(source), m_result(result)
{
}

void RangeReader::read(ReadRequest request, int& limit)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    const bool hasFirst = m_stored.getFirstDataRecord(first);
    const bool hasLast = m_stored.getLastDataRecord(last);
    if (!hasFirst || !hasLast) {
        limit = 0;
        return;
    }
    Interpolate engine(std::move(request.param), std::move(request.passes), request.startMs, request.endMs,
                       first.timestamp, last.timestamp, &m_result, m_stored.m_valueType,
                       request.shiftIntervalForward, limit, request.fastCountOnly);
    const bool hasRange = engine.getRange(m_startMs, m_endMs);
    // A counter at timestamp 0 has been settled from the range alone.
    if (!hasRange || (request.fastCountOnly && m_result.front().timestamp == 0)) {
        limit = 0;
        return;
    }
    feedPreviousRecords(engine, engine.needsPreviousDataRecords());
    feedFiles(engine);
    engine.finalize();
}

void RangeReader::feedPreviousRecords(Interpolate& engine, qint32 count)
{
    Records newestFirst;
    qint64 fromMs = m_startMs;
    for (qint32 i = 0; i < count; ++i) {
        Interpolate::DataRecord record;
        if (!m_stored.findPrevDataRecord(fromMs, record))
            continue;
        fromMs = record.timestamp;
        newestFirst.push_back(std::move(record));
    }
    for (auto record = newestFirst.rbegin(); record != newestFirst.rend(); ++record)
        engine.handleNextRawRecord(std::move(*record));
}

void RangeReader::feedFiles(Interpolate& engine)
{
    if (m_source == Source::LateLog) {
        for (const Interpolate::DataRecord& record : m_result)
            m_delivered.insert(record.timestamp);
    }
    TreeCursor cursor(m_stored.m_dir);
    FilePlace place = cursor.locate(m_startMs);
    if (!place.found)
        place = cursor.next(place);
    for (; place.found; place = cursor.next(place)) {
        RecordFile file(place, m_stored.m_valueType);
        if (file.open(LogTexts::kOpenRead) && feedFile(engine, file) == Continue::No)
            return;
    }
}

/// Chooses the decode loop for a file and runs it from the first record of the range on.
RangeReader::Continue RangeReader::feedFile(Interpolate& engine, RecordFile& file)
{
    const qint64 position = file.baseMs() >= m_startMs ? 0 : file.searchFirst(m_startMs);
    reserveResult(engine, file, position);
    switch (file.shape().offsetWidth) {
    case 5:
        return feedRecordsOfWidth<5>(engine, file, position);
    case 4:
        return feedRecordsOfWidth<4>(engine, file, position);
    case 3:
        return feedRecordsOfWidth<3>(engine, file, position);
    default:
        return feedRecordsOfWidth<2>(engine, file, position);
    }
}

template <int width>
RangeReader::Continue RangeReader::feedRecordsOfWidth(Interpolate& engine, RecordFile& file, qint64 position)
{
    switch (file.shape().coding) {
    case ValueCoding::Bool:
        return feedRecords<width, ValueCoding::Bool>(engine, file, position);
    case ValueCoding::Int8:
        return feedRecords<width, ValueCoding::Int8>(engine, file, position);
    case ValueCoding::UInt8:
        return feedRecords<width, ValueCoding::UInt8>(engine, file, position);
    case ValueCoding::Int16:
        return feedRecords<width, ValueCoding::Int16>(engine, file, position);
    case ValueCoding::UInt16:
        return feedRecords<width, ValueCoding::UInt16>(engine, file, position);
    case ValueCoding::Int32:
        return feedRecords<width, ValueCoding::Int32>(engine, file, position);
    case ValueCoding::UInt32:
        return feedRecords<width, ValueCoding::UInt32>(engine, file, position);
    case ValueCoding::Int64:
        return feedRecords<width, ValueCoding::Int64>(engine, file, position);
    case ValueCoding::UInt64:
        return feedRecords<width, ValueCoding::UInt64>(engine, file, position);
    case ValueCoding::Double:
        return feedRecords<width, ValueCoding::Double>(engine, file, position);
    case ValueCoding::FloatAsDouble:
        return feedRecords<width, ValueCoding::FloatAsDouble>(engine, file, position);
    case ValueCoding::VarPosition:
        break;
    }
    return feedRecords<width, ValueCoding::VarPosition>(engine, file, position);
}

template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::feedRecords(Interpolate& engine, RecordFile& file, qint64 positionBytes)
{
    const qint64 baseMs = file.baseMs();
    const auto visit = [&](const char* bytes) {
        const qint64 timestamp = saturatingAdd(baseMs, decodeOffsetOfWidth<width>(bytes));
        if constexpr (coding == ValueCoding::VarPosition) {
            // Read before the range is looked at: a value that cannot be read shows in the log.
            QVariant value = file.values().read(decodeVarPosition(bytes + width)).value;
            return timestamp < m_startMs || take(engine, {timestamp, std::move(value)}) == Continue::Yes;
        } else {
            return timestamp < m_startMs ||
                   take(engine, {timestamp, decodeValueOfCoding<coding>(bytes + width)}) == Continue::Yes;
        }
    };
    const qint64 stride = file.shape().strideBytes();
    const ScanEnd end = scanBlocks(file.handle(), positionBytes, file.sizeBytes(), stride, visit);
    return end == ScanEnd::ByVisit ? Continue::No : Continue::Yes;
}

/// Makes room for the records of a raw read that this file can add, without growing in small steps.
void RangeReader::reserveResult(const Interpolate& engine, const RecordFile& file, qint64 positionBytes)
{
    const bool deliversAll = engine.method == Interpolate::RAW && engine.filterParams.empty() &&
                             !engine.nextPass && engine.limit < 1 && !engine.fastCountOnly;
    if (m_source != Source::Samples || !deliversAll || !file.shape().isExact())
        return;
    const qint64 recordSize = file.shape().recordSize();
    const qint64 endPosition = file.search(m_endMs) + recordSize;
    const qint64 count = std::max<qint64>((endPosition - positionBytes) / recordSize, 0);
    const std::size_t needed = m_result.size() + static_cast<std::size_t>(count);
    if (needed > m_result.capacity())
        m_result.reserve(std::max(needed, m_result.capacity() * 2));
}

/// Takes a record at or after the start of the range.
RangeReader::Continue RangeReader::take(Interpolate& engine, Interpolate::DataRecord&& record)
{
    if (record.timestamp > m_endMs) {
        if (m_source == Source::Samples && engine.needsDataRecordAfterRangeEnd())
            engine.handleNextRawRecord(std::move(record));
        return Continue::No;
    }
    if (m_source == Source::LateLog) {
        deliverLate(record.value.toLongLong());
        return Continue::Yes;
    }
    return engine.handleNextRawRecord(std::move(record)) ? Continue::Yes : Continue::No;
}

/// Puts the sample that was written late into the result, past the engine, once.
void RangeReader::deliverLate(qint64 timestampMs)
{
    if (m_delivered.count(timestampMs) != 0)
        return;
    Interpolate::DataRecord record;
    if (!m_series.findDataRecord(timestampMs, record))
        return;
    m_delivered.insert(timestampMs);
    m_result.push_back(std::move(record));
}

} // namespace Kiv::Internal
