#pragma once

// Owns the compaction of a companion file: record file and companion are rewritten so that the companion
// holds only values that a record points at, in record order.

#include "internal/FilePlace.h"

#include <QMetaType>

namespace Kiv::Internal
{

/// Rewrites the pair; a file of fixed-size values, which has no dead bytes, stays as it is. When the record file
/// or the companion cannot be opened a log line tells; then, and when a value does not decode, everything stays.
/// \return false when a write was refused; the old pair is then still valid
bool reorganizeVarFile(const FilePlace& place, QMetaType::Type type);

} // namespace Kiv::Internal
