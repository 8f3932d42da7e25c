#include "Commands.h"
#include "DurationText.h"
#include "IntervalText.h"
#include "MethodText.h"
#include "OutputBuffer.h"
#include "OutputFile.h"
#include "SampleStream.h"
#include "SharedOptions.h"
#include "SvgChart.h"
#include "Terminal.h"
#include "TextChart.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    RequestOptions request;
    std::optional<std::string> svgPath;
    std::optional<int> width;
    std::optional<int> height;
};

/// Both ends inclusive.
struct Extent {
    qint64 fromMs = 0;
    qint64 toMs = 0;
};

void include(std::optional<Extent>& extent, qint64 fromMs, qint64 toMs)
{
    if (!extent)
        extent = {fromMs, toMs};
    extent = {std::min(extent->fromMs, fromMs), std::max(extent->toMs, toMs)};
}

/// The times that a series contributes to the axis of time.
void includeSeries(const Series& series, const Request& request, const TimeRange& range,
                   std::optional<Extent>& extent)
{
    if (!request.isPlainRaw()) {
        // Labels of intervals may lie beyond the records and the range.
        visitSamples(series, request, range, [&extent](const TSFileColumns& block) {
            include(extent, block.timestamps.front(), block.timestamps.back());
            return true;
        });
        return;
    }
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    if (!series.first(first) || !series.last(last))
        return;
    const qint64 fromMs =
        range.from.isSymbolic ? first.timestamp : std::max(range.from.value, first.timestamp);
    const qint64 toMs = range.to.isSymbolic ? last.timestamp : std::min(range.to.value, last.timestamp);
    if (fromMs <= toMs)
        include(extent, fromMs, toMs);
}

Extent findExtent(const std::vector<Series>& all, const Request& request, const TimeRange& range)
{
    constexpr qint64 kHalfMinuteMs = 30'000;
    std::optional<Extent> extent;
    for (const Series& series : all)
        includeSeries(series, request, range, extent);
    if (!extent)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("nothing found to plot"));
    if (!range.from.isSymbolic)
        extent->fromMs = std::min(extent->fromMs, range.from.value);
    if (!range.to.isSymbolic)
        extent->toMs = std::max(extent->toMs, range.to.value);
    if (extent->fromMs == extent->toMs)
        extent = {extent->fromMs - kHalfMinuteMs, extent->toMs + kHalfMinuteMs};
    return *extent;
}

LineBins readBins(const Series& series, const Request& request, const TimeRange& range, LineBins bins)
{
    const bool isUnsigned = isUnsignedSeries(series);
    visitSamples(series, request, range, [&](const TSFileColumns& block) {
        for (std::size_t i = 0; i < block.size(); ++i)
            bins.add(block.timestamps[i], numberAt(block, i, isUnsigned));
        return true;
    });
    return bins;
}

void checkHasNumbers(const std::vector<Series>& all)
{
    for (const Series& series : all) {
        if (isVariableLength(series.type))
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral("SERIES: %1 holds values of type %2, which are no numbers to plot")
                    .arg(series.path, series.type.word));
    }
}

void fillValues(const std::vector<Series>& all, const Request& request, Chart& chart)
{
    std::optional<double> least;
    std::optional<double> greatest;
    for (const ChartLine& line : chart.lines) {
        if (line.bins.sampleCount() == 0)
            continue;
        least = std::min(least.value_or(*line.bins.least()), *line.bins.least());
        greatest = std::max(greatest.value_or(*line.bins.greatest()), *line.bins.greatest());
    }
    if (!least)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("nothing found to plot"));
    const auto hasType = [](QMetaType::Type type) {
        return [type](const Series& series) { return series.type.metaType == type; };
    };
    if (std::all_of(all.begin(), all.end(), hasType(QMetaType::Bool))) {
        least = std::min(*least, 0.0);
        greatest = std::max(*greatest, 1.0);
    }
    const auto isWhole = [](const Series& series) { return isInteger(series.type); };
    if (request.isPlainRaw() && std::all_of(all.begin(), all.end(), isWhole))
        chart.tickNumbers = TickNumbers::Integers;
    chart.least = *least;
    chart.greatest = *greatest;
}

QString described(const Series& series, const Sidecar& sidecar)
{
    return series.path +
           (sidecar.description().isEmpty() ? QString() : QStringLiteral(": ") + sidecar.description());
}

QString withUnit(const QString& text, const QString& unit)
{
    return unit.isEmpty() ? text : text + QStringLiteral(" [") + unit + u']';
}

QString requestText(const Request& request)
{
    if (request.isPlainRaw())
        return {};
    QString method = request.param.method.isEmpty() ? QStringLiteral("linear") : request.param.method;
    if (request.analysis)
        method = request.analysis->text();
    return request.param.interval == 0
               ? method
               : QStringLiteral("%1 every %2").arg(method, intervalText(request.param.interval));
}

/// Title, note and the names of the lines.
void fillTexts(const std::vector<Series>& all, const Request& request, Chart& chart)
{
    QStringList names;
    QStringList units;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Sidecar sidecar = Sidecar::load(all[i].path);
        names += all[i].path;
        units += resultUnit(request, sidecar.unit());
        chart.lines[i].name = withUnit(described(all[i], sidecar), units.back());
        if (all.size() == 1)
            chart.title = described(all[i], sidecar);
    }
    if (all.size() > 1)
        chart.title = names.join(QStringLiteral(", "));
    QStringList notes;
    if (units.count(units.first()) == units.size() && !units.first().isEmpty())
        notes += QStringLiteral("values in %1").arg(units.first());
    if (!request.isPlainRaw())
        notes += requestText(request);
    notes += QStringLiteral("times in %1").arg(chart.zone.name());
    chart.note = notes.join(QStringLiteral("; "));
}

/// The records themselves need no interval for --max-gap.
RequestOptions requestOptions(const Arguments& arguments)
{
    RequestOptions options = arguments.request;
    const bool hasIntervals = options.every || options.templateName;
    if (!hasIntervals)
        options.maxGap.reset();
    else if (options.maxGap && options.fill == "engine")
        options.fill = "null";
    return options;
}

Chart readChart(const Arguments& arguments, int binCount)
{
    const TimeRange range = parseTimeRange(arguments.range);
    const Request request = makeRequest(requestOptions(arguments));
    // Of intervals the nulls in a gap break the line.
    const bool breaksByDistance = arguments.request.maxGap && request.isPlainRaw();
    const qint64 maxGapMs =
        breaksByDistance
            ? parseDuration(QStringLiteral("--max-gap"), QString::fromStdString(*arguments.request.maxGap))
            : 0;
    const std::vector<Series> all = openAllSeries(arguments.series);
    checkHasNumbers(all);
    const Extent extent = findExtent(all, request, range);
    Chart chart;
    chart.fromMs = extent.fromMs;
    chart.toMs = extent.toMs;
    chart.zone = programZone();
    qint64 infiniteCount = 0;
    for (const Series& series : all) {
        const LineBins empty(extent.fromMs, extent.toMs, binCount, maxGapMs);
        chart.lines.push_back({{}, readBins(series, request, range, empty)});
        infiniteCount += chart.lines.back().bins.infiniteCount();
        if (chart.lines.back().bins.sampleCount() == 0 && all.size() > 1)
            printWarning(QStringLiteral("%1 has nothing to plot").arg(series.path));
    }
    fillValues(all, request, chart);
    fillTexts(all, request, chart);
    if (infiniteCount > 0)
        printWarning(QStringLiteral("%1 cannot be drawn")
                         .arg(counted(infiniteCount, QStringLiteral("infinite value"))));
    return chart;
}

int sizeOption(const char* option, const std::optional<int>& given, int usual, int least)
{
    constexpr int kGreatest = 10'000;
    if (given && (*given < least || *given > kGreatest))
        throw CommandError(ExitCode::Usage, QStringLiteral("%1: %2 is not between %3 and %4")
                                                .arg(QLatin1String(option))
                                                .arg(*given)
                                                .arg(least)
                                                .arg(kGreatest));
    return given.value_or(std::max(usual, least));
}

ChartSize chooseSize(const Arguments& arguments, ChartSize usual, ChartSize least)
{
    return {sizeOption("--width", arguments.width, usual.width, least.width),
            sizeOption("--height", arguments.height, usual.height, least.height)};
}

/// Leaves room for the prompt below the picture.
ChartSize usualTextSize()
{
    constexpr ChartSize kWithoutTerminal{80, 24};
    constexpr int kMaxHeight = 40;
    if (!isTerminal(Stream::Output))
        return kWithoutTerminal;
    return {terminalWidth(), std::min(terminalHeight() - 2, kMaxHeight)};
}

LineMarks chooseMarks()
{
    const bool hasColors = styled(Stream::Output, Style::Bold, "x") != "x";
    return hasColors ? LineMarks::Colors : LineMarks::Patterns;
}

ExitCode runPlot(const Arguments& arguments)
{
    constexpr ChartSize kUsualSvgSize{900, 400};
    OutputBuffer output;
    if (!arguments.svgPath) {
        const ChartSize size = chooseSize(arguments, usualTextSize(), kLeastTextSize);
        // Two dots side by side in a character.
        output.put(drawText(readChart(arguments, 2 * size.width), size, chooseMarks()));
        output.flush();
        return ExitCode::Good;
    }
    const ChartSize size = chooseSize(arguments, kUsualSvgSize, kLeastSvgSize);
    const QByteArray svg = drawSvg(readChart(arguments, size.width), size);
    OutputFile file(QString::fromStdString(*arguments.svgPath), "--svg");
    output.put(svg);
    output.flush();
    file.keep();
    return ExitCode::Good;
}

constexpr const char* kFooter = R"(
Without --every the records themselves are drawn: where several fall into one column, from the least to the
greatest of them. Nulls break a line, and so do gaps longer than --max-gap. The SVG draws the mean of dense
records as a line, and a band from the least to the greatest. Several series share both axes; without colours
their lines differ by dashes.

Examples:
  kivts plot data/plant --from now-7d --max-gap 1h
  kivts plot data/plant data/other --every 1h --method meana --svg week.svg
)";

} // namespace

Command addPlotCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("plot", "Draw series in the terminal or as SVG");
    addSeriesOptions(*parser, arguments->series);
    addRangeOptions(*parser, arguments->range);
    addRequestOptions(*parser, arguments->request);
    parser
        ->add_option("--svg", arguments->svgPath,
                     "Write an SVG picture to FILE, - for standard output, instead of text")
        ->type_name("FILE");
    parser
        ->add_option("--width", arguments->width,
                     "Characters, of an SVG pixels (default: the terminal's, else 80; 900 pixels)")
        ->type_name("N");
    parser
        ->add_option("--height", arguments->height,
                     "Lines, of an SVG pixels (default: the terminal's, else 24; 400)")
        ->type_name("N");
    parser->footer(kFooter);
    return {parser, [arguments] { return runPlot(*arguments); }};
}

} // namespace Kiv::Cli
