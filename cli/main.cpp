// The program kivts: sets the process up, picks the command, turns what it throws into an exit code.

#include "Commands.h"
#include "Interrupt.h"
#include "ProgramModel.h"
#include "Terminal.h"
#include "Words.h"
#include "Zone.h"

#include <CLI/CLI.hpp>

#include <QRegularExpression>

#include <cstdio>
#include <exception>
#include <new>
#include <vector>

namespace
{

using namespace Kiv::Cli;

void describeProgram(CLI::App& program)
{
    program.description("Time series in files: import, read back raw or by intervals, look after them.");
    program.set_version_flag("--version", std::string("kivts " KIVTS_VERSION));
    program.require_subcommand(1);
    program.footer(
        "\nThe options above may stand anywhere, also behind the command.\n"
        "\nTimes: 2024, 2024-05, 2024-05-17, 2024-05-17T13:45:12.123 with or without zone (--tz when none),\n"
        "@seconds, milliseconds (five digits or more), now, now-7d (s, m, h, d, w), today, yesterday,\n"
        "thisweek, lastweek, thismonth, lastmonth, thisyear, lastyear, first, last.\n"
        "Both ends of a range are inclusive; a year, month or day is its start in --from, its end in --to.\n"
        "Exit codes: 0 good, 1 nothing found, 2 wrong usage, 3 file error, 4 bad input data,\n"
        "5 refused, 130 interrupted, 141 nobody reads the output any more.\n"
        "\nExamples:\n"
        "  kivts import plant.csv --series data/plant --type double\n"
        "  kivts read data/plant --every 1h --method prev --limit 24\n");
}

/// What holds for every command.
struct ProgramOptions {
    std::string zoneName = "UTC";
    std::string colorWord = "auto";
    bool isQuiet = false;
};

void addProgramOptions(CLI::App& program, ProgramOptions& options)
{
    program.fallthrough();
    CLI::Option* const zone =
        program.add_option("--tz", options.zoneName,
                           "Zone of times on input and output and of calendar intervals, for example\n"
                           "Europe/Berlin, or local for that of the host (default UTC)");
    offerWords(*zone->type_name("ZONE"), {QStringLiteral("UTC"), QStringLiteral("local")});
    CLI::Option* const color = program.add_option(
        "--color", options.colorWord, "auto, always or never (default auto, which minds NO_COLOR)");
    offerWords(*color->type_name("WHEN"),
               {QStringLiteral("auto"), QStringLiteral("always"), QStringLiteral("never")});
    program.add_flag("--quiet", options.isQuiet, "No messages but warnings and errors, no progress");
}

void apply(const ProgramOptions& options)
{
    setColorChoice(QString::fromStdString(options.colorWord));
    if (options.isQuiet)
        setQuiet();
    // Filters and Qt's date patterns see the host's zone; results must not depend on where the program runs.
    setProgramZone(Zone::named(QStringLiteral("--tz"), QString::fromStdString(options.zoneName)));
}

/// The words after which options may stand, the program's own included.
QStringList optionsOf(const CLI::App& parser)
{
    QStringList words;
    for (const CLI::App* owner = &parser; owner; owner = owner->get_parent()) {
        for (const CLI::Option* option : owner->get_options()) {
            for (const std::string& name : option->get_lnames())
                words += QStringLiteral("--") + QString::fromStdString(name);
        }
    }
    return words;
}

/// \return the first word that looks like an option and is none, empty without one
QString unknownOption(const QStringList& words, const QStringList& known)
{
    for (const QString& word : words) {
        if (word == QLatin1String("--"))
            return {};
        const QString name = word.section(u'=', 0, 0);
        if (name.startsWith(QLatin1String("--")) && !known.contains(name))
            return name;
    }
    return {};
}

/// The parser's own text, with the nearest command or option when a word is none.
QString usageText(const CLI::App& program, const CLI::ParseError& error, const QStringList& words)
{
    const CLI::App* parser = &program;
    QString path;
    for (const QString& word : words) {
        QStringList commands;
        for (const CLI::App* command : parser->get_subcommands(nullptr)) {
            // Hidden commands are not suggested.
            if (!command->get_group().empty() || command->get_name() == word.toStdString())
                commands += QString::fromStdString(command->get_name());
        }
        if (commands.isEmpty() || word.startsWith(u'-'))
            break;
        if (word == QLatin1String("help"))
            return QStringLiteral("there is no command help; see kivts %1--help").arg(path);
        if (!commands.contains(word))
            return unknownWord(QStringLiteral("command"), word, commands).text();
        parser = parser->get_subcommand(word.toStdString());
        path += word + u' ';
    }
    const QString help = QStringLiteral("see kivts %1--help").arg(path);
    const QStringList known = optionsOf(*parser);
    const QString option = unknownOption(words, known);
    if (!option.isEmpty()) {
        const QStringList longer =
            known.filter(QRegularExpression(u'^' + QRegularExpression::escape(option)));
        const QString nearest = nearestWord(option, longer.isEmpty() ? known : longer);
        constexpr int kFarDistance = 4;
        const bool isNear = !longer.isEmpty() || editDistance(option, nearest) < kFarDistance;
        return QStringLiteral("unknown option %1; %2%3")
            .arg(option, isNear ? QStringLiteral("did you mean %1? Or ").arg(nearest) : QString(), help);
    }
    return QString::fromUtf8(error.what()).trimmed() + QStringLiteral("; ") + help;
}

/// \return the exit code when the arguments already end the program, a negative number otherwise
int parseArguments(CLI::App& program, int argc, char** argv)
{
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& helpOrVersion) {
        return program.exit(helpOrVersion);
    } catch (const CLI::ParseError& error) {
        QStringList words;
        for (int i = 1; i < argc; ++i)
            words += QString::fromUtf8(argv[i]);
        printError(usageText(program, error, words));
        return static_cast<int>(ExitCode::Usage);
    }
    return -1;
}

ExitCode runCommand(const Command& command, const ProgramOptions& options)
{
    try {
        apply(options);
        const ExitCode code = command.run();
        flushOutput();
        return code;
    } catch (const CommandError& error) {
        if (!error.text().isEmpty())
            printError(error.text());
        return error.code();
    } catch (const std::bad_alloc&) {
        printError(QStringLiteral("not enough memory; narrow the range or give --limit"));
        return ExitCode::FileError;
    }
}

int runProgram(int argc, char** argv)
{
    watchInterrupts();
    ignoreBrokenPipes();
    LibraryLog log;
    CLI::App program;
    ProgramOptions options;
    describeProgram(program);
    addProgramOptions(program, options);
    const std::vector<Command> commands = {
        addImportCommand(program, log), addReadCommand(program),       addPlotCommand(program),
        addInfoCommand(program),        addLsCommand(program),         addTreeCommand(program),
        addStatsCommand(program),       addGapsCommand(program),       addFirstCommand(program),
        addLastCommand(program),        addAtCommand(program),         addCountCommand(program),
        addFollowCommand(program),      addLateCommand(program),       addHistoryCommand(program),
        addDeleteCommand(program),      addSetCommand(program),        addTemplatesCommand(program),
        addBenchCommand(program),       addCompletionCommand(program), addVersionCommand(program),
        addManSourceCommand(program),
    };
    const int parseCode = parseArguments(program, argc, argv);
    if (parseCode >= 0)
        return parseCode;

    ExitCode code = ExitCode::Usage;
    for (const Command& command : commands) {
        if (command.parser->parsed())
            code = runCommand(command, options);
    }
    std::fflush(stdout);
    log.printSummary();
    // Whatever the command made of it: after an error in the store its result cannot be trusted.
    if (log.hasErrors())
        code = ExitCode::FileError;
    // Who waits for the program must be able to stop, too; a store that was stopped may have logged for that reason.
    if (isInterrupted())
        code = ExitCode::Interrupted;
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
