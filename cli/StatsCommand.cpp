#include "Commands.h"
#include "DurationText.h"
#include "OutputBuffer.h"
#include "RowPrinter.h"
#include "SampleStream.h"
#include "SeriesSummary.h"
#include "SharedOptions.h"
#include "Terminal.h"
#include "ValueText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace Kiv::Cli
{

namespace
{

constexpr std::size_t kShownLengthCount = 8;

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    RequestOptions request;
    OutputOptions output;
    std::string percentiles = "1,5,25,50,75,95,99";
};

std::vector<double> parsePercentiles(const QString& text)
{
    std::vector<double> percents;
    if (text == QLatin1String("none"))
        return percents;
    for (const QString& part : text.split(u',')) {
        double percent = 0.0;
        const bool isNumber = parseDouble(part.trimmed().toUtf8(), percent).isEmpty();
        if (!isNumber || !(percent >= 0.0 && percent <= 100.0))
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral("--percentiles: %1 is no number from 0 to 100; write for example "
                               "50,95,99.9, or none")
                    .arg(quoted(part)));
        if (std::find(percents.begin(), percents.end(), percent) == percents.end())
            percents.push_back(percent);
    }
    return percents;
}

QVariant secondsOf(const std::optional<qint64>& durationMs)
{
    constexpr double kMsPerSecond = 1000.0;
    return durationMs ? QVariant(static_cast<double>(*durationMs) / kMsPerSecond) : QVariant();
}

QVariant numberCell(const std::optional<double>& number)
{
    return number ? QVariant(*number) : QVariant();
}

/// A number of the series itself, in its type's shortest text.
QVariant seriesNumber(const Series& series, const std::optional<double>& number)
{
    if (!number)
        return {};
    return isFloat(series.type) ? QVariant(static_cast<float>(*number)) : QVariant(*number);
}

QVariant extremeCell(const Series& series, const Extreme& extreme)
{
    using Kind = Analytics::Value::Kind;
    switch (extreme.value.kind()) {
    case Kind::Null:
        return {};
    case Kind::Signed:
        return extreme.value.bitsOfInteger();
    case Kind::Unsigned:
        return static_cast<quint64>(extreme.value.bitsOfInteger());
    case Kind::Double:
        break;
    }
    return seriesNumber(series, extreme.value.toDouble());
}

QString percentileName(double percent)
{
    return u'p' + numberText(percent);
}

/// How a series and what was found of it become cells and lines.
class StatsPrinter
{
public:
    StatsPrinter(OutputFormat format, std::vector<double> percents)
        : m_percents(std::move(percents)), m_isTable(format == OutputFormat::Table), m_rows(format, columns())
    {
    }

    void print(const Series& series, SeriesSummary& summary)
    {
        m_recordCount += summary.recordCount();
        if (m_isTable)
            printBlock(series, summary);
        else
            m_rows.print(cells(series, summary));
    }

    void finish()
    {
        if (m_isTable)
            m_output.flush();
        else
            m_rows.finish();
    }

    qint64 recordCount() const { return m_recordCount; }

private:
    std::vector<RowColumn> columns() const
    {
        std::vector<RowColumn> columns = {
            {QStringLiteral("series"), CellKind::Text},   {QStringLiteral("records"), CellKind::Number},
            {QStringLiteral("nulls"), CellKind::Number},  {QStringLiteral("first"), CellKind::Time},
            {QStringLiteral("last"), CellKind::Time},     {QStringLiteral("min"), CellKind::Value},
            {QStringLiteral("min_time"), CellKind::Time}, {QStringLiteral("max"), CellKind::Value},
            {QStringLiteral("max_time"), CellKind::Time}, {QStringLiteral("mean"), CellKind::Number},
            {QStringLiteral("stddev"), CellKind::Number}, {QStringLiteral("sum"), CellKind::Number}};
        for (const double percent : m_percents)
            columns.push_back({percentileName(percent), CellKind::Number});
        for (const char* name : {"interval_median", "interval_min", "interval_max"})
            columns.push_back({QLatin1String(name), CellKind::Number});
        columns.push_back({QStringLiteral("intervals"), CellKind::Value});
        return columns;
    }

    QVariantList cells(const Series& series, SeriesSummary& summary) const
    {
        const bool hasRecords = summary.recordCount() > 0;
        const bool hasValues = summary.statistics().count() > 0;
        const auto timeIf = [](bool isKnown, qint64 timestampMs) {
            return isKnown ? QVariant(timestampMs) : QVariant();
        };
        QVariantList cells = {series.path,
                              summary.recordCount(),
                              summary.nullCount(),
                              timeIf(hasRecords, summary.firstMs()),
                              timeIf(hasRecords, summary.lastMs()),
                              extremeCell(series, summary.least()),
                              timeIf(hasValues, summary.least().timestampMs),
                              extremeCell(series, summary.greatest()),
                              timeIf(hasValues, summary.greatest().timestampMs),
                              numberCell(summary.statistics().mean()),
                              numberCell(summary.statistics().standardDeviation()),
                              numberCell(summary.statistics().sum())};
        for (const double percent : m_percents)
            cells += seriesNumber(series, summary.percentile(percent));
        const SamplingIntervals& intervals = summary.intervals();
        cells += secondsOf(intervals.medianMs());
        cells += secondsOf(intervals.leastMs());
        cells += secondsOf(intervals.greatestMs());
        QVariantList lengths;
        for (const SamplingLength& length : intervals.mostFrequent(kShownLengthCount))
            lengths += QVariantMap{{QStringLiteral("seconds"), secondsOf(length.durationMs)},
                                   {QStringLiteral("count"), length.count}};
        cells += QVariant(lengths);
        return cells;
    }

    void putLine(const QString& name, const QString& text)
    {
        constexpr int kNameWidth = 20;
        const QByteArray padding(std::max(1, kNameWidth - textWidth(name)), ' ');
        m_output.put(styled(Stream::Output, Style::Bold, name.toUtf8()) + padding + text.toUtf8() + '\n');
    }

    void putNumber(const QString& name, const QVariant& number)
    {
        if (!number.isNull())
            putLine(name, valueText(number));
    }

    void printBlock(const Series& series, SeriesSummary& summary)
    {
        if (std::exchange(m_hasBlock, true))
            m_output.put("\n");
        const Sidecar sidecar = Sidecar::load(series.path);
        putLine(QStringLiteral("series"), escapedControls(series.path));
        if (!sidecar.description().isEmpty())
            putLine(QStringLiteral("description"), escapedControls(sidecar.description()));
        if (!sidecar.unit().isEmpty())
            putLine(QStringLiteral("unit"), escapedControls(sidecar.unit()));
        putLine(QStringLiteral("records"), QString::number(summary.recordCount()));
        if (summary.recordCount() == 0)
            return;
        if (!isVariableLength(series.type))
            putLine(QStringLiteral("nulls"), QString::number(summary.nullCount()));
        putLine(QStringLiteral("first"), formatTime(summary.firstMs()));
        putLine(QStringLiteral("last"), formatTime(summary.lastMs()));
        if (summary.statistics().count() > 0)
            printValues(series, summary);
        printIntervals(summary.intervals());
    }

    void printValues(const Series& series, SeriesSummary& summary)
    {
        const auto extremeText = [&series](const Extreme& extreme) {
            return valueText(extremeCell(series, extreme)) + QStringLiteral("  at ") +
                   formatTime(extreme.timestampMs);
        };
        putLine(QStringLiteral("min"), extremeText(summary.least()));
        putLine(QStringLiteral("max"), extremeText(summary.greatest()));
        putNumber(QStringLiteral("mean"), numberCell(summary.statistics().mean()));
        putNumber(QStringLiteral("standard deviation"), numberCell(summary.statistics().standardDeviation()));
        putNumber(QStringLiteral("sum"), numberCell(summary.statistics().sum()));
        for (const double percent : m_percents)
            putNumber(QStringLiteral("percentile ") + numberText(percent),
                      seriesNumber(series, summary.percentile(percent)));
    }

    void printIntervals(const SamplingIntervals& intervals)
    {
        if (intervals.count() == 0)
            return;
        putLine(QStringLiteral("sampling interval"),
                QStringLiteral("median %1, min %2, max %3")
                    .arg(durationText(*intervals.medianMs()), durationText(*intervals.leastMs()),
                         durationText(*intervals.greatestMs())));
        const std::vector<SamplingLength> lengths = intervals.mostFrequent(kShownLengthCount);
        qsizetype lengthWidth = 0;
        qsizetype countWidth = 0;
        for (const SamplingLength& length : lengths) {
            lengthWidth = std::max(lengthWidth, durationText(length.durationMs).size());
            countWidth = std::max(countWidth, QString::number(length.count).size());
        }
        for (const SamplingLength& length : lengths) {
            const double share = static_cast<double>(length.count) / static_cast<double>(intervals.count());
            putLine(QString(), QStringLiteral("%1  %2  %3 %")
                                       .arg(durationText(length.durationMs), static_cast<int>(lengthWidth))
                                       .arg(length.count, static_cast<int>(countWidth))
                                       .arg(share * 100, 5, 'f', 1) +
                                   bar(share));
        }
    }

    static QString bar(double share)
    {
        constexpr double kWidth = 30;
        return QStringLiteral("  ") + QString(std::max(1, static_cast<int>(share * kWidth)), u'#');
    }

    std::vector<double> m_percents;
    bool m_isTable;
    bool m_hasBlock = false;
    RowPrinter m_rows;
    OutputBuffer m_output;
    qint64 m_recordCount = 0;
};

ExitCode printStats(const Arguments& arguments, OutputFormat format)
{
    const TimeRange range = parseTimeRange(arguments.range);
    const Request request = makeRequest(arguments.request);
    const std::vector<double> percents = parsePercentiles(QString::fromStdString(arguments.percentiles));
    StatsPrinter printer(format, percents);
    for (const Series& series : openAllSeries(arguments.series)) {
        SeriesSummary summary(percents.empty() ? SeriesSummary::Percentiles::None
                                               : SeriesSummary::Percentiles::Wanted);
        const bool isUnsigned = isUnsignedSeries(series);
        visitSamples(series, request, range, [&](const TSFileColumns& block) {
            summary.add(block, isUnsigned);
            return true;
        });
        printer.print(series, summary);
    }
    printer.finish();
    if (printer.recordCount() > 0)
        return ExitCode::Good;
    printMessage(
        QStringLiteral("nothing found from %1 to %2")
            .arg(QString::fromStdString(arguments.range.from), QString::fromStdString(arguments.range.to)));
    return ExitCode::NothingFound;
}

constexpr const char* kFooter = R"(
Nulls and NaN are counted and left out of the rest. The standard deviation is that of a sample (n - 1).
Percentiles are exact, linear between the closest ranks; they need 8 bytes of memory for each value.
The columns of csv, tsv and json are series, records, nulls, first, last, min, min_time, max, max_time, mean,
stddev, sum, one for each percentile (p50), interval_median, interval_min and interval_max in seconds, and
intervals, the most frequent lengths with their counts. Of values without arithmetic only the records and
the intervals are told.

Examples:
  kivts stats data/plant --from 2024-05-01 --to 2024-05-31
  kivts stats data/plant data/other --percentiles 50,99.9 --format json
)";

} // namespace

Command addStatsCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("stats", "Summarise a range: extremes, mean, percentiles, sampling interval");
    addSeriesOptions(*parser, arguments->series);
    addOutputOptions(*parser, arguments->output);
    addRangeOptions(*parser, arguments->range);
    parser
        ->add_option("--filter", arguments->request.filters,
                     "Look only at records with CONDITIONS, for example 'weekdays=mon-fri' or\n"
                     "'value>=5'; of several filters one must hold; see kivts read --help")
        ->type_name("CONDITIONS")
        ->allow_extra_args(false);
    parser
        ->add_option("--percentiles", arguments->percentiles,
                     "Numbers from 0 to 100, or none (default 1,5,25,50,75,95,99)")
        ->type_name("N,N");
    parser->footer(kFooter);
    return {parser, [arguments] {
                return printTo(arguments->output,
                               [&](OutputFormat format) { return printStats(*arguments, format); });
            }};
}

} // namespace Kiv::Cli
