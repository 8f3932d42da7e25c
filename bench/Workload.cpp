#include "Workload.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace Bench
{

namespace
{

constexpr std::size_t kDefaultSampleCount = 5'000'000;
// Stored samples lie in the first 100 ms of a second, late ones behind.
constexpr qint64 kLatestJitterMs = 100;
constexpr qint64 kLateFromMs = 500;

using Random = std::mt19937_64;

/// In [0, below). The standard distributions differ between libraries; the samples must not.
qint64 below(Random& random, qint64 limit)
{
    return static_cast<qint64>(random() % static_cast<quint64>(limit));
}

qint64 spanMs()
{
    return static_cast<qint64>(sampleCount()) * kSecondMs;
}

Columns lateBatch(Random& random, qint64 fromSecond, qint64 secondCount)
{
    Columns batch;
    batch.reserve(kLateBatchSize);
    for (std::size_t i = 0; i < kLateBatchSize; ++i) {
        const qint64 second = fromSecond + below(random, secondCount);
        batch.add(kStartMs + second * kSecondMs + kLateFromMs + below(random, kSecondMs - kLateFromMs), 1.0);
    }
    return batch;
}

/// `days` days out of the middle, or the middle half of a short series.
Period middle(qint64 firstDay, qint64 days)
{
    if (spanMs() >= (firstDay + days) * kDayMs)
        return {kStartMs + firstDay * kDayMs, kStartMs + (firstDay + days) * kDayMs - 1};
    return {kStartMs + spanMs() / 4, kStartMs + spanMs() * 3 / 4 - 1};
}

} // namespace

void Columns::reserve(std::size_t count)
{
    timestamps.reserve(count);
    values.reserve(count);
}

void Columns::add(qint64 timestamp, double value)
{
    timestamps.push_back(timestamp);
    values.push_back(value);
}

std::size_t sampleCount()
{
    static const char* const wanted = std::getenv("KIV_BENCH_SAMPLES");
    static const std::size_t count = wanted ? std::stoull(wanted) : kDefaultSampleCount;
    return std::max<std::size_t>(count, 2 * kBatchSize);
}

Columns makeSamples(std::size_t count)
{
    Random random(20240101);
    Columns result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const qint64 jitterMs = below(random, kLatestJitterMs + 1);
        const double value = 20.0 + static_cast<double>(below(random, 1'000'000)) / 1e5;
        result.add(kStartMs + static_cast<qint64>(i) * kSecondMs + jitterMs, value);
    }
    return result;
}

const Columns& samples()
{
    static const Columns all = makeSamples(sampleCount());
    return all;
}

Columns makeNewerSamples(std::size_t count)
{
    constexpr qint64 kSpacingMs = 200;
    Columns result;
    result.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        result.add(kStartMs + spanMs() + static_cast<qint64>(i) * kSpacingMs, static_cast<double>(i));
    return result;
}

std::vector<Columns> makeLateBatches(std::size_t batchCount)
{
    Random random(7);
    std::vector<Columns> result;
    for (std::size_t i = 0; i < batchCount; ++i)
        result.push_back(lateBatch(random, 0, spanMs() / kSecondMs - 1));
    return result;
}

std::vector<Columns> makeLateBatchesWithinHours(std::size_t batchCount)
{
    constexpr qint64 kSecondsOfAnHour = kHourMs / kSecondMs;
    Random random(8);
    std::vector<Columns> result;
    for (std::size_t i = 0; i < batchCount; ++i) {
        const qint64 hour = below(random, spanMs() / kHourMs);
        result.push_back(lateBatch(random, hour * kSecondsOfAnHour, kSecondsOfAnHour));
    }
    return result;
}

std::vector<qint64> makeLookups(std::size_t count)
{
    Random random(11);
    std::vector<qint64> result;
    for (std::size_t i = 0; i < count; ++i) {
        const qint64 index = below(random, static_cast<qint64>(samples().size()));
        result.push_back(samples().timestamps[static_cast<std::size_t>(index)]);
    }
    return result;
}

Period periodToRead()
{
    const Period period = middle(9, 31);
    // A short series is read in whole days, too.
    const qint64 from = period.from - (period.from - kStartMs) % kDayMs;
    return {from, from + (period.to - from + kDayMs) / kDayMs * kDayMs - 1};
}

Period periodToDelete()
{
    return middle(14, 30);
}

void Checksum::add(const Columns& columns)
{
    for (std::size_t i = 0; i < columns.size(); ++i)
        add(columns.timestamps[i], columns.values[i]);
}

std::string benchmarkRoot()
{
    if (const char* wanted = std::getenv("KIV_BENCH_DIR"))
        return wanted;
    return std::filesystem::temp_directory_path().string();
}

Directory::Directory()
{
    m_path = benchmarkRoot() + "/kivts_bench_XXXXXX";
    if (!mkdtemp(m_path.data()))
        throw std::runtime_error("cannot make a directory in " + benchmarkRoot());
}

Directory::~Directory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace Bench
