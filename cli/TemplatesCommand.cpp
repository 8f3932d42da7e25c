#include "Commands.h"
#include "MethodText.h"
#include "RangeQuery.h"
#include "SharedOptions.h"
#include "Templates.h"

#include <CLI/CLI.hpp>

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kTryRowCount = 10;

struct TryArguments {
    std::string name;
    RecordOptions record;
    RangeOptions range;
    qint64 limit = kTryRowCount;
};

Request requestOf(const std::string& name)
{
    RequestOptions options;
    options.templateName = name;
    return makeRequest(options);
}

/// "meana@1h"
QString passText(const Interpolate::InterpolateParam& pass)
{
    const QString method = pass.method.isEmpty() ? understoodMethod(pass).text() : pass.method;
    return escapedControls(method) + u'@' + intervalText(pass.interval);
}

/// The passes in the order in which they run.
QString requestText(const Request& request)
{
    QStringList texts;
    for (const Interpolate::InterpolateParam& pass : request.passes)
        texts += passText(pass);
    texts += passText(request.param);
    return texts.join(QStringLiteral(" -> "));
}

ExitCode listTemplates()
{
    const QStringList names = templateNames();
    if (names.isEmpty())
        throw CommandError(ExitCode::NothingFound,
                           QStringLiteral("there are no templates %1").arg(templatePlaces()));
    qsizetype width = 0;
    for (const QString& name : names)
        width = std::max(width, escapedControls(name).size());
    for (const QString& name : names) {
        // A first "!" of the name itself would be taken for the mark.
        const Request request = requestOf('!' + name.toStdString());
        const QByteArray line =
            escapedControls(name).leftJustified(width + 2).toUtf8() + requestText(request).toUtf8();
        std::printf("%s\n", line.constData());
    }
    return ExitCode::Good;
}

ExitCode showTemplate(const std::string& name)
{
    const QJsonObject json = templateJson(QString::fromStdString(name), requestOf(name));
    std::fputs(QJsonDocument(json).toJson(QJsonDocument::Indented).constData(), stdout);
    return ExitCode::Good;
}

ExitCode tryTemplate(const TryArguments& arguments)
{
    RangeQuery query;
    query.range = parseTimeRange(arguments.range);
    query.request = requestOf(arguments.name);
    query.limit = arguments.limit;
    checkLimit(query.limit);
    RecordPrinter printer(parseOutputFormat(QString::fromStdString(arguments.record.formatWord)));
    const Series series = openSeries(arguments.record.series);
    printMessage(requestText(query.request));
    printRange(series, query, printer);
    printer.finish();
    if (printer.recordCount() > 0)
        return ExitCode::Good;
    printMessage(QStringLiteral("the template gives nothing for this range"));
    return ExitCode::NothingFound;
}

CLI::App* addTryCommand(CLI::App& parser, TryArguments& arguments)
{
    CLI::App* const tryParser = parser.add_subcommand("try", "Run a template on a series, a few rows of it");
    tryParser->add_option("NAME", arguments.name, "Name of the template")->required()->type_name("");
    addRecordOptions(*tryParser, arguments.record);
    addRangeOptions(*tryParser, arguments.range);
    tryParser->add_option("--limit", arguments.limit, "Print at most N rows (default 10)")->type_name("N");
    tryParser->footer("\nExamples:\n"
                      "  kivts templates try HourlyMean data/plant\n"
                      "  kivts templates try HourlyMean data/plant --from 2024-05-01 --limit 100\n");
    return tryParser;
}

constexpr const char* kFooter = R"(
A template names a request: its method, interval, filters and earlier passes. Templates are objects in JSON
files; one of the same name in a later file is laid over the earlier one. read and count take one with
--template NAME. The files, in this order:
  $VELTAR_INSTALL_PATH    cfg/dms/InterpolateTemplates.json
                          cfg/dms/InterpolateTemplates_User.json
                          proj/_ProcessManager/cfg/InterpolateTemplates_User.json
  $VELTAR_CURRENT_PROJECT_LOCATION
                          cfg/InterpolateTemplates_User.json
Both variables end with /.

Examples:
  kivts templates ls
  kivts templates show HourlyMean
)";

} // namespace

Command addTemplatesCommand(CLI::App& program)
{
    CLI::App* const parser = program.add_subcommand("templates", "List, show or try named requests");
    parser->require_subcommand(1);
    parser->footer(kFooter);

    CLI::App* const list = parser->add_subcommand("ls", "List the names and what they ask for");
    list->footer("\nExamples:\n"
                 "  kivts templates ls\n"
                 "  kivts templates ls | grep Mean\n");

    const auto shownName = std::make_shared<std::string>();
    CLI::App* const show =
        parser->add_subcommand("show", "Print a template as JSON, all its files laid together");
    show->add_option("NAME", *shownName, "Name of the template")->required()->type_name("");
    show->footer("\nExamples:\n"
                 "  kivts templates show HourlyMean\n"
                 "  kivts templates show '!HourlyMean'\n");

    const auto tryArguments = std::make_shared<TryArguments>();
    addTryCommand(*parser, *tryArguments);

    return {parser, [list, show, shownName, tryArguments] {
                if (list->parsed())
                    return listTemplates();
                return show->parsed() ? showTemplate(*shownName) : tryTemplate(*tryArguments);
            }};
}

} // namespace Kiv::Cli
