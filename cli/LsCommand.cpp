#include "AgeText.h"
#include "Commands.h"
#include "Interrupt.h"
#include "RowPrinter.h"
#include "SeriesFiles.h"
#include "SeriesSearch.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <QDateTime>

#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    std::vector<std::string> directories = {"."};
    OutputOptions output;
    bool isLong = false;
};

/// Builds the rows of one listing.
class Listing
{
public:
    Listing(OutputFormat format, bool isLong) : m_isTable(format == OutputFormat::Table), m_isLong(isLong) {}

    std::vector<RowColumn> columns() const
    {
        std::vector<RowColumn> all = {{QStringLiteral("series")}};
        if (m_isLong) {
            all.push_back({QStringLiteral("type")});
            all.push_back({QStringLiteral("unit")});
            all.push_back({QStringLiteral("first"), CellKind::Time});
        }
        all.push_back({QStringLiteral("last"), CellKind::Time});
        all.push_back({QStringLiteral("value"), CellKind::Value});
        all.push_back(m_isTable ? RowColumn{QStringLiteral("age")}
                                : RowColumn{QStringLiteral("ageSeconds"), CellKind::Number});
        if (m_isLong) {
            all.push_back({QStringLiteral("records"), CellKind::Number});
            all.push_back({QStringLiteral("bytes"), CellKind::Number});
            all.push_back({QStringLiteral("description")});
        }
        return all;
    }

    QVariantList cells(const Series& series) const
    {
        const Sidecar sidecar = Sidecar::load(series.path);
        QVariantList all = {series.path};
        if (m_isLong) {
            Interpolate::DataRecord first;
            const bool hasFirst = series.first(first);
            all << series.type.word << textCell(sidecar.unit())
                << (hasFirst ? QVariant(first.timestamp) : QVariant());
        }
        Interpolate::DataRecord last;
        if (series.last(last))
            all << last.timestamp << last.value << ageCell(last.timestamp);
        else
            all << QVariant() << QVariant() << QVariant();
        if (m_isLong) {
            const SeriesFiles files = listFiles(series);
            all << files.recordCount() << files.sizeBytes() << textCell(sidecar.description());
        }
        return all;
    }

    QVariantList emptyCells(const QString& path) const
    {
        QVariantList all(static_cast<qsizetype>(columns().size()));
        all.front() = path;
        return all;
    }

private:
    static QVariant textCell(const QString& text) { return text.isEmpty() ? QVariant() : QVariant(text); }

    QVariant ageCell(qint64 timestampMs) const
    {
        const qint64 ageSeconds = (QDateTime::currentMSecsSinceEpoch() - timestampMs) / 1000;
        return m_isTable ? QVariant(ageText(ageSeconds)) : QVariant(ageSeconds);
    }

    bool m_isTable;
    bool m_isLong;
};

ExitCode printListing(const Arguments& arguments, const QStringList& paths, OutputFormat format)
{
    const Listing listing(format, arguments.isLong);
    RowPrinter printer(format, listing.columns());
    for (const QString& path : paths) {
        QVariantList cells;
        try {
            cells = listing.cells(openSeries(path, QString()));
        } catch (const CommandError& error) {
            throwIfInterrupted();
            const bool lacksType = error.code() == ExitCode::Usage;
            printWarning(lacksType ? error.text() + QStringLiteral("; kivts set keeps it") : error.text());
            cells = listing.emptyCells(path);
        }
        printer.print(cells);
    }
    printer.finish();
    return paths.isEmpty() ? ExitCode::NothingFound : ExitCode::Good;
}

ExitCode runLs(const Arguments& arguments)
{
    QStringList directories;
    for (const std::string& directory : arguments.directories)
        directories += QString::fromStdString(directory);
    const QStringList paths = findSeries(directories);
    const ExitCode code = printTo(
        arguments.output, [&](OutputFormat format) { return printListing(arguments, paths, format); });
    if (code == ExitCode::NothingFound)
        printMessage(QStringLiteral("no series in or below %1").arg(directories.join(QStringLiteral(", "))));
    return code;
}

constexpr const char* kFooter = R"(
Lists every directory with a series.json or with records, with its last record and how long ago that was (in
seconds but for tables). A series that cannot be opened is listed without values, with a warning. Symbolic
links are followed where they lead outside of the directories.

Examples:
  kivts ls data
  kivts ls -l data archive --format csv
)";

} // namespace

Command addLsCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("ls", "List the series below directories");
    parser
        ->add_option("DIR", arguments->directories,
                     "Where to look for series, deeper down too (default: this directory)")
        ->type_name("");
    parser->add_flag("-l,--long", arguments->isLong,
                     "Also type, unit, first record, records, bytes and description");
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runLs(*arguments); }};
}

} // namespace Kiv::Cli
