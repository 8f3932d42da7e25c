#pragma once

// Owns the replacing of a record file (and its companion) by a complete new one: written beside it, synced,
// renamed into place. A crash or a full disk leaves the old records or the new ones.

#include "Interpolate.h"

#include "internal/FileAccess.h"
#include "internal/FilePlace.h"

#include <QMetaType>

#include <functional>
#include <vector>

namespace Kiv::Internal
{

class NewRecordFile;

enum class ReplacementResult {
    Replaced,
    OpenFailed,  ///< the attempts are logged; the old file is as it was
    WriteFailed, ///< nothing is logged; what is read next is the old or the new file, complete
};

/// \param place   of the record file; it need not exist
/// \param baseMs  its base time
/// \param write   adds everything that it is to hold; when it fails, the old file stays
ReplacementResult replaceRecordFile(const FilePlace& place, QMetaType::Type type, qint64 baseMs,
                                    const std::function<IoResult(NewRecordFile&)>& write);

/// The same with the records that it is to hold.
ReplacementResult replaceRecordFile(const FilePlace& place, QMetaType::Type type, qint64 baseMs,
                                    const std::vector<Interpolate::DataRecord>& records);

} // namespace Kiv::Internal
