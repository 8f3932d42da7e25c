#include "Commands.h"
#include "Companions.h"
#include "Consent.h"
#include "DeletePlan.h"
#include "Errors.h"
#include "Interrupt.h"
#include "RawRange.h"
#include "Results.h"
#include "SeriesLock.h"
#include "SharedOptions.h"
#include "TimeText.h"

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

void checkCanDelete(const Series& series)
{
    if (isFloat(series.type))
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral("%1 is a float series, from which the store cannot delete exactly; to drop "
                           "all of it remove the directory %1/%2")
                .arg(series.path, series.type.marker));
}

/// Adds what is deleted from for one series.
void addTargets(const Arguments& arguments, Series series, std::vector<Target>& targets)
{
    if (!arguments.companion) {
        checkCanDelete(series);
        targets.push_back({QStringLiteral("series"), QString(), std::move(series), {}});
        return;
    }
    for (const Companion& companion : parseCompanions(QString::fromStdString(*arguments.companion))) {
        Series beside = openCompanion(series, companion.marker);
        if (beside.storage)
            targets.push_back({companion.label, companion.marker, std::move(beside), {}});
    }
}

std::vector<Target> chooseTargets(const Arguments& arguments, const TimeRange& range,
                                  std::vector<SeriesLock>& locks)
{
    std::vector<Target> targets;
    for (Series& series : openAllSeries(arguments.series)) {
        if (!arguments.isDryRun)
            locks.emplace_back(series.path);
        addTargets(arguments, std::move(series), targets);
    }
    for (Target& target : targets) {
        throwIfInterrupted();
        target.plan = planDeletion(target.series, range);
    }
    return targets;
}

void printLine(const QString& text)
{
    std::printf("%s\n", text.toUtf8().constData());
}

void printPlan(const Target& target, std::size_t shownFileCount)
{
    const DeletePlan& plan = target.plan;
    printLine(QStringLiteral("%1 %2: %3 from %4 to %5")
                  .arg(target.label, target.series.path, counted(plan.recordCount, QStringLiteral("record")),
                       formatTime(plan.fromMs), formatTime(plan.toMs)));
    for (std::size_t i = 0; i < plan.files.size() && i < shownFileCount; ++i) {
        const FileFate& file = plan.files[i];
        printLine(QStringLiteral("  %1  %2  %3 of %4")
                      .arg(file.isRemoved() ? QStringLiteral("remove ") : QStringLiteral("rewrite"),
                           file.path, QString::number(file.deletedCount),
                           counted(file.recordCount, QStringLiteral("record"))));
    }
    if (plan.files.size() > shownFileCount)
        printLine(QStringLiteral("  and %1; --dry-run lists them")
                      .arg(counted(static_cast<qint64>(plan.files.size() - shownFileCount),
                                   QStringLiteral("more file"))));
    if (!plan.removedDirectory.isEmpty())
        printLine(QStringLiteral("  remove   %1, all of it").arg(plan.removedDirectory));
}

/// The store would remove a directory with whatever else is in it.
void checkForeignFiles(const DeletePlan& plan)
{
    if (!plan.foreignFiles.isEmpty())
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral("nothing deleted: %1 holds %2 that no series has, the first is %3; move "
                           "what you need, remove the rest")
                .arg(plan.removedDirectory, counted(plan.foreignFiles.size(), QStringLiteral("file")),
                     plan.foreignFiles.first()));
}

/// Deletes what was planned, if that is still what there is.
/// \return how many records are gone
qint64 deletePlanned(const Arguments& arguments, const Target& target)
{
    const DeletePlan& plan = target.plan;
    if (plan.recordCount == 0)
        return 0;
    if (planDeletion(target.series, plan.range) != plan)
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("nothing deleted from the %1 %2: it has changed since; look again")
                               .arg(target.label, target.series.path));
    const Series owner = openSeries(target.series.path, QString::fromStdString(arguments.series.typeWord));
    owner.storage->deleteDataRecords(plan.range.from.value, plan.range.to.value, target.marker);
    const qint64 leftCount = countRecords(target.series, {{plan.fromMs, false}, {plan.toMs, false}});
    if (leftCount > 0)
        printWarning(
            QStringLiteral("%1 of the range could not be deleted from the %2 %3")
                .arg(counted(leftCount, QStringLiteral("record")), target.label, target.series.path));
    return plan.recordCount - leftCount;
}

qint64 showPlans(const std::vector<Target>& targets, bool isDryRun)
{
    constexpr std::size_t kShownFileCount = 20;
    qint64 recordCount = 0;
    for (const Target& target : targets) {
        if (target.plan.recordCount > 0)
            printPlan(target, isDryRun ? target.plan.files.size() : kShownFileCount);
        recordCount += target.plan.recordCount;
    }
    // Nothing is deleted that could not be shown.
    flushOutput();
    for (const Target& target : targets)
        checkForeignFiles(target.plan);
    return recordCount;
}

/// Looks for an interrupt between the series, each of which is deleted from in one go.
void checkGoesOn(qint64 deletedCount)
{
    if (!isInterrupted())
        return;
    const QString done = deletedCount == 0 ? QStringLiteral("nothing deleted")
                                           : QStringLiteral("deleted %1, the rest is as it was")
                                                 .arg(counted(deletedCount, QStringLiteral("record")));
    throw CommandError(ExitCode::Interrupted, QStringLiteral("interrupted; ") + done);
}

/// \return how many records are gone; who throws has said how many that are
qint64 deleteAll(const Arguments& arguments, const std::vector<Target>& targets)
{
    qint64 deletedCount = 0;
    for (const Target& target : targets) {
        checkGoesOn(deletedCount);
        try {
            deletedCount += deletePlanned(arguments, target);
        } catch (const CommandError&) {
            checkGoesOn(deletedCount);
            if (deletedCount > 0)
                printWarning(QStringLiteral("%1 of the other series are deleted already")
                                 .arg(counted(deletedCount, QStringLiteral("record"))));
            throw;
        }
    }
    return deletedCount;
}

ExitCode runDelete(const Arguments& arguments)
{
    const TimeRange range = parseTimeRange(arguments.range);
    checkExactBounds(range);
    std::vector<SeriesLock> locks;
    const std::vector<Target> targets = chooseTargets(arguments, range, locks);
    const qint64 recordCount = showPlans(targets, arguments.isDryRun);
    if (recordCount == 0)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("there is nothing to delete"));
    if (arguments.isDryRun)
        return ExitCode::Good;
    if (!arguments.isConfirmed)
        askForConsent(QStringLiteral("Delete %1?").arg(counted(recordCount, QStringLiteral("record"))),
                      QStringLiteral("nothing deleted"));

    const qint64 deletedCount = deleteAll(arguments, targets);
    printMessage(QStringLiteral("deleted %1").arg(counted(deletedCount, QStringLiteral("record"))));
    return deletedCount == recordCount ? ExitCode::Good : ExitCode::FileError;
}

constexpr const char* kFooter = R"(
Shows what the range takes and asks before it deletes; without a terminal it refuses, unless --yes is given.
Both ends of the range must be given. The series beside the series stay as they are unless --companion
names them. Several series are asked for once. Directories that become empty are removed, but not the base
directory of the series; with the last record goes the directory of the records, which is refused while it
holds files of somebody else. The series is locked meanwhile; a second writer is refused with exit code 5.

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
        "Start of the range, inclusive: 2024, 2024-05, 2024-05-17T13:45:12, now-7d,\n"
        "today, lastmonth, first, ...; see kivts --help");
    parser->get_option("--to")->required()->description(
        "End of the range, inclusive; of a year, month or day its end");
    parser
        ->add_option("--companion", arguments->companion,
                     "Delete from the series beside this one instead: late (by the time of the\n"
                     "late write), history (of overwritten values), or both")
        ->type_name("late,history");
    parser->add_flag("--dry-run", arguments->isDryRun, "Only show what would be deleted");
    parser->add_flag("--yes", arguments->isConfirmed, "Do not ask");
    addLockOption(*parser);
    parser->footer(kFooter);
    return {parser, [arguments] { return runDelete(*arguments); }};
}

} // namespace Kiv::Cli
