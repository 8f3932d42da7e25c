#include "Commands.h"
#include "Importer.h"
#include "InputFile.h"
#include "ProgramModel.h"
#include "SeriesType.h"
#include "SharedOptions.h"
#include "Sidecar.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <QFileInfo>

#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    std::vector<std::string> files;
    std::string series;
    std::string typeWord;
    std::string formatWord;
    std::string timeColumns;
    std::string valueColumns;
    std::string seriesColumn;
    std::string timeFormat = "auto";
    std::string separator;
    std::string errorWord = "stop";
    qint64 maxFileSizeBytes = 0;
    bool isWide = false;
    bool noteLate = false;
    bool keepOld = false;
    bool isDryRun = false;
};

QStringList errorWords()
{
    return {QStringLiteral("stop"), QStringLiteral("skip")};
}

bool parseSkips(const QString& word)
{
    const QStringList words = errorWords();
    if (!words.contains(word))
        throw unknownWord(QStringLiteral("--on-error"), word, words);
    return word == words[1];
}

/// An empty text would mean that the option was not given.
void checkGiven(const CLI::App& parser, const char* option, const std::string& text)
{
    if (text.empty() && parser.get_option(option)->count() > 0)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: the text is empty; leave the option out, or give "
                                          "what it should be")
                               .arg(QLatin1String(option)));
}

ImportOptions makeOptions(const Arguments& arguments, const CLI::App& parser)
{
    checkGiven(parser, "--time-col", arguments.timeColumns);
    checkGiven(parser, "--value-col", arguments.valueColumns);
    checkGiven(parser, "--series-col", arguments.seriesColumn);
    checkGiven(parser, "--separator", arguments.separator);
    ImportOptions options;
    for (const std::string& file : arguments.files) {
        const QString name = QString::fromStdString(file);
        if (options.fileNames.contains(name))
            throw CommandError(ExitCode::Usage, QStringLiteral("FILE: %1 is given twice").arg(name));
        options.fileNames += name;
    }
    options.seriesPath = QString::fromStdString(arguments.series);
    options.typeWord = QString::fromStdString(arguments.typeWord);
    options.formatWord = QString::fromStdString(arguments.formatWord);
    options.timeColumns = QString::fromStdString(arguments.timeColumns);
    options.valueColumns = QString::fromStdString(arguments.valueColumns);
    options.seriesColumn = QString::fromStdString(arguments.seriesColumn);
    options.timeFormat = QString::fromStdString(arguments.timeFormat);
    options.separator = QString::fromStdString(arguments.separator);
    options.isWide = arguments.isWide;
    if (parser.get_option("--max-file-size")->count() > 0)
        options.maxFileSizeBytes = checkedMaxFileSize(arguments.maxFileSizeBytes);
    options.noteLate = arguments.noteLate;
    options.keepOld = arguments.keepOld;
    options.skipsBadRows = parseSkips(QString::fromStdString(arguments.errorWord));
    options.isDryRun = arguments.isDryRun;
    return options;
}

/// \return the size of all inputs, 0 when that of one is not known
/// \throws CommandError for one that cannot be read, before the first one is taken
qint64 checkInputs(const QStringList& names)
{
    qint64 totalSizeBytes = 0;
    bool isKnown = true;
    for (const QString& name : names) {
        const QFileInfo info(name);
        isKnown = isKnown && info.isFile();
        totalSizeBytes += info.size();
        // Of a pipe the writer would take the closing for the end.
        if (name != QLatin1String("-") && (info.isFile() || info.isDir() || !info.exists()))
            InputFile file(name);
    }
    return isKnown ? totalSizeBytes : 0;
}

ExitCode runImport(const Arguments& arguments, const CLI::App& parser, LibraryLog& log)
{
    const ImportOptions options = makeOptions(arguments, parser);
    Importer importer(options, log, checkInputs(options.fileNames));
    for (const QString& name : options.fileNames) {
        InputFile input(name);
        importer.take(input, name);
    }
    return importer.finish();
}

constexpr const char* kFooter = R"(
Cells: true/false/1/0 for bool; decimal numbers; NaN and inf for float and double; bytes as pairs of
hexadecimal digits; a map as a JSON object. An empty cell is an error; "" in quotes is an empty string.
Blanks around a cell without quotes are dropped. A first line without a readable time is the header.
NDJSON holds one object a line; columns are the names of its keys (default timestamp and value).
What read prints as csv, tsv or ndjson comes back in, of several series with --series-col series.

Several series: --series-col names the column with the name of the series; several --value-col, or --wide,
make every value column a series, in which an empty cell is no sample. Names are paths below --series;
those with .., absolute and empty ones are bad rows. --type and --max-file-size hold for every series.
Up to 500 series stay open; a file with more is faster sorted by series.

A value of a timestamp that is already there is overwritten. Of several rows with one timestamp the last
one stays; within 10,000 rows it is the one with the greatest value.
NaN equals no value, not even NaN: importing it again counts as overwritten and not as unchanged.
Float files cannot be added to later: prefer double.

A bad row ends the import with exit code 4; what is stored by then stays. With --on-error skip bad rows are
counted, the first 10 are named, and the exit code is 0 unless no row was good. Ctrl-C stores what was read
and exits with 130. Importing the same file again completes the series and does no harm.
The series is locked meanwhile; a second writer is refused with exit code 5.

Examples:
  kivts import plant.csv --series data/plant --type double
  kivts import power.csv --series data/power --type double --separator ';' --time-col Date,Time \
      --time-format 'd/M/yyyy H:mm:ss' --value-col Global_active_power
)";

void addFormatOptions(CLI::App& parser, Arguments& arguments)
{
    CLI::Option* const format =
        parser.add_option("--format", arguments.formatWord,
                          "csv, tsv or ndjson (default: by FILE's ending .tsv, .ndjson or .jsonl,\n"
                          "else csv)");
    offerWords(*format->type_name("FORMAT"), inputFormatWords());
    parser
        .add_option("--time-col", arguments.timeColumns,
                    "Column of the time, number from 1 or name; two, separated by a comma,\n"
                    "are joined by a blank (default: the first one)")
        ->type_name("N|NAME");
    parser
        .add_option("--value-col", arguments.valueColumns,
                    "Column of the value, number or name (default: the first other one);\n"
                    "several, separated by commas, are a series each below --series")
        ->type_name("N|NAME");
    parser.add_flag("--wide", arguments.isWide,
                    "Every value column is a series, by default all but the time; needs a header");
    parser
        .add_option("--series-col", arguments.seriesColumn,
                    "Column with the name of the series, which lies below --series")
        ->type_name("N|NAME");
    parser
        .add_option("--time-format", arguments.timeFormat,
                    "auto (ISO 8601, @seconds or milliseconds), iso, ms, s, or a Qt date-time\n"
                    "pattern such as d/M/yyyy H:mm:ss; yy is 1970 to 2069 (default auto)")
        ->type_name("FORMAT");
    parser.add_option("--separator", arguments.separator, "Character between cells, or tab (default ,)")
        ->type_name("CHAR");
}

} // namespace

Command addImportCommand(CLI::App& program, LibraryLog& log)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("import", "Store the rows of CSV, TSV or NDJSON files in series");
    parser->add_option("FILE", arguments->files, "Files of one kind, - for standard input")
        ->required()
        ->type_name("");
    parser->add_option("--series", arguments->series, "Base directory of the series, or of several series")
        ->required()
        ->type_name("DIR");
    CLI::Option* const type =
        parser->add_option("--type", arguments->typeWord,
                           "Value type, needed on the first import: bool, int, uint, int64, uint64,\n"
                           "float, double, int8, uint8, int16, uint16, string, bytes or map");
    offerWords(*type->type_name("TYPE"), typeWords());
    addFormatOptions(*parser, *arguments);
    parser
        ->add_option("--max-file-size", arguments->maxFileSizeBytes,
                     "Size above which a record file is split; remembered (default 1000000)")
        ->type_name("BYTES");
    parser->add_flag("--note-late", arguments->noteLate,
                     "Log every row that is not behind the last record of the series");
    parser->add_flag("--keep-old", arguments->keepOld,
                     "Keep overwritten values in the history of the series");
    CLI::Option* const onError =
        parser->add_option("--on-error", arguments->errorWord,
                           "What a bad row does: stop, or skip to go on behind it (default stop)");
    offerWords(*onError->type_name("stop|skip"), errorWords());
    parser->add_flag("--dry-run", arguments->isDryRun, "Read and check everything, store nothing");
    addLockOption(*parser);
    parser->footer(kFooter);
    return {parser, [arguments, parser, &log] { return runImport(*arguments, *parser, log); }};
}

} // namespace Kiv::Cli
