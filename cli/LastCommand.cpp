#include "SingleRecord.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kiv::Cli
{

Command addLastCommand(CLI::App& program)
{
    const auto options = std::make_shared<RecordOptions>();
    CLI::App* const parser = program.add_subcommand("last", "Print the last record of a series");
    addRecordOptions(*parser, *options);
    parser->footer("\nExamples:\n"
                   "  kivts last data/plant\n"
                   "  kivts last data/plant --format json\n");
    return {parser, [options] {
                return printSingleRecord(*options, [](const Series& series, Interpolate::DataRecord& record) {
                    return series.last(record);
                });
            }};
}

} // namespace Kiv::Cli
