#include "Commands.h"
#include "RowPrinter.h"
#include "SeriesFiles.h"
#include "SharedOptions.h"
#include "ValueFiles.h"
#include "ValueText.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>

namespace Kiv::Cli
{

namespace
{

constexpr qsizetype kDepthCount = static_cast<qsizetype>(kDepthWords.size());

struct Arguments {
    SeriesOptions series;
    OutputOptions output;
    std::string depth = "minute";
};

/// The record files of one period together.
struct Branch {
    qsizetype nameCount = 0; ///< of the names from the year on
    qint64 fileCount = 0;
    qint64 recordCount = 0;
    qint64 sizeBytes = 0;
    qint64 varSizeBytes = 0;
    qint64 deadBytes = 0;
};

/// \return how many names of a period are shown
qsizetype parseDepth(const QString& text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (isNumber && number >= 1 && number <= kDepthCount)
        return number;
    QStringList words;
    for (const char* word : kDepthWords)
        words += QLatin1String(word);
    const qsizetype index = words.indexOf(text);
    if (index < 0)
        throw unknownWord(QStringLiteral("--depth"), text, words);
    return index + 1;
}

/// The periods by their texts, whose order is that of time, each before those that it holds.
/// \param withParents  also those that hold others
std::map<QString, Branch> growTree(const Series& series, const SeriesFiles& files, qsizetype depth,
                                   bool withParents)
{
    const std::vector<qint64> dead = deadBytes(series, files);
    std::map<QString, Branch> branches;
    for (std::size_t i = 0; i < files.records.size(); ++i) {
        const SeriesFile& file = files.records[i];
        const QStringList names = calendarNames(file.place);
        const qsizetype shownCount = std::min(depth, names.size());
        for (qsizetype count = withParents ? 1 : shownCount; count <= shownCount; ++count) {
            Branch& branch = branches[periodText(names.first(count))];
            branch.nameCount = count;
            ++branch.fileCount;
            branch.recordCount += file.recordCount();
            branch.sizeBytes += file.allBytes();
            branch.varSizeBytes += file.varSizeBytes.value_or(0);
            branch.deadBytes += dead[i];
        }
    }
    return branches;
}

/// "12.5 %"
QVariant deadShareCell(const Branch& branch)
{
    constexpr double kThousandths = 1000;
    if (branch.varSizeBytes == 0)
        return {};
    const double share = static_cast<double>(branch.deadBytes) / static_cast<double>(branch.varSizeBytes);
    return numberText(std::round(share * kThousandths) / 10) + QStringLiteral(" %");
}

std::vector<RowColumn> columns(bool isTable, bool hasValueFiles)
{
    std::vector<RowColumn> all = {{QStringLiteral("period")},
                                  {QStringLiteral("files"), CellKind::Number},
                                  {QStringLiteral("records"), CellKind::Number},
                                  {QStringLiteral("bytes"), CellKind::Number}};
    if (!isTable) {
        all.push_back({QStringLiteral("varBytes"), CellKind::Number});
        all.push_back({QStringLiteral("deadBytes"), CellKind::Number});
    } else if (hasValueFiles) {
        all.push_back({QStringLiteral("dead share"), CellKind::Number});
    }
    return all;
}

ExitCode printTree(const Series& series, const SeriesFiles& files, qsizetype depth, OutputFormat format)
{
    const bool isTable = format == OutputFormat::Table;
    const bool hasValueFiles = isVariableLength(series.type);
    RowPrinter printer(format, columns(isTable, hasValueFiles));
    for (const auto& [period, branch] : growTree(series, files, depth, isTable)) {
        const QString indent(isTable ? 2 * (branch.nameCount - 1) : 0, u' ');
        QVariantList cells = {indent + period, branch.fileCount, branch.recordCount, branch.sizeBytes};
        if (!isTable)
            cells << (hasValueFiles ? QVariant(branch.varSizeBytes) : QVariant())
                  << (hasValueFiles ? QVariant(branch.deadBytes) : QVariant());
        else if (hasValueFiles)
            cells << deadShareCell(branch);
        printer.print(cells);
    }
    printer.finish();
    return ExitCode::Good;
}

ExitCode runTree(const Arguments& arguments)
{
    const qsizetype depth = parseDepth(QString::fromStdString(arguments.depth));
    const Series series = openSeries(arguments.series);
    const SeriesFiles files = listFiles(series);
    if (files.records.empty())
        failWithoutRecords(series);
    return printTo(arguments.output,
                   [&](OutputFormat format) { return printTree(series, files, depth, format); });
}

constexpr const char* kFooter = R"(
Periods are those of the files, in UTC whatever --tz says. A table has a line for each period with all that
lies below it, the other formats a row for each record file, or, with --depth, for each period of that depth.
Bytes include the values of variable length; the dead ones among these are those that no record points to.

Examples:
  kivts tree data/plant
  kivts tree data/plant --depth year --json
)";

} // namespace

Command addTreeCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("tree", "Show the record files of a series as a calendar");
    addOneSeriesOption(*parser, arguments->series);
    parser
        ->add_option("--depth", arguments->depth,
                     "Sum up by year, month, day or hour, or by a number: 1 is years, 2 months, ...")
        ->type_name("N");
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runTree(*arguments); }};
}

} // namespace Kiv::Cli
