#include "Commands.h"
#include "Importer.h"

#include <CLI/CLI.hpp>

#include <QFile>
#include <QFileInfo>

#include <limits>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    std::string file;
    std::string series;
    std::string typeWord;
    std::string timeColumns = "1";
    std::string valueColumn = "2";
    std::string timeFormat = "auto";
    std::string separator = ",";
    qint64 maxFileSizeBytes = 0;
    bool noteLate = false;
    bool keepOld = false;
};

void openInput(QFile& file, const QString& name)
{
    if (name == QLatin1String("-")) {
        if (!file.open(0, QIODevice::ReadOnly))
            throw CommandError(ExitCode::FileError, QStringLiteral("cannot read standard input"));
        return;
    }
    file.setFileName(name);
    if (QFileInfo(name).isDir())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("%1 is a directory; give a CSV file").arg(name));
    if (!file.open(QIODevice::ReadOnly))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read %1: %2").arg(name, file.errorString()));
}

ExitCode runImport(const Arguments& arguments, bool hasMaxFileSize, LibraryLog& log)
{
    ImportOptions options;
    options.fileName = QString::fromStdString(arguments.file);
    options.seriesPath = QString::fromStdString(arguments.series);
    options.typeWord = QString::fromStdString(arguments.typeWord);
    options.timeColumns = QString::fromStdString(arguments.timeColumns);
    options.valueColumn = QString::fromStdString(arguments.valueColumn);
    options.timeFormat = QString::fromStdString(arguments.timeFormat);
    options.separator = QString::fromStdString(arguments.separator);
    const bool isUsableSize =
        arguments.maxFileSizeBytes >= 1 && arguments.maxFileSizeBytes <= std::numeric_limits<int>::max();
    if (hasMaxFileSize && !isUsableSize)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--max-file-size: %1 is not between 1 and %2 bytes")
                               .arg(arguments.maxFileSizeBytes)
                               .arg(std::numeric_limits<int>::max()));
    options.maxFileSizeBytes = static_cast<int>(arguments.maxFileSizeBytes);
    options.noteLate = arguments.noteLate;
    options.keepOld = arguments.keepOld;

    Importer importer(options, log);
    QFile input;
    openInput(input, options.fileName);
    return importer.run(input);
}

constexpr const char* kFooter = R"(
Cells: true/false/1/0 for bool; decimal numbers; NaN and inf for float and double; bytes as pairs of
hexadecimal digits; a map as a JSON object. An empty cell is an error; "" in quotes is an empty string.
Blanks around a cell without quotes are dropped. A first line without a readable time is the header.
A value of a timestamp that is already there is overwritten. Of several rows with one timestamp the last
one stays; within 10,000 rows it is the one with the greatest value.
Float files cannot be added to later: prefer double.

Examples:
  kivts import plant.csv --series data/plant --type double
  kivts import power.csv --series data/power --type double --separator ';' --time-col Date,Time \
      --time-format 'd/M/yyyy H:mm:ss' --value-col Global_active_power
)";

} // namespace

Command addImportCommand(CLI::App& program, LibraryLog& log)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("import", "Store the rows of a CSV file in a series");
    parser->add_option("FILE", arguments->file, "CSV file, - for standard input")->required()->type_name("");
    parser->add_option("--series", arguments->series, "Base directory of the series")
        ->required()
        ->type_name("DIR");
    parser
        ->add_option("--type", arguments->typeWord,
                     "Value type, needed on the first import: bool, int, uint, int64, uint64,\n"
                     "float, double, int8, uint8, int16, uint16, string, bytes or map")
        ->type_name("TYPE");
    parser
        ->add_option("--time-col", arguments->timeColumns,
                     "Column of the time, number from 1 or name; two, separated by a comma,\n"
                     "are joined by a blank (default 1)")
        ->type_name("N|NAME");
    parser
        ->add_option("--value-col", arguments->valueColumn, "Column of the value, number or name (default 2)")
        ->type_name("N|NAME");
    parser
        ->add_option("--time-format", arguments->timeFormat,
                     "auto (ISO 8601, @seconds or milliseconds), iso, ms, s, or a Qt date-time\n"
                     "pattern such as d/M/yyyy H:mm:ss; yy is 1970 to 2069 (default auto)")
        ->type_name("FORMAT");
    parser->add_option("--separator", arguments->separator, "Character between cells, or tab (default ,)")
        ->type_name("CHAR");
    const CLI::Option* const maxFileSize =
        parser
            ->add_option("--max-file-size", arguments->maxFileSizeBytes,
                         "Size above which a record file is split; remembered (default 1000000)")
            ->type_name("BYTES");
    parser->add_flag("--note-late", arguments->noteLate,
                     "Log every row that is not behind the last record of the series");
    parser->add_flag("--keep-old", arguments->keepOld,
                     "Keep overwritten values in the history of the series");
    parser->footer(kFooter);
    return {parser,
            [arguments, maxFileSize, &log] { return runImport(*arguments, maxFileSize->count() > 0, log); }};
}

} // namespace Kiv::Cli
