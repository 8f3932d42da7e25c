#include "internal/FileReplacement.h"

#include "internal/NewRecordFile.h"
#include "internal/SwapFiles.h"

namespace Kiv::Internal
{

ReplacementResult replaceRecordFile(const FilePlace& place, QMetaType::Type type, qint64 baseMs,
                                    const std::function<IoResult(NewRecordFile&)>& write)
{
    const RecordShape shape(type, place.depth);
    // A replacement that is still due holds the valid records and must not be removed.
    if (shape.isVariable() && completeSwap(place.path) != place.path)
        return ReplacementResult::WriteFailed;
    removeSwapFiles(place.path);

    NewRecordFile file(swapPathOf(place.path), shape, baseMs);
    // The companion is there first and goes first: a new record file alone means that it is the valid one.
    if (shape.isVariable() && !file.createCompanion())
        return ReplacementResult::OpenFailed;
    if (!file.open(QIODevice::WriteOnly)) {
        removeSwapFiles(place.path);
        return ReplacementResult::OpenFailed;
    }
    if (!write(file).ok() || !file.finish(NewRecordFile::Durability::Synchronized).ok()) {
        removeSwapFiles(place.path);
        return ReplacementResult::WriteFailed;
    }
    copyPermissions(place.path, swapPathOf(place.path));
    const IoResult swapped = shape.isVariable() ? swapPair(place.path) : swapFile(place.path);
    return swapped.ok() ? ReplacementResult::Replaced : ReplacementResult::WriteFailed;
}

ReplacementResult replaceRecordFile(const FilePlace& place, QMetaType::Type type, qint64 baseMs,
                                    const std::vector<Interpolate::DataRecord>& records)
{
    return replaceRecordFile(place, type, baseMs, [&records](NewRecordFile& file) {
        IoResult result;
        for (auto record = records.begin(); record != records.end() && result.ok(); ++record)
            result = file.add(*record);
        return result;
    });
}

} // namespace Kiv::Internal
