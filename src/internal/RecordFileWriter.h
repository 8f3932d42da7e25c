#pragma once

// Owns one record file while the records of a batch that belong to it are merged into it: appended, inserted
// or overwritten in an image, which reaches the file once. Knows nothing of other files.

#include "Interpolate.h"

#include "internal/FileImage.h"
#include "internal/FilePlace.h"
#include "internal/RecordEncoder.h"
#include "internal/RecordLayout.h"
#include "internal/VarFile.h"

#include <QFile>
#include <QMetaType>

#include <optional>
#include <vector>

namespace Kiv::Internal
{

class RecordFileWriter
{
public:
    /// \param appendOnly  records are put at the end without looking for equal timestamps
    RecordFileWriter(const FilePlace& place, QMetaType::Type type, bool appendOnly);

    /// Opens the file read/write, with retries, and decides how to merge records from this timestamp on.
    /// A failure is logged.
    bool open(qint64 firstTimestampMs);

    /// Appends samples from the front that lie beyond all others, many at a time.
    /// \param batch  a RecordBatch or a ColumnBatch
    /// \return index of the first that must be put; `begin` where samples are put one by one
    template <typename Batch>
    std::size_t appendRun(const Batch& batch, std::size_t begin, std::size_t end);

    enum class Outcome {
        Appended,
        Inserted,
        Overwritten,
        Unchanged, ///< the same value was already there
        Refused,   ///< the value cannot be stored; `failedPath()` tells where
    };

    /// Merges the next record; timestamps ascend from call to call.
    /// \param confirmOverwrite  called with the old value before a record is overwritten
    template <typename ConfirmOverwrite>
    Outcome put(const Interpolate::DataRecord& record, ConfirmOverwrite confirmOverwrite);

    /// Writes what was merged and closes the file. After a failure it holds its old records.
    IoResult finish();

    /// Size of the file as merged.
    qint64 sizeBytes() const { return m_image.sizeBytes(); }

    const QString& failedPath() const { return m_failedPath; }
    bool hasOverwrittenVariable() const { return m_hasOverwrittenVariable; }

private:
    struct Found {
        qint64 positionBytes = 0;
        qint64 endBytes = 0; ///< where reading the record ended
        qint64 timestampMs = 0;
        bool isWhole = false;
        char valueBytes[kMaxRecordBytes] = {};
    };

    bool takesRuns() const;
    bool takeUpRecords(qint64 firstTimestampMs);
    Found readAt(qint64 positionBytes);
    Found search(qint64 timestampMs);
    QVariant valueOf(const Found& found);
    bool encode(const Interpolate::DataRecord& record, char* bytes);
    Outcome append(const Interpolate::DataRecord& record);
    Outcome insert(const Interpolate::DataRecord& record, const Found& found);
    Outcome overwrite(const Interpolate::DataRecord& record, const Found& found);
    void removeIfEmpty();

    FilePlace m_place;
    RecordShape m_shape;
    bool m_isAppendOnly;
    QFile m_file;
    FileImage m_image;
    VarFile m_values;
    QString m_failedPath;
    qint64 m_baseMs = 0;
    qint64 m_trackedSizeBytes = 0; ///< as position arithmetic counts it
    qint64 m_positionBytes = 0;    ///< where the next append goes
    bool m_isAppending = false;    ///< all remaining records lie beyond the file's last one
    std::optional<qint64> m_previousTimestampMs;
    bool m_hasOverwrittenVariable = false;
};

template <typename Batch>
std::size_t RecordFileWriter::appendRun(const Batch& batch, std::size_t begin, std::size_t end)
{
    if (!takesRuns())
        return begin;
    std::optional<qint64> previousMs = m_previousTimestampMs;
    std::size_t runEnd = begin;
    while (runEnd != end && (m_isAppendOnly || batch.timestampMs(runEnd) != previousMs)) {
        previousMs = batch.timestampMs(runEnd);
        ++runEnd;
    }
    if (runEnd == begin)
        return begin;
    const qint64 countBytes = static_cast<qint64>(runEnd - begin) * m_shape.strideBytes();
    batch.encode(m_shape, m_baseMs, begin, runEnd, m_image.startWrite(m_positionBytes, countBytes));
    m_positionBytes += countBytes;
    m_trackedSizeBytes += countBytes;
    m_previousTimestampMs = previousMs;
    return runEnd;
}

template <typename ConfirmOverwrite>
RecordFileWriter::Outcome RecordFileWriter::put(const Interpolate::DataRecord& record,
                                                ConfirmOverwrite confirmOverwrite)
{
    if (m_isAppendOnly || (m_isAppending && record.timestamp != m_previousTimestampMs))
        return append(record);

    const Found found = search(record.timestamp);
    if (found.timestampMs != record.timestamp)
        return insert(record, found);
    const QVariant oldValue = valueOf(found);
    if (oldValue == record.value) {
        // A float's search may end anywhere; all others go on at the end.
        m_positionBytes = m_shape.isExact() ? m_trackedSizeBytes : found.endBytes;
        return Outcome::Unchanged;
    }
    confirmOverwrite(oldValue);
    return overwrite(record, found);
}

} // namespace Kiv::Internal
