#include "internal/RangeReader.h"

#include "TSFileColumns.h"
#include "TSFileStorage.h"

#include "internal/CivilTime.h"
#include "internal/ColumnResults.h"
#include "internal/LogTexts.h"
#include "internal/ShapeDispatch.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace Kiv::Internal
{

namespace
{

constexpr qint64 kBlockBytes = 256 * 1024;

/// So that the columns of one block never hold more than a column reader hands out.
constexpr qint64 kMaxBlockRecords = TSFileColumnReader::kMaxBlockSize;

constexpr std::size_t kColumnLength = 512;

/// Room is made at once for this many records at most: what a file claims may be more than there is memory for.
constexpr qint64 kMaxReservedCount = qint64{1} << (sizeof(void*) >= 8 ? 27 : 22);

} // namespace

/// Samples that are decoded before the engine sees them; so many that both columns stay in the nearest cache.
struct RangeReader::SampleColumns {
    std::array<qint64, kColumnLength> timestamps;
    std::array<double, kColumnLength> values;
    std::size_t count = 0;
    Interpolate::TimestampBounds bounds = {}; ///< of the samples as decoded
};

namespace
{

/// Decodes records into columns. \return the bounds of their timestamps
template <int width, ValueCoding coding, typename Number>
Interpolate::TimestampBounds decodeColumns(const char* bytes, std::size_t count, qint64 baseMs,
                                           qint64* timestamps, Number* values)
{
    constexpr qint64 kStride = width + valueBytesOfCoding(coding);
    // No sum overflows: a base time lies in the years 0 to 9999.
    qint64 least = std::numeric_limits<qint64>::max();
    qint64 greatest = std::numeric_limits<qint64>::min();
    for (std::size_t i = 0; i < count; ++i, bytes += kStride) {
        const qint64 timestamp = baseMs + decodeOffsetOfWidth<width>(bytes);
        timestamps[i] = timestamp;
        values[i] = static_cast<Number>(decodeStored<coding>(bytes + width));
        least = std::min(least, timestamp);
        greatest = std::max(greatest, timestamp);
    }
    return {least, greatest};
}

/// Leaves out samples before the range from an index on, and all from the first one beyond it on.
/// \return false when there is one beyond it
template <typename Number>
bool narrowColumns(qint64 startMs, qint64 endMs, std::size_t from, std::vector<qint64>& timestamps,
                   std::vector<Number>& values)
{
    const std::size_t count = timestamps.size();
    std::size_t keptCount = from;
    std::size_t i = from;
    for (; i < count && timestamps[i] <= endMs; ++i) {
        if (timestamps[i] < startMs)
            continue;
        timestamps[keptCount] = timestamps[i];
        values[keptCount] = values[i];
        ++keptCount;
    }
    timestamps.resize(keptCount);
    values.resize(keptCount);
    return i == count;
}

} // namespace

RangeReader::RangeReader(TSFileStorage& series, TSFileStorage& stored, Source source, Records& result)
    : m_series(series), m_stored(stored), m_source(source), m_result(result), m_cursor(stored.m_dir)
{
}

void RangeReader::deliverTo(TSFileColumns& columns, Room room)
{
    m_columns = &columns;
    m_room = room;
}

void RangeReader::read(ReadRequest request, int& limit)
{
    if (!start(std::move(request), limit))
        return;
    while (step()) {
    }
}

bool RangeReader::start(ReadRequest request, int& limit)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    const bool hasFirst = m_stored.getFirstDataRecord(first);
    const bool hasLast = m_stored.getLastDataRecord(last);
    if (!hasFirst || !hasLast) {
        limit = 0;
        return false;
    }
    m_engine.emplace(std::move(request.param), std::move(request.passes), request.startMs, request.endMs,
                     first.timestamp, last.timestamp, &m_result, m_stored.m_valueType,
                     request.shiftIntervalForward, limit, request.fastCountOnly);
    const bool hasRange = m_engine->getRange(m_startMs, m_endMs);
    // A counter at timestamp 0 has been settled from the range alone.
    if (!hasRange || (request.fastCountOnly && m_result.front().timestamp == 0)) {
        limit = 0;
        return false;
    }
    if (m_columns != nullptr)
        m_columns->kind = kindOfResults(*m_engine);
    feedPreviousRecords(m_engine->needsPreviousDataRecords());
    if (m_source == Source::LateLog) {
        for (const Interpolate::DataRecord& record : m_result)
            m_delivered.insert(record.timestamp);
    }
    m_place = m_cursor.locate(m_startMs);
    if (!m_place.found)
        m_place = m_cursor.next(m_place);
    reserveResult(m_place, first.timestamp, last.timestamp);
    return true;
}

void RangeReader::feedPreviousRecords(qint32 count)
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
        m_engine->handleNextRawRecord(std::move(*record));
}

bool RangeReader::step()
{
    if ((!m_file && !enterNextFile()) || readBlock() == Continue::No) {
        finish();
        return false;
    }
    return true;
}

void RangeReader::finish()
{
    m_file.reset();
    m_engine->finalize();
}

/// Opens the next file that can be opened and goes to the first record of the range in it.
bool RangeReader::enterNextFile()
{
    for (; m_place.found; m_place = m_cursor.next(m_place)) {
        m_file = std::make_unique<RecordFile>(m_place, m_stored.m_valueType);
        if (m_file->open(LogTexts::kOpenRead)) {
            m_positionBytes = m_file->baseMs() >= m_startMs ? 0 : m_file->searchFirst(m_startMs);
            // A search that could not read all it looked at may have gone astray.
            if (m_file->hasReadError())
                m_positionBytes = 0;
            return true;
        }
        m_file.reset();
    }
    return false;
}

/// Feeds the next block of the file and leaves the file behind its last record. Records that cannot be read are a log
/// line.
RangeReader::Continue RangeReader::readBlock()
{
    const qint64 stride = m_file->shape().strideBytes();
    const qint64 blockRecords = std::min(kBlockBytes / stride, kMaxBlockRecords);
    const qint64 leftBytes = m_file->sizeBytes() - m_positionBytes;
    const qint64 wanted = std::clamp<qint64>(leftBytes / stride, 0, blockRecords) * stride;
    if (!m_buffer)
        m_buffer = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(kBlockBytes));
    const qint64 got = readAt(m_file->handle(), m_buffer.get(), wanted, m_positionBytes) / stride * stride;
    if (got == 0) {
        if (wanted > 0)
            logLine(LogTexts::kOpenRead, m_place.path);
        m_file.reset();
        m_place = m_cursor.next(m_place);
        return Continue::Yes;
    }
    m_positionBytes += got;
    const Block block{m_buffer.get(), m_buffer.get() + got};
    return visitShape(m_file->shape(),
                      [&](auto width, auto coding) { return feedBlock<width(), coding()>(block); });
}

/// Chooses the shortest way that a block can take.
template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::feedBlock(Block block)
{
    if constexpr (coding != ValueCoding::VarPosition) {
        if (m_source == Source::Samples && m_engine->takesSamples())
            return feedSamples<width, coding>(block);
        if (m_source == Source::Samples && m_engine->deliversRecords()) {
            // The engine counts the records of the result against the limit.
            const bool hasLimit = m_engine->limit >= 1;
            return m_columns != nullptr && !hasLimit ? deliverColumns<width, coding>(block)
                                                     : deliverRecords<width, coding>(block);
        }
    }
    return takeRecords<width, coding>(block);
}

/// Hands numbers to an engine that takes them in columns.
template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::feedSamples(Block block)
{
    constexpr qint64 kStride = width + valueBytesOfCoding(coding);
    SampleColumns samples;
    while (block.begin != block.end) {
        samples.count =
            std::min(kColumnLength, static_cast<std::size_t>((block.end - block.begin) / kStride));
        samples.bounds = decodeColumns<width, coding>(block.begin, samples.count, m_file->baseMs(),
                                                      samples.timestamps.data(), samples.values.data());
        block.begin += static_cast<qint64>(samples.count) * kStride;
        const bool areInRange = samples.bounds.leastMs >= m_startMs && samples.bounds.greatestMs <= m_endMs;
        if ((areInRange ? feedColumns(samples) : feedColumnsInRange(samples)) == Continue::No)
            return Continue::No;
    }
    return Continue::Yes;
}

RangeReader::Continue RangeReader::feedColumns(const SampleColumns& samples)
{
    return m_engine->handleNextSamples(samples.timestamps.data(), samples.values.data(), samples.count,
                                       samples.bounds)
               ? Continue::Yes
               : Continue::No;
}

/// Leaves out the samples before the range, and goes on up to the first one beyond it.
RangeReader::Continue RangeReader::feedColumnsInRange(SampleColumns& samples)
{
    const std::size_t count = samples.count;
    samples.count = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const qint64 timestamp = samples.timestamps[i];
        if (timestamp < m_startMs)
            continue;
        if (timestamp > m_endMs) {
            // The first record beyond the range is not the column's business.
            if (feedColumns(samples) == Continue::No)
                return Continue::No;
            return take({timestamp, QVariant(samples.values[i])});
        }
        samples.timestamps[samples.count] = timestamp;
        samples.values[samples.count] = samples.values[i];
        ++samples.count;
    }
    return feedColumns(samples);
}

/// Puts records into the result, past the engine, which would do no more with them.
template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::deliverRecords(Block block)
{
    constexpr qint64 kStride = width + valueBytesOfCoding(coding);
    const qint64 baseMs = m_file->baseMs();
    // The record that reaches the limit goes to the engine, which knows what that means.
    const std::size_t freeCount = m_engine->limit < 1 ? std::numeric_limits<std::size_t>::max()
                                                      : static_cast<std::size_t>(m_engine->limit) - 1;
    for (const char* bytes = block.begin; bytes != block.end; bytes += kStride) {
        const qint64 timestamp = baseMs + decodeOffsetOfWidth<width>(bytes);
        if (timestamp < m_startMs)
            continue;
        if (timestamp <= m_endMs && m_result.size() < freeCount)
            m_result.emplace_back(timestamp, decodeValueOfCoding<coding>(bytes + width));
        else if (take({timestamp, decodeValueOfCoding<coding>(bytes + width)}) == Continue::No)
            return Continue::No;
    }
    return Continue::Yes;
}

/// The same into columns, without a limit.
template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::deliverColumns(Block block)
{
    constexpr bool kIsFloating = coding == ValueCoding::Double || coding == ValueCoding::FloatAsDouble;
    constexpr qint64 kStride = width + valueBytesOfCoding(coding);
    std::vector<qint64>& timestamps = m_columns->timestamps;
    auto& values = [this]() -> auto&
    {
        if constexpr (kIsFloating)
            return m_columns->doubles;
        else
            return m_columns->integers;
    }
    ();
    bool isInRange = true;
    while (block.begin != block.end && isInRange) {
        // As much at a time as stays in the nearest cache between making room and filling it.
        const std::size_t count =
            std::min(kColumnLength, static_cast<std::size_t>((block.end - block.begin) / kStride));
        const std::size_t oldCount = timestamps.size();
        timestamps.resize(oldCount + count);
        values.resize(oldCount + count);
        const auto bounds = decodeColumns<width, coding>(
            block.begin, count, m_file->baseMs(), timestamps.data() + oldCount, values.data() + oldCount);
        block.begin += static_cast<qint64>(count) * kStride;
        if (bounds.leastMs < m_startMs || bounds.greatestMs > m_endMs)
            isInRange = narrowColumns(m_startMs, m_endMs, oldCount, timestamps, values);
    }
    m_columns->isNull.resize(timestamps.size(), 0);
    return isInRange ? Continue::Yes : Continue::No;
}

/// Takes record by record, which works for every request and every file.
template <int width, ValueCoding coding>
RangeReader::Continue RangeReader::takeRecords(Block block)
{
    const qint64 baseMs = m_file->baseMs();
    const qint64 stride = m_file->shape().strideBytes();
    for (const char* bytes = block.begin; bytes != block.end; bytes += stride) {
        const qint64 timestamp = baseMs + decodeOffsetOfWidth<width>(bytes);
        QVariant value;
        // Read before the range is looked at: a value that cannot be read shows in the log.
        if constexpr (coding == ValueCoding::VarPosition)
            value = m_file->values().read(decodeVarPosition(bytes + width)).value;
        else
            value = decodeValueOfCoding<coding>(bytes + width);
        if (timestamp >= m_startMs && take({timestamp, std::move(value)}) == Continue::No)
            return Continue::No;
    }
    return Continue::Yes;
}

/// Makes room for the records of a raw read at once, without growing in steps.
void RangeReader::reserveResult(FilePlace place, qint64 firstRecordMs, qint64 lastRecordMs)
{
    const bool deliversAll = m_engine->deliversRecords() && m_engine->limit < 1;
    if (m_source != Source::Samples || !deliversAll || m_room == Room::ForBlock)
        return;
    TreeCursor cursor(m_stored.m_dir);
    qint64 count = 0;
    while (place.found && count < kMaxReservedCount) {
        const qint64 baseMs = baseTimeIfValid(place.subDir, place.name()).value_or(0);
        if (baseMs > m_endMs)
            break;
        // The first and the last file of the series may be only begun.
        const TimeSpan filled{std::max(baseMs, firstRecordMs),
                              std::min(periodLastMs(baseMs, place.depth), lastRecordMs)};
        count += estimatedRecordCount(place, filled);
        if (periodLastMs(baseMs, place.depth) >= m_endMs)
            break;
        place = cursor.next(place);
    }
    const auto moreCount = static_cast<std::size_t>(std::min(count, kMaxReservedCount));
    if (m_columns != nullptr)
        reserveResults(moreCount, *m_columns);
    else
        reserveMore(moreCount, m_result);
}

/// Records that a file adds to the range, taken from its size and the share of its records' time that lies in the
/// range; exact for a whole file, else rather too many than too few.
qint64 RangeReader::estimatedRecordCount(const FilePlace& place, TimeSpan filled) const
{
    const qint64 count = place.sizeBytes / RecordShape(m_stored.m_valueType, place.depth).strideBytes();
    const qint64 fromMs = std::max(filled.firstMs, m_startMs);
    const qint64 toMs = std::min(filled.lastMs, m_endMs);
    if (fromMs == filled.firstMs && toMs == filled.lastMs)
        return count;
    constexpr double kSlackShare = 1.02;
    constexpr qint64 kSlackCount = 16;
    double share = 0.0;
    if (toMs > fromMs)
        share = static_cast<double>(toMs - fromMs) / static_cast<double>(filled.lastMs - filled.firstMs);
    const auto estimate = static_cast<qint64>(static_cast<double>(count) * share * kSlackShare);
    return std::min(estimate + kSlackCount, count);
}

/// Takes a record at or after the start of the range.
RangeReader::Continue RangeReader::take(Interpolate::DataRecord&& record)
{
    if (record.timestamp > m_endMs) {
        if (m_source == Source::Samples && m_engine->needsDataRecordAfterRangeEnd())
            m_engine->handleNextRawRecord(std::move(record));
        return Continue::No;
    }
    if (m_source == Source::LateLog) {
        deliverLate(record.value.toLongLong());
        return Continue::Yes;
    }
    return m_engine->handleNextRawRecord(std::move(record)) ? Continue::Yes : Continue::No;
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
