#pragma once

// Owns what can happen to the files of a series behind the store's back: lost, cut, torn and foreign ones.
// The same step does the same to every series with the same files.

#include "properties/StorageCases.h"

namespace Kiv::Testing
{

/// \param series  the series directory, without "/" at its end; nothing happens where there is none
/// \param layout  tells the size of its records
void damage(const StorageStep& step, const QString& series, const PlainStorage& layout);

} // namespace Kiv::Testing
