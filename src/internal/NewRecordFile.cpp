#include "internal/NewRecordFile.h"

#include "internal/RecordEncoder.h"
#include "internal/ShapeDispatch.h"

#include <cstring>

namespace Kiv::Internal
{

namespace
{

constexpr qsizetype kMaxPendingBytes = 1024 * 1024;

/// From so many bytes on a write of their own costs less than a copy.
constexpr qsizetype kMinDirectBytes = 64 * 1024;

/// Copies records to offsets of another width from another base time.
template <int fromWidth, int toWidth, std::size_t valueBytes>
void recodeValues(const char* from, qint64 count, qint64 shiftMs, char* to)
{
    for (qint64 i = 0; i < count; ++i) {
        encodeOffsetOfWidth<toWidth>(to, decodeOffsetOfWidth<fromWidth>(from) + shiftMs);
        std::memcpy(to + toWidth, from + fromWidth, valueBytes);
        from += fromWidth + valueBytes;
        to += toWidth + valueBytes;
    }
}

template <int fromWidth, int toWidth>
void recode(const char* from, qint64 count, int valueBytes, qint64 shiftMs, char* to)
{
    switch (valueBytes) {
    case 1:
        return recodeValues<fromWidth, toWidth, 1>(from, count, shiftMs, to);
    case 2:
        return recodeValues<fromWidth, toWidth, 2>(from, count, shiftMs, to);
    case 4:
        return recodeValues<fromWidth, toWidth, 4>(from, count, shiftMs, to);
    default:
        return recodeValues<fromWidth, toWidth, 8>(from, count, shiftMs, to);
    }
}

} // namespace

NewRecordFile::NewRecordFile(const QString& path, const RecordShape& shape, qint64 baseMs)
    : m_shape(shape), m_baseMs(baseMs), m_file(path), m_values(varPathOf(path))
{
}

bool NewRecordFile::open(QIODevice::OpenMode mode)
{
    if (!openFile(m_file, mode))
        return false;
    m_sizeBytes = fileSizeBytes(m_file.handle());
    return true;
}

IoResult NewRecordFile::add(const Interpolate::DataRecord& record)
{
    char bytes[kMaxRecordBytes];
    if (const IoResult result = encodeRecord(m_shape, m_baseMs, record, m_values, bytes); !result.ok())
        return result;
    m_pending.append(bytes, m_shape.strideBytes());
    return m_pending.size() > kMaxPendingBytes ? flush() : IoResult();
}

bool NewRecordFile::canAddBytes(const RecordShape& shape)
{
    return !shape.isVariable() && shape.isExact() && shape.coding != ValueCoding::Bool;
}

IoResult NewRecordFile::addBytes(QByteArrayView records, qint64 baseMs, const RecordShape& shape)
{
    if (baseMs == m_baseMs && shape.offsetWidth == m_shape.offsetWidth)
        return addUnchanged(records);
    const qint64 count = records.size() / shape.strideBytes();
    const qsizetype oldSize = m_pending.size();
    m_pending.resize(oldSize + static_cast<qsizetype>(count * m_shape.strideBytes()));
    char* const to = m_pending.data() + oldSize;
    const qint64 shiftMs = baseMs - m_baseMs;
    visitWidth(shape.offsetWidth, [&](auto fromWidth) {
        visitWidth(m_shape.offsetWidth, [&](auto toWidth) {
            recode<fromWidth(), toWidth()>(records.data(), count, shape.valueBytes(), shiftMs, to);
        });
    });
    return m_pending.size() > kMaxPendingBytes ? flush() : IoResult();
}

IoResult NewRecordFile::addUnchanged(QByteArrayView records)
{
    if (records.size() >= kMinDirectBytes) {
        const IoResult flushed = flush();
        return flushed.ok() ? write(records) : flushed;
    }
    m_pending.append(records);
    return m_pending.size() > kMaxPendingBytes ? flush() : IoResult();
}

IoResult NewRecordFile::write(QByteArrayView bytes)
{
    const IoResult result = writeAt(m_file.handle(), bytes.data(), bytes.size(), m_sizeBytes);
    m_sizeBytes += bytes.size();
    return result;
}

IoResult NewRecordFile::flush()
{
    const IoResult result = write(m_pending);
    m_pending.clear();
    return result;
}

IoResult NewRecordFile::flushAll(Durability durability)
{
    if (const IoResult result = m_values.flush(); !result.ok())
        return result;
    if (const IoResult result = flush(); !result.ok() || durability == Durability::Cached)
        return result;
    if (const IoResult result = m_values.synchronize(); !result.ok())
        return result;
    return synchronizeFile(m_file.handle());
}

IoResult NewRecordFile::finish(Durability durability)
{
    const IoResult written = flushAll(durability);
    const IoResult valuesClosed = m_values.close();
    const IoResult recordsClosed = closeFile(m_file);
    if (!written.ok())
        return written;
    return valuesClosed.ok() ? recordsClosed : valuesClosed;
}

} // namespace Kiv::Internal
