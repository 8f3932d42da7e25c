#pragma once

// Owns the writing of a record's bytes, its variable-length value included.

#include "Interpolate.h"

#include "internal/CivilTime.h"
#include "internal/FileAccess.h"
#include "internal/RecordLayout.h"
#include "internal/VarFile.h"

namespace Kiv::Internal
{

/// Encodes a record into `strideBytes()` bytes. A variable-length value goes to the companion first; when that
/// cannot be opened the record points at position 0.
/// \return a failure when the companion refuses the value
inline IoResult encodeRecord(const RecordShape& shape, qint64 baseMs, const Interpolate::DataRecord& record,
                             VarFile& values, char* bytes)
{
    encodeOffset(bytes, shape.offsetWidth, saturatingSubtract(record.timestamp, baseMs));
    char* valueBytes = bytes + shape.offsetWidth;
    if (!shape.isVariable()) {
        encodeValue(valueBytes, shape.coding, record.value);
        return {};
    }
    const VarFile::Appended appended = values.append(record.value);
    encodeVarPosition(valueBytes, static_cast<qint32>(appended.positionBytes));
    return appended.result;
}

} // namespace Kiv::Internal
