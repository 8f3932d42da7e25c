#include "SingleRecord.h"
#include "TimeText.h"

#include <CLI/CLI.hpp>

#include <QDateTime>

#include <memory>

namespace Kiv::Cli
{

namespace
{

bool findAt(const Series& series, const TimeBound& time, Interpolate::DataRecord& record)
{
    if (time.isSymbolic && time.value == kFirstRecord)
        return series.first(record);
    if (time.isSymbolic && time.value == kLastRecord)
        return series.last(record);
    const qint64 timestampMs = time.isSymbolic ? QDateTime::currentMSecsSinceEpoch() : time.value;
    if (series.at(timestampMs, record))
        return true;
    throw CommandError(ExitCode::NothingFound,
                       QStringLiteral("no record at exactly %1; kivts read --from --to shows what is near")
                           .arg(formatTime(timestampMs)));
}

} // namespace

Command addAtCommand(CLI::App& program)
{
    const auto options = std::make_shared<RecordOptions>();
    const auto timeText = std::make_shared<std::string>();
    CLI::App* const parser = program.add_subcommand("at", "Print the record at exactly one time");
    addRecordOptions(*parser, *options);
    parser
        ->add_option("T", *timeText,
                     "ISO 8601 (UTC without zone), @seconds, milliseconds, first, last or now")
        ->required()
        ->type_name("");
    parser->footer("\nA negative number of milliseconds stands behind --.\n"
                   "\nExamples:\n"
                   "  kivts at data/plant 2024-05-17T13:45:12Z\n"
                   "  kivts at data/plant -- -1000\n");
    return {parser, [options, timeText] {
                const TimeBound time = parseTimeBound(QStringLiteral("T"), QString::fromStdString(*timeText));
                return printSingleRecord(*options,
                                         [time](const Series& series, Interpolate::DataRecord& record) {
                                             return findAt(series, time, record);
                                         });
            }};
}

} // namespace Kiv::Cli
