#include "Commands.h"
#include "RowPrinter.h"
#include "SeriesFacts.h"
#include "SeriesFiles.h"
#include "SharedOptions.h"
#include "Terminal.h"
#include "ValueText.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    OutputOptions output;
};

void printLine(const char* name, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::printf("%-17s %s\n", name, bytes.constData());
}

QString recordText(const std::optional<Interpolate::DataRecord>& record)
{
    if (!record)
        return QStringLiteral("-");
    const QString value = record->value.isNull() ? QStringLiteral("-") : valueText(record->value);
    return formatTime(record->timestamp) + QStringLiteral("  ") + escapedControls(value);
}

/// "2 by year", "3: 1 by month, 2 by day"
QString filesText(const SeriesFacts& facts)
{
    QStringList parts;
    for (std::size_t depth = 0; depth < facts.fileCounts.size(); ++depth) {
        if (facts.fileCounts[depth] > 0)
            parts += QStringLiteral("%1 by %2")
                         .arg(QString::number(facts.fileCounts[depth]), QLatin1String(kDepthWords[depth]));
    }
    const QString text = parts.isEmpty() ? QStringLiteral("0") : parts.join(QStringLiteral(", "));
    return parts.size() > 1 ? QStringLiteral("%1: %2").arg(facts.fileCount).arg(text) : text;
}

QString bytesPerRecordText(const SeriesFacts& facts)
{
    constexpr double kHundredths = 100;
    const std::optional<double> bytes = facts.bytesPerRecord();
    return bytes ? numberText(std::round(*bytes * kHundredths) / kHundredths) : QStringLiteral("-");
}

void printSheet(const Series& series, const SeriesFacts& facts)
{
    printLine("series", escapedControls(series.path));
    if (!facts.description.isEmpty())
        printLine("description", escapedControls(facts.description));
    if (!facts.unit.isEmpty())
        printLine("unit", escapedControls(facts.unit));
    printLine("type", series.type.word);
    printLine("marker directory", series.type.marker);
    if (!facts.otherMarkers.isEmpty())
        printLine("other markers", facts.otherMarkers.join(QStringLiteral(", ")));
    printLine("file size limit", QStringLiteral("%1 bytes").arg(series.storage->m_maxFileSize));
    printLine("first record", recordText(facts.first));
    printLine("last record", recordText(facts.last));
    printLine("record files", filesText(facts));
    printLine("records", QString::number(facts.recordCount));
    printLine("bytes on disk", QString::number(facts.sizeBytes));
    printLine("bytes per record", bytesPerRecordText(facts));
    printLine("late writes", QString::number(facts.lateCount));
    printLine("overwritten", QString::number(facts.overwrittenCount));
    for (const QString& warning : facts.warnings)
        std::printf("%s %s\n", styled(Stream::Output, Style::Yellow, "warning          ").constData(),
                    escapedControls(warning).toUtf8().constData());
}

std::vector<RowColumn> columns()
{
    std::vector<RowColumn> all = {
        {QStringLiteral("series")},
        {QStringLiteral("description")},
        {QStringLiteral("unit")},
        {QStringLiteral("type")},
        {QStringLiteral("marker")},
        {QStringLiteral("otherMarkers"), CellKind::Value},
        {QStringLiteral("maxFileSize"), CellKind::Number},
        {QStringLiteral("first"), CellKind::Time},
        {QStringLiteral("firstValue"), CellKind::Value},
        {QStringLiteral("last"), CellKind::Time},
        {QStringLiteral("lastValue"), CellKind::Value},
        {QStringLiteral("files"), CellKind::Number},
    };
    for (const char* word : kDepthWords)
        all.push_back({QLatin1String(word) + QStringLiteral("Files"), CellKind::Number});
    for (const char* name : {"records", "bytes", "bytesPerRecord", "lateWrites", "overwrittenRecords"})
        all.push_back({QLatin1String(name), CellKind::Number});
    all.push_back({QStringLiteral("warnings"), CellKind::Value});
    return all;
}

QVariant textCell(const QString& text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

/// A list in JSON, a text elsewhere.
QVariant listCell(const QStringList& texts, OutputFormat format)
{
    return isJson(format) ? QVariant(QVariantList(texts.begin(), texts.end()))
                          : textCell(texts.join(QStringLiteral("; ")));
}

void addRecordCells(const std::optional<Interpolate::DataRecord>& record, QVariantList& cells)
{
    cells += record ? QVariant(record->timestamp) : QVariant();
    cells += record ? record->value : QVariant();
}

QVariantList cellsOf(const Series& series, const SeriesFacts& facts, OutputFormat format)
{
    QVariantList cells = {series.path,
                          textCell(facts.description),
                          textCell(facts.unit),
                          series.type.word,
                          series.type.marker,
                          listCell(facts.otherMarkers, format),
                          series.storage->m_maxFileSize};
    addRecordCells(facts.first, cells);
    addRecordCells(facts.last, cells);
    cells += facts.fileCount;
    for (const qint64 count : facts.fileCounts)
        cells += count;
    const std::optional<double> bytesPerRecord = facts.bytesPerRecord();
    return cells + QVariantList{facts.recordCount,
                                facts.sizeBytes,
                                bytesPerRecord ? QVariant(*bytesPerRecord) : QVariant(),
                                facts.lateCount,
                                facts.overwrittenCount,
                                listCell(facts.warnings, format)};
}

ExitCode printAll(const std::vector<Series>& all, OutputFormat format)
{
    RowPrinter printer(format, columns());
    qint64 withRecordsCount = 0;
    for (const Series& series : all) {
        const SeriesFacts facts = describe(series);
        if (format != OutputFormat::Table)
            printer.print(cellsOf(series, facts, format));
        else
            printSheet(series, facts);
        if (format == OutputFormat::Table && &series != &all.back())
            std::printf("\n");
        if (facts.recordCount > 0)
            ++withRecordsCount;
        else if (all.size() > 1)
            printWarning(QStringLiteral("%1 holds no records of type %2").arg(series.path, series.type.word));
    }
    if (format != OutputFormat::Table)
        printer.finish();
    return withRecordsCount > 0 ? ExitCode::Good : ExitCode::NothingFound;
}

ExitCode runInfo(const Arguments& arguments)
{
    // A sheet for people, also where it is piped: one row of all that it tells is nothing to look at.
    OutputOptions output = arguments.output;
    if (!output.hasFormat() && output.path.empty())
        output.formatWord = "table";
    const std::vector<Series> all = openAllSeries(arguments.series);
    const ExitCode code = printTo(output, [&all](OutputFormat format) { return printAll(all, format); });
    if (code == ExitCode::NothingFound && all.size() == 1)
        failWithoutRecords(all.front());
    return code;
}

constexpr const char* kFooter = R"(
A list of what each series is, or one row or object a series with a format other than table, which is the
default here also in pipes. Bytes are those of the record files and of the files of their values; late writes
and overwritten timestamps are those that were written down (import --note-late, --keep-old).

Examples:
  kivts info data/plant
  kivts info data/plant data/other --json
)";

} // namespace

Command addInfoCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("info", "Describe a series: type, ends, counts, size on disk, warnings");
    addSeriesOptions(*parser, arguments->series);
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runInfo(*arguments); }};
}

} // namespace Kiv::Cli
