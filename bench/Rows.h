#pragma once

// Owns how a row is registered and timed. A benchmark is named row/variant/layout/subject; bench/report.py
// reads the names, the counters "items" (per round), "check" (equal for all subjects of a row) and
// "peak_mib".

#include "Workload.h"

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <exception>
#include <string>

namespace Bench
{

/// Times the part of a round that counts. Under callgrind, which bench/instructions.py runs, its instructions are
/// counted; anywhere else the requests to callgrind do nothing.
class Stopwatch
{
public:
    void start()
    {
        CALLGRIND_START_INSTRUMENTATION;
        m_start = Clock::now();
    }

    void stop()
    {
        m_seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
        CALLGRIND_STOP_INSTRUMENTATION;
    }

    double seconds() const { return m_seconds; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_start;
    double m_seconds = 0.0;
};

/// What a round has done.
struct Outcome {
    double items;
    double check;
};

/// \param body  makes ready, starts and stops the watch around the work, and returns what was done
template <typename Body>
benchmark::internal::Benchmark* addRow(const std::string& name, Body body)
{
    const auto rounds = [body](benchmark::State& state) {
        Outcome outcome{};
        try {
            for (auto _ : state) {
                Stopwatch watch;
                outcome = body(watch);
                state.SetIterationTime(watch.seconds());
            }
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
        }
        state.counters["items"] = outcome.items;
        state.counters["check"] = outcome.check;
        state.SetItemsProcessed(static_cast<int64_t>(outcome.items) *
                                static_cast<int64_t>(state.iterations()));
    };
    return benchmark::RegisterBenchmark(name.c_str(), rounds)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void addWriteRows();
void addReadRows();
void addLookupRows();
void addMemoryRows();
/// Does nothing in a build without the peers.
void addPeerRows();
/// Closes the stores that rows share. Some do not survive the end of main().
void releasePeers();

inline constexpr std::size_t kSingleAppendCount = 20'000;
inline constexpr std::size_t kLateBatchCount = 2'000;
/// A late batch rewrites tens of megabytes where files are that large; so few tell the rate.
inline constexpr std::size_t kLateBatchCountOfLargeFiles = 100;
inline constexpr std::size_t kLookupCount = 10'000;
inline constexpr std::size_t kLastCount = 1'000;
inline constexpr qint64 kGridMs = 900'000;

} // namespace Bench
