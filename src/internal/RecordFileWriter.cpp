#include "internal/RecordFileWriter.h"

#include "internal/LogTexts.h"
#include "internal/SwapFiles.h"

#include <QDir>

#include <algorithm>

namespace Kiv::Internal
{

RecordFileWriter::RecordFileWriter(const FilePlace& place, QMetaType::Type type, bool appendOnly)
    : m_place(place),
      m_shape(type, place.depth),
      m_isAppendOnly(appendOnly),
      m_file(place.path),
      m_values(varPathOf(place.path))
{
}

bool RecordFileWriter::open(qint64 firstTimestampMs)
{
    m_baseMs = baseTimeMs(m_place);
    if (m_shape.isVariable()) {
        m_file.setFileName(completeSwap(m_place.path));
        m_place.found = m_place.found || fileExists(m_file.fileName());
    }
    if (!m_place.found)
        QDir(m_place.directory()).mkpath(QStringLiteral("."));
    if (!openFile(m_file, QIODevice::ReadWrite)) {
        logLine(m_place.found ? LogTexts::kOpenOldForWrite : LogTexts::kOpenNewForWrite, m_place.path);
        return false;
    }
    const qint64 sizeBytes = fileSizeBytes(m_file.handle());
    m_image = FileImage(m_file.handle(), sizeBytes, m_shape.strideBytes());
    m_trackedSizeBytes = sizeBytes;
    if (takeUpRecords(firstTimestampMs))
        return true;
    logLine(LogTexts::kOpenOldForWrite, m_place.path);
    return false;
}

/// Looks at the last record to decide between appending and searching. \return false when it cannot be read
bool RecordFileWriter::takeUpRecords(qint64 firstTimestampMs)
{
    const qint64 recordSize = m_shape.recordSize();
    if (m_trackedSizeBytes < recordSize) {
        m_isAppending = true;
        m_positionBytes = m_trackedSizeBytes = 0;
        return true;
    }
    // Kept: a float's record is longer than the arithmetic says, so this lands inside the last one.
    const qint64 lastPosition = m_shape.isExact() ? (m_trackedSizeBytes / recordSize - 1) * recordSize
                                                  : m_trackedSizeBytes - recordSize;
    const qint64 diskSize = m_trackedSizeBytes;
    char bytes[kMaxRecordBytes] = {};
    const qint64 count = std::min<qint64>(m_shape.strideBytes(), diskSize - lastPosition);
    const qint64 got = Internal::readAt(m_file.handle(), bytes, count, lastPosition);
    if (got < count)
        return false;
    const qint64 lastTimestamp = saturatingAdd(m_baseMs, decodeOffset(bytes, m_shape.offsetWidth));
    if (m_shape.isVariable())
        m_values.ensureReadable();

    m_isAppending = lastTimestamp < firstTimestampMs;
    m_positionBytes = lastPosition + got;
    // The next append goes over a torn record at the end; a search keeps it behind the last one.
    if ((m_isAppending || m_isAppendOnly) && m_shape.isExact())
        m_trackedSizeBytes = m_positionBytes;
    return true;
}

RecordFileWriter::Found RecordFileWriter::readAt(qint64 positionBytes)
{
    char bytes[kMaxRecordBytes] = {};
    const qint64 got = m_image.read(positionBytes, bytes, m_shape.strideBytes());
    Found found;
    found.positionBytes = positionBytes;
    found.endBytes = positionBytes + got;
    found.isWhole = got == m_shape.strideBytes();
    found.timestampMs = m_baseMs;
    if (got >= m_shape.offsetWidth)
        found.timestampMs = saturatingAdd(m_baseMs, decodeOffset(bytes, m_shape.offsetWidth));
    if (found.isWhole)
        std::copy_n(bytes + m_shape.offsetWidth, m_shape.valueBytes(), found.valueBytes);
    return found;
}

RecordFileWriter::Found RecordFileWriter::search(qint64 timestampMs)
{
    const qint64 recordCount = m_trackedSizeBytes / m_shape.recordSize();
    const int width = m_shape.offsetWidth;
    const auto offsetAt = [this, width](qint64 positionBytes, qint64, qint64) {
        if (const char* const bytes = m_image.peek(positionBytes, width))
            return decodeOffset(bytes, width);
        char bytes[kMaxRecordBytes] = {};
        return m_image.read(positionBytes, bytes, width) == width ? decodeOffset(bytes, width) : 0;
    };
    return readAt(searchRecords(recordCount, m_shape.recordSize(), saturatingSubtract(timestampMs, m_baseMs),
                                offsetAt));
}

QVariant RecordFileWriter::valueOf(const Found& found)
{
    if (!found.isWhole)
        return zeroValue(m_shape.coding);
    if (m_shape.isVariable())
        return m_values.read(decodeVarPosition(found.valueBytes)).value;
    return decodeValue(found.valueBytes, m_shape.coding);
}

/// \return false when a variable-length value cannot be stored
bool RecordFileWriter::encode(const Interpolate::DataRecord& record, char* bytes)
{
    if (encodeRecord(m_shape, m_baseMs, record, m_values, bytes).ok())
        return true;
    m_failedPath = m_values.path();
    return false;
}

bool RecordFileWriter::takesRuns() const
{
    return (m_isAppending || m_isAppendOnly) && !m_shape.isVariable() && m_shape.isExact();
}

RecordFileWriter::Outcome RecordFileWriter::append(const Interpolate::DataRecord& record)
{
    char bytes[kMaxRecordBytes];
    if (!encode(record, bytes))
        return Outcome::Refused;
    m_image.write(m_positionBytes, bytes, m_shape.strideBytes());
    m_positionBytes += m_shape.strideBytes();
    m_trackedSizeBytes += m_shape.recordSize();
    m_previousTimestampMs = record.timestamp;
    return Outcome::Appended;
}

RecordFileWriter::Outcome RecordFileWriter::insert(const Interpolate::DataRecord& record, const Found& found)
{
    char bytes[kMaxRecordBytes];
    // The search has read the record found; a companion that cannot be read shows in the log here too.
    if (m_shape.isVariable() && found.isWhole)
        m_values.ensureReadable();
    if (!encode(record, bytes))
        return Outcome::Refused;
    const bool isBehindFound = found.timestampMs < record.timestamp;
    const qint64 position = found.positionBytes + (isBehindFound ? m_shape.recordSize() : 0);
    m_image.insert(position, bytes, m_shape.strideBytes());
    m_positionBytes = m_image.sizeBytes();
    m_trackedSizeBytes += m_shape.recordSize();
    return Outcome::Inserted;
}

RecordFileWriter::Outcome RecordFileWriter::overwrite(const Interpolate::DataRecord& record,
                                                      const Found& found)
{
    char bytes[kMaxRecordBytes];
    if (!encode(record, bytes))
        return Outcome::Refused;
    // Kept: one record size back from where the read ended, which for a float is not its start.
    m_image.write(found.endBytes - m_shape.recordSize(), bytes, m_shape.strideBytes());
    m_positionBytes = m_isAppending ? m_trackedSizeBytes : m_image.sizeBytes();
    m_hasOverwrittenVariable = m_hasOverwrittenVariable || m_shape.isVariable();
    return Outcome::Overwritten;
}

IoResult RecordFileWriter::finish()
{
    // Values first: a record never points at bytes that are not there.
    IoResult result = m_values.flush();
    m_failedPath = m_values.path();
    if (result.ok()) {
        m_failedPath = m_place.path;
        result = m_image.flush();
        // Old records that could not be put back may have been replaced by ones that point at new values.
        if (!result.ok() && m_image.holdsOldBytes())
            m_values.rollBack();
    }
    const IoResult valuesClosed = m_values.close();
    const IoResult recordsClosed = closeFile(m_file);
    if (!m_place.found)
        removeIfEmpty();
    if (result.ok() && !valuesClosed.ok()) {
        m_failedPath = m_values.path();
        result = valuesClosed;
    }
    return result.ok() ? recordsClosed : result;
}

/// An empty file would read as one sample at its base time.
void RecordFileWriter::removeIfEmpty()
{
    if (fileSizeBytes(m_place.path) != 0)
        return;
    static_cast<void>(removeFile(m_place.path).ok());
    if (fileSizeBytes(m_values.path()) == 0)
        static_cast<void>(removeFile(m_values.path()).ok());
}

} // namespace Kiv::Internal
