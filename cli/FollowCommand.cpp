#include "ChangeWatch.h"
#include "Commands.h"
#include "DurationText.h"
#include "RowPrinter.h"
#include "SeriesTail.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <QElapsedTimer>

#include <algorithm>
#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    std::string formatWord;
    qint64 last = 10;
    std::optional<qint64> count;
    std::optional<std::string> duration;
    std::optional<std::string> poll;
};

struct Limits {
    qint64 lastCount = 0;
    qint64 rowCount = 0;              ///< 0 for none
    std::optional<qint64> durationMs; ///< nothing for none
    std::optional<qint64> pollMs;
};

OutputFormat parseFollowFormat(const Arguments& arguments)
{
    const OutputFormat format = parseOutputFormat(QString::fromStdString(arguments.formatWord));
    if (format == OutputFormat::Json)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--format: json is one array and would not end; take ndjson"));
    return format;
}

std::optional<qint64> optionalDuration(const char* option, const std::optional<std::string>& text)
{
    return text ? std::optional(parseDuration(QLatin1String(option), QString::fromStdString(*text)))
                : std::nullopt;
}

Limits makeLimits(const Arguments& arguments)
{
    if (arguments.last < 0)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--last: %1 is no number of records").arg(arguments.last));
    if (arguments.count && *arguments.count < 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--count: %1 is no number of rows above 0").arg(*arguments.count));
    return {arguments.last, arguments.count.value_or(0), optionalDuration("--for", arguments.duration),
            optionalDuration("--poll", arguments.poll)};
}

/// Follows some series until a limit is reached.
class Follower
{
public:
    Follower(const std::vector<Series>& all, const Limits& limits, OutputFormat format)
        : m_limits(limits), m_watch(limits.pollMs), m_isNamed(all.size() > 1), m_rows(format, columns(all))
    {
        m_elapsed.start();
        for (const Series& series : all)
            m_tails.emplace_back(series);
    }

    ExitCode run()
    {
        for (SeriesTail& tail : m_tails) {
            for (const Interpolate::DataRecord& record : tail.start(m_limits.lastCount))
                print(tail, record, QStringLiteral("record"));
        }
        m_rows.flush();
        lookAtAll();
        // One look more when the time is over: something may have come since the last one.
        for (bool hasTime = true; hasTime && !isComplete();) {
            hasTime = waitForChange();
            lookAtAll();
        }
        m_rows.finish();
        return m_rows.rowCount() > 0 ? ExitCode::Good : ExitCode::NothingFound;
    }

private:
    std::vector<RowColumn> columns(const std::vector<Series>& all) const
    {
        std::vector<RowColumn> columns = {{QStringLiteral("timestamp"), CellKind::Time},
                                          {QStringLiteral("kind"), CellKind::Text},
                                          {QStringLiteral("value"), CellKind::Value}};
        if (m_isNamed)
            columns.insert(columns.begin(), {QStringLiteral("series"), CellKind::Text});
        else if (const QString unit = Sidecar::load(all.front().path).unit(); !unit.isEmpty())
            columns.back().tableName = QStringLiteral("value [%1]").arg(unit);
        return columns;
    }

    /// Directories may come while they are listed: only when their list stays the same is none missed.
    void watchDirectories()
    {
        constexpr int kMaxTries = 10;
        QStringList watched;
        for (int tries = 0; tries < kMaxTries; ++tries) {
            QStringList directories;
            for (const SeriesTail& tail : m_tails)
                directories += tail.directories();
            if (directories == watched)
                return;
            m_watch.setDirectories(directories);
            watched = directories;
        }
    }

    /// \return whether there is time left
    bool waitForChange()
    {
        const std::optional<qint64> restMs =
            m_limits.durationMs ? std::optional(*m_limits.durationMs - m_elapsed.elapsed()) : std::nullopt;
        const bool isInDoubt = std::any_of(m_tails.begin(), m_tails.end(),
                                           [](const SeriesTail& tail) { return tail.isInDoubt(); });
        if (!isInDoubt || (restMs && *restMs <= ShrunkEnd::kSettleMs))
            return m_watch.wait(restMs);
        m_watch.wait(ShrunkEnd::kSettleMs);
        return true;
    }

    void lookAtAll()
    {
        watchDirectories();
        for (SeriesTail& tail : m_tails)
            look(tail);
        m_rows.flush();
    }

    void look(SeriesTail& tail)
    {
        tail.look(m_elapsed.elapsed(), [&](const Interpolate::DataRecord& record, TailKind kind) {
            if (isComplete())
                return;
            ++m_rowCount;
            print(tail, record, kind == TailKind::New ? QStringLiteral("new") : QStringLiteral("late"));
        });
    }

    void print(const SeriesTail& tail, const Interpolate::DataRecord& record, const QString& kind)
    {
        QVariantList row = {record.timestamp, kind, record.value};
        if (m_isNamed)
            row.prepend(tail.series().path);
        m_rows.print(row);
    }

    bool isComplete() const { return m_limits.rowCount > 0 && m_rowCount >= m_limits.rowCount; }

    Limits m_limits;
    ChangeWatch m_watch;
    bool m_isNamed;
    RowPrinter m_rows;
    std::vector<SeriesTail> m_tails;
    QElapsedTimer m_elapsed;
    qint64 m_rowCount = 0; ///< new and late ones
};

ExitCode runFollow(const Arguments& arguments)
{
    const OutputFormat format = parseFollowFormat(arguments);
    const Limits limits = makeLimits(arguments);
    const std::vector<Series> all = openAllSeries(arguments.series);
    return Follower(all, limits, format).run();
}

constexpr const char* kFooter = R"(
Rows are of kind record (there at the start), new (behind the last one seen) or late (written at or before
it). Late ones are shown only when the writer keeps a log of them, as kivts import --note-late does; one that
replaces a value is late, too. Ctrl-C ends with exit code 130. On a network file system changes made by
other machines are seen with --poll only.

Examples:
  kivts follow data/plant
  kivts follow data/plant data/other --last 0 --for 1h --format ndjson
)";

} // namespace

Command addFollowCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("follow", "Print records as they are written");
    addSeriesOptions(*parser, arguments->series);
    parser
        ->add_option("--format", arguments->formatWord,
                     "table, csv, tsv or ndjson (default: table on a terminal and csv elsewhere)")
        ->type_name("FORMAT");
    parser->add_option("--last", arguments->last, "Begin with the last N records of each series (default 10)")
        ->type_name("N");
    parser->add_option("--count", arguments->count, "End after N new or late rows")->type_name("N");
    parser->add_option("--for", arguments->duration, "End after a time: 90s, 15m, 1h, ...")
        ->type_name("LENGTH");
    parser
        ->add_option("--poll", arguments->poll,
                     "Look for changes at this interval, for example 2s, instead of being told by\n"
                     "the kernel")
        ->type_name("LENGTH");
    parser->footer(kFooter);
    return {parser, [arguments] { return runFollow(*arguments); }};
}

} // namespace Kiv::Cli
