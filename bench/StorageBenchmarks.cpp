// The store's chief operations on one series: 500,000 doubles, one per second with up to 100 ms of jitter,
// from 2024-01-01 UTC, in files of at most 1,000,000 bytes. Rates are samples per second, in a warm cache.

#include "TSFileStorage.h"

#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <random>

namespace
{

using Kiv::Interpolate;
using Kiv::TSFileStorage;
using Records = std::vector<Interpolate::DataRecord>;

constexpr qint64 kStartMs = 1'704'067'200'000;
constexpr int kSampleCount = 500'000;
constexpr int kBatchSize = 10'000;
constexpr int kMaxFileSizeBytes = 1'000'000;

Records makeSamples()
{
    std::mt19937 generator(20240101);
    std::uniform_int_distribution<int> jitterMs(0, 100);
    std::normal_distribution<double> noise(20.0, 3.0);
    Records samples;
    samples.reserve(kSampleCount);
    for (int i = 0; i < kSampleCount; ++i)
        samples.emplace_back(kStartMs + i * qint64{1000} + jitterMs(generator), noise(generator));
    return samples;
}

const Records& samples()
{
    static const Records all = makeSamples();
    return all;
}

void appendAll(TSFileStorage& series)
{
    for (auto begin = samples().begin(); begin != samples().end();) {
        const auto end = begin + std::min<std::ptrdiff_t>(kBatchSize, samples().end() - begin);
        if (!series.writeDataRecords(Records(begin, end), false, false))
            std::abort();
        begin = end;
    }
}

/// The series that the reading benchmarks share.
TSFileStorage& filledSeries()
{
    static const QTemporaryDir directory;
    static TSFileStorage series(directory.path(), QMetaType::Double, kMaxFileSizeBytes);
    static const bool isFilled = (appendAll(series), true);
    static_cast<void>(isFilled);
    return series;
}

void countSamples(benchmark::State& state, qint64 perIteration)
{
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()) * perIteration);
}

void appendInBatches(benchmark::State& state)
{
    samples();
    for (auto _ : state) {
        const QTemporaryDir directory;
        TSFileStorage series(directory.path(), QMetaType::Double, kMaxFileSizeBytes);
        appendAll(series);
    }
    countSamples(state, kSampleCount);
}
BENCHMARK(appendInBatches)->Unit(benchmark::kMillisecond);

void insertLateBatch(benchmark::State& state)
{
    constexpr int kLateCount = 100;
    TSFileStorage& series = filledSeries();
    std::mt19937 generator(7);
    std::uniform_int_distribution<qint64> anywhereMs(0, kSampleCount * qint64{1000});
    for (auto _ : state) {
        Records late;
        for (int i = 0; i < kLateCount; ++i)
            late.emplace_back(kStartMs + anywhereMs(generator), 1.0);
        series.writeDataRecords(std::move(late), false, false);
    }
    countSamples(state, kLateCount);
}

void read(benchmark::State& state, const char* method, qint64 intervalSeconds)
{
    TSFileStorage& series = filledSeries();
    for (auto _ : state) {
        Records result;
        int limit = 0;
        series.readDataRecords({QString::fromLatin1(method), intervalSeconds, {}, false, 0}, {}, -2, -3,
                               result, false, limit, nullptr, nullptr);
        benchmark::DoNotOptimize(result.data());
    }
    countSamples(state, kSampleCount);
}
BENCHMARK_CAPTURE(read, raw, "", 0)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read, hourly_mean, "meana", 3600)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read, quarter_hour_linear, "prevlinear", 900)->Unit(benchmark::kMillisecond);

void findOne(benchmark::State& state)
{
    TSFileStorage& series = filledSeries();
    std::mt19937 generator(11);
    std::uniform_int_distribution<std::size_t> any(0, samples().size() - 1);
    for (auto _ : state) {
        Interpolate::DataRecord record;
        benchmark::DoNotOptimize(series.findDataRecord(samples()[any(generator)].timestamp, record));
    }
    countSamples(state, 1);
}
BENCHMARK(findOne)->Unit(benchmark::kMicrosecond);

void lastOne(benchmark::State& state)
{
    TSFileStorage& series = filledSeries();
    for (auto _ : state) {
        Interpolate::DataRecord record;
        benchmark::DoNotOptimize(series.getLastDataRecord(record));
    }
    countSamples(state, 1);
}
BENCHMARK(lastOne)->Unit(benchmark::kMicrosecond);

// Last: it adds samples to the shared series.
BENCHMARK(insertLateBatch)->Unit(benchmark::kMillisecond);

} // namespace
