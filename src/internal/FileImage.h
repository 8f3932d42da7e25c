#pragma once

// Owns the bytes of one record file while a batch is merged into it: what was on disk, untouched, and the
// changed image in front of a gap that moves forward with the batch. Knows no records. Writes the file once.

#include "internal/FileAccess.h"

#include <QByteArray>

namespace Kiv::Internal
{

/// The logical bytes are three stretches in a row: the start of the old file up to the first change, the
/// changed bytes, and the rest of the old file. Ascending changes cost the bytes between them, so a batch
/// of n inserts into a file of m bytes costs O(n + m). A batch of pure appends never reads the file.
class FileImage
{
public:
    FileImage() = default;

    /// \param fd         the open record file; it must stay open
    /// \param sizeBytes  its size
    /// \param unitBytes  length of what must not be found half old and half new: a record
    FileImage(int fd, qint64 sizeBytes, qint64 unitBytes);

    qint64 sizeBytes() const { return changedEnd() + (m_restSizeBytes - m_restStart); }

    /// Copies bytes of the image. \return how many there were before its end
    qint64 read(qint64 positionBytes, char* bytes, qint64 countBytes);

    /// Bytes of the image where they lie, until it changes; null when they are not in one piece in memory.
    const char* peek(qint64 positionBytes, qint64 countBytes) const
    {
        if (positionBytes >= changedEnd())
            return m_isLoaded && positionBytes + countBytes <= sizeBytes()
                       ? m_rest.constData() + (positionBytes - changedEnd() + m_restStart)
                       : nullptr;
        if (positionBytes >= m_changedStart)
            return positionBytes + countBytes <= changedEnd()
                       ? m_changed.constData() + (positionBytes - m_changedStart)
                       : nullptr;
        return m_isLoaded && positionBytes + countBytes <= m_changedStart
                   ? m_original.constData() + positionBytes
                   : nullptr;
    }

    /// Replaces bytes from a position on, growing the image at its end.
    void write(qint64 positionBytes, const char* bytes, qint64 countBytes);

    /// The same, with the bytes still to be filled in by the caller before anything else is asked of the image.
    char* startWrite(qint64 positionBytes, qint64 countBytes);

    /// Puts bytes in front of those at a position, which is clamped to the image.
    void insert(qint64 positionBytes, const char* bytes, qint64 countBytes);

    /// Writes what changed, from the end towards the start: first what lies beyond the old end, so that a
    /// full disk fails before an old byte is touched. After a failure the file holds its old bytes again, as
    /// far as the system allows. A process that is killed on the way leaves every old record; moved ones may
    /// stand twice.
    IoResult flush();

    /// False when a failed flush could not put the old bytes back.
    bool holdsOldBytes() const { return m_holdsOldBytes; }

private:
    void load();
    void moveGapTo(qint64 positionBytes);
    qint64 changedEnd() const { return m_changedStart + m_changed.size(); }
    IoResult writeRange(qint64 fromBytes, qint64 toBytes);
    IoResult lengthen();
    IoResult overwriteOldBytes(qint64 endBytes);
    IoResult writeBackwards(qint64 fromBytes, qint64 toBytes);
    void restoreOldBytes();

    int m_fd = -1;
    qint64 m_unitBytes = 1;
    qint64 m_diskSizeBytes = 0;
    bool m_isLoaded = false;
    bool m_isTouched = false;
    bool m_movesOldBytes = false;
    bool m_holdsOldBytes = true;
    IoResult m_loadResult;

    QByteArray m_original;      ///< the file as it was, once loaded
    qint64 m_changedStart = 0;  ///< bytes of the image before this are those of the file
    QByteArray m_changed;       ///< the image from m_changedStart on
    QByteArray m_rest;          ///< shares m_original until a change goes backwards
    qint64 m_restStart = 0;     ///< the image goes on with m_rest from here
    qint64 m_restSizeBytes = 0; ///< size of m_rest, also while it is not loaded
};

} // namespace Kiv::Internal
