#include "BenchRun.h"
#include "Commands.h"
#include "RowPrinter.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <QDir>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <cmath>
#include <memory>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kLeastSamples = 1'000;
constexpr qint64 kMostSamples = 10'000'000'000;

struct Arguments {
    qint64 sampleCount = 1'000'000;
    std::string directory;
    OutputOptions output;
};

/// As many digits as a measured time deserves.
double rounded(double number)
{
    return QString::number(number, 'g', 4).toDouble();
}

QString megabytes(qint64 bytes)
{
    constexpr qint64 kMegabyte = 1'000'000;
    return QStringLiteral("%1 MB").arg((bytes + kMegabyte - 1) / kMegabyte);
}

QString usableDirectory(const Arguments& arguments)
{
    QString directory =
        arguments.directory.empty() ? QDir::tempPath() : QString::fromStdString(arguments.directory);
    if (!QFileInfo(directory).isDir())
        throw CommandError(ExitCode::FileError, QStringLiteral("--dir: %1 is no directory").arg(directory));
    const qint64 needed = BenchRun::spaceNeeded(arguments.sampleCount);
    const qint64 available = QStorageInfo(directory).bytesAvailable();
    if (available < needed)
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("--dir: %1 has %2 free, %3 are needed; give another --dir or fewer "
                                          "--samples")
                               .arg(directory, megabytes(available), megabytes(needed)));
    return directory;
}

void printResults(const std::vector<BenchResult>& results, OutputFormat format)
{
    RowPrinter printer(format,
                       {{QStringLiteral("work")},
                        {QStringLiteral("samples"), CellKind::Number},
                        {QStringLiteral("seconds"), CellKind::Number},
                        {QStringLiteral("samples_per_second"), CellKind::Number, QStringLiteral("samples/s")},
                        {QStringLiteral("limit")},
                        {QStringLiteral("limit_seconds"), CellKind::Number, QStringLiteral("limit seconds")},
                        {QStringLiteral("ratio"), CellKind::Number}});
    for (const BenchResult& result : results)
        printer.print({result.work, result.count, rounded(result.seconds),
                       std::round(static_cast<double>(result.count) / result.seconds), result.limit,
                       rounded(result.limitSeconds), rounded(result.seconds / result.limitSeconds)});
    printer.finish();
}

ExitCode runBench(const Arguments& arguments)
{
    if (arguments.sampleCount < kLeastSamples || arguments.sampleCount > kMostSamples)
        throw CommandError(ExitCode::Usage, QStringLiteral("--samples: %1 is not between %2 and %3")
                                                .arg(arguments.sampleCount)
                                                .arg(kLeastSamples)
                                                .arg(kMostSamples));
    return printTo(arguments.output, [&arguments](OutputFormat format) {
        const QString directory = usableDirectory(arguments);
        const QTemporaryDir temporary(directory + QStringLiteral("/kivts-bench-XXXXXX"));
        if (!temporary.isValid())
            throw CommandError(
                ExitCode::FileError,
                QStringLiteral("--dir: cannot write to %1: %2").arg(directory, temporary.errorString()));
        printMessage(QStringLiteral("measuring %1 of double in %2")
                         .arg(counted(arguments.sampleCount, QStringLiteral("sample")), directory));
        printResults(BenchRun(temporary.path(), arguments.sampleCount).run(), format);
        return ExitCode::Good;
    });
}

constexpr const char* kFooter = R"(
Writes a series of one sample a second to a directory of its own, which is removed at the end, and reads it
back. Beside each figure stands what plain files take for the same bytes: written, read, or read at one place
a lookup. The ratio tells how many times as long the store takes. Nothing waits for the disk itself, and what
was just written is mostly read from memory.

Examples:
  kivts bench
  kivts bench --samples 100000 --dir /var/tmp --format json
)";

} // namespace

Command addBenchCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("bench", "Measure the store on this machine");
    parser->add_option("--samples", arguments->sampleCount, "Size of the series (default 1000000)")
        ->type_name("N");
    parser
        ->add_option("--dir", arguments->directory,
                     "Where to write (default the system's directory for temporary files)")
        ->type_name("DIR");
    addOutputOptions(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runBench(*arguments); }};
}

} // namespace Kiv::Cli
