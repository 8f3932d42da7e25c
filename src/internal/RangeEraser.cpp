#include "internal/RangeEraser.h"

#include "TSFileStorage.h"

#include "internal/FileReplacement.h"
#include "internal/LogTexts.h"
#include "internal/RecordFile.h"
#include "internal/SwapFiles.h"
#include "internal/TreeCursor.h"

#include <QDir>
#include <QFileInfo>

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
    std::vector<Interpolate::DataRecord> records;
    const auto isKept = [fromMs, toMs](qint64 timestamp) { return timestamp < fromMs || timestamp > toMs; };
    if (!file.readAll(records, isKept))
        return afterThis;
    if (records.empty()) {
        queueForRemoval(place);
        return afterThis;
    }
    switch (replaceRecordFile(place, m_stored.m_valueType, baseMs, records)) {
    case ReplacementResult::Replaced:
        // The replacement is compact already; this leaves its line in the log.
        logLine(LogTexts::kReorganize, varPathOf(place.path));
        break;
    case ReplacementResult::OpenFailed:
        logLine(LogTexts::kDeleteOpenForWrite, place.path);
        break;
    case ReplacementResult::WriteFailed:
        logLine(LogTexts::kDeleteWriteFailed, place.path);
        break;
    }
    return afterThis;
}

void RangeEraser::queueForRemoval(const FilePlace& place)
{
    m_queuedPaths.append(place.path);
    m_directories.insert(QFileInfo(place.path).absolutePath());
}

void RangeEraser::removeQueued()
{
    for (const QString& path : std::as_const(m_queuedPaths)) {
        removeSwapFiles(path);
        if (!removeFile(path).ok())
            logLine(LogTexts::kRemoveFile, path);
        if (fileExists(varPathOf(path)) && !removeFile(varPathOf(path)).ok())
            logLine(LogTexts::kRemoveVarFile, varPathOf(path));
    }
}

void RangeEraser::removeEmptyDirectories()
{
    for (const QString& directory : m_directories)
        removeUpwards(directory);
}

} // namespace Kiv::Internal
