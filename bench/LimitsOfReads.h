#pragma once

// Owns the least that the system lets a read cost: the same files with plain system calls and, where the row
// delivers them, decoded samples in the same kind of vector.

#include "PlainFiles.h"
#include "Series.h"

#include <functional>

namespace Bench::Limit
{

/// R1q: readdir; fstat for the size of the result; pread in blocks of 256 KiB, decode, emplace.
Records scanIntoRecords(const std::string& seriesDirectory);

/// R1: the same into two columns.
Columns scanIntoColumns(const std::string& seriesDirectory);

/// R1: the same block by block into two columns that are used again.
void scanInColumnBlocks(const std::string& seriesDirectory, const std::function<void(const Columns&)>& take);

/// R2: readdir; pread in blocks of 256 KiB, find the ends of the hours, decode and reduce the values.
enum class Aggregate { Mean, Sum, Min, Max, Count, Median };
Records reduceHourly(const std::string& seriesDirectory, Aggregate aggregate);

/// R2: the same, looking at the time of every sample.
Records reduceHourlySampleBySample(const std::string& seriesDirectory, Aggregate aggregate);

struct DayResult {
    double min = 0.0;
    double max = 0.0;
    double mean = 0.0;
};

/// R3: readdir; binary search for both ends; then as R2 per day, all in one pass.
std::vector<DayResult> reduceDaily(const std::string& seriesDirectory, Period period);

/// R3 as two requests make it: one pass for the extremes, one for the means.
std::vector<DayResult> reduceDailyInTwoPasses(const std::string& seriesDirectory, Period period);

/// R4: readdir and fstatat of every file.
qint64 count(const std::string& seriesDirectory);

/// R5: per timestamp: open the file, fstat, one pread around an interpolation guess, close.
/// \return the sum of the values
double findByGuess(const PlainFiles& files, const std::vector<qint64>& timestamps);

/// R5: per timestamp: open the file, fstat, binary search with one pread per probe, pread, close.
double findByProbes(const PlainFiles& files, const std::vector<qint64>& timestamps);

/// R6: readdir down to the last file, open, fstat, pread of the last record, close.
Kiv::Interpolate::DataRecord last(const std::string& seriesDirectory);

/// R7: per point of the grid: one pread around an interpolation guess in the open file; one record per point.
enum class Point { Linear, Previous };
Records readGrid(const std::string& seriesDirectory, qint64 intervalMs, Point point);

} // namespace Bench::Limit
