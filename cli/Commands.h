#pragma once

// Owns the list of commands. A new command adds its file, its line here and its line in main.cpp.

#include "Errors.h"
#include "LibraryLog.h"

#include <functional>

namespace CLI
{
class App;
}

namespace Kiv::Cli
{

/// A command as the program knows it: its options stand in the parser, run() does its work.
struct Command {
    CLI::App* parser = nullptr;
    std::function<ExitCode()> run;
};

Command addImportCommand(CLI::App& program, LibraryLog& log);
Command addReadCommand(CLI::App& program);
Command addInfoCommand(CLI::App& program);
Command addLsCommand(CLI::App& program);
Command addTreeCommand(CLI::App& program);
Command addSetCommand(CLI::App& program);
Command addLateCommand(CLI::App& program);
Command addHistoryCommand(CLI::App& program);
Command addFirstCommand(CLI::App& program);
Command addLastCommand(CLI::App& program);
Command addAtCommand(CLI::App& program);
Command addCountCommand(CLI::App& program);
Command addDeleteCommand(CLI::App& program);
Command addPlotCommand(CLI::App& program);
Command addStatsCommand(CLI::App& program);
Command addGapsCommand(CLI::App& program);
Command addFollowCommand(CLI::App& program);
Command addTemplatesCommand(CLI::App& program);
Command addBenchCommand(CLI::App& program);
Command addCompletionCommand(CLI::App& program);
Command addVersionCommand(CLI::App& program);
Command addManSourceCommand(CLI::App& program);

} // namespace Kiv::Cli
