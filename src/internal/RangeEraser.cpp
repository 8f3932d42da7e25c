#include "internal/RangeEraser.h"

#include "TSFileStorage.h"

#include "internal/FileReplacement.h"
#include "internal/LogTexts.h"
#include "internal/NewRecordFile.h"
#include "internal/RecordFile.h"
#include "internal/RecordRuns.h"
#include "internal/SwapFiles.h"
#include "internal/TreeCursor.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Kiv::Internal
{

namespace
{

/// Removes a directory and every parent that is then empty; rmdir itself refuses one that is not.
void removeUpwards(QString directory)
{
    while (QDir().rmdir(directory)) {
        const qsizetype slash = directory.lastIndexOf(u'/');
        if (slash <= 0)
            return;
        directory.truncate(slash);
    }
}

/// Remembers what lies in the directory it was asked about last, so that asking for files that are not there
/// costs no system call each.
class DirectoryNames
{
public:
    /// False when there is no entry of that path; true when there is one, or the directory cannot be read.
    bool mayHold(const QString& path)
    {
        const qsizetype slash = path.lastIndexOf(u'/');
        if (QStringView(path).first(slash) != m_directory)
            read(path.first(slash));
        return !m_isRead || m_names.count(path.sliced(slash + 1)) > 0;
    }

private:
    void read(const QString& directory)
    {
        m_directory = directory;
        m_names.clear();
        std::error_code error;
        std::filesystem::directory_iterator entry(QFile::encodeName(directory).toStdString(), error);
        for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
            m_names.insert(QFile::decodeName(entry->path().filename().c_str()));
        m_isRead = !error;
    }

    QString m_directory;
    std::set<QString> m_names;
    bool m_isRead = false;
};

/// What became of a file of which records may have to be kept.
enum class Rewritten { Done, NothingKept, NotReadable, OpenFailed, WriteFailed };

Rewritten outcomeOf(ReplacementResult result)
{
    switch (result) {
    case ReplacementResult::Replaced:
        return Rewritten::Done;
    case ReplacementResult::OpenFailed:
        return Rewritten::OpenFailed;
    case ReplacementResult::WriteFailed:
        break;
    }
    return Rewritten::WriteFailed;
}

/// Keeps the records outside the range, each value through its type.
Rewritten recodeKept(RecordFile& file, const FilePlace& place, QMetaType::Type type, const TimeRange& deleted)
{
    std::vector<Interpolate::DataRecord> records;
    const auto isKept = [&deleted](qint64 timestamp) {
        return timestamp < deleted.fromMs || timestamp > deleted.toMs;
    };
    if (!file.readAll(records, isKept))
        return Rewritten::NotReadable;
    if (records.empty())
        return Rewritten::NothingKept;
    return outcomeOf(replaceRecordFile(place, type, file.baseMs(), records));
}

/// The records at the front of a file that are all kept or all deleted.
struct Front {
    bool areKept = false;
    qint64 bytes = 0;
    ScanEnd end = ScanEnd::AtEnd; ///< ByVisit: other records follow
};

Front frontOf(const RecordFile& file, const TimeRange& deleted)
{
    Front front;
    const RecordShape& shape = file.shape();
    const auto visit = [&](QByteArrayView records) {
        if (front.bytes == 0)
            front.areKept = leadingBytesWithin(records, shape, file.baseMs(), deleted) == 0;
        const qsizetype run = front.areKept ? leadingBytesOutside(records, shape, file.baseMs(), deleted)
                                            : leadingBytesWithin(records, shape, file.baseMs(), deleted);
        front.bytes += run;
        return run == records.size();
    };
    front.end = scanBlocks(file.handle(), 0, file.sizeBytes(), shape.strideBytes(), visit);
    return front;
}

/// Copies the kept records from a position on.
/// \param isRead  out: false when not all could be read
IoResult copyInto(NewRecordFile& replacement, const RecordFile& file, qint64 positionBytes,
                  const TimeRange& deleted, bool& isRead)
{
    IoResult written;
    const RecordShape& shape = file.shape();
    const auto visit = [&](QByteArrayView records) {
        while (!records.isEmpty() && written.ok()) {
            const qsizetype kept = leadingBytesOutside(records, shape, file.baseMs(), deleted);
            written = replacement.addBytes(records.first(kept), file.baseMs(), shape);
            records = records.sliced(kept);
            records = records.sliced(leadingBytesWithin(records, shape, file.baseMs(), deleted));
        }
        return written.ok();
    };
    const ScanEnd end =
        scanBlocks(file.handle(), positionBytes, file.sizeBytes(), shape.strideBytes(), visit);
    isRead = end != ScanEnd::ReadFailed;
    return isRead ? written : IoResult(EIO);
}

/// Keeps the records outside the range, their values as the bytes that they are.
Rewritten copyKept(RecordFile& file, const FilePlace& place, QMetaType::Type type, const TimeRange& deleted)
{
    // No replacement is begun before there is something to keep.
    const Front front = frontOf(file, deleted);
    if (front.end == ScanEnd::ReadFailed)
        return Rewritten::NotReadable;
    if (front.end == ScanEnd::AtEnd && !front.areKept)
        return Rewritten::NothingKept;
    const qint64 firstKept = front.areKept ? 0 : front.bytes;
    bool isRead = true;
    const auto copy = [&](NewRecordFile& replacement) {
        return copyInto(replacement, file, firstKept, deleted, isRead);
    };
    const ReplacementResult result = replaceRecordFile(place, type, file.baseMs(), copy);
    return isRead ? outcomeOf(result) : Rewritten::NotReadable;
}

} // namespace

RangeEraser::RangeEraser(const TSFileStorage& stored) : m_stored(stored) {}

void RangeEraser::eraseSeries()
{
    QDir series(m_stored.m_dir);
    const QString path = QDir::cleanPath(series.absolutePath());
    series.removeRecursively();
    removeUpwards(path.left(path.lastIndexOf(u'/')));
}

void RangeEraser::eraseRange(qint64 fromMs, qint64 toMs, bool toIsLast)
{
    TreeCursor cursor(m_stored.m_dir);
    FilePlace place = cursor.locate(fromMs);
    if (!place.found)
        place = cursor.next(place);
    for (; place.found; place = cursor.next(place)) {
        const qint64 baseMs = baseTimeMs(place);
        if (toIsLast && baseMs >= fromMs)
            queueForRemoval(place);
        else if (eraseInFile(place, baseMs, fromMs, toMs) == Continue::No)
            break;
    }
    removeQueued();
    removeEmptyDirectories();
}

RangeEraser::Continue RangeEraser::eraseInFile(const FilePlace& place, qint64 baseMs, qint64 fromMs,
                                               qint64 toMs)
{
    RecordFile file(place, m_stored.m_valueType);
    if (!file.open(LogTexts::kDeleteOpenForRead, baseMs))
        return Continue::Yes;
    const qint64 lastMs = file.last().timestamp;
    if (file.hasReadError()) {
        logLine(LogTexts::kDeleteOpenForRead, place.path);
        return Continue::Yes;
    }
    const Continue afterThis = lastMs > toMs ? Continue::No : Continue::Yes;
    if (lastMs <= toMs && baseMs >= fromMs) {
        queueForRemoval(place);
        return afterThis;
    }
    eraseRecords(file, place, {fromMs, toMs});
    return afterThis;
}

/// Takes the records of a range out of a file. A file that cannot be read is left as it is.
void RangeEraser::eraseRecords(RecordFile& file, const FilePlace& place, const TimeRange& deleted)
{
    const auto keep = NewRecordFile::canAddBytes(file.shape()) ? copyKept : recodeKept;
    switch (keep(file, place, m_stored.m_valueType, deleted)) {
    case Rewritten::Done:
        // The replacement is compact already; this leaves its line in the log.
        logLine(LogTexts::kReorganize, varPathOf(place.path));
        break;
    case Rewritten::NothingKept:
        queueForRemoval(place);
        break;
    case Rewritten::NotReadable:
        break;
    case Rewritten::OpenFailed:
        logLine(LogTexts::kDeleteOpenForWrite, place.path);
        break;
    case Rewritten::WriteFailed:
        logLine(LogTexts::kDeleteWriteFailed, place.path);
        break;
    }
}

void RangeEraser::queueForRemoval(const FilePlace& place)
{
    m_queuedPaths.append(place.path);
    m_directories.insert(QFileInfo(place.path).absolutePath());
}

void RangeEraser::removeQueued()
{
    const bool hasCompanions = valueCodingForType(m_stored.m_valueType) == ValueCoding::VarPosition;
    DirectoryNames names;
    for (const QString& path : std::as_const(m_queuedPaths)) {
        const QString replacement = swapPathOf(path);
        const bool mayHoldReplacement = names.mayHold(replacement);
        // The old records must never be alone with the companion of a replacement that is still due.
        if (hasCompanions && mayHoldReplacement)
            static_cast<void>(completeSwap(path));
        if (mayHoldReplacement || names.mayHold(varPathOf(replacement)))
            removeSwapFiles(path);
        if (!removeFile(path).ok())
            logLine(LogTexts::kRemoveFile, path);
        const QString companion = varPathOf(path);
        if (names.mayHold(companion) && fileExists(companion) && !removeFile(companion).ok())
            logLine(LogTexts::kRemoveVarFile, companion);
    }
}

void RangeEraser::removeEmptyDirectories()
{
    for (const QString& directory : m_directories)
        removeUpwards(directory);
}

} // namespace Kiv::Internal
