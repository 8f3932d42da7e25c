#include "internal/RecordFile.h"

#include "internal/SwapFiles.h"

#include <algorithm>
#include <cstring>

namespace Kiv::Internal
{

RecordFile::RecordFile(const FilePlace& place, QMetaType::Type type)
    : m_place(place), m_shape(type, place.depth), m_values(varPathOf(place.path))
{
}

bool RecordFile::open(const LogText& failureText, std::optional<qint64> baseMs)
{
    m_file.setFileName(m_shape.isVariable() ? currentRecordPath(m_place.path) : m_place.path);
    if (!openFile(m_file, QIODevice::ReadOnly)) {
        logLine(failureText, m_place.path);
        return false;
    }
    m_sizeBytes = fileSizeBytes(m_file.handle());
    m_baseMs = baseMs ? *baseMs : baseTimeMs(m_place);
    return true;
}

/// Reads what is there of some bytes.
qint64 RecordFile::readBytes(char* bytes, qint64 countBytes, qint64 positionBytes) const
{
    const qint64 windowOffset = positionBytes - m_windowStart;
    if (windowOffset >= 0 && windowOffset + countBytes <= m_windowBytes) {
        std::memcpy(bytes, m_window.get() + windowOffset, static_cast<std::size_t>(countBytes));
        return countBytes;
    }
    const qint64 got = Internal::readAt(handle(), bytes, countBytes, positionBytes);
    m_hasReadError = m_hasReadError || got < std::min(countBytes, m_sizeBytes - positionBytes);
    return got;
}

/// Bytes that are not there read as offset 0.
qint64 RecordFile::offsetAt(qint64 positionBytes) const
{
    char bytes[kMaxRecordBytes] = {};
    const qint64 width = m_shape.offsetWidth;
    return readBytes(bytes, width, positionBytes) == width ? decodeOffset(bytes, m_shape.offsetWidth) : 0;
}

qint64 RecordFile::search(qint64 timestampMs) const
{
    if (recordCount() < 1)
        return 0;
    const auto offsetIn = [this](qint64 positionBytes, qint64 lowBytes, qint64 highBytes) {
        if (m_windowBytes == 0 && highBytes - lowBytes <= kWindowBytes)
            readWindow(lowBytes, highBytes);
        return offsetAt(positionBytes);
    };
    return searchRecords(recordCount(), m_shape.recordSize(), saturatingSubtract(timestampMs, m_baseMs),
                         offsetIn);
}

/// Takes the last stretch of a search into memory, so that its probes cost no system call each.
void RecordFile::readWindow(qint64 lowBytes, qint64 highBytes) const
{
    m_window = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(kWindowBytes));
    const qint64 got = Internal::readAt(handle(), m_window.get(), highBytes - lowBytes, lowBytes);
    // What cannot be read shows where it is asked for.
    m_windowStart = lowBytes;
    m_windowBytes = got;
}

qint64 RecordFile::searchFirst(qint64 timestampMs) const
{
    qint64 positionBytes = search(timestampMs);
    if (!m_shape.isExact() || recordCount() < 1)
        return positionBytes;
    const qint64 found = offsetAt(positionBytes);
    const qint64 recordSize = m_shape.recordSize();
    while (positionBytes >= recordSize && offsetAt(positionBytes - recordSize) == found)
        positionBytes -= recordSize;
    return positionBytes;
}

Interpolate::DataRecord RecordFile::readAt(qint64 positionBytes, qint64& endBytes)
{
    char bytes[kMaxRecordBytes] = {};
    const qint64 got = readBytes(bytes, m_shape.strideBytes(), positionBytes);
    endBytes = positionBytes + got;
    if (got == m_shape.strideBytes())
        return decode(bytes).record;
    // A torn record is not delivered. Kept: the positions computed for a float lie inside its records, where
    // the offset may be all there and the value not.
    const bool hasOffset = !m_shape.isExact() && got >= m_shape.offsetWidth;
    const qint64 offset = hasOffset ? decodeOffset(bytes, m_shape.offsetWidth) : 0;
    return {saturatingAdd(m_baseMs, offset), zeroValue(m_shape.coding)};
}

Interpolate::DataRecord RecordFile::first()
{
    qint64 endBytes = 0;
    return readAt(0, endBytes);
}

Interpolate::DataRecord RecordFile::last()
{
    const qint64 recordSize = m_shape.recordSize();
    // Kept: a float's record is longer than the arithmetic says, so this lands inside the last one.
    const qint64 position = m_shape.isExact() ? (recordCount() - 1) * recordSize : m_sizeBytes - recordSize;
    qint64 endBytes = 0;
    return readAt(std::max<qint64>(position, 0), endBytes);
}

/// Decodes the bytes of a whole record.
RecordFile::Decoded RecordFile::decode(const char* bytes)
{
    const qint64 timestamp = saturatingAdd(m_baseMs, decodeOffset(bytes, m_shape.offsetWidth));
    const char* valueBytes = bytes + m_shape.offsetWidth;
    if (!m_shape.isVariable())
        return {{timestamp, decodeValue(valueBytes, m_shape.coding)}, true};
    VarFile::Value value = m_values.read(decodeVarPosition(valueBytes));
    return {{timestamp, std::move(value.value)}, value.isIntact};
}

bool RecordFile::readAll(std::vector<Interpolate::DataRecord>& records)
{
    records.reserve(records.size() + static_cast<std::size_t>(m_sizeBytes / m_shape.strideBytes()));
    return readAll(records, [](qint64) { return true; });
}

bool RecordFile::readAllBytes(QByteArray& bytes) const
{
    const qint64 countBytes = m_sizeBytes / m_shape.strideBytes() * m_shape.strideBytes();
    bytes.resize(static_cast<qsizetype>(countBytes));
    return Internal::readAt(handle(), bytes.data(), countBytes, 0) == countBytes;
}

} // namespace Kiv::Internal
