#include "Commands.h"
#include "SharedOptions.h"
#include "ValueText.h"

#include <CLI/CLI.hpp>

#include <QFileInfo>

#include <cstdio>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct SeriesSize {
    qint64 fileCount = 0;
    qint64 recordCount = 0;
    qint64 sizeBytes = 0; ///< record files and the files of their values
};

/// Bytes of a value in its file: floats are stored as doubles, whatever the store's own arithmetic says.
qint64 storedValueSizeBytes(const Series& series)
{
    return isFloat(series.type) ? 8 : series.storage->m_dataLength;
}

SeriesSize measure(const Series& series)
{
    SeriesSize size;
    TSFileStorage& storage = *series.storage;
    for (TSFileInfo file = storage.findFirstFile(); file.found(); file = storage.findNextFile(file)) {
        const qint64 recordSizeBytes =
            storage.getDataLengthForTimestampOffset(file.getDirDepth()) + storedValueSizeBytes(series);
        ++size.fileCount;
        size.recordCount += file.size() / recordSizeBytes;
        size.sizeBytes += file.size() + QFileInfo(file.filePath() + QStringLiteral(".var")).size();
    }
    return size;
}

void printLine(const char* name, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::printf("%-17s %s\n", name, bytes.constData());
}

QString recordText(bool exists, const Interpolate::DataRecord& record)
{
    if (!exists)
        return QStringLiteral("-");
    const QString value = record.value.isNull() ? QStringLiteral("-") : valueText(record.value);
    return formatTime(record.timestamp) + QStringLiteral("  ") + escapedControls(value);
}

ExitCode runInfo(const SeriesOptions& options)
{
    const Series series = openSeries(options);
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    const bool hasFirst = series.first(first);
    const bool hasLast = series.last(last);
    const SeriesSize size = measure(series);

    printLine("series", series.path);
    printLine("type", series.type.word);
    printLine("marker directory", series.type.marker);
    QStringList others = existingMarkers(series.path);
    others.removeAll(series.type.marker);
    if (!others.isEmpty())
        printLine("other markers", others.join(QStringLiteral(", ")));
    printLine("file size limit", QStringLiteral("%1 bytes").arg(series.storage->m_maxFileSize));
    printLine("first record", recordText(hasFirst, first));
    printLine("last record", recordText(hasLast, last));
    printLine("record files", QString::number(size.fileCount));
    printLine("records", QString::number(size.recordCount));
    printLine("bytes on disk", QString::number(size.sizeBytes));
    if (!hasFirst)
        failWithoutRecords(series);
    return ExitCode::Good;
}

} // namespace

Command addInfoCommand(CLI::App& program)
{
    const auto options = std::make_shared<SeriesOptions>();
    CLI::App* const parser =
        program.add_subcommand("info", "Describe a series: type, ends, counts, size on disk");
    addSeriesOptions(*parser, *options);
    parser->footer("\nExamples:\n"
                   "  kivts info data/plant\n"
                   "  kivts info data/other --type uint\n");
    return {parser, [options] { return runInfo(*options); }};
}

} // namespace Kiv::Cli
