#include "DeletePlan.h"

#include "RawRange.h"

#include <algorithm>

namespace Kiv::Cli
{

qint64 DeletePlan::removedFileCount() const
{
    return std::count_if(files.begin(), files.end(), [](const FileFate& file) { return file.isRemoved(); });
}

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
    TSFileInfo file = storage.findFile(plan.fromMs);
    if (!file.found())
        file = storage.findNextFile(file);
    while (file.found() && file.getBaseTsMs() <= plan.toMs) {
        const TSFileInfo next = storage.findNextFile(file);
        const qint64 fileEndMs = next.found() ? next.getBaseTsMs() - 1 : plan.toMs;
        const qint64 recordSizeBytes =
            storage.getDataLengthForTimestampOffset(file.getDirDepth()) + storage.m_dataLength;
        FileFate fate;
        fate.path = file.filePath();
        fate.recordCount = file.size() / recordSizeBytes;
        fate.deletedCount = countRecords(series, {{std::max(plan.fromMs, file.getBaseTsMs()), false},
                                                  {std::min(plan.toMs, fileEndMs), false}});
        plan.recordCount += fate.deletedCount;
        if (fate.deletedCount > 0)
            plan.files.push_back(fate);
        file = next;
    }
    return plan;
}

} // namespace Kiv::Cli
