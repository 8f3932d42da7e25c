#include "Commands.h"
#include "Companions.h"
#include "DeletePlan.h"
#include "RawRange.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    std::optional<std::string> companion;
    bool isDryRun = false;
    bool isConfirmed = false;
};

/// What is deleted from: the series itself or one beside it.
struct Target {
    QString label;
    QString marker; ///< as the store calls it
    Series series;
    DeletePlan plan;
};

void checkCanDelete(const Series& series, const TimeRange& range)
{
    for (const TimeBound& bound : {range.from, range.to}) {
        if (!isExactBound(bound))
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral("%1 cannot be an end of what is deleted; move it to %2 or %3")
                    .arg(formatTime(bound.value), formatTime(kBeforeSymbols), formatTime(kAfterSymbols)));
    }
    if (isFloat(series.type))
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral("%1 is a float series, from which the store cannot delete exactly; to drop "
                           "all of it remove the directory %1/%2")
                .arg(series.path, series.type.marker));
}

std::vector<Target> chooseTargets(const Arguments& arguments, const TimeRange& range)
{
    Series series = openSeries(arguments.series);
    std::vector<Target> targets;
    if (!arguments.companion) {
        checkCanDelete(series, range);
        targets.push_back({QStringLiteral("series"), QString(), std::move(series), {}});
    } else {
        for (const Companion& companion : parseCompanions(QString::fromStdString(*arguments.companion))) {
            Series beside = openCompanion(series, companion.marker);
            checkCanDelete(beside, range);
            if (beside.storage)
                targets.push_back({companion.label, companion.marker, std::move(beside), {}});
        }
    }
    for (Target& target : targets)
        target.plan = planDeletion(target.series, range);
    return targets;
}

void printPlan(const Target& target, std::size_t shownFileCount)
{
    const DeletePlan& plan = target.plan;
    const auto line = [](const QString& text) { std::printf("%s\n", text.toUtf8().constData()); };
    line(QStringLiteral("%1 %2: %3 from %4 to %5")
             .arg(target.label, target.series.path, counted(plan.recordCount, QStringLiteral("record")),
                  formatTime(plan.fromMs), formatTime(plan.toMs)));
    for (std::size_t i = 0; i < plan.files.size() && i < shownFileCount; ++i) {
        const FileFate& file = plan.files[i];
        line(QStringLiteral("  %1  %2  %3 of %4")
                 .arg(file.isRemoved() ? QStringLiteral("remove ") : QStringLiteral("rewrite"), file.path,
                      QString::number(file.deletedCount),
                      counted(file.recordCount, QStringLiteral("record"))));
    }
    if (plan.files.size() > shownFileCount)
        line(QStringLiteral("  and %1; --dry-run lists them")
                 .arg(counted(static_cast<qint64>(plan.files.size() - shownFileCount),
                              QStringLiteral("more file"))));
}

/// \throws CommandError (refused) unless somebody says yes
void askForConsent(qint64 recordCount)
{
    if (!::isatty(STDIN_FILENO))
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("nothing deleted: there is no terminal to ask on; add --yes"));
    std::fflush(stdout);
    std::fprintf(stderr, "Delete %s? [y/N] ",
                 counted(recordCount, QStringLiteral("record")).toUtf8().constData());
    std::string answer;
    for (int character = std::getchar(); character != EOF && character != '\n'; character = std::getchar())
        answer += static_cast<char>(character);
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw CommandError(ExitCode::Refused, QStringLiteral("nothing deleted"));
}

/// \return how many records are gone
qint64 deleteRange(const Series& owner, const Target& target, const TimeRange& range)
{
    owner.storage->deleteDataRecords(range.from.value, range.to.value, target.marker);
    const qint64 leftCount =
        countRecords(target.series, {{target.plan.fromMs, false}, {target.plan.toMs, false}});
    if (leftCount > 0)
        printWarning(QStringLiteral("%1 of the range could not be deleted from the %2")
                         .arg(counted(leftCount, QStringLiteral("record")), target.label));
    return target.plan.recordCount - leftCount;
}

ExitCode runDelete(const Arguments& arguments)
{
    constexpr std::size_t kShownFileCount = 20;
    const TimeRange range = parseTimeRange(arguments.range);
    const std::vector<Target> targets = chooseTargets(arguments, range);
    qint64 recordCount = 0;
    for (const Target& target : targets) {
        if (target.plan.recordCount > 0)
            printPlan(target, arguments.isDryRun ? target.plan.files.size() : kShownFileCount);
        recordCount += target.plan.recordCount;
    }
    if (recordCount == 0)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("there is nothing to delete"));
    if (arguments.isDryRun)
        return ExitCode::Good;
    if (!arguments.isConfirmed)
        askForConsent(recordCount);

    const Series owner = openSeries(arguments.series);
    qint64 deletedCount = 0;
    for (const Target& target : targets)
        deletedCount += deleteRange(owner, target, range);
    printMessage(QStringLiteral("deleted %1").arg(counted(deletedCount, QStringLiteral("record"))));
    return deletedCount == recordCount ? ExitCode::Good : ExitCode::FileError;
}

constexpr const char* kFooter = R"(
Shows what the range takes and asks before it deletes; without a terminal it refuses, unless --yes is given.
Both ends of the range must be given. The series beside the series stay as they are unless --companion
names them. Directories that become empty are removed.

Examples:
  kivts delete data/plant --from 2024-05-01 --to 2024-05-31T23:59:59.999 --dry-run
  kivts delete data/plant --from first --to 2019-12-31T23:59:59.999 --yes
)";

} // namespace

Command addDeleteCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("delete", "Delete the records of a range");
    addSeriesOptions(*parser, arguments->series);
    addRangeOptions(*parser, arguments->range);
    parser->get_option("--from")->required()->description(
        "Start of the range, inclusive: ISO 8601 (UTC without zone), @seconds,\nmilliseconds, first, last or "
        "now");
    parser->get_option("--to")->required()->description("End of the range, inclusive");
    parser
        ->add_option("--companion", arguments->companion,
                     "Delete from the series beside this one instead: late (by the time of the\n"
                     "late write), history (of overwritten values), or both")
        ->type_name("late,history");
    parser->add_flag("--dry-run", arguments->isDryRun, "Only show what would be deleted");
    parser->add_flag("--yes", arguments->isConfirmed, "Do not ask");
    parser->footer(kFooter);
    return {parser, [arguments] { return runDelete(*arguments); }};
}

} // namespace Kiv::Cli
