#include "internal/FileSplitter.h"

#include "internal/FileReplacement.h"
#include "internal/LogTexts.h"
#include "internal/NewRecordFile.h"
#include "internal/RecordFile.h"
#include "internal/RecordRuns.h"
#include "internal/SwapFiles.h"
#include "internal/VarFile.h"

#include <QDir>
#include <QFileInfo>

#include <memory>
#include <set>

namespace Kiv::Internal
{

namespace
{

/// A companion may be this many times as large as a record file.
constexpr qint64 kVarSizeFactor = 10;

/// The files that a split file becomes, written one after the other.
class SplitParts
{
public:
    enum class Status { Ok, OpenFailed, WriteFailed };

    SplitParts(const FilePlace& whole, QMetaType::Type type)
        : m_subDir(whole.subDir + whole.name() + u'/'),
          m_directory(whole.path),
          m_depth(whole.depth + 1),
          m_shape(type, m_depth)
    {
    }

    Status add(const Interpolate::DataRecord& record)
    {
        if (const Status status = enterPeriodOf(record.timestamp); status != Status::Ok)
            return status;
        return m_part->add(record).ok() ? Status::Ok : Status::WriteFailed;
    }

    /// Adds the records from the front that share a period; their values keep their bytes.
    /// \param bytes  in: the records of a file; out: what is left of them
    Status addRun(QByteArrayView& bytes, qint64 baseMs, const RecordShape& shape)
    {
        const qint64 firstMs = baseMs + decodeOffset(bytes.data(), shape.offsetWidth);
        if (const Status status = enterPeriodOf(firstMs); status != Status::Ok)
            return status;
        const TimeRange period{m_periodStartMs, m_periodLastMs};
        const qsizetype end = leadingBytesWithin(bytes, shape, baseMs, period);
        const bool isStored = m_part->addBytes(bytes.first(end), baseMs, shape).ok();
        bytes = bytes.sliced(end);
        return isStored ? Status::Ok : Status::WriteFailed;
    }

    Status finish()
    {
        const bool isStored = !m_part || m_part->finish(NewRecordFile::Durability::Cached).ok();
        m_part.reset();
        return isStored ? Status::Ok : Status::WriteFailed;
    }

    bool isDiscarded() const { return m_isDiscarded; }

    QString currentPath() const { return m_directory + u'/' + m_name; }

    /// Removes what was written.
    void discard()
    {
        m_isDiscarded = true;
        m_part.reset();
        for (const QString& name : m_begunNames) {
            const QString path = m_directory + u'/' + name;
            static_cast<void>(removeFile(path).ok());
            static_cast<void>(removeFile(varPathOf(path)).ok());
        }
        QDir().rmdir(m_directory);
    }

private:
    bool isInPeriod(qint64 timestampMs) const
    {
        return timestampMs >= m_periodStartMs && timestampMs <= m_periodLastMs;
    }

    Status enterPeriodOf(qint64 timestampMs)
    {
        if (m_part && isInPeriod(timestampMs))
            return Status::Ok;
        m_periodStartMs = periodStartMs(timestampMs, m_depth);
        m_periodLastMs = periodLastMs(timestampMs, m_depth);
        const QString name = entryName(civilFromMs(timestampMs), m_depth);
        if (m_part && name == m_name)
            return Status::Ok;
        if (finish() != Status::Ok)
            return Status::WriteFailed;

        m_name = name;
        m_part = std::make_unique<NewRecordFile>(currentPath(), m_shape, baseTimeMs(m_subDir, name));
        // Records that are not in order come back to a period: it is continued, not begun again.
        const bool isBegun = !m_begunNames.insert(name).second;
        const QIODevice::OpenMode mode =
            isBegun ? QIODevice::WriteOnly | QIODevice::Append : QIODevice::OpenMode(QIODevice::WriteOnly);
        return m_part->open(mode) ? Status::Ok : Status::OpenFailed;
    }

    QString m_subDir;
    QString m_directory;
    int m_depth;
    RecordShape m_shape;
    QString m_name;
    qint64 m_periodStartMs = 0;
    qint64 m_periodLastMs = 0;
    std::unique_ptr<NewRecordFile> m_part;
    std::set<QString> m_begunNames;
    bool m_isDiscarded = false;
};

using Status = SplitParts::Status;
using Result = FileSplitter::Result;

/// Removes the file and puts a directory in its place. A failure is logged.
bool makeDirectoryOf(const FilePlace& place)
{
    if (!removeFile(place.path).ok()) {
        logLine(LogTexts::kSplitWriteFailed, place.path);
        return false;
    }
    removeSwapFiles(place.path);
    static_cast<void>(removeFile(varPathOf(place.path)).ok());
    QFileInfo(place.path).dir().mkdir(place.name());
    return true;
}

/// Ends the writing of the parts, which are discarded when one could not be written. A failure is logged.
Result concluded(SplitParts& parts, Status status)
{
    if (status == Status::Ok)
        status = parts.finish();
    if (status == Status::Ok)
        return Result::Split;
    // Kept: after a failed open what is not written yet is lost, as the log line says.
    logLine(status == Status::OpenFailed ? LogTexts::kSplitOpenForWrite : LogTexts::kSplitWriteFailed,
            parts.currentPath());
    if (status == Status::WriteFailed)
        parts.discard();
    return Result::WriteFailed;
}

std::vector<Interpolate::DataRecord> decodeRecords(QByteArrayView bytes, qint64 baseMs,
                                                   const RecordShape& shape)
{
    std::vector<Interpolate::DataRecord> records;
    for (qint64 position = 0; position < bytes.size(); position += shape.strideBytes()) {
        const char* const record = bytes.data() + position;
        records.emplace_back(baseMs + decodeOffset(record, shape.offsetWidth),
                             decodeValue(record + shape.offsetWidth, shape.coding));
    }
    return records;
}

} // namespace

FileSplitter::FileSplitter(QMetaType::Type type, int maxFileSizeBytes)
    : m_type(type), m_maxFileSizeBytes(maxFileSizeBytes)
{
}

bool FileSplitter::isTooLarge(const FilePlace& place) const
{
    return place.sizeBytes > m_maxFileSizeBytes ||
           fileSizeBytes(varPathOf(place.path)) / kVarSizeFactor > m_maxFileSizeBytes;
}

FileSplitter::Result FileSplitter::splitIfTooLarge(const FilePlace& place) const
{
    if (place.depth >= kMaxDepth || !isTooLarge(place))
        return Result::NotNeeded;
    const RecordShape shape(m_type, place.depth);
    return NewRecordFile::canAddBytes(shape) ? splitBytes(place, shape) : splitRecords(place);
}

/// Splits a file record by record, each value through its type.
FileSplitter::Result FileSplitter::splitRecords(const FilePlace& place) const
{
    Records records;
    qint64 baseMs = 0;
    {
        RecordFile file(place, m_type);
        if (!file.open(LogTexts::kSplitOpenForRead) || !file.readAll(records))
            return Result::LeftAsItIs;
        baseMs = file.baseMs();
    }
    if (!makeDirectoryOf(place))
        return Result::WriteFailed;
    SplitParts parts(place, m_type);
    Status status = Status::Ok;
    for (std::size_t i = 0; i < records.size() && status == Status::Ok; ++i)
        status = parts.add(records[i]);
    const Result result = concluded(parts, status);
    return parts.isDiscarded() ? putBack(place, baseMs, records) : result;
}

/// Splits a file of values that can be copied byte by byte.
FileSplitter::Result FileSplitter::splitBytes(const FilePlace& place, const RecordShape& shape) const
{
    QByteArray bytes;
    qint64 baseMs = 0;
    {
        RecordFile file(place, m_type);
        if (!file.open(LogTexts::kSplitOpenForRead) || !file.readAllBytes(bytes))
            return Result::LeftAsItIs;
        baseMs = file.baseMs();
    }
    if (!makeDirectoryOf(place))
        return Result::WriteFailed;
    SplitParts parts(place, m_type);
    Status status = Status::Ok;
    for (QByteArrayView rest = bytes; !rest.isEmpty() && status == Status::Ok;)
        status = parts.addRun(rest, baseMs, shape);
    const Result result = concluded(parts, status);
    return parts.isDiscarded() ? putBack(place, baseMs, decodeRecords(bytes, baseMs, shape)) : result;
}

/// Makes the whole file again from its records; it had its place before, and the space of the parts is free again.
FileSplitter::Result FileSplitter::putBack(const FilePlace& place, qint64 baseMs,
                                           const Records& records) const
{
    static_cast<void>(replaceRecordFile(place, m_type, baseMs, records));
    return Result::WriteFailed;
}

} // namespace Kiv::Internal
