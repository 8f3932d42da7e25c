#include "internal/VarReorganizer.h"

#include "internal/FileReplacement.h"
#include "internal/LogTexts.h"
#include "internal/RecordFile.h"
#include "internal/VarFile.h"

namespace Kiv::Internal
{

namespace
{

/// A file without a record needs no companion, and no torn bytes.
bool emptyPair(const FilePlace& place)
{
    QFile file(place.path);
    if (!openFile(file, QIODevice::WriteOnly)) {
        logLine(LogTexts::kReorganizeOpenForWrite, place.path);
        return true;
    }
    return removeFile(varPathOf(place.path)).ok();
}

} // namespace

bool reorganizeVarFile(const FilePlace& place, QMetaType::Type type)
{
    logLine(LogTexts::kReorganize, varPathOf(place.path));
    RecordFile file(place, type);
    if (!file.open(LogTexts::kReorganizeOpenForRead) || !file.shape().isVariable())
        return true;
    std::vector<Interpolate::DataRecord> records;
    if (!file.readAll(records))
        return true;
    if (records.empty())
        return emptyPair(place);

    switch (replaceRecordFile(place, type, file.baseMs(), records)) {
    case ReplacementResult::Replaced:
        return true;
    case ReplacementResult::OpenFailed:
        logLine(LogTexts::kReorganizeOpenForWrite, place.path);
        return true;
    case ReplacementResult::WriteFailed:
        logLine(LogTexts::kReorganizeWriteFailed, place.path);
        return false;
    }
    return true;
}

} // namespace Kiv::Internal
