// kivts_bench: the rows of bench/README.md.

#include "Rows.h"

#include <Kiv/Logger.h>

#include <QStorageInfo>

#include <sys/utsname.h>

namespace
{

#ifdef __clang__
constexpr const char* kCompiler = __VERSION__;
#else
constexpr const char* kCompiler = "GCC " __VERSION__;
#endif

void addContext()
{
    utsname system;
    uname(&system);
    const QStorageInfo storage(QString::fromStdString(Bench::benchmarkRoot()));
    benchmark::AddCustomContext("samples", std::to_string(Bench::sampleCount()));
    benchmark::AddCustomContext("system", std::string(system.sysname) + ' ' + system.release);
    benchmark::AddCustomContext("compiler", kCompiler);
    benchmark::AddCustomContext("qt", qVersion());
    benchmark::AddCustomContext("file_system", storage.fileSystemType().toStdString());
}

} // namespace

int main(int argumentCount, char** arguments)
{
    // Lines about overwritten samples would be measured with the rows that meet equal timestamps.
    Kiv::Logger::instance().setSink([](unsigned char, const QString&, const char*, int) {});
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments))
        return 2;
    addContext();
    Bench::addWriteRows();
    Bench::addReadRows();
    Bench::addLookupRows();
    Bench::addMemoryRows();
    Bench::addPeerRows();
    benchmark::RunSpecifiedBenchmarks();
    Bench::releasePeers();
    benchmark::Shutdown();
    return 0;
}
