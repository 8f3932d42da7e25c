#include "DeletePlan.h"

#include "Errors.h"
#include "Interrupt.h"
#include "RawRange.h"
#include "TimeText.h"

#include <QDirIterator>
#include <QRegularExpression>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

/// Files that stand among the records without being any.
QStringList foreignFilesBelow(const QString& directory)
{
    static const QRegularExpression kOwnName(QStringLiteral("^([0-9]{2}|[0-9]{4})(\\.reorg)?(\\.var)?$"));
    QStringList foreign;
    QDirIterator files(directory, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        if (!kOwnName.match(files.fileName()).hasMatch())
            foreign += files.filePath();
    }
    foreign.sort();
    return foreign;
}

/// The resolved end, unless the store would take it for a symbol.
TimeBound resolvedBound(const TimeBound& bound, qint64 timestampMs)
{
    const TimeBound resolved{timestampMs, false};
    return isExactBound(resolved) ? resolved : bound;
}

/// Kept by the store: a range that begins with the first record but does not end with the last one is deleted from
/// 1970 on.
void checkFirstRecord(const DeletePlan& plan, bool isFromMoved, bool isToMoved)
{
    if (isFromMoved && !isToMoved && plan.fromMs < 0)
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral(
                "--from: the store cannot delete the first record, %1, which lies before 1970, without "
                "all others; begin behind it, or take the whole series")
                .arg(formatTime(plan.fromMs)));
}

FileFate fateOf(const Series& series, const TSFileInfo& file, qint64 fromMs, qint64 toMs)
{
    TSFileStorage& storage = *series.storage;
    const qint64 recordSizeBytes =
        storage.getDataLengthForTimestampOffset(file.getDirDepth()) + storage.m_dataLength;
    const TimeRange part{{std::max(fromMs, file.getBaseTsMs()), false}, {toMs, false}};
    return {file.filePath(), countRecords(series, part), file.size() / recordSizeBytes};
}

} // namespace

DeletePlan planDeletion(const Series& series, const TimeRange& range)
{
    DeletePlan plan;
    plan.fromMs = range.from.value;
    plan.toMs = range.to.value;
    TSFileStorage& storage = *series.storage;
    bool isFromMoved = false;
    bool isToMoved = false;
    if (!storage.adjustTimestamps(&storage, plan.fromMs, plan.toMs, isFromMoved, isToMoved))
        return plan;
    checkFirstRecord(plan, isFromMoved, isToMoved);
    plan.range = {resolvedBound(range.from, plan.fromMs), resolvedBound(range.to, plan.toMs)};
    if (isFromMoved && isToMoved) {
        plan.removedDirectory = storage.m_dir.chopped(1);
        plan.foreignFiles = foreignFilesBelow(plan.removedDirectory);
    }
    TSFileInfo file = storage.findFile(plan.fromMs);
    if (!file.found())
        file = storage.findNextFile(file);
    while (file.found() && file.getBaseTsMs() <= plan.toMs) {
        throwIfInterrupted();
        const TSFileInfo next = storage.findNextFile(file);
        const qint64 fileEndMs = next.found() ? next.getBaseTsMs() - 1 : plan.toMs;
        const FileFate fate = fateOf(series, file, plan.fromMs, std::min(plan.toMs, fileEndMs));
        plan.recordCount += fate.deletedCount;
        if (fate.deletedCount > 0)
            plan.files.push_back(fate);
        file = next;
    }
    return plan;
}

} // namespace Kiv::Cli
