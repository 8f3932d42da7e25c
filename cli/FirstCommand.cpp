#include "SingleRecord.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kiv::Cli
{

Command addFirstCommand(CLI::App& program)
{
    const auto options = std::make_shared<RecordOptions>();
    CLI::App* const parser = program.add_subcommand("first", "Print the first record of a series");
    addRecordOptions(*parser, *options);
    parser->footer("\nExamples:\n"
                   "  kivts first data/plant\n"
                   "  kivts first data/plant --format json\n");
    return {parser, [options] {
                return printSingleRecord(*options, [](const Series& series, Interpolate::DataRecord& record) {
                    return series.first(record);
                });
            }};
}

} // namespace Kiv::Cli
