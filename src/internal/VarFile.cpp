#include "internal/VarFile.h"

#include "internal/LogTexts.h"
#include "internal/VarValue.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace Kiv::Internal
{

namespace
{

constexpr qint64 kWindowBytes = 64 * 1024;
/// A longer value could not be written: its position and length are 32-bit numbers.
constexpr qint64 kMaxWindowBytes = std::numeric_limits<qint32>::max();
constexpr qsizetype kMaxPendingBytes = 4 * 1024 * 1024;

/// Positions are stored in 32 bits, signed.
constexpr qint64 kMaxPositionBytes = std::numeric_limits<qint32>::max();

bool isOpen(const std::optional<QFile>& file)
{
    return file && file->isOpen();
}

} // namespace

QString varPathOf(const QString& recordPath)
{
    return recordPath + QLatin1String(".var");
}

VarFile::VarFile(QString path) : m_path(std::move(path)) {}

bool VarFile::open(std::optional<QFile>& file, QIODevice::OpenMode mode)
{
    if (isOpen(file))
        return true;
    // A fifo would block, a device have effects of its own.
    if (isSpecialFile(m_path))
        return false;
    if (!file)
        file.emplace(m_path);
    if (openFile(*file, mode, m_hasFailed ? OpenAttempts::Once : OpenAttempts::WithRetries))
        return true;
    m_hasFailed = true;
    return false;
}

bool VarFile::ensureReadable()
{
    if (open(m_reader, QIODevice::ReadOnly))
        return true;
    logLine(LogTexts::kVarOpenForRead, m_path);
    return false;
}

VarFile::Value VarFile::read(qint64 positionBytes)
{
    if (!ensureReadable())
        return {};
    if (!m_pending.isEmpty() && !flush().ok())
        return {};
    // A refused seek leaves a file at its beginning.
    try {
        return readWithin(std::max<qint64>(positionBytes, 0));
    } catch (const std::bad_alloc&) {
        // Bytes that ask for more memory than there is make no value.
        return {};
    }
}

VarFile::Value VarFile::readWithin(qint64 positionBytes)
{
    // A value's length is known only once it is decoded: widen the window until it fits or the file ends.
    for (qint64 countBytes = kWindowBytes;; countBytes = std::min(countBytes * 8, kMaxWindowBytes)) {
        const bool reachesEnd = fillWindow(positionBytes, countBytes);
        const qsizetype skipped = static_cast<qsizetype>(positionBytes - m_windowPositionBytes);
        if (skipped >= m_window.size())
            return {};
        const QByteArray bytes =
            QByteArray::fromRawData(m_window.constData() + skipped, m_window.size() - skipped);
        if (std::optional<QVariant> value = decodeVarValue(bytes))
            return {std::move(*value), true};
        if (reachesEnd || countBytes == kMaxWindowBytes)
            return {};
    }
}

/// Makes the window hold at least that many bytes from the position on, or all up to the file's end.
/// \return true when the window reaches the end of the file
bool VarFile::fillWindow(qint64 positionBytes, qint64 countBytes)
{
    const qint64 fileSize = fileSizeBytes(m_reader->handle());
    const qint64 windowEnd = m_windowPositionBytes + m_window.size();
    // Half the bytes wanted are enough at first: a walk in file order then reads each byte about once.
    const qint64 neededEnd = std::min(fileSize, positionBytes + countBytes / 2);
    if (positionBytes >= m_windowPositionBytes && neededEnd <= windowEnd)
        return windowEnd >= fileSize;
    const qint64 wanted = std::clamp<qint64>(fileSize - positionBytes, 0, countBytes);
    m_window.resize(static_cast<qsizetype>(wanted));
    m_windowPositionBytes = positionBytes;
    m_window.truncate(
        static_cast<qsizetype>(readAt(m_reader->handle(), m_window.data(), wanted, positionBytes)));
    return positionBytes + wanted >= fileSize || m_window.size() < wanted;
}

bool VarFile::create()
{
    if (isOpen(m_writer))
        return true;
    if (!open(m_writer, QIODevice::WriteOnly | QIODevice::Append))
        return false;
    m_openedSizeBytes = m_sizeBytes = fileSizeBytes(m_writer->handle());
    return true;
}

VarFile::Appended VarFile::append(const QVariant& value)
{
    if (!create()) {
        logLine(LogTexts::kVarOpenForWrite, m_path);
        return {};
    }
    const qint64 position = m_sizeBytes + m_pending.size();
    if (!m_writeResult.ok())
        return {0, m_writeResult};
    if (position > kMaxPositionBytes)
        return {0, IoResult(EFBIG)};
    m_pending += encodeVarValue(value);
    return {position, m_pending.size() > kMaxPendingBytes ? flush() : IoResult()};
}

IoResult VarFile::flush()
{
    if (m_pending.isEmpty())
        return m_writeResult;
    m_writeResult = writeAt(m_writer->handle(), m_pending.constData(), m_pending.size(), m_sizeBytes);
    if (!m_writeResult.ok()) {
        rollBack();
        return m_writeResult;
    }
    m_sizeBytes += m_pending.size();
    m_pending.clear();
    // The window may have ended where the file now goes on.
    m_window.clear();
    return {};
}

IoResult VarFile::synchronize()
{
    return isOpen(m_writer) ? synchronizeFile(m_writer->handle()) : IoResult();
}

IoResult VarFile::close()
{
    if (m_reader)
        m_reader->close();
    return isOpen(m_writer) ? closeFile(*m_writer) : IoResult();
}

void VarFile::rollBack()
{
    m_pending.clear();
    m_window.clear();
    if (!isOpen(m_writer))
        return;
    // Dead bytes that cannot be cut off do no harm: no record points at them.
    static_cast<void>(truncateFile(m_writer->handle(), m_openedSizeBytes).ok());
    m_sizeBytes = m_openedSizeBytes;
}

} // namespace Kiv::Internal
