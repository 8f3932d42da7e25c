// The program kivts: sets the process up, picks the command, turns what it throws into an exit code.

#include "Commands.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <QtGlobal>

#include <cstdio>
#include <ctime>
#include <exception>
#include <new>
#include <vector>

namespace
{

using namespace Kiv::Cli;

/// Filters and Qt's date patterns see the host's zone; results must not depend on where the program runs.
void setHostZoneToUtc()
{
    qputenv("TZ", "UTC");
    ::tzset();
}

void describeProgram(CLI::App& program)
{
    program.description("Time series in files: import CSV, read back raw or interpolated.");
    program.set_version_flag("--version", std::string("kivts " KIVTS_VERSION));
    program.require_subcommand(1);
    program.footer(
        "\nTimes: ISO 8601 with or without zone (UTC when none), @seconds, milliseconds as digits,\n"
        "first, last, now.\n"
        "Exit codes: 0 good, 1 nothing found, 2 wrong usage, 3 file error, 4 bad input data,\n"
        "5 refused.\n"
        "\nExamples:\n"
        "  kivts import plant.csv --series data/plant --type double\n"
        "  kivts read data/plant --every 1h --method prev --limit 24\n");
}

/// The parser's own text, with the nearest command when a word is none.
QString usageText(const CLI::App& program, const CLI::ParseError& error, int argc, char** argv)
{
    const CLI::App* parser = &program;
    QString path;
    for (int i = 1; i < argc; ++i) {
        const QString word = QString::fromUtf8(argv[i]);
        QStringList commands;
        for (const CLI::App* command : parser->get_subcommands(nullptr))
            commands += QString::fromStdString(command->get_name());
        if (commands.isEmpty() || word.startsWith(u'-'))
            break;
        if (!commands.contains(word))
            return unknownWord(QStringLiteral("command"), word, commands).text();
        parser = parser->get_subcommand(word.toStdString());
        path += word + u' ';
    }
    return QString::fromUtf8(error.what()).trimmed() + QStringLiteral("; see kivts %1--help").arg(path);
}

/// \return the exit code when the arguments already end the program, a negative number otherwise
int parseArguments(CLI::App& program, int argc, char** argv)
{
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& helpOrVersion) {
        return program.exit(helpOrVersion);
    } catch (const CLI::ParseError& error) {
        printMessage(usageText(program, error, argc, argv));
        return static_cast<int>(ExitCode::Usage);
    }
    return -1;
}

ExitCode runCommand(const Command& command)
{
    try {
        const ExitCode code = command.run();
        flushOutput();
        return code;
    } catch (const CommandError& error) {
        printMessage(error.text());
        return error.code();
    } catch (const std::bad_alloc&) {
        printMessage(QStringLiteral("not enough memory; narrow the range or give --limit"));
        return ExitCode::FileError;
    }
}

int runProgram(int argc, char** argv)
{
    setHostZoneToUtc();
    LibraryLog log;
    CLI::App program;
    describeProgram(program);
    const std::vector<Command> commands = {
        addImportCommand(program, log), addReadCommand(program),   addInfoCommand(program),
        addFirstCommand(program),       addLastCommand(program),   addAtCommand(program),
        addCountCommand(program),       addDeleteCommand(program), addTemplatesCommand(program),
    };
    const int parseCode = parseArguments(program, argc, argv);
    if (parseCode >= 0)
        return parseCode;

    ExitCode code = ExitCode::Usage;
    for (const Command& command : commands) {
        if (command.parser->parsed())
            code = runCommand(command);
    }
    std::fflush(stdout);
    log.printSummary();
    // Whatever the command made of it: after an error in the store its result cannot be trusted.
    if (log.hasErrors())
        code = ExitCode::FileError;
    return static_cast<int>(code);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return runProgram(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kivts: %s\n", error.what());
    }
    return static_cast<int>(ExitCode::FileError);
}
