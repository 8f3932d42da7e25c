// kivts_memory_probe SUBJECT READ BASE-DIRECTORY: makes one read of a series and prints the peak memory of
// the process in KiB, as the system tells it (VmHWM).

#include "LimitsOfReads.h"

#include <cstdio>
#include <fstream>
#include <iostream>

namespace
{

std::string peakKibibytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            status >> word;
            return word;
        }
    }
    return "unknown";
}

/// \return the number of results
std::size_t read(const std::string& subject, const std::string& what, Bench::Series& series)
{
    using namespace Bench;
    if (subject == "ours")
        return (what == "R1q" ? series.readAll("", 0) : series.readAll("meana", kHourMs / kSecondMs)).size();
    const std::string directory = series.recordDirectory();
    if (what == "R1q")
        return Limit::scanIntoRecords(directory).size();
    return Limit::reduceHourly(directory, Limit::Aggregate::Mean).size();
}

} // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 4) {
        std::cerr << "usage: kivts_memory_probe ours|limit R1q|R2 BASE-DIRECTORY\n";
        return 2;
    }
    Bench::Series series(arguments[3], Bench::kLayouts[1]);
    const bool hasResults = read(arguments[1], arguments[2], series) > 0;
    std::cout << peakKibibytes() << '\n';
    return hasResults ? 0 : 1;
}
