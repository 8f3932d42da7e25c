#include "Commands.h"

#include <CLI/CLI.hpp>

namespace Kiv::Cli
{

void addRecordOptions(CLI::App& parser, RecordOptions& options)
{
    parser.add_option("SERIES", options.series, "Base directory of the series")->required()->type_name("");
    parser.add_option("--type", options.typeWord, "Value type, when series.json does not tell it")
        ->type_name("TYPE");
    parser
        .add_option("--format", options.formatWord,
                    "table, csv or json (default: table on a terminal, else csv)")
        ->type_name("FORMAT");
}

} // namespace Kiv::Cli
