#include "internal/FileImage.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace Kiv::Internal
{

namespace
{

/// A process that is killed in a write has written whole pages of the file.
constexpr qint64 kPageBytes = 4096;

} // namespace

FileImage::FileImage(int fd, qint64 sizeBytes, qint64 unitBytes)
    : m_fd(fd),
      m_unitBytes(unitBytes),
      m_diskSizeBytes(sizeBytes),
      m_changedStart(sizeBytes),
      m_restStart(sizeBytes),
      m_restSizeBytes(sizeBytes)
{
}

void FileImage::load()
{
    if (m_isLoaded)
        return;
    m_isLoaded = true;
    // With a file that cannot be held or read, the image goes on over zeros and is never written.
    if (m_diskSizeBytes > std::numeric_limits<qsizetype>::max()) {
        m_loadResult = IoResult(EFBIG);
        m_diskSizeBytes = m_changedStart = m_restStart = m_restSizeBytes = 0;
        return;
    }
    m_original.resize(static_cast<qsizetype>(m_diskSizeBytes));
    const qint64 got = readAt(m_fd, m_original.data(), m_diskSizeBytes, 0);
    if (got < m_diskSizeBytes) {
        m_loadResult = IoResult(EIO);
        std::memset(m_original.data() + got, 0, static_cast<std::size_t>(m_diskSizeBytes - got));
    }
    m_rest = m_original;
}

qint64 FileImage::read(qint64 positionBytes, char* bytes, qint64 countBytes)
{
    qint64 done = 0;
    const auto copyFrom = [&](const QByteArray& stretch, qint64 stretchEnd, qint64 shift) {
        const qint64 count = std::min(countBytes, stretchEnd - positionBytes) - done;
        if (count <= 0)
            return;
        std::memcpy(bytes + done, stretch.constData() + (positionBytes + done - shift),
                    static_cast<std::size_t>(count));
        done += count;
    };
    if (positionBytes < m_changedStart || positionBytes + countBytes > changedEnd())
        load();
    copyFrom(m_original, std::min(m_changedStart, positionBytes + countBytes), 0);
    copyFrom(m_changed, std::min(changedEnd(), positionBytes + countBytes), m_changedStart);
    copyFrom(m_rest, std::min(sizeBytes(), positionBytes + countBytes), changedEnd() - m_restStart);
    return done;
}

/// Makes the changed stretch end at a position of the image, so that it can grow there.
void FileImage::moveGapTo(qint64 positionBytes)
{
    if (!m_isTouched) {
        m_isTouched = true;
        m_changedStart = positionBytes;
        m_restStart = positionBytes;
        return;
    }
    if (positionBytes == changedEnd())
        return;
    load();
    if (positionBytes > changedEnd()) {
        const qint64 count = positionBytes - changedEnd();
        m_changed.append(m_rest.constData() + m_restStart, static_cast<qsizetype>(count));
        m_restStart += count;
        return;
    }
    // Backwards, which only misaligned floats and late duplicates ask for.
    QByteArray rest;
    if (positionBytes < m_changedStart)
        rest = m_original.mid(static_cast<qsizetype>(positionBytes),
                              static_cast<qsizetype>(m_changedStart - positionBytes));
    const qint64 kept = std::max<qint64>(positionBytes - m_changedStart, 0);
    rest += m_changed.mid(static_cast<qsizetype>(kept));
    rest += m_rest.mid(static_cast<qsizetype>(m_restStart));
    m_changed.truncate(static_cast<qsizetype>(kept));
    m_changedStart = std::min(m_changedStart, positionBytes);
    m_rest = rest;
    m_restStart = 0;
    m_restSizeBytes = m_rest.size();
}

void FileImage::write(qint64 positionBytes, const char* bytes, qint64 countBytes)
{
    std::memcpy(startWrite(positionBytes, countBytes), bytes, static_cast<std::size_t>(countBytes));
}

char* FileImage::startWrite(qint64 positionBytes, qint64 countBytes)
{
    if (positionBytes + countBytes < sizeBytes())
        load();
    moveGapTo(std::min(positionBytes, sizeBytes()));
    m_restStart = std::min(m_restStart + countBytes, m_restSizeBytes);
    const qsizetype oldCount = m_changed.size();
    const qsizetype needed = oldCount + static_cast<qsizetype>(countBytes);
    if (needed > m_changed.capacity())
        m_changed.reserve(std::max(needed, 2 * oldCount));
    m_changed.resize(needed);
    return m_changed.data() + oldCount;
}

void FileImage::insert(qint64 positionBytes, const char* bytes, qint64 countBytes)
{
    // Loaded before the gap opens, so that the rest keeps its place in the file.
    load();
    m_movesOldBytes = m_movesOldBytes || positionBytes < sizeBytes();
    moveGapTo(std::min(positionBytes, sizeBytes()));
    m_changed.append(bytes, static_cast<qsizetype>(countBytes));
}

IoResult FileImage::flush()
{
    if (!m_loadResult.ok() || !m_isTouched)
        return m_loadResult;
    const bool isLengthened = m_movesOldBytes && m_diskSizeBytes > 0 && m_diskSizeBytes % m_unitBytes == 0;
    const qint64 oldEnd = std::clamp(m_diskSizeBytes, m_changedStart, sizeBytes());
    IoResult result = isLengthened ? lengthen() : writeRange(oldEnd, sizeBytes());
    if (result.ok()) {
        result = overwriteOldBytes(isLengthened ? sizeBytes() : oldEnd);
        if (!result.ok())
            restoreOldBytes();
    }
    // Nothing more can be done about what fails here; the failure that led here is reported.
    if (!result.ok())
        static_cast<void>(truncateFile(m_fd, m_diskSizeBytes).ok());
    return result;
}

/// Gives the file its new length with copies of its last unit, so that its end, wherever a process is killed, is
/// its last record and its records ascend.
IoResult FileImage::lengthen()
{
    const qint64 growthBytes = sizeBytes() - m_diskSizeBytes;
    const QByteArray copies = m_original.right(static_cast<qsizetype>(m_unitBytes))
                                  .repeated(static_cast<qsizetype>(growthBytes / m_unitBytes + 1));
    return writeAt(m_fd, copies.constData(), growthBytes, m_diskSizeBytes);
}

/// Goes towards the start of the file: what moved back is copied before its old place is written over, so
/// that no old record is missing between two system calls.
IoResult FileImage::overwriteOldBytes(qint64 endBytes)
{
    const qint64 changedEndInside = std::min(changedEnd(), endBytes);
    if (const IoResult result = writeBackwards(changedEndInside, endBytes); !result.ok())
        return result;
    return writeBackwards(m_changedStart, changedEndInside);
}

/// Writes one page after the other, the last one first; a unit that lies on two pages goes alone. Only so a
/// killed process, too, leaves no old record missing.
IoResult FileImage::writeBackwards(qint64 fromBytes, qint64 toBytes)
{
    while (toBytes > fromBytes) {
        const qint64 pageStart = (toBytes - 1) / kPageBytes * kPageBytes;
        const qint64 firstUnit = (pageStart + m_unitBytes - 1) / m_unitBytes * m_unitBytes;
        const qint64 lastUnit = (toBytes - 1) / m_unitBytes * m_unitBytes;
        const qint64 blockStart = std::max(fromBytes, firstUnit < toBytes ? firstUnit : lastUnit);
        if (const IoResult result = writeRange(blockStart, toBytes); !result.ok())
            return result;
        toBytes = blockStart;
    }
    return {};
}

IoResult FileImage::writeRange(qint64 fromBytes, qint64 toBytes)
{
    const qint64 changedCount = std::min(toBytes, changedEnd()) - fromBytes;
    if (changedCount > 0) {
        const char* bytes = m_changed.constData() + (fromBytes - m_changedStart);
        if (const IoResult result = writeAt(m_fd, bytes, changedCount, fromBytes); !result.ok())
            return result;
        fromBytes += changedCount;
    }
    if (fromBytes >= toBytes)
        return {};
    const char* bytes = m_rest.constData() + (m_restStart + fromBytes - changedEnd());
    return writeAt(m_fd, bytes, toBytes - fromBytes, fromBytes);
}

void FileImage::restoreOldBytes()
{
    if (!m_isLoaded)
        return;
    const char* bytes = m_original.constData() + m_changedStart;
    m_holdsOldBytes = writeAt(m_fd, bytes, m_diskSizeBytes - m_changedStart, m_changedStart).ok();
}

} // namespace Kiv::Internal
