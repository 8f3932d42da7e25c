#pragma once

// Owns the least that the system lets a write cost: the same bytes into the same files with plain system
// calls, every name and every position known beforehand.

#include "PlainFiles.h"

namespace Bench::Limit
{

/// W1: per batch and file of the final layout: encode, open, pwrite, close; mkdir for a first file.
void appendBatches(const PlainFiles& layout, const Columns& columns);

/// W2: per sample: open the last file, fstat, pread the last record, pwrite the new one, close.
void appendSingles(const PlainFile& lastFile, const Columns& columns);

/// W3: per batch and file: open, fstat, find the first place by binary search, pread what is behind it (or a
/// small file as a whole), merge, pwrite from the first new record on, close.
void insertBatch(const PlainFiles& files, const Columns& batch);

/// D1: unlink and rmdir what is all inside; else pread what stays, write it beside, fdatasync, rename.
void erase(const PlainFiles& files, Period period);

/// The files of a series where they would lie below another directory.
PlainFiles relocated(PlainFiles files, const std::string& from, const std::string& to);

} // namespace Bench::Limit
