#include "Commands.h"
#include "ManPages.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    std::string command;
    bool listsCommands = false;
};

ExitCode listCommands(const CommandModel& program)
{
    for (const CommandModel* const command : program.all()) {
        if (!command->path.isEmpty())
            std::printf("%s\n", command->name().toUtf8().constData());
    }
    return ExitCode::Good;
}

ExitCode printSource(const CommandModel& program, const std::string& name)
{
    const QString wanted = QString::fromStdString(name);
    const CommandModel* found = wanted.isEmpty() ? &program : nullptr;
    QStringList names;
    for (const CommandModel& command : program.commands) {
        names += command.name();
        if (command.name() == wanted)
            found = &command;
    }
    if (found == nullptr)
        throw unknownWord(QStringLiteral("COMMAND"), wanted, names);
    std::fputs(manPage(program, *found).toUtf8().constData(), stdout);
    return ExitCode::Good;
}

} // namespace

Command addManSourceCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("man-source", "Print a manual page as scdoc reads it");
    // For those who build the pages.
    parser->group("");
    parser->add_option("COMMAND", arguments->command, "The command that the page is about")->type_name("");
    parser->add_flag("--list", arguments->listsCommands, "Print the names of all commands");
    parser->footer("\nExamples:\n"
                   "  kivts man-source | scdoc > kivts.1\n"
                   "  kivts man-source read | scdoc > kivts-read.1\n");
    return {parser, [arguments, &program] {
                const CommandModel model = modelOf(program);
                return arguments->listsCommands ? listCommands(model)
                                                : printSource(model, arguments->command);
            }};
}

} // namespace Kiv::Cli
