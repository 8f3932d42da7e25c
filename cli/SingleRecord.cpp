#include "SingleRecord.h"

#include "RecordPrinter.h"

namespace Kiv::Cli
{

ExitCode printSingleRecord(const RecordOptions& options, const RecordLookUp& lookUp)
{
    RecordPrinter printer(parseOutputFormat(QString::fromStdString(options.formatWord)));
    const Series series = openSeries(options.series);
    Interpolate::DataRecord record;
    if (!lookUp(series, record))
        failWithoutRecords(series);
    printer.print(record);
    printer.finish();
    return ExitCode::Good;
}

} // namespace Kiv::Cli
