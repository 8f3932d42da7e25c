#include "Commands.h"
#include "Consent.h"
#include "OverwriteHistory.h"
#include "RowPrinter.h"
#include "SeriesLock.h"
#include "SharedOptions.h"
#include "ValueText.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    OutputOptions output;
    std::optional<std::string> undo;
    bool isDryRun = false;
    bool isConfirmed = false;
};

/// The value at a time; null without one.
QVariant valueAt(const Series& series, qint64 timestampMs)
{
    Interpolate::DataRecord record;
    return series.at(timestampMs, record) ? record.value : QVariant();
}

ExitCode printHistories(const std::vector<Series>& all, const TimeRange& range, OutputFormat format)
{
    std::vector<RowColumn> columns = {
        {QStringLiteral("timestamp"), CellKind::Time},
        {QStringLiteral("overwritten"), CellKind::Time},
        {QStringLiteral("oldValue"), CellKind::Value, QStringLiteral("old value")},
        {QStringLiteral("valueNow"), CellKind::Value, QStringLiteral("value now")}};
    if (all.size() > 1)
        columns.insert(columns.begin(), {QStringLiteral("series")});
    RowPrinter printer(format, columns);
    for (const Series& series : all) {
        visitOldValues(series, range, [&](const OldValue& old) {
            QVariantList cells = {old.timestampMs, old.overwrittenMs, old.value,
                                  valueAt(series, old.timestampMs)};
            if (all.size() > 1)
                cells.prepend(series.path);
            printer.print(cells);
        });
    }
    printer.finish();
    return printer.rowCount() > 0 ? ExitCode::Good : ExitCode::NothingFound;
}

/// Unlike the comparison of variants it finds NaN equal to itself.
bool isSameValue(const QVariant& a, const QVariant& b)
{
    return a.typeId() == b.typeId() && a.isNull() == b.isNull() && valueText(a) == valueText(b);
}

/// What an undo changes.
struct Undo {
    OldValue old;
    QVariant present; ///< null when there is no record any more

    bool operator==(const Undo& other) const
    {
        return old.overwrittenMs == other.old.overwrittenMs && isSameValue(old.value, other.old.value) &&
               isSameValue(present, other.present);
    }
};

QString shownValue(const QVariant& value)
{
    return value.isNull() ? QStringLiteral("nothing") : escapedControls(valueText(value));
}

/// \throws CommandError when there is nothing to undo
Undo planUndo(const Series& series, qint64 timestampMs)
{
    const std::optional<OldValue> old = newestOldValue(series, timestampMs);
    if (!old)
        throw CommandError(
            ExitCode::NothingFound,
            QStringLiteral("%1 has no old value of exactly %2; kivts history %1 lists those that were kept")
                .arg(series.path, formatTime(timestampMs)));
    return {*old, valueAt(series, timestampMs)};
}

qint64 undoTime(const Arguments& arguments)
{
    const QString option = QStringLiteral("--undo");
    const TimeBound time = parseTimeBound(option, QString::fromStdString(*arguments.undo), RangeEnd::From);
    if (time.isSymbolic)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: give the time of the sample itself, as kivts history prints it").arg(option));
    return time.value;
}

void checkCanUndo(const Arguments& arguments, const Series& series)
{
    if (arguments.series.paths.size() > 1)
        throw CommandError(ExitCode::Usage, QStringLiteral("--undo: give one series"));
    if (isFloat(series.type))
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("%1 is a float series, in which the store cannot overwrite exactly")
                               .arg(series.path));
}

void writeBack(const Series& series, qint64 timestampMs, const Undo& undo)
{
    const SeriesLock lock(series.path);
    if (planUndo(series, timestampMs) != undo)
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("nothing written: the sample has changed since; look again"));
    if (!series.storage->writeDataRecords({{timestampMs, undo.old.value}}, false, true))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("%1 could not be written to").arg(series.path));
}

ExitCode runUndo(const Arguments& arguments)
{
    const qint64 timestampMs = undoTime(arguments);
    const Series series = openSeries(arguments.series);
    checkCanUndo(arguments, series);
    const Undo undo = planUndo(series, timestampMs);
    std::printf("%s\n",
                QStringLiteral("%1 at %2: now %3, then again %4, which was overwritten at %5")
                    .arg(escapedControls(series.path), formatTime(timestampMs), shownValue(undo.present),
                         shownValue(undo.old.value), formatTime(undo.old.overwrittenMs))
                    .toUtf8()
                    .constData());
    // Nothing is written that could not be shown.
    flushOutput();
    if (arguments.isDryRun)
        return ExitCode::Good;
    if (isSameValue(undo.present, undo.old.value)) {
        printMessage(QStringLiteral("nothing written: the value is the same"));
        return ExitCode::Good;
    }
    if (!arguments.isConfirmed)
        askForConsent(QStringLiteral("Write the old value back?"), QStringLiteral("nothing written"));
    writeBack(series, timestampMs, undo);
    printMessage(undo.present.isNull()
                     ? QStringLiteral("wrote the old value back")
                     : QStringLiteral("wrote the old value back; the other one is in the history now"));
    return ExitCode::Good;
}

ExitCode runHistory(const Arguments& arguments)
{
    if (arguments.undo)
        return runUndo(arguments);
    const TimeRange range = parseTimeRange(arguments.range);
    const std::vector<Series> all = openAllSeries(arguments.series);
    const ExitCode code =
        printTo(arguments.output, [&](OutputFormat format) { return printHistories(all, range, format); });
    if (code == ExitCode::NothingFound)
        printMessage(QStringLiteral("nothing found; old values are kept by import --keep-old"));
    return code;
}

/// Listing and undoing have options of their own.
void checkOptions(const CLI::App& parser)
{
    const bool undoes = parser.count("--undo") > 0;
    const std::vector<std::string> foreign =
        undoes ? std::vector<std::string>{"--from", "--to", "--format", "--json", "--output"}
               : std::vector<std::string>{"--dry-run", "--yes", "--no-lock"};
    for (const std::string& name : foreign) {
        if (parser.count(name) > 0)
            throw CommandError(
                ExitCode::Usage,
                QString::fromStdString(name) +
                    (undoes ? QStringLiteral(" does not go with --undo, which is about one sample")
                            : QStringLiteral(" is about --undo; add --undo T, or leave it out")));
    }
}

constexpr const char* kFooter = R"(
A row for each value that was overwritten while old values were kept: when, the old value, and the one of
today. The range is that of the samples. --undo puts the value of T that was overwritten last back in its
place; the present one goes into the history, so that a second --undo takes the first one back. It shows both
values and asks; without a terminal it refuses, unless --yes is given.

Examples:
  kivts history data/plant --from 2024-05 --to 2024-05
  kivts history data/plant --undo 2024-05-17T08:00:00Z --dry-run
)";

} // namespace

Command addHistoryCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("history", "List overwritten values, or write one of them back");
    addSeriesOptions(*parser, arguments->series);
    addRangeOptions(*parser, arguments->range);
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->add_option("--undo", arguments->undo, "Write the newest old value of the sample at T back")
        ->type_name("T");
    parser->add_flag("--dry-run", arguments->isDryRun, "Only show what --undo would write");
    parser->add_flag("--yes", arguments->isConfirmed, "Do not ask before --undo writes");
    addLockOption(*parser);
    parser->footer(kFooter);
    return {parser, [parser, arguments] {
                checkOptions(*parser);
                return runHistory(*arguments);
            }};
}

} // namespace Kiv::Cli
