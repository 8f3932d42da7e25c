#pragma once

// Owns the list of commands. A new command adds its file, its line here and its line in main.cpp.

#include "Errors.h"
#include "LibraryLog.h"

#include <functional>
#include <string>

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
Command addFirstCommand(CLI::App& program);
Command addLastCommand(CLI::App& program);
Command addAtCommand(CLI::App& program);

/// The options that every command has which prints records of one series.
struct RecordOptions {
    std::string series;
    std::string typeWord;
    std::string formatWord;
};

void addRecordOptions(CLI::App& parser, RecordOptions& options);

} // namespace Kiv::Cli
