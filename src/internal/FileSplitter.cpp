#include "internal/FileSplitter.h"

#include "internal/FileReplacement.h"
#include "internal/LogTexts.h"
#include "internal/NewRecordFile.h"
#include "internal/RecordFile.h"
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
        if (!m_part || record.timestamp < m_periodStartMs || record.timestamp > m_periodLastMs) {
            if (const Status status = enterPeriodOf(record.timestamp); status != Status::Ok)
                return status;
        }
        return m_part->add(record).ok() ? Status::Ok : Status::WriteFailed;
    }

    Status finish()
    {
        const bool isStored = !m_part || m_part->finish(NewRecordFile::Durability::Cached).ok();
        m_part.reset();
        return isStored ? Status::Ok : Status::WriteFailed;
    }

    QString currentPath() const { return m_directory + u'/' + m_name; }

    /// Removes what was written.
    void discard()
    {
        m_part.reset();
        for (const QString& name : m_begunNames) {
            const QString path = m_directory + u'/' + name;
            static_cast<void>(removeFile(path).ok());
            static_cast<void>(removeFile(varPathOf(path)).ok());
        }
        QDir().rmdir(m_directory);
    }

private:
    Status enterPeriodOf(qint64 timestampMs)
    {
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
};

} // namespace

FileSplitter::FileSplitter(QMetaType::Type type, int maxFileSizeBytes)
    : m_type(type), m_maxFileSizeBytes(maxFileSizeBytes)
{
}

bool FileSplitter::isTooLarge(const QString& path) const
{
    return fileSizeBytes(currentRecordPath(path)) > m_maxFileSizeBytes ||
           fileSizeBytes(varPathOf(path)) / kVarSizeFactor > m_maxFileSizeBytes;
}

FileSplitter::Result FileSplitter::splitIfTooLarge(const FilePlace& place) const
{
    if (!isTooLarge(place.path) || place.depth >= kMaxDepth)
        return Result::NotNeeded;
    Records records;
    qint64 baseMs = 0;
    {
        RecordFile file(place, m_type);
        if (!file.open(LogTexts::kSplitOpenForRead) || !file.readAll(records))
            return Result::LeftAsItIs;
        baseMs = file.baseMs();
    }
    if (!removeFile(place.path).ok()) {
        logLine(LogTexts::kSplitWriteFailed, place.path);
        return Result::WriteFailed;
    }
    removeSwapFiles(place.path);
    static_cast<void>(removeFile(varPathOf(place.path)).ok());
    QFileInfo(place.path).dir().mkdir(place.name());
    return writeParts(place, baseMs, records);
}

FileSplitter::Result FileSplitter::writeParts(const FilePlace& place, qint64 baseMs,
                                              const Records& records) const
{
    using Status = SplitParts::Status;
    SplitParts parts(place, m_type);
    Status status = Status::Ok;
    for (std::size_t i = 0; i < records.size() && status == Status::Ok; ++i)
        status = parts.add(records[i]);
    if (status == Status::Ok)
        status = parts.finish();

    if (status == Status::OpenFailed) {
        // Kept: what is not written yet is lost, as the log line says.
        logLine(LogTexts::kSplitOpenForWrite, parts.currentPath());
        return Result::WriteFailed;
    }
    if (status == Status::WriteFailed) {
        logLine(LogTexts::kSplitWriteFailed, parts.currentPath());
        parts.discard();
        // The space of the parts is free again; the whole file had its place before.
        static_cast<void>(replaceRecordFile(place, m_type, baseMs, records));
        return Result::WriteFailed;
    }
    return Result::Split;
}

} // namespace Kiv::Internal
