#pragma once

// Owns the reading of float series record by record. Their values take 8 bytes in the files while the store's
// position arithmetic counts 4, so its last record, its searches and its ranges miss; read in sequence, the
// records are right.

#include "Request.h"

#include "TSFileStorage.h"

#include <unordered_map>
#include <vector>

namespace Kiv::Cli
{

/// \return false when there is none
bool lastFloatRecord(TSFileStorage& storage, Interpolate::DataRecord& record);

/// The record at exactly a timestamp.
/// \return false when there is none
bool findFloatRecord(TSFileStorage& storage, qint64 timestampMs, Interpolate::DataRecord& record);

/// What TSFileStorage::readDataRecords does without companions.
/// \throws CommandError when a file cannot be opened
void readFloatRecords(TSFileStorage& storage, const Request& request, qint64 from, qint64 to,
                      std::vector<Interpolate::DataRecord>& result, int& limit);

/// The records that were written late during a range and are not in `result`, in order.
std::vector<Interpolate::DataRecord> lateFloatRecords(TSFileStorage& storage, qint64 from, qint64 to,
                                                      const std::vector<Interpolate::DataRecord>& result);

/// The histories of the overwritten records of a range.
std::unordered_map<qint64, QVariant> overwrittenFloatValues(TSFileStorage& storage, qint64 from, qint64 to);

} // namespace Kiv::Cli
