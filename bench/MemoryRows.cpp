// M: the most memory that a process needs for one read. Each round is a process of its own.

#include "Rows.h"
#include "Series.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace Bench
{

namespace
{

std::string probeProgram()
{
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kivts_memory_probe").string();
}

double peakMebibytes(const std::string& subject, const std::string& read, const std::string& baseDirectory)
{
    const std::string command =
        '\'' + probeProgram() + "' " + subject + ' ' + read + " '" + baseDirectory + '\'';
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    double kibibytes = 0.0;
    if (!output || std::fscanf(output.get(), "%lf", &kibibytes) != 1)
        throw std::runtime_error("kivts_memory_probe gave no number");
    return kibibytes / 1024.0;
}

void addMemoryRow(const std::string& read, const std::string& subject)
{
    const Layout& layout = kLayouts[1];
    const std::string name = "M/" + read + '/' + layout.name + '/' + subject;
    const auto rounds = [&layout, read, subject](benchmark::State& state) {
        for (auto _ : state) {
            const double peak = peakMebibytes(subject, read, sharedSeries(layout).baseDirectory());
            state.counters["peak_mib"] = peak;
            state.SetIterationTime(1.0);
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), rounds)->UseManualTime()->Iterations(1);
}

} // namespace

void addMemoryRows()
{
    for (const char* read : {"R1q", "R2"}) {
        for (const char* subject : {"ours", "limit"})
            addMemoryRow(read, subject);
    }
}

} // namespace Bench
