#pragma once

// Owns what every row of the benchmarks works on: the samples, the late samples, the timestamps that are
// looked up, and the periods. All of it follows from constants: every subject and run meets the same.

#include <QtGlobal>

#include <cstddef>
#include <string>
#include <vector>

namespace Bench
{

/// Samples as columns. The timestamps ascend unless said otherwise.
struct Columns {
    std::vector<qint64> timestamps; ///< milliseconds since the epoch (UTC)
    std::vector<double> values;

    std::size_t size() const { return timestamps.size(); }
    void reserve(std::size_t count);
    void add(qint64 timestamp, double value);
};

/// A range of timestamps, both inclusive.
struct Period {
    qint64 from;
    qint64 to;
};

inline constexpr qint64 kStartMs = 1'704'067'200'000; ///< 2024-01-01 00:00 UTC
inline constexpr qint64 kSecondMs = 1'000;
inline constexpr qint64 kHourMs = 3'600'000;
inline constexpr qint64 kDayMs = 86'400'000;
inline constexpr std::size_t kBatchSize = 10'000;
inline constexpr std::size_t kLateBatchSize = 100;

/// 5,000,000, or what the environment variable KIV_BENCH_SAMPLES says.
std::size_t sampleCount();

/// One sample per second with up to 100 ms of jitter, made anew.
Columns makeSamples(std::size_t count);

/// The samples of the rows.
const Columns& samples();

/// Samples behind the last one, 200 ms apart, so that an hour takes many of them.
Columns makeNewerSamples(std::size_t count);

/// Batches of late samples in no order, none at the time of a stored one.
std::vector<Columns> makeLateBatches(std::size_t batchCount);
/// The same, each batch inside one hour.
std::vector<Columns> makeLateBatchesWithinHours(std::size_t batchCount);

/// Timestamps of stored samples in no order.
std::vector<qint64> makeLookups(std::size_t count);

/// Whole days out of the middle: 31 to read, 30 to delete. A short series gives what it has.
Period periodToRead();
Period periodToDelete();

/// A number that follows from every sample and its place in time.
class Checksum
{
public:
    void add(qint64 timestamp, double value) { m_sum += value * static_cast<double>(1 + timestamp % 1009); }
    void add(const Columns& columns);
    double value() const { return m_sum; }

private:
    double m_sum = 0.0;
};

/// A directory below benchmarkRoot() that goes with the object.
class Directory
{
public:
    Directory();
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

/// $KIV_BENCH_DIR, or the system's directory for temporary files.
std::string benchmarkRoot();

} // namespace Bench
