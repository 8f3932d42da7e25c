#include "Commands.h"
#include "IntervalText.h"
#include "MethodText.h"
#include "RangeQuery.h"
#include "RowPrinter.h"
#include "SharedOptions.h"
#include "TemplateCheck.h"
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
    printMessage(requestText(query.request));
    return printTo(arguments.record.output, [&](OutputFormat format) {
        RecordPrinter printer(format);
        const std::vector<Series> all = openAllSeries(arguments.record.series);
        prepareForSeries(printer, all, query.request);
        for (const Series& series : all) {
            printer.setSeries(series.path);
            printRange(series, query, printer);
        }
        printer.finish();
        if (printer.recordCount() > 0)
            return ExitCode::Good;
        printMessage(QStringLiteral("the template gives nothing for this range"));
        return ExitCode::NothingFound;
    });
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

QString levelText(FindingLevel level)
{
    static const QString kTexts[] = {QStringLiteral("ok"), QStringLiteral("note"), QStringLiteral("warning"),
                                     QStringLiteral("error")};
    return kTexts[static_cast<int>(level)];
}

ExitCode printFindings(const TemplateReport& report, OutputFormat format)
{
    RowPrinter printer(format, {{QStringLiteral("file")},
                                {QStringLiteral("line"), CellKind::Number},
                                {QStringLiteral("template")},
                                {QStringLiteral("level")},
                                {QStringLiteral("finding")}});
    for (const TemplateFinding& finding : report.findings)
        printer.print({finding.file, finding.line > 0 ? QVariant(finding.line) : QVariant(),
                       finding.templateName.isEmpty() ? QVariant() : QVariant(finding.templateName),
                       levelText(finding.level), finding.text});
    printer.finish();
    const qint64 errorCount = report.count(FindingLevel::Error);
    printMessage(QStringLiteral("%1, %2: %3, %4")
                     .arg(counted(report.fileCount, QStringLiteral("file")),
                          counted(report.templateCount, QStringLiteral("template")),
                          counted(errorCount, QStringLiteral("error")),
                          counted(report.count(FindingLevel::Warning), QStringLiteral("warning"))));
    if (errorCount > 0)
        return ExitCode::BadData;
    return report.fileCount > 0 ? ExitCode::Good : ExitCode::NothingFound;
}

CLI::App* addCheckCommand(CLI::App& parser, OutputOptions& output)
{
    CLI::App* const check = parser.add_subcommand("check", "Look for mistakes in the template files");
    addOutputOptions(*check, output);
    check->footer(
        "\nThe engine passes over what it does not understand; this command says what and where. Errors are\n"
        "files that cannot be read, values of the wrong kind, unknown methods and a name twice in a file;\n"
        "the exit code is then 4. A name in several files is a note: the later one is laid over the "
        "earlier.\n"
        "\nExamples:\n"
        "  kivts templates check\n"
        "  kivts templates check --format json\n");
    return check;
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
    CLI::App* const parser = program.add_subcommand("templates", "List, show, try or check named requests");
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

    const auto checkOutput = std::make_shared<OutputOptions>();
    CLI::App* const check = addCheckCommand(*parser, *checkOutput);

    return {parser, [list, show, shownName, tryArguments, check, checkOutput] {
                if (list->parsed())
                    return listTemplates();
                if (check->parsed())
                    return printTo(*checkOutput, [](OutputFormat format) {
                        return printFindings(checkTemplates(), format);
                    });
                return show->parsed() ? showTemplate(*shownName) : tryTemplate(*tryArguments);
            }};
}

} // namespace Kiv::Cli
