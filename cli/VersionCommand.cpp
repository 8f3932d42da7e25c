#include "Commands.h"
#include "RowPrinter.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <utility>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    OutputOptions output;
    bool isJson = false;
};

QString compilerText()
{
#if defined(__clang__)
    return QStringLiteral("Clang " __clang_version__).trimmed();
#elif defined(__GNUC__)
    return QStringLiteral("GCC " __VERSION__);
#else
    return QStringLiteral("unknown");
#endif
}

ExitCode printVersion(OutputFormat format)
{
    RowPrinter printer(format, {{QStringLiteral("name"), CellKind::Text, {}},
                                {QStringLiteral("value"), CellKind::Text, {}}});
    const std::pair<const char*, QString> rows[] = {
        {"program", QStringLiteral("kivts")},
        {"version", QStringLiteral(KIVTS_VERSION)},
        {"library", QStringLiteral(KIVTS_SONAME)},
        {"qt", QString::fromLatin1(qVersion())},
        {"qt when built", QStringLiteral(QT_VERSION_STR)},
        {"compiler", compilerText()},
        {"build type", QStringLiteral(KIVTS_BUILD_TYPE)},
    };
    for (const auto& [name, value] : rows)
        printer.print({QString::fromLatin1(name), value});
    printer.finish();
    return ExitCode::Good;
}

} // namespace

Command addVersionCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("version", "Print versions: program, library, Qt, compiler, build type");
    addOutputOptions(*parser, arguments->output);
    parser->add_flag("--json", arguments->isJson, "The same as --format json")->excludes("--format");
    parser->footer("\nExamples:\n"
                   "  kivts version\n"
                   "  kivts version --json\n");
    return {parser, [arguments] {
                if (arguments->isJson)
                    arguments->output.formatWord = "json";
                return printTo(arguments->output, &printVersion);
            }};
}

} // namespace Kiv::Cli
