#include "SingleRecord.h"

#include "RecordPrinter.h"

namespace Kiv::Cli
{

ExitCode printSingleRecord(const RecordOptions& options, const RecordLookUp& lookUp)
{
    return printTo(options.output, [&](OutputFormat format) {
        RecordPrinter printer(format);
        const std::vector<Series> all = openAllSeries(options.series);
        prepareForSeries(printer, all);
        for (const Series& series : all) {
            Interpolate::DataRecord record;
            printer.setSeries(series.path);
            if (lookUp(series, record))
                printer.print(record);
            else if (all.size() == 1)
                failWithoutRecords(series);
            else
                printWarning(QStringLiteral("%1 holds no such record").arg(series.path));
        }
        printer.finish();
        return printer.recordCount() > 0 ? ExitCode::Good : ExitCode::NothingFound;
    });
}

} // namespace Kiv::Cli
